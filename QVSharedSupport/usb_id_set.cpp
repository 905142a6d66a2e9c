#include <QVSharedSupport/usb_id_set.h>

#include <algorithm>

namespace QV {
namespace {

constexpr std::uint16_t highest_vid = 0xFFFF;
constexpr std::uint16_t highest_pid = 0xFFFF;

/// Where an identifier stands in the order that searching, inserting and removing all rely on: vendors
/// descend while the products of a vendor ascend. One number, so that a step of a search is one comparison.
std::uint32_t place(unsigned short vid, unsigned short pid) noexcept {
    return static_cast<std::uint32_t>(highest_vid - vid) << 16 | pid;
}

bool is_before(const usb_id_set::range& range, usb_id_set::id key) noexcept {
    return place(range.vid, range.last_pid) < place(key.vid, key.pid);
}

/// The first range that is not before the key. It is the only one that can hold the key.
template <class Ranges>
auto search(Ranges& ranges, usb_id_set::id key) noexcept {
    return std::lower_bound(ranges.begin(), ranges.end(), key, is_before);
}

bool holds(const usb_id_set::range& range, usb_id_set::id key) noexcept {
    return range.vid == key.vid && range.first_pid <= key.pid && key.pid <= range.last_pid;
}

} // namespace

usb_id_set::usb_id_set(std::initializer_list<id> ids) {
    for (const id& one : ids)
        insert(one.vid, one.pid);
}

bool usb_id_set::contains(unsigned short vid, unsigned short pid) const noexcept {
    const auto found = search(ranges_, {vid, pid});
    return found != ranges_.end() && holds(*found, {vid, pid});
}

// Neighbours are compared as int, where 0xFFFF + 1 does not wrap around to 0.
void usb_id_set::insert(unsigned short vid, unsigned short pid) {
    const auto at = search(ranges_, {vid, pid});
    const bool has_previous = at != ranges_.begin() && std::prev(at)->vid == vid;
    if (at != ranges_.end() && at->vid == vid) {
        if (holds(*at, {vid, pid})) return;
        if (pid + 1 == at->first_pid) {
            at->first_pid = pid;
            if (has_previous && std::prev(at)->last_pid + 1 == pid) {
                std::prev(at)->last_pid = at->last_pid;
                ranges_.erase(at);
            }
            return;
        }
    }
    if (has_previous && std::prev(at)->last_pid + 1 == pid) {
        std::prev(at)->last_pid = pid;
        return;
    }
    ranges_.insert(at, {vid, pid, pid});
}

// Only the first product can need memory: each later one extends the range of the one before it. So a failure
// leaves the set as it was. The same goes for erase_range().
void usb_id_set::insert_range(unsigned short vid, unsigned short first, unsigned short last) {
    for (unsigned short pid = first; pid < last; ++pid)
        insert(vid, pid);
    insert(vid, last);
}

void usb_id_set::insert_all_pids(unsigned short vid) {
    insert_range(vid, 0, highest_pid);
}

void usb_id_set::erase(unsigned short vid, unsigned short pid) {
    const auto at = search(ranges_, {vid, pid});
    if (at == ranges_.end() || !holds(*at, {vid, pid})) return;
    if (at->first_pid == at->last_pid) {
        ranges_.erase(at);
    } else if (pid == at->first_pid) {
        ++at->first_pid;
    } else if (pid == at->last_pid) {
        --at->last_pid;
    } else {
        const range lower{vid, at->first_pid, static_cast<std::uint16_t>(pid - 1)};
        const auto upper = std::next(ranges_.insert(at, lower));
        upper->first_pid = static_cast<std::uint16_t>(pid + 1);
    }
}

void usb_id_set::erase_range(unsigned short vid, unsigned short first, unsigned short last) {
    for (unsigned short pid = first; pid < last; ++pid)
        erase(vid, pid);
    erase(vid, last);
}

void usb_id_set::erase_all_pids(unsigned short vid) {
    erase_range(vid, 0, highest_pid);
}

} // namespace QV
