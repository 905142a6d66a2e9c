#include "plist_binary_reader.h"

#include "archiver_uid.h"
#include "comparison_limit.h"
#include "containers.h"
#include "number_storage.h"
#include "plist_binary.h"

#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFNumber.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace cf::plist {

namespace {

using std::string_view;

// The low 64 bits of a number of any size.
std::uint64_t number_of(string_view bytes) {
    std::uint64_t value = 0;
    for (const char c : bytes)
        value = value << 8 | static_cast<unsigned char>(c);
    return value;
}

/// Where the objects of a list lie.
class object_table {
public:
    /// False if the trailer does not describe the bytes it ends.
    bool open(string_view bytes);
    std::uint64_t count() const { return count_; }
    std::uint64_t root() const { return root_; }
    std::size_t reference_size() const { return reference_size_; }
    /// The bytes from the object's first one to the table; empty if the table points elsewhere.
    string_view object(std::uint64_t index) const;

private:
    string_view objects_; ///< Header and objects.
    string_view table_;
    std::size_t offset_size_ = 0;
    std::size_t reference_size_ = 0;
    std::uint64_t count_ = 0;
    std::uint64_t root_ = 0;
};

// Whether numbers of `size` bytes can be larger than `value`.
bool can_exceed(std::size_t size, std::uint64_t value) {
    return size >= 8 || value >> (8 * size) == 0;
}

bool object_table::open(string_view bytes) {
    // The last digit of the version does not matter.
    if (!bytes.starts_with(binary_header.substr(0, binary_header.size() - 1))) return false;
    if (bytes.size() <= binary_header.size() + binary_trailer_size) return false;
    const string_view trailer = bytes.substr(bytes.size() - binary_trailer_size);
    const std::size_t before_trailer = bytes.size() - binary_trailer_size;
    offset_size_ = static_cast<unsigned char>(trailer[6]);
    reference_size_ = static_cast<unsigned char>(trailer[7]);
    count_ = number_of(trailer.substr(8, 8));
    root_ = number_of(trailer.substr(16, 8));
    const std::uint64_t table_at = number_of(trailer.substr(24, 8));
    if (offset_size_ == 0 || reference_size_ == 0 || count_ == 0 || root_ >= count_) return false;
    if (table_at <= binary_header.size() || table_at >= before_trailer) return false;
    const std::uint64_t table_size = before_trailer - table_at;
    if (count_ > table_size || count_ * offset_size_ != table_size) return false;
    if (!can_exceed(offset_size_, table_at) || !can_exceed(reference_size_, count_)) return false;
    objects_ = bytes.substr(0, table_at);
    table_ = bytes.substr(objects_.size(), table_size);
    for (std::uint64_t index = 0; index < count_; ++index) {
        const auto at = index * offset_size_;
        if (number_of(table_.substr(at, offset_size_)) >= table_at) return false;
    }
    return true;
}

string_view object_table::object(std::uint64_t index) const {
    if (index >= count_) return {};
    const std::uint64_t offset = number_of(table_.substr(index * offset_size_, offset_size_));
    if (offset < binary_header.size() || offset >= objects_.size()) return {};
    return objects_.substr(offset);
}

/// Reads without recursion. Every object is made once.
class binary_reader {
public:
    binary_reader(CFAllocatorRef allocator, const object_table& table, mutability mutable_parts)
        : allocator_(allocator), mutable_(mutable_parts), table_(table), made_(table.count()) {}
    binary_reader(const binary_reader&) = delete;
    binary_reader& operator=(const binary_reader&) = delete;
    ~binary_reader();

    CFTypeRef read();

private:
    using reference = owned<CFTypeRef>;
    struct object {
        CFTypeRef value = nullptr; ///< Owned; null until it is read.
        std::uint16_t height = 0;  ///< How many containers it is deep.
        bool open = false;         ///< A container whose members are being read.
    };
    struct frame {
        std::size_t index; ///< Of the container.
        marker kind;
        string_view references;
        std::size_t count; ///< Of references: twice as many as entries in a dictionary.
        std::size_t next;
        std::size_t first_member;
        std::uint16_t height;
    };

    bool visit(std::uint64_t index, bool is_key);
    bool take(const object& read);
    bool open_container(std::size_t index, marker kind, string_view body, std::uint64_t count);
    bool close();
    reference make_container(const frame& closed);
    reference read_simple(unsigned low) const;
    reference read_leaf(marker kind, unsigned low, string_view body) const;
    reference read_counted(marker kind, string_view body, std::uint64_t count) const;
    reference read_integer(unsigned low, string_view body) const;
    reference read_real(unsigned low, string_view body) const;
    reference read_ascii(string_view bytes) const;
    reference read_utf16(string_view bytes) const;

