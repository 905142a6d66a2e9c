/// Reading objects back out of keyed archives.
///
///     CF::Dictionary values = QV::unarchive(archive);             // all of it, as plain values
///
///     auto unarchiver = QV::keyed_unarchiver::open(archive);      // or piece by piece, as native types
///     std::optional<std::vector<std::string>> names = unarchiver.decode<std::vector<std::string>>("root");
///
/// An archive is hostile input: references to nothing, objects that contain themselves and objects of other
/// types than asked for are refused with the exceptions of `archiver_exceptions`, which say where in the
/// archive, and so is a dictionary that has containers as keys which it would take too long to compare. The
/// stack used does not depend on how deep the archive's objects are nested.
///
/// Thread safety: different unarchivers may be used at the same time, one may not. Nothing here blocks.
#pragma once

#include <QVSharedSupport/archived_types.h>
#include <QVSharedSupport/export.h>

#include <CFAdapters/Array.h>
#include <CFAdapters/Dictionary.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

namespace QV {
struct keyed_unarchiver;
}

/// What is wrong with an archive.
namespace QV::archiver_exceptions {

/// The base of the others.
class QV_EXPORT archive_error : public std::runtime_error {
public:
    archive_error(const archive_error&) noexcept;
    archive_error& operator=(const archive_error&) noexcept;
    ~archive_error() override;

    /// Where in the archive, such as "root.devices[2].name"; empty where that is not known.
    const std::string& key_path() const noexcept;

protected:
    /// @throws std::bad_alloc
    archive_error(const std::string& message, std::string key_path);

private:
    std::shared_ptr<const std::string> key_path_;
};

/// A reference to an object that is not there: "uid 7 was missing or null".
class QV_EXPORT missing_uid final : public archive_error {
public:
    /// @throws std::bad_alloc
    explicit missing_uid(detail::keyed_archiver_uid uid, std::string key_path = {});
};

/// An object that is not what was asked for: "Cant decode type 'NSFont' as a value".
///
/// The type is the object's class where that has no plain value, else the type that was asked for.
class QV_EXPORT cant_decode_as_value final : public archive_error {
public:
    /// @throws std::bad_alloc
    explicit cant_decode_as_value(std::string_view type, std::string key_path = {});
};

/// An object that contains itself: "A cycle was detected when decoding the archive".
class QV_EXPORT decode_cycle final : public archive_error {
public:
    /// @throws std::bad_alloc
    explicit decode_cycle(std::string key_path = {});
};

} // namespace QV::archiver_exceptions

namespace QV {

namespace detail {

/// What an archive says of a class.
struct archived_class {
    std::string name;                 ///< Its "$classname".
    std::vector<std::string> classes; ///< Left empty by `decode`.
};

/// The current object as the description of a class; nothing if it has no "$classname". @throws
/// std::bad_alloc
QV_EXPORT std::optional<archived_class> decode(archived_class* type, keyed_unarchiver& unarchiver);

/// The uid that `object` refers to: an archive reference, or a dictionary with "CF$UID" and a number alone.
/// Nothing for anything else. @throws std::bad_alloc
QV_EXPORT std::optional<keyed_archiver_uid> extract_uid(CF::AutoPointer object);

/// How `cant_decode_as_value` names a native type.
template <class T>
constexpr std::string_view archived_type_name() {
    if constexpr (is_optional<T>)
        return archived_type_name<typename T::value_type>();
    else if constexpr (std::same_as<T, CF::AutoPointer>)
        return "value";
    else if constexpr (std::derived_from<T, CF::Array> || is_vector<T>)
        return "array";
    else if constexpr (std::same_as<T, CF::String> || std::same_as<T, std::string>)
        return "string";
    else if constexpr (std::same_as<T, CF::Boolean> || std::same_as<T, bool>)
        return "boolean";
    else if constexpr (std::same_as<T, CF::Number> || std::floating_point<T>)
        return "number";
    else if constexpr (std::integral<T>)
        return std::is_signed_v<T> ? "signed integer" : "unsigned integer";
    else if constexpr (std::same_as<T, CF::Data> || std::same_as<T, std::vector<std::byte>>)
        return "data";
    else if constexpr (std::same_as<T, CF::Date>)
        return "date";
    else
        return "dictionary";
}

/// A type that says itself how it is decoded.
template <class T>
concept custom_decoded = requires(T* type, keyed_unarchiver& unarchiver) {
    { decode(type, unarchiver) } -> std::same_as<std::optional<T>>;
};

/// Calls that function: within the unarchiver its name means a member.
template <class T>
std::optional<T> custom_decode(keyed_unarchiver& unarchiver) {
    return decode(static_cast<T*>(nullptr), unarchiver);
}

} // namespace detail

/// What to do about objects of classes that have no plain value.
enum class unknown_classes {
    refuse, ///< `cant_decode_as_value`, with the name of the class.
    keep    ///< A dictionary of the object's keys, with the name of the class under "$class".
};

/// Reads one archive.
///
/// Objects are decoded one within another; the innermost is the current one. Plain values are what NSString,
/// NSNumber, NSData, NSDate, NSNull, NSArray, NSDictionary, NSSet and NSOrderedSet and their mutable kinds
/// stand for, sets as arrays, and what is stored without a class. The null object within a container is
/// kCFNull. An object met several times is one object in the result.
struct keyed_unarchiver {
    /// Reads from `objects`, the "$objects" of an archive, which must not change. There are no keys at the
    /// top.
    QV_EXPORT explicit keyed_unarchiver(CF::Array objects);
    /// Reads from a whole archive.
    /// @throws std::invalid_argument "The dictionary is not a keyed archive" unless it has an array
    ///     "$objects" and a dictionary "$top"
    QV_EXPORT static keyed_unarchiver open(const CF::Dictionary& archive,
                                           unknown_classes unknown = unknown_classes::refuse);
    QV_EXPORT keyed_unarchiver(const keyed_unarchiver&);
    QV_EXPORT keyed_unarchiver(keyed_unarchiver&&) noexcept;
    QV_EXPORT keyed_unarchiver& operator=(const keyed_unarchiver&);
    QV_EXPORT keyed_unarchiver& operator=(keyed_unarchiver&&) noexcept;
    QV_EXPORT ~keyed_unarchiver();

