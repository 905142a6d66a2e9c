#include <QVSharedSupport/keyed_unarchiver.h>

#include "archived_members.h"
#include "plain_decoder.h"

#include <fmt/format.h>

#include <new>
#include <utility>

namespace QV {

namespace {

const CF::String class_name_key(CFSTR("$classname"));
const CF::String objects_key(CFSTR("$objects"));
const CF::String top_key(CFSTR("$top"));

/// Whether other objects can be reached from this one.
bool is_container(const CF::AutoPointer& object) {
    return object.is<CF::Array>() || object.is<CF::Dictionary>();
}

} // namespace

std::optional<detail::archived_class> detail::decode(archived_class*, keyed_unarchiver& unarchiver) {
    const CF::String name = CF::Dictionary(unarchiver.get_raw()).get<CF::String>(class_name_key);
    if (!name) return std::nullopt;
    return archived_class{name.to_string(), {}};
}

keyed_unarchiver::keyed_unarchiver(CF::Array objects) : objects_(std::move(objects)) {}

keyed_unarchiver keyed_unarchiver::open(const CF::Dictionary& archive, unknown_classes unknown) {
    keyed_unarchiver unarchiver(archive.get<CF::Array>(objects_key));
    unarchiver.top_ = archive.get<CF::Dictionary>(top_key);
    unarchiver.unknown_ = unknown;
    if (!unarchiver.objects_ || !unarchiver.top_)
        throw std::invalid_argument("The dictionary is not a keyed archive");
    return unarchiver;
}

keyed_unarchiver::keyed_unarchiver(const keyed_unarchiver&) = default;
keyed_unarchiver::keyed_unarchiver(keyed_unarchiver&&) noexcept = default;
keyed_unarchiver& keyed_unarchiver::operator=(const keyed_unarchiver&) = default;
keyed_unarchiver& keyed_unarchiver::operator=(keyed_unarchiver&&) noexcept = default;
keyed_unarchiver::~keyed_unarchiver() = default;

CF::AutoPointer keyed_unarchiver::get_raw(detail::keyed_archiver_uid uid) {
    if (uid.value == 0) return {};
    CF::AutoPointer object = objects_[uid.value];
    if (!object || object.get() == kCFNull) throw archiver_exceptions::missing_uid(uid, key_path());
    return object;
}

CF::AutoPointer keyed_unarchiver::get_raw() {
    return levels_.empty() ? CF::AutoPointer(top_) : levels_.back().object;
}

std::optional<std::string> keyed_unarchiver::get_class() {
    const auto uid = detail::extract_uid(CF::Dictionary(get_raw())[archived_members::class_key]);
    if (!uid) return std::nullopt;
    auto known = class_names_.find(uid->value);
    if (known == class_names_.end()) {
        const CF::Dictionary description(get_raw(*uid));
        known = class_names_.emplace(uid->value, description.get<CF::String>(class_name_key)).first;
    }
    return known->second ? std::optional(known->second.to_string()) : std::nullopt;
}

std::optional<CF::AutoPointer> keyed_unarchiver::value_for(const std::string& key) {
    const CF::Dictionary current(get_raw());
    CF::AutoPointer value =
        current[archived_members::string_of(key.starts_with('$') ? fmt::format("${}", key) : key)];
    return value ? std::optional(std::move(value)) : std::nullopt;
}

CF::AutoPointer keyed_unarchiver::plain_value() {
    return get_raw() ? plain_decoder(*this).run() : CF::AutoPointer();
}

CF::Array keyed_unarchiver::element_references(std::string_view type) {
    if (CF::Array array(get_raw()); array) return array;
    const std::optional<std::string> name = get_class();
    if (!name || !archived_members::is_array_class(*name)) refuse(type);
    const auto elements = archived_members::elements(CF::Dictionary(get_raw()), *name);
    if (!elements) refuse(*name);
    return *elements;
}

std::pair<CF::Array, CF::Array> keyed_unarchiver::entry_references(std::string_view type) {
    const CF::Dictionary current(get_raw());
    const std::optional<std::string> name = get_class();
    if (!name || !CF::validate_name<CF::Dictionary>(*name)) refuse(type);
    const auto entries = archived_members::entries(current);
    if (!entries) refuse(*name);
    return *entries;
}

void keyed_unarchiver::refuse(std::string_view type) const {
    throw archiver_exceptions::cant_decode_as_value(type, key_path());
}

void keyed_unarchiver::check_nesting(std::string_view type) const {
    if (levels_.size() > most_nested) refuse(type);
}

void keyed_unarchiver::push(std::optional<std::uint32_t> uid, CF::AutoPointer object, place where) {
    const bool inline_container = !uid && is_container(object);
    levels_.push_back({uid, std::move(object), std::move(where)});
    const CFTypeRef container = inline_container ? levels_.back().object.get() : nullptr;
    try {
        if (uid ? uids_inside_.contains(*uid) : container && containers_inside_.contains(container))
            throw archiver_exceptions::decode_cycle(key_path());
        if (uid) levels_.back().object = get_raw({*uid});
        if (uid && *uid != 0) uids_inside_.insert(*uid);
        if (container) containers_inside_.insert(container);
    } catch (...) {
        levels_.pop_back();
        throw;
    }
}

void keyed_unarchiver::push(const CF::AutoPointer& reference, place where) {
    if (const auto uid = detail::extract_uid(reference))
        push(uid->value, CF::AutoPointer(), std::move(where));
    else
        push(std::nullopt, reference, std::move(where));
}

void keyed_unarchiver::pop() noexcept {
    const level& left = levels_.back();
    if (left.uid)
        uids_inside_.erase(*left.uid);
    else
        containers_inside_.erase(left.object.get());
    levels_.pop_back();
}

std::string keyed_unarchiver::key_path() const {
    std::string path;
    for (const level& passed : levels_) {
        if (const auto* key = std::get_if<CF::String>(&passed.where))
            path += fmt::format("{}{}", path.empty() ? "" : ".", key->to_string());
        else if (const auto* index = std::get_if<std::size_t>(&passed.where))
            path += fmt::format("[{}]", *index);
    }
    return path;
}

keyed_unarchiver::entered_object::entered_object(keyed_unarchiver& unarchiver, detail::keyed_archiver_uid uid,
                                                 place where)
    : unarchiver_(unarchiver) {
    unarchiver_.push(uid.value, CF::AutoPointer(), std::move(where));
}

keyed_unarchiver::entered_object::entered_object(keyed_unarchiver& unarchiver,
                                                 const CF::AutoPointer& reference, place where)
    : unarchiver_(unarchiver) {
    unarchiver_.push(reference, std::move(where));
}

keyed_unarchiver::entered_object::~entered_object() {
    unarchiver_.pop();
}

CF::Dictionary keyed_unarchiver::plain_top() {
    CF::MutableDictionary values = CF::MutableDictionary::create();
    for (const auto& [key, reference] : top_) {
        const auto value = decode_reference<CF::AutoPointer>(reference, CF::String(key));
        if (!values.set(key, value ? *value : CF::AutoPointer(kCFNull))) throw std::bad_alloc();
    }
    return values;
}

CF::Dictionary unarchive(const CF::Dictionary& archive, unknown_classes unknown) {
    return keyed_unarchiver::open(archive, unknown).plain_top();
}

} // namespace QV
