/// Writing graphs of objects as keyed archives, in the layout of NSKeyedArchiver.
///
///     QV::keyed_archiver archiver;
///     archiver.encode(std::vector<std::string>{"one", "two"}, "root");
///     CF::Dictionary archive = archiver.finishEncoding(); // to be written as a property list
///
/// Strings, numbers, arrays, dictionaries and data can be archived. Every object is stored once, however
/// often it is met: two keys that hold one object do so again after unarchiving, and containers may hold
/// themselves. What counts is that it is the same object, not that it is equal.
///
/// Thread safety: different archivers may be used at the same time, one may not. Nothing here blocks, and the
/// stack used does not depend on how deep the graph is.
#pragma once

#include <QVSharedSupport/archived_types.h>
#include <QVSharedSupport/export.h>

#include <CFAdapters/Array.h>
#include <CFAdapters/Data.h>
#include <CFAdapters/Dictionary.h>

#include <boost/unordered/unordered_flat_map.hpp>

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace QV {
class keyed_archiver;
struct content_encoder;
struct keyed_archiver_internals;
} // namespace QV

namespace CF {

/// Writes the content of an array into the object that is being encoded: "NS.objects".
QV_EXPORT void encode(const Array& array, QV::keyed_archiver& archiver);
/// Writes the content of a dictionary into the object that is being encoded: "NS.keys" and "NS.objects".
QV_EXPORT void encode(const Dictionary& dictionary, QV::keyed_archiver& archiver);
/// Writes the content of a data object into the object that is being encoded: "NS.data".
QV_EXPORT void encode(const Data& data, QV::keyed_archiver& archiver);

} // namespace CF

namespace QV {

/// Makes one archive.
///
/// Keys: one that begins with "$" is stored with another "$" before it, since the archive's own begin so. An
/// empty one is replaced by "$0", "$1" and so on, counted per object. A key used twice keeps the later value.
///
/// The objects are retained until the archiver goes; what is changed before `finishEncoding` may or may not
/// show. After an exception the archiver can only be destroyed or assigned to.
class keyed_archiver {
public:
    /// An archive without objects. @throws std::bad_alloc
    QV_EXPORT keyed_archiver();
    /// An archiver that goes on from the same point on its own. @throws std::bad_alloc
    QV_EXPORT keyed_archiver(const keyed_archiver& other);
    QV_EXPORT keyed_archiver& operator=(const keyed_archiver& other);
    QV_EXPORT ~keyed_archiver();

    /// Stores `object` and all it contains under `key`; null is stored as the null object.
    /// @throws std::invalid_argument "CFTypeRef does not have a valid runtime type" for an object that cannot
    ///     be archived, here or within a container: a boolean, date, URL, set and so on
    /// @throws std::invalid_argument "A key of a keyed archive is not UTF-8"
    /// @throws std::bad_alloc
    QV_EXPORT void encode_cftype(const void* object, const std::string& key);

    /// Stores a native value under `key`: a number, a text in UTF-8, bytes, a `CF::` wrapper, a vector or
    /// a string-keyed map of such, or an optional, stored as the null object without a value.
    /// @throws std::invalid_argument "A text of a keyed archive is not UTF-8", and what `encode_cftype`
    /// throws
    template <class T>
    void encode(const T& value, const std::string& key) {
        encode_cftype(detail::archived_object(value).get(), key);
    }

    /// Stores the elements, and under `key` an array of references to them. @throws as `encode_cftype`
    QV_EXPORT void _encodeArrayOfObjects(const CF::Array& objects, const std::string& key);

    /// The archive so far: "$archiver", "$version", "$objects" and "$top", made of plain property-list
    /// objects and archive references. Empty if it cannot be written. @throws std::bad_alloc
    QV_EXPORT CF::Dictionary finishEncoding();

    /// An object being encoded.
    struct encoding_context {
        CF::MutableDictionary keys;         ///< Receives what is encoded.
        std::uint32_t next_generic_key = 0; ///< The number of the next empty key.
    };

private:
    friend struct content_encoder;
    friend struct keyed_archiver_internals; // for what only a mistake in here could reach

    /// A container whose entry in the table is still to be filled.
    struct unfilled_object {
        CF::AutoPointer object;
        CF::MutableDictionary entry;
    };

    QV_EXPORT detail::keyed_archiver_uid _createObjectRefCached(int n);
    QV_EXPORT std::string _nextGenericKey();
    QV_EXPORT void _setObject(std::nullptr_t, detail::keyed_archiver_uid uid);
    QV_EXPORT std::optional<detail::keyed_archiver_uid> _referenceObject(const void* object,
                                                                         bool conditional);
    QV_EXPORT detail::keyed_archiver_uid encode_impl(std::true_type, std::nullptr_t);
    detail::keyed_archiver_uid encode_impl(std::false_type, const void* object);
    QV_EXPORT static void set_object_impl(encoding_context& context, const std::string& key,
                                          const CF::Type& object);
    QV_EXPORT static void set_object_impl(encoding_context& context, const std::string& key,
                                          detail::keyed_archiver_uid uid);
    QV_EXPORT static void set_uid(encoding_context& context, const std::string& key,
                                  const std::optional<detail::keyed_archiver_uid>& uid);

    detail::keyed_archiver_uid encode_object(const void* object);
    void encode_objects(const std::vector<CF::AutoPointer>& objects, const std::string& key);
    std::string stored_key(const std::string& key);
    detail::keyed_archiver_uid append(const CF::Type& entry);
    detail::keyed_archiver_uid class_reference(const std::string& name);
    void fill_objects();
    void fill(const unfilled_object& next);

    CF::MutableArray objects_;
    CF::MutableDictionary top_;
    std::vector<encoding_context> contexts_;
    // Flat: the nodes of another map, all over the heap, are what a large archive would spend its time on.
    boost::unordered_flat_map<const void*, detail::keyed_archiver_uid> known_objects_;
    /// Those in `known_objects_`: no other object may come to stand at the address of one that has its uid.
    std::vector<CF::AutoPointer> retained_;
    std::map<std::string, detail::keyed_archiver_uid> classes_;
    std::vector<detail::keyed_archiver_uid> cached_uids_;
    /// Containers are filled one after another, not within each other: that is what saves the stack.
    std::deque<unfilled_object> unfilled_;
    bool filling_ = false;
};

} // namespace QV