    /// The entry of the table for `uid`, retained; empty for uid 0.
    /// @throws archiver_exceptions::missing_uid if there is none, or a null one
    QV_EXPORT CF::AutoPointer get_raw(detail::keyed_archiver_uid uid);
    /// The entry of the current object; the top dictionary, if there is one, when none is being decoded.
    QV_EXPORT CF::AutoPointer get_raw();
    /// The class name of the current object; nothing if it has none.
    /// @throws archiver_exceptions::missing_uid if its class is not there
    QV_EXPORT std::optional<std::string> get_class();

    /// What the current object, or the top of the archive, has under `key`.
    ///
    /// `T` is a number, bool, std::string, std::vector<std::byte>, a `CF::` wrapper (CF::AutoPointer for any
    /// plain value), a std::vector or string-keyed map of such, or a std::optional of one, which the null
    /// object leaves without a value. Or it is a type with a function `std::optional<T> decode(T*,
    /// QV::keyed_unarchiver&)` beside it, called while the object is the current one.
    ///
    /// Nothing if there is no such key, or the null object there and `T` no std::optional. Keys that begin
    /// with "$" are looked up as `keyed_archiver` stores them.
    /// @throws archiver_exceptions::archive_error for what cannot be decoded as a `T`, and for native types
    ///     nested more than `most_nested` deep
    /// @throws std::bad_alloc
    template <class T>
    std::optional<T> decode(const std::string& key) {
        const std::optional<CF::AutoPointer> value = value_for(key);
        if (!value) return std::nullopt;
        return decode_reference<T>(*value, CF::String(key));
    }
    /// The same for the object `uid`.
    template <class T>
    std::optional<T> decode(detail::keyed_archiver_uid uid) {
        const entered_object entered(*this, uid, {});
        return decode_current<T>();
    }

    /// How deep objects may be decoded within each other by native types, each of which takes stack.
    static constexpr std::size_t most_nested = 200;

private:
    friend struct plain_decoder;
    friend QV_EXPORT CF::Dictionary unarchive(const CF::Dictionary& archive, unknown_classes unknown);

    /// The place of an object within the one around it: under a key, or at an index.
    using place = std::variant<std::monostate, CF::String, std::size_t>;

    /// An object being decoded.
    struct level {
        std::optional<std::uint32_t> uid; ///< Of an object of its own.
        CF::AutoPointer object;
        place where;
    };

    /// Makes an object the current one while it lives.
    class entered_object {
    public:
        /// @throws archiver_exceptions::archive_error if it is not there, or being decoded already
        QV_EXPORT entered_object(keyed_unarchiver& unarchiver, detail::keyed_archiver_uid uid, place where);
        /// The object that `reference` refers to, or is.
        QV_EXPORT entered_object(keyed_unarchiver& unarchiver, const CF::AutoPointer& reference, place where);
        entered_object(const entered_object&) = delete;
        entered_object& operator=(const entered_object&) = delete;
        QV_EXPORT ~entered_object();

    private:
        keyed_unarchiver& unarchiver_;
    };

