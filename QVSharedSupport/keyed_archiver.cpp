#include <QVSharedSupport/keyed_archiver.h>

#include "archived_members.h"

#include <fmt/format.h>

#include <new>
#include <stdexcept>
#include <utility>

namespace {

using QV::detail::keyed_archiver_uid;

const CF::String uid_key(CFSTR("CF$UID"));
const CF::String class_name_key(CFSTR("$classname"));
const CF::String classes_key(CFSTR("$classes"));

void require(bool done) {
    if (!done) throw std::bad_alloc();
}

/// A new reference for every use: a list that holds one container very often is refused by the XML writer.
CF::Dictionary reference_to(keyed_archiver_uid uid) {
    const CF::Number number = QV::make_cf_type_t<std::uint32_t>{}(uid.value);
    const void* key = uid_key.get();
    const void* value = number.get();
    CF::Dictionary reference;
    if (number)
        reference = CF::Dictionary::adopt(CFDictionaryCreate(kCFAllocatorDefault, &key, &value, 1,
                                                             &kCFTypeDictionaryKeyCallBacks,
                                                             &kCFTypeDictionaryValueCallBacks));
    require(static_cast<bool>(reference));
    return reference;
}

CF::Array references_to(const std::vector<keyed_archiver_uid>& uids) {
    CF::MutableArray references = CF::MutableArray::create();
    for (const keyed_archiver_uid uid : uids)
        require(references.append(reference_to(uid)));
    return references;
}

/// What kinds of objects an archive can hold, in the order they are asked for.
enum class object_kind { string, number, array, dictionary, data };

object_kind kind_of(const void* object) {
    const CFTypeID type = CFGetTypeID(object);
    if (type == CFStringGetTypeID()) return object_kind::string;
    if (type == CFNumberGetTypeID()) return object_kind::number;
    if (type == CFArrayGetTypeID()) return object_kind::array;
    if (type == CFDictionaryGetTypeID()) return object_kind::dictionary;
    if (type == CFDataGetTypeID()) return object_kind::data;
    throw std::invalid_argument("CFTypeRef does not have a valid runtime type");
}

/// The immutable class for mutable objects too: no object tells which it is.
const char* class_name(object_kind kind) {
    switch (kind) {
    case object_kind::array:
        return "NSArray";
    case object_kind::dictionary:
        return "NSDictionary";
    default:
        return "NSData";
    }
}

/// Pops a context when the object has been filled, or could not be.
class pushed_context {
public:
    pushed_context(std::vector<QV::keyed_archiver::encoding_context>& contexts,
                   const CF::MutableDictionary& keys)
        : contexts_(contexts) {
        contexts_.push_back({keys, 0});
    }
    pushed_context(const pushed_context&) = delete;
    pushed_context& operator=(const pushed_context&) = delete;
    ~pushed_context() { contexts_.pop_back(); }

private:
    std::vector<QV::keyed_archiver::encoding_context>& contexts_;
};

} // namespace

