#pragma once

#include "comparison_cost.h"

#include <QVSharedSupport/keyed_unarchiver.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace QV {

/// Decodes the current object of an unarchiver into a plain value, with all it contains, taking no more stack
/// for a deep object than for a flat one.
struct plain_decoder {
    explicit plain_decoder(keyed_unarchiver& unarchiver);
    plain_decoder(const plain_decoder&) = delete;
    plain_decoder& operator=(const plain_decoder&) = delete;
    /// Leaves the objects that were entered, also when one of them could not be decoded.
    ~plain_decoder();

    /// @throws archiver_exceptions::archive_error, std::bad_alloc
    CF::AutoPointer run();

private:
    /// A container whose members are being decoded: the innermost current object.
    struct container {
        bool is_dictionary = false;
        std::vector<CF::AutoPointer> references; ///< To keys to decode, then to values.
        std::size_t next = 0;
        std::size_t keys_to_decode = 0;
        std::vector<CF::AutoPointer> keys; ///< Of a dictionary, as far as they are known.
        std::vector<CF::AutoPointer> values;
    };

    std::optional<CF::AutoPointer> visit_next();
    std::optional<CF::AutoPointer> begin();
    std::optional<CF::AutoPointer> begin_object(const CF::Dictionary& object, const std::string& class_name);
    CF::AutoPointer member(const CF::Dictionary& object, const CF::String& key) const;
    CF::AutoPointer simple_value(const CF::Dictionary& object, const std::string& class_name) const;
    void begin_array(const CF::Array& references);
    void begin_dictionary(const CF::Array& keys, const CF::Array& values);
    void begin_keys_of(const CF::Dictionary& object, const std::optional<std::string>& class_name);
    void accept(const CF::AutoPointer& value);
    CF::AutoPointer leave_container();
    CF::AutoPointer leave_object(const CF::AutoPointer& value);
    keyed_unarchiver::place place_of_next() const;

    keyed_unarchiver& unarchiver_;
    std::size_t outermost_; ///< How many objects were being decoded when this began.
    std::vector<container> containers_;
    comparison_cost cost_;
    std::uint64_t compared_ = 0; ///< What the dictionaries made so far have cost at worst.
};

} // namespace QV
