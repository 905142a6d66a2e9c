#pragma once

#include <QVSharedSupport/export.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace QV {

/// A set of USB identifiers, each a vendor id and a product id: which devices a program cares about.
///
/// Consecutive product ids of one vendor are kept as one range, so that all products of a vendor cost one
/// entry.
///
///     QV::usb_id_set watched{{0x05AC, 0x1227}};
///     watched.insert_range(0x05AC, 0x1280, 0x1283);
///     watched.erase(0x05AC, 0x1282);
///     if (watched.contains(vid, pid)) ...
///
/// A value: copied whole, and empty after it was moved from. Thread safety: as a `std::vector`; any number of
/// threads may read while none changes it. Nothing blocks. Only what says so throws, and then the set is as
/// it was before.
class usb_id_set {
public:
    /// One device model.
    struct id {
        std::uint16_t vid;
        std::uint16_t pid;
        friend bool operator==(const id&, const id&) noexcept = default;
    };

    /// The products of one vendor from `first_pid` to `last_pid`, both included; never empty.
    struct range {
        std::uint16_t vid;
        std::uint16_t first_pid;
        std::uint16_t last_pid;
        friend bool operator==(const range&, const range&) noexcept = default;
    };

    /// What iteration gives.
    using value_type = range;
    using const_iterator = std::vector<range>::const_iterator;

    usb_id_set() noexcept = default;
    /// Of the given identifiers; one given twice counts once. @throws std::bad_alloc
    QV_EXPORT usb_id_set(std::initializer_list<id> ids);

    /// Whether the product is in the set.
    [[nodiscard]] QV_EXPORT bool contains(unsigned short vid, unsigned short pid) const noexcept;

    /// Adds one product. @throws std::bad_alloc
    QV_EXPORT void insert(unsigned short vid, unsigned short pid);
    /// Adds the products from `first` to `last`, both included; only `last` when `first > last`.
    /// @throws std::bad_alloc
    QV_EXPORT void insert_range(unsigned short vid, unsigned short first, unsigned short last);
    /// Adds all 65536 products of a vendor. @throws std::bad_alloc
    QV_EXPORT void insert_all_pids(unsigned short vid);

    /// Removes one product, if it is there. @throws std::bad_alloc if a range has to be split
    QV_EXPORT void erase(unsigned short vid, unsigned short pid);
    /// Removes the products from `first` to `last`, both included; only `last` when `first > last`.
    /// @throws std::bad_alloc if a range has to be split
    QV_EXPORT void erase_range(unsigned short vid, unsigned short first, unsigned short last);
    /// Removes all products of a vendor; needs no memory.
    QV_EXPORT void erase_all_pids(unsigned short vid);
    /// Removes everything.
    void clear() noexcept { ranges_.clear(); }

    /// Whether nothing is in the set.
    [[nodiscard]] bool empty() const noexcept { return ranges_.empty(); }
    /// The number of ranges, which is what iteration goes over.
    [[nodiscard]] std::size_t size() const noexcept { return ranges_.size(); }
    /// The ranges: vendors from the highest to the lowest, the products of each from the lowest to the
    /// highest. Ranges of a vendor neither overlap nor touch. Any change to the set invalidates the
    /// iterators.
    [[nodiscard]] const_iterator begin() const noexcept { return ranges_.begin(); }
    [[nodiscard]] const_iterator end() const noexcept { return ranges_.end(); }

    /// Whether both hold the same products.
    friend bool operator==(const usb_id_set&, const usb_id_set&) noexcept = default;

private:
    std::vector<range> ranges_;
};

} // namespace QV