namespace QV {

const CF::String& detail::null_object_reference_name() {
    static const CF::String name(CFSTR("$null"));
    return name;
}

const CF::String& detail::root_object_key() {
    static const CF::String key(CFSTR("root"));
    return key;
}

CF::String detail::archived_text(std::string_view text) {
    CF::String string = archived_members::string_of(text);
    if (!string) throw std::invalid_argument("A text of a keyed archive is not UTF-8");
    return string;
}

keyed_archiver::keyed_archiver()
    : objects_(CF::MutableArray::create()), top_(CF::MutableDictionary::create()), contexts_{{top_, 0}} {
    require(objects_.append(detail::null_object_reference_name()) && top_);
}

keyed_archiver::keyed_archiver(const keyed_archiver& other)
    : objects_(CF::MutableArray::copy_of(other.objects_)),
      top_(CF::MutableDictionary::copy_of(other.top_)), contexts_{{top_,
                                                                   other.contexts_.front().next_generic_key}},
      known_objects_(other.known_objects_), retained_(other.retained_), classes_(other.classes_),
      cached_uids_(other.cached_uids_) {
    require(objects_ && top_);
}

keyed_archiver& keyed_archiver::operator=(const keyed_archiver& other) {
    keyed_archiver copy(other);
    std::swap(objects_, copy.objects_);
    std::swap(top_, copy.top_);
    std::swap(contexts_, copy.contexts_);
    std::swap(known_objects_, copy.known_objects_);
    std::swap(retained_, copy.retained_);
    std::swap(classes_, copy.classes_);
    std::swap(cached_uids_, copy.cached_uids_);
    std::swap(unfilled_, copy.unfilled_);
    filling_ = false;
    return *this;
}

keyed_archiver::~keyed_archiver() = default;

void keyed_archiver::encode_cftype(const void* object, const std::string& key) {
    set_uid(contexts_.back(), stored_key(key), encode_object(object));
    fill_objects();
}

void keyed_archiver::_encodeArrayOfObjects(const CF::Array& objects, const std::string& key) {
    encode_objects({objects.begin(), objects.end()}, key);
}

void keyed_archiver::encode_objects(const std::vector<CF::AutoPointer>& objects, const std::string& key) {
    std::vector<detail::keyed_archiver_uid> uids;
    uids.reserve(objects.size());
    for (const CF::AutoPointer& object : objects)
        uids.push_back(encode_object(object.get()));
    set_object_impl(contexts_.back(), stored_key(key), references_to(uids));
    fill_objects();
}

CF::Dictionary keyed_archiver::finishEncoding() {
    CF::MutableDictionary archive = CF::MutableDictionary::create();
    require(archive.set("$archiver", CF::String(CFSTR("NSKeyedArchiver"))) &&
            archive.set("$version", CF::Number(100000)) &&
            archive.set("$objects", CF::Array(objects_).copy()) &&
            archive.set("$top", CF::Dictionary(top_).copy()));
    // Written and read back, which makes archive references of the dictionaries that stand for them, and
    // leaves nothing that the caller shares with the archiver.
    const CF::Data xml = CF::Data::adopt(CFPropertyListCreateData(kCFAllocatorDefault, archive.get(),
                                                                  kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    if (xml.empty()) return {};
    return CF::Dictionary::adopt(CFPropertyListCreateWithData(kCFAllocatorDefault, xml.get(),
                                                              kCFPropertyListImmutable, nullptr, nullptr));
}

// The uids of new objects come one by one, so that what is at n - 1 is n.
detail::keyed_archiver_uid keyed_archiver::_createObjectRefCached(int n) {
    if (n < 1) return {};
    if (static_cast<std::size_t>(n) <= cached_uids_.size())
        return cached_uids_[static_cast<std::size_t>(n) - 1];
    cached_uids_.push_back({static_cast<std::uint32_t>(n)});
    return cached_uids_.back();
}

std::string keyed_archiver::_nextGenericKey() {
    return fmt::format("${}", contexts_.back().next_generic_key++);
}

void keyed_archiver::_setObject(std::nullptr_t, detail::keyed_archiver_uid) {
    throw std::runtime_error("Attempted to encode separate null pointer.  This should never happen.");
}

std::optional<detail::keyed_archiver_uid> keyed_archiver::_referenceObject(const void* object,
                                                                           bool conditional) {
    if (const auto found = known_objects_.find(object); found != known_objects_.end()) return found->second;
    if (conditional) return std::nullopt;

    const object_kind kind = kind_of(object);
    const CF::AutoPointer retained(object);
    detail::keyed_archiver_uid uid;
    if (kind == object_kind::string || kind == object_kind::number) {
        uid = append(retained);
    } else {
        encoding_context entry{CF::MutableDictionary::create(), 0};
        uid = append(entry.keys);
        set_object_impl(entry, "$class", class_reference(class_name(kind)));
        unfilled_.push_back({retained, entry.keys});
    }
    retained_.push_back(retained);
    known_objects_.emplace(object, uid);
    return uid;
}

detail::keyed_archiver_uid keyed_archiver::encode_impl(std::true_type, std::nullptr_t) {
    return _createObjectRefCached(0);
}

detail::keyed_archiver_uid keyed_archiver::encode_impl(std::false_type, const void* object) {
    const std::optional<detail::keyed_archiver_uid> uid = _referenceObject(object, false);
    if (!uid)
        throw std::runtime_error(
            "keyed_archiver::_referenceObject did not return a value but conditional was false");
    return *uid;
}

detail::keyed_archiver_uid keyed_archiver::encode_object(const void* object) {
    return object == nullptr ? encode_impl(std::true_type(), nullptr)
                             : encode_impl(std::false_type(), object);
}

void keyed_archiver::set_object_impl(encoding_context& context, const std::string& key,
                                     const CF::Type& object) {
    const CF::String name = archived_members::string_of(key);
    if (!name) throw std::invalid_argument("A key of a keyed archive is not UTF-8");
    require(context.keys.set(name, object));
}

void keyed_archiver::set_object_impl(encoding_context& context, const std::string& key,
                                     detail::keyed_archiver_uid uid) {
    set_object_impl(context, key, reference_to(uid));
}

void keyed_archiver::set_uid(encoding_context& context, const std::string& key,
                             const std::optional<detail::keyed_archiver_uid>& uid) {
    if (!uid) throw std::runtime_error("Attempted to set a key to a nullopt uid");
    set_object_impl(context, key, *uid);
}

std::string keyed_archiver::stored_key(const std::string& key) {
    if (key.empty()) return _nextGenericKey();
    return key.front() == '$' ? "$" + key : key;
}

detail::keyed_archiver_uid keyed_archiver::append(const CF::Type& entry) {
    require(objects_.append(entry));
    return _createObjectRefCached(static_cast<int>(objects_.size() - 1));
}

detail::keyed_archiver_uid keyed_archiver::class_reference(const std::string& name) {
    if (const auto found = classes_.find(name); found != classes_.end()) return found->second;
    const CF::AutoPointer text = detail::archived_text(name);
    CF::MutableDictionary description = CF::MutableDictionary::create();
    require(description.set(class_name_key, text) &&
            description.set(classes_key, detail::made(CF::Array::of(text, CF::String(CFSTR("NSObject"))))));
    return classes_.emplace(name, append(description)).first->second;
}

void keyed_archiver::fill_objects() {
    if (std::exchange(filling_, true)) return;
    while (!unfilled_.empty()) {
        const unfilled_object next = std::move(unfilled_.front());
        unfilled_.pop_front();
        fill(next);
    }
    filling_ = false;
}

void keyed_archiver::fill(const unfilled_object& next) {
    const pushed_context context(contexts_, next.entry);
    if (const CF::Array array(next.object); array)
        CF::encode(array, *this);
    else if (const CF::Dictionary dictionary(next.object); dictionary)
        CF::encode(dictionary, *this);
    else
        CF::encode(CF::Data(next.object), *this);
}

// What the encoders of the CF:: types do within an archiver. A friend in their stead: some compilers forget
// that a function is imported when a class makes it its friend.
struct content_encoder {
    static void set_objects(keyed_archiver& archiver, const std::vector<CF::AutoPointer>& objects,
                            const std::string& key) {
        archiver.encode_objects(objects, key);
    }
    static void set_data(keyed_archiver& archiver, const CF::Data& data, const std::string& key) {
        keyed_archiver::set_object_impl(archiver.contexts_.back(), key, data);
    }
};

} // namespace QV

namespace CF {

void encode(const Array& array, QV::keyed_archiver& archiver) {
    archiver._encodeArrayOfObjects(array, "NS.objects");
}

void encode(const Dictionary& dictionary, QV::keyed_archiver& archiver) {
    std::vector<AutoPointer> keys;
    std::vector<AutoPointer> values;
    for (const auto& [key, value] : dictionary) {
        keys.push_back(key);
        values.push_back(value);
    }
    QV::content_encoder::set_objects(archiver, keys, "NS.keys");
    QV::content_encoder::set_objects(archiver, values, "NS.objects");
}

void encode(const Data& data, QV::keyed_archiver& archiver) {
    if (data) QV::content_encoder::set_data(archiver, data, "NS.data");
}

} // namespace CF
