#include "plist_binary_writer.h"

#include "archiver_uid.h"
#include "number_storage.h"
#include "plist_binary.h"
#include "plist_buffer.h"
#include "plist_walk.h"

#include <CoreFoundation/CFDate.h>

#include <boost/unordered/unordered_flat_map.hpp>

#include <bit>

namespace cf::plist {

namespace {

/// An object in the order of writing.
struct numbered {
    CFTypeRef object;
    std::size_t first_reference; ///< Of a container, into references.
    bool open;                   ///< A container whose members are being numbered.
};

/// Numbers the objects of a list without recursion: a container, then a dictionary's keys, then the values,
/// each followed by what it holds.
class numbering {
public:
    /// False, with problem() saying why, if the value is no property list.
    bool number(CFTypeRef root);
    const std::vector<numbered>& objects() const { return objects_; }
    const std::vector<std::size_t>& references() const { return references_; }
    std::string take_problem() { return std::move(problem_); }

private:
    struct frame {
        std::size_t index;
        std::size_t next;
        std::size_t count;
    };

    bool visit(CFTypeRef object, std::size_t& index);
    bool open(CFTypeRef container, std::size_t index);
    bool fail(std::string problem) {
        problem_ = std::move(problem);
        return false;
    }

    boost::unordered_flat_map<CFTypeRef, std::size_t> indices_;
    std::vector<numbered> objects_;
    std::vector<std::size_t> references_;
    std::vector<frame> frames_;
    std::string problem_;
};

bool numbering::number(CFTypeRef root) {
    std::size_t index = 0;
    if (!visit(root, index)) return false;
    while (!frames_.empty()) {
        frame& top = frames_.back();
        numbered& container = objects_[top.index];
        if (top.next == top.count) {
            container.open = false;
            frames_.pop_back();
            continue;
        }
        const std::size_t at = top.next++;
        CFTypeRef member = nullptr;
        if (type_of(container.object) == type::array) {
            member = values_of(static_cast<CFArrayRef>(container.object))[at];
        } else {
            const auto entries = entries_of(static_cast<CFDictionaryRef>(container.object));
            const bool is_key = at < entries.size();
            const entry& each = entries[is_key ? at : at - entries.size()];
            member = is_key ? each.key : each.value;
            if (is_key && !is(member, type::string)) return fail(refusal_of_key(member));
        }
        const std::size_t reference = container.first_reference + at;
        if (!visit(member, index)) return false;
        references_[reference] = index;
    }
    return true;
}

bool numbering::visit(CFTypeRef object, std::size_t& index) {
    if (object == nullptr) return fail(refusal_of_value(object));
    const auto [found, is_new] = indices_.try_emplace(object, objects_.size());
    index = found->second;
    if (!is_new) {
        if (objects_[index].open) return fail("property lists cannot contain recursive container references");
        return true;
    }
    switch (type_of(object)) {
    case type::string:
    case type::number:
    case type::boolean:
    case type::date:
    case type::data:
    case type::archiver_uid:
        objects_.push_back({object, 0, false});
        return true;
    case type::array:
    case type::dictionary:
        return open(object, index);
    default:
        return fail(refusal_of_value(object));
    }
}

bool numbering::open(CFTypeRef container, std::size_t index) {
    const std::size_t count = type_of(container) == type::array
                                  ? values_of(static_cast<CFArrayRef>(container)).size()
                                  : 2 * entries_of(static_cast<CFDictionaryRef>(container)).size();
    objects_.push_back({container, references_.size(), true});
    references_.resize(references_.size() + count);
    frames_.push_back({index, 0, count});
    return true;
}

// How many bytes, 1, 2, 4 or 8, a number takes.
std::size_t size_of(std::uint64_t value) {
    return value <= 0xFF ? 1 : value <= 0xFFFF ? 2 : value <= 0xFFFFFFFF ? 4 : 8;
}

class binary_writer {
public:
    binary_writer(CFAllocatorRef allocator, const numbering& numbers) : out_(allocator), numbers_(numbers) {}
    CFDataRef write();

private:
    void put(std::uint64_t value, std::size_t size);
    void put_marker(marker kind, unsigned low) { put(static_cast<std::uint64_t>(kind) << 4 | low, 1); }
    void put_sized(marker kind, std::uint64_t value, std::size_t size);
    void put_counted(marker kind, std::size_t count);
    void put_object(const numbered& object);
    void put_references(const numbered& container, std::size_t count);
    void put_number(CFNumberRef number);
    void put_integer(int128 value);
    void put_string(CFStringRef string);