    QV_EXPORT std::optional<CF::AutoPointer> value_for(const std::string& key);
    /// The current object as a plain value; empty for the null object.
    QV_EXPORT CF::AutoPointer plain_value();
    /// The references to the elements of the current object; refused, as of `type`, if it is no array.
    QV_EXPORT CF::Array element_references(std::string_view type);
    /// The references to its keys and values; refused if it is no dictionary.
    QV_EXPORT std::pair<CF::Array, CF::Array> entry_references(std::string_view type);
    [[noreturn]] QV_EXPORT void refuse(std::string_view type) const;
    QV_EXPORT void check_nesting(std::string_view type) const;

    CF::Dictionary plain_top();
    void push(std::optional<std::uint32_t> uid, CF::AutoPointer object, place where);
    void push(const CF::AutoPointer& reference, place where);
    void pop() noexcept;
    std::string key_path() const;

    template <class T>
    std::optional<T> decode_reference(const CF::AutoPointer& reference, place where) {
        const entered_object entered(*this, reference, std::move(where));
        return decode_current<T>();
    }
    /// An element, which has to be there.
    template <class T>
    T decode_element(const CF::AutoPointer& reference, place where) {
        const entered_object entered(*this, reference, std::move(where));
        std::optional<T> value = decode_current<T>();
        if (!value) refuse(detail::archived_type_name<T>());
        return std::move(*value);
    }
    template <class T>
    std::optional<T> decode_current();
    template <class T>
    T decode_number();

    CF::Array objects_;
    CF::Dictionary top_;
    unknown_classes unknown_ = unknown_classes::refuse;
    std::vector<level> levels_;
    std::unordered_set<std::uint32_t> uids_inside_;
    std::unordered_set<const void*> containers_inside_;
    /// What has been decoded as a plain value, by uid, and what classes are named, by uid.
    std::unordered_map<std::uint32_t, CF::AutoPointer> plain_values_;
    std::unordered_map<std::uint32_t, CF::String> class_names_;
};

/// Everything in an archive as plain values, under the keys of its "$top", of which most have only "root".
///
/// The null object is kCFNull. See `keyed_unarchiver` for what plain values are.
/// @throws std::invalid_argument "The dictionary is not a keyed archive"
/// @throws archiver_exceptions::archive_error for what has no plain value
/// @throws std::bad_alloc
QV_EXPORT CF::Dictionary unarchive(const CF::Dictionary& archive,
                                   unknown_classes unknown = unknown_classes::refuse);

template <class T>
std::optional<T> keyed_unarchiver::decode_current() {
    constexpr std::string_view type = detail::archived_type_name<T>();
    check_nesting(type);
    if constexpr (detail::is_optional<T>) {
        return std::optional<T>(std::in_place, decode_current<typename T::value_type>());
    } else {
        if (!get_raw()) return std::nullopt;
        if constexpr (detail::custom_decoded<T>) {
            return detail::custom_decode<T>(*this);
        } else if constexpr (std::same_as<T, CF::AutoPointer>) {
            return plain_value();
        } else if constexpr (std::derived_from<T, CF::Type>) {
            T value(plain_value());
            if (!value) refuse(type);
            return value;
        } else if constexpr (std::same_as<T, bool>) {
            return from_cf_type_t<bool>{}(decode_current<CF::Boolean>().value());
        } else if constexpr (std::integral<T> || std::floating_point<T>) {
            return decode_number<T>();
        } else if constexpr (std::same_as<T, std::string>) {
            return decode_current<CF::String>().value().to_string();
        } else if constexpr (std::same_as<T, std::vector<std::byte>>) {
            return decode_current<CF::Data>().value().to_vector();
        } else if constexpr (detail::is_vector<T>) {
            T values;
            for (std::size_t index = 0; const CF::AutoPointer& element : element_references(type))
                values.push_back(decode_element<typename T::value_type>(element, index++));
            return values;
        } else {
            static_assert(detail::string_map<T>, "a keyed archive cannot hold a value of this type");
            T values;
            const auto [keys, elements] = entry_references(type);
            for (std::size_t index = 0; index < keys.size(); ++index) {
                std::string key = decode_element<std::string>(keys[index], index);
                place where = CF::String(key);
                values.emplace(std::move(key),
                               decode_element<typename T::mapped_type>(elements[index], std::move(where)));
            }
            return values;
        }
    }
}

template <class T>
T keyed_unarchiver::decode_number() {
    const CF::Number number = decode_current<CF::Number>().value();
    if constexpr (std::floating_point<T>) {
        return static_cast<T>(from_cf_type_t<double>{}(number));
    } else {
        if (const std::optional<T> exact = number.exact<T>()) return *exact;
        // An unsigned number is stored bit for bit in the signed type of its width.
        if constexpr (std::is_unsigned_v<T>)
            if (const auto bits = number.exact<std::make_signed_t<T>>()) return static_cast<T>(*bits);
        refuse(detail::archived_type_name<T>());
    }
}

} // namespace QV