    CFAllocatorRef allocator_;
    mutability mutable_;
    const object_table& table_;
    std::vector<object> made_;
    std::vector<frame> frames_;
    reference_stack members_; ///< Those of the open containers.
    reference root_;
};

binary_reader::~binary_reader() {
    for (const object& each : made_) {
        if (each.value != nullptr) release(each.value);
    }
}

CFTypeRef binary_reader::read() {
    if (!visit(table_.root(), false)) return nullptr;
    while (!frames_.empty()) {
        frame& top = frames_.back();
        if (top.next == top.count) {
            if (!close()) return nullptr;
            continue;
        }
        const std::size_t at = top.next++;
        const std::size_t size = table_.reference_size();
        const bool is_key = top.kind == marker::dict && at < top.count / 2;
        if (!visit(number_of(top.references.substr(at * size, size)), is_key)) return nullptr;
    }
    return root_.detach();
}

// Reads an object that something refers to, or opens it if it is a container.
bool binary_reader::visit(std::uint64_t index, bool is_key) {
    const string_view bytes = table_.object(index);
    if (bytes.empty()) return false;
    object& known = made_[index];
    const auto first = static_cast<unsigned char>(bytes[0]);
    const auto kind = static_cast<marker>(first >> 4);
    const bool is_container = kind == marker::array || kind == marker::set || kind == marker::dict;
    if (is_key && is_container) return false;
    // A mutable key is nobody else's: a change to another string must not reach it.
    const bool reuse = !(is_key && mutable_.leaves);
    if (reuse && known.open) return false;
    if (reuse && known.value != nullptr) return take(known);

    string_view body = bytes.substr(1);
    const unsigned low = first & 15;
    object read;
    const bool counted =
        is_container || kind == marker::data || kind == marker::ascii || kind == marker::utf16;
    if (counted) {
        std::uint64_t count = low;
        if (low == long_count) {
            if (body.empty() ||
                static_cast<marker>(static_cast<unsigned char>(body[0]) >> 4) != marker::integer)
                return false;
            const std::size_t size = std::size_t{1} << (static_cast<unsigned char>(body[0]) & 15);
            if (body.size() - 1 < size) return false;
            count = number_of(body.substr(1, size));
            body.remove_prefix(1 + size);
        }
        // Whatever it is of, there is at least one byte of each.
        if (count > body.size()) return false;
        if (is_container) return open_container(index, kind, body, count);
        read.value = read_counted(kind, body, count).detach();
    } else {
        read.value = read_leaf(kind, low, body).detach();
    }
    if (read.value == nullptr) return false;
    if (!reuse) {
        const reference key(read.value);
        return take(read);
    }
    known.value = read.value;
    return take(known);
}

// Hands an object to the innermost open container, or makes it the root.
bool binary_reader::take(const object& read) {
    if (frames_.size() + read.height > deepest_nesting) return false;
    retain(read.value);
    if (frames_.empty()) {
        root_ = reference(read.value);
        return true;
    }
    members_.push(read.value);
    frame& top = frames_.back();
    top.height = std::max<std::uint16_t>(top.height, static_cast<std::uint16_t>(read.height + 1));
    return true;
}

bool binary_reader::open_container(std::size_t index, marker kind, string_view body, std::uint64_t count) {
    const std::uint64_t references = kind == marker::dict ? count * 2 : count;
    const std::uint64_t available = body.size() / table_.reference_size();
    if (references > available || frames_.size() > deepest_nesting) return false;
    const auto wanted = references;
    frames_.push_back(
        {index, kind, body.substr(0, wanted * table_.reference_size()), wanted, 0, members_.size(), 0});
    made_[index].open = true;
    return true;
}

bool binary_reader::close() {
    const frame closed = frames_.back();
    object& known = made_[closed.index];
    known.value = make_container(closed).detach();
    known.height = closed.height;
    known.open = false;
    frames_.pop_back();
    return take(known);
}

binary_reader::reference binary_reader::make_container(const frame& closed) {
    const auto members = members_.since(closed.first_member);
    reference made;
    if (closed.kind == marker::array) {
        made = reference(need(create_array_adopting(allocator_, members, mutable_.containers)));
    } else if (closed.kind == marker::set) {
        made = reference(need(create_set_adopting(allocator_, members, mutable_.containers)));
    } else {
        const std::size_t entries = members.size() / 2;
        made = reference(
            need(create_dictionary_adopting(allocator_, members.first(entries), members.subspan(entries),
                                            mutable_.containers, repeated_keys::first_wins)));
    }
    members_.forget(closed.first_member);
    return made;
}

binary_reader::reference binary_reader::read_leaf(marker kind, unsigned low, string_view body) const {
    switch (kind) {
    case marker::simple:
        return read_simple(low);
    case marker::integer:
        return read_integer(low, body);
    case marker::real:
        return read_real(low, body);
    case marker::date:
        if (low != 3 || body.size() < 8) return {};
        return reference(need(CFDateCreate(allocator_, std::bit_cast<double>(number_of(body.substr(0, 8))))));
    case marker::uid: {
        if (body.size() < low + 1) return {};
        const std::uint64_t value = number_of(body.substr(0, low + 1));
        if (value > std::numeric_limits<std::uint32_t>::max()) return {};
        return reference(need(create_archiver_uid(allocator_, static_cast<std::uint32_t>(value))));
    }
    default:
        return {};
    }
}

binary_reader::reference binary_reader::read_simple(unsigned low) const {
    if (low == simple_null) return reference(kCFNull);
    if (low == simple_false) return reference(kCFBooleanFalse);
    if (low == simple_true) return reference(kCFBooleanTrue);
    return {};
}

// Up to four bytes are unsigned, eight signed; of sixteen the lower eight count, unsigned.
binary_reader::reference binary_reader::read_integer(unsigned low, string_view body) const {
    if (low > 4 || body.size() < std::size_t{1} << low) return {};
    const std::uint64_t value = number_of(body.substr(0, std::size_t{1} << low));
    if (low == 4) return reference(need(create_int128(allocator_, {0, value})));
    return reference(need(create_integer(allocator_, static_cast<std::int64_t>(value))));
}

binary_reader::reference binary_reader::read_real(unsigned low, string_view body) const {
    if (low < 2 || low > 3 || body.size() < std::size_t{1} << low) return {};
    const std::uint64_t bits = number_of(body.substr(0, std::size_t{1} << low));
    if (low == 3) return reference(need(create_double(allocator_, std::bit_cast<double>(bits))));
    return reference(need(create_float(allocator_, std::bit_cast<float>(static_cast<std::uint32_t>(bits)))));
}

binary_reader::reference binary_reader::read_counted(marker kind, string_view body,
                                                     std::uint64_t count) const {
    const std::uint64_t width = kind == marker::utf16 ? 2 : 1;
    if (count > body.size() / width) return {};
    const string_view bytes = body.substr(0, count * width);
    if (kind == marker::ascii) return read_ascii(bytes);
    // There is no empty text in UTF-16: what is empty is ASCII.
    if (kind == marker::utf16) return bytes.empty() ? reference() : read_utf16(bytes);
    const auto* data = reinterpret_cast<const UInt8*>(bytes.data());
    return reference(need(create_data(allocator_, {data, bytes.size()}, mutable_.leaves)));
}

// Bytes that are not ASCII are taken as ISO Latin 1.
binary_reader::reference binary_reader::read_ascii(string_view bytes) const {
    const auto length = static_cast<CFIndex>(bytes.size());
    if (!is_ascii(bytes)) {
        std::vector<UniChar> units(bytes.size());
        std::transform(bytes.begin(), bytes.end(), units.begin(),
                       [](char c) { return static_cast<unsigned char>(c); });
        if (!mutable_.leaves) return reference(need(create_utf16_string(allocator_, units)));
        return reference(need(create_mutable_string(allocator_, {units.data(), length, true})));
    }
    if (!mutable_.leaves) return reference(need(create_ascii_string(allocator_, bytes)));
    const char* units = bytes.data();
    return reference(need(create_mutable_string(allocator_, {units, length, false})));
}

binary_reader::reference binary_reader::read_utf16(string_view bytes) const {
    std::vector<UniChar> units(bytes.size() / 2);
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<UniChar>(number_of(bytes.substr(2 * i, 2)));
    if (!mutable_.leaves) return reference(need(create_utf16_string(allocator_, units)));
    return reference(
        need(create_mutable_string(allocator_, {units.data(), static_cast<CFIndex>(units.size()), true})));
}

} // namespace

CFTypeRef read_binary(CFAllocatorRef allocator, string_view bytes, mutability mutable_parts) {
    object_table table;
    if (!table.open(bytes)) return nullptr;
    // Plenty for sets of some thousand arrays, the worst that means no harm, and about a second's work.
    const comparison_limit limit(20'000'000 + 8 * std::uint64_t{bytes.size()});
    owned<CFTypeRef> value(binary_reader(allocator, table, mutable_parts).read());
    return comparison_limit::is_reached() ? nullptr : value.detach();
}

} // namespace cf::plist