    byte_buffer out_;
    const numbering& numbers_;
    std::size_t reference_size_ = 0;
};

CFDataRef binary_writer::write() {
    const std::vector<numbered>& objects = numbers_.objects();
    reference_size_ = size_of(objects.size());
    out_.append(binary_header);
    std::vector<std::size_t> offsets;
    offsets.reserve(objects.size());
    for (const numbered& each : objects) {
        offsets.push_back(out_.size());
        put_object(each);
    }
    const std::size_t table_at = out_.size();
    const std::size_t offset_size = size_of(table_at);
    for (const std::size_t offset : offsets)
        put(offset, offset_size);
    put(0, 6);
    put(offset_size, 1);
    put(reference_size_, 1);
    put(objects.size(), 8);
    put(0, 8); // The root comes first.
    put(table_at, 8);
    return out_.take();
}

void binary_writer::put(std::uint64_t value, std::size_t size) {
    char* to = out_.room(size);
    for (std::size_t i = size; i-- > 0; value >>= 8)
        to[i] = static_cast<char>(value & 0xFF);
    out_.wrote(to + size);
}

void binary_writer::put_sized(marker kind, std::uint64_t value, std::size_t size) {
    put_marker(kind, static_cast<unsigned>(std::countr_zero(size)));
    put(value, size);
}

void binary_writer::put_counted(marker kind, std::size_t count) {
    if (count < long_count) return put_marker(kind, static_cast<unsigned>(count));
    put_marker(kind, long_count);
    put_sized(marker::integer, count, size_of(count));
}

void binary_writer::put_object(const numbered& object) {
    switch (type_of(object.object)) {
    case type::string:
        return put_string(static_cast<CFStringRef>(object.object));
    case type::number:
        return put_number(static_cast<CFNumberRef>(object.object));
    case type::boolean:
        return put_marker(marker::simple, CFBooleanGetValue(static_cast<CFBooleanRef>(object.object)) != 0
                                              ? simple_true
                                              : simple_false);
    case type::date:
        return put_sized(
            marker::date,
            std::bit_cast<std::uint64_t>(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object.object))), 8);
    case type::data: {
        const auto* data = static_cast<CFDataRef>(object.object);
        const auto size = static_cast<std::size_t>(CFDataGetLength(data));
        put_counted(marker::data, size);
        return out_.append({reinterpret_cast<const char*>(CFDataGetBytePtr(data)), size});
    }
    case type::archiver_uid: {
        const std::uint32_t value = static_cast<const archiver_uid*>(object.object)->value;
        const std::size_t size = size_of(value);
        put_marker(marker::uid, static_cast<unsigned>(size - 1));
        return put(value, size);
    }
    case type::array: {
        const std::size_t count = values_of(static_cast<CFArrayRef>(object.object)).size();
        put_counted(marker::array, count);
        return put_references(object, count);
    }
    default: {
        const std::size_t count = entries_of(static_cast<CFDictionaryRef>(object.object)).size();
        put_counted(marker::dict, count);
        return put_references(object, 2 * count);
    }
    }
}

void binary_writer::put_references(const numbered& container, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        put(numbers_.references()[container.first_reference + i], reference_size_);
}

void binary_writer::put_number(CFNumberRef number) {
    if (!is_real(number)) {
        if (stored_type(number) != number_int128) return put_integer(integer_value(number));
        const int128 value = integer_value(number);
        put_marker(marker::integer, 4);
        put(static_cast<std::uint64_t>(value.high), 8);
        return put(value.low, 8);
    }
    if (stored_type(number) == kCFNumberFloat32Type)
        return put_sized(marker::real, std::bit_cast<std::uint32_t>(static_cast<float>(number->real)), 4);
    put_sized(marker::real, std::bit_cast<std::uint64_t>(number->real), 8);
}

// Shorter forms are read as unsigned: a negative number takes eight bytes.
void binary_writer::put_integer(int128 value) {
    put_sized(marker::integer, value.low, value.high < 0 ? 8 : size_of(value.low));
}

void binary_writer::put_string(CFStringRef string) {
    const text_view text = view(string);
    const auto length = static_cast<std::size_t>(text.length);
    bool ascii = !text.wide;
    if (text.wide) {
        ascii = true;
        for (const UniChar unit : text.utf16())
            ascii = ascii && unit < 0x80;
    }
    put_counted(ascii ? marker::ascii : marker::utf16, length);
    if (!text.wide) return out_.append(text.narrow());
    for (const UniChar unit : text.utf16())
        put(unit, ascii ? 1 : 2);
}

} // namespace

CFDataRef write_binary(CFAllocatorRef allocator, CFTypeRef value, std::string& problem) {
    numbering numbers;
    if (numbers.number(value)) return binary_writer(allocator, numbers).write();
    problem = numbers.take_problem();
    return nullptr;
}

std::string binary_refusal(CFTypeRef value) {
    numbering numbers;
    return numbers.number(value) ? std::string() : numbers.take_problem();
}

} // namespace cf::plist
