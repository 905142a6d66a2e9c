#include "plain_decoder.h"

#include "archived_members.h"

#include <CFAdapters/Date.h>

#include <new>
#include <utility>

namespace QV {

namespace {

const CF::String string_key(CFSTR("NS.string"));
const CF::String data_key(CFSTR("NS.data"));
const CF::String integer_key(CFSTR("NS.intval"));
const CF::String real_key(CFSTR("NS.dblval"));
const CF::String boolean_key(CFSTR("NS.boolval"));
const CF::String time_key(CFSTR("NS.time"));

/// Whether an object stands for itself.
bool is_plain(const CF::AutoPointer& object) {
    return object.is<CF::String>() || object.is<CF::Number>() || object.is<CF::Boolean>() ||
           object.is<CF::Date>() || object.is<CF::Data>() || object.get() == kCFNull;
}

/// About a second's work, and plenty for dictionaries of some thousand keys that are containers.
constexpr std::uint64_t most_compared = 20'000'000;

std::string type_name(const CF::AutoPointer& object) {
    return CF::String::adopt(CFCopyTypeIDDescription(object.type_id())).to_string();
}

std::vector<const void*> raw(const std::vector<CF::AutoPointer>& objects) {
    std::vector<const void*> pointers;
    pointers.reserve(objects.size());
    for (const CF::AutoPointer& object : objects)
        pointers.push_back(object.get());
    return pointers;
}

} // namespace

plain_decoder::plain_decoder(keyed_unarchiver& unarchiver)
    : unarchiver_(unarchiver), outermost_(unarchiver.levels_.size()) {}

plain_decoder::~plain_decoder() {
    while (unarchiver_.levels_.size() > outermost_)
        unarchiver_.pop();
}

CF::AutoPointer plain_decoder::run() {
    const std::optional<std::uint32_t>& uid = unarchiver_.levels_.back().uid;
    if (uid) {
        const auto known = unarchiver_.plain_values_.find(*uid);
        if (known != unarchiver_.plain_values_.end()) return known->second;
    }
    std::optional<CF::AutoPointer> value = begin();
    for (;;) {
        if (value) {
            if (containers_.empty()) return *value;
            accept(*value);
        }
        const container& inner = containers_.back();
        value = inner.next == inner.references.size() ? leave_container() : visit_next();
    }
}

std::optional<CF::AutoPointer> plain_decoder::visit_next() {
    const CF::AutoPointer& reference = containers_.back().references[containers_.back().next];
    const std::optional<detail::keyed_archiver_uid> uid = detail::extract_uid(reference);
    if (!uid) {
        // Most of what stands in place of a reference has nothing in it.
        if (is_plain(reference)) return reference;
        unarchiver_.push(std::nullopt, reference, place_of_next());
        return begin();
    }
    if (uid->value == 0) return CF::AutoPointer(kCFNull);
    const auto known = unarchiver_.plain_values_.find(uid->value);
    if (known != unarchiver_.plain_values_.end()) return known->second;
    unarchiver_.push(uid->value, CF::AutoPointer(), place_of_next());
    return begin();
}

// The current object: its value, or nothing yet if it is a container, which has been entered.
std::optional<CF::AutoPointer> plain_decoder::begin() {
    const CF::AutoPointer object = unarchiver_.levels_.back().object;
    if (is_plain(object)) return leave_object(object);
    if (const CF::Array array(object); array) {
        begin_array(array);
        return std::nullopt;
    }
    const CF::Dictionary dictionary(object);
    if (!dictionary) unarchiver_.refuse(type_name(object));
    if (const std::optional<std::string> class_name = unarchiver_.get_class())
        return begin_object(dictionary, *class_name);
    begin_keys_of(dictionary, std::nullopt);
    return std::nullopt;
}

// What an object has under a key, there or referred to.
CF::AutoPointer plain_decoder::member(const CF::Dictionary& object, const CF::String& key) const {
    const CF::AutoPointer value = object[key];
    const std::optional<detail::keyed_archiver_uid> uid = detail::extract_uid(value);
    return uid ? unarchiver_.get_raw(*uid) : value;
}

// What stands for an object without members of its own; empty if it is none, or has not what it needs.
CF::AutoPointer plain_decoder::simple_value(const CF::Dictionary& object,
                                            const std::string& class_name) const {
    if (CF::validate_name<CF::String>(class_name)) return CF::String(member(object, string_key));
    if (CF::validate_name<CF::Data>(class_name)) return CF::Data(member(object, data_key));
    if (CF::validate_name<CF::Number>(class_name)) {
        for (const CF::String& key : {integer_key, real_key})
            if (CF::Number number(member(object, key)); number) return number;
        return CF::Boolean(member(object, boolean_key));
    }
    if (class_name == "NSDate") {
        const CF::Number time(member(object, time_key));
        return time ? detail::made(CF::Date(time.value<double>())) : CF::AutoPointer();
    }
    return class_name == "NSNull" ? CF::AutoPointer(kCFNull) : CF::AutoPointer();
}

std::optional<CF::AutoPointer> plain_decoder::begin_object(const CF::Dictionary& object,
                                                           const std::string& class_name) {
    if (const CF::AutoPointer value = simple_value(object, class_name)) return leave_object(value);
    if (archived_members::is_array_class(class_name)) {
        if (const auto elements = archived_members::elements(object, class_name)) {
            begin_array(*elements);
            return std::nullopt;
        }
    } else if (CF::validate_name<CF::Dictionary>(class_name)) {
        if (const auto entries = archived_members::entries(object)) {
            begin_dictionary(entries->first, entries->second);
            return std::nullopt;
        }
    }
    if (unarchiver_.unknown_ == unknown_classes::refuse) unarchiver_.refuse(class_name);
    begin_keys_of(object, class_name);
    return std::nullopt;
}

void plain_decoder::begin_array(const CF::Array& references) {
    containers_.emplace_back();
    containers_.back().references.assign(references.begin(), references.end());
}

void plain_decoder::begin_dictionary(const CF::Array& keys, const CF::Array& values) {
    begin_array(keys);
    container& entered = containers_.back();
    entered.is_dictionary = true;
    entered.keys_to_decode = keys.size();
    for (const CF::AutoPointer& value : values)
        entered.references.push_back(value);
}

void plain_decoder::begin_keys_of(const CF::Dictionary& object,
                                  const std::optional<std::string>& class_name) {
    containers_.emplace_back();
    container& entered = containers_.back();
    entered.is_dictionary = true;
    if (class_name) {
        entered.keys.push_back(archived_members::class_key);
        entered.references.push_back(CF::String(*class_name));
    }
    for (const auto& [key, value] : object) {
        if (key == archived_members::class_key) continue;
        entered.keys.push_back(key);
        entered.references.push_back(value);
    }
}

void plain_decoder::accept(const CF::AutoPointer& value) {
    container& inner = containers_.back();
    (inner.next < inner.keys_to_decode ? inner.keys : inner.values).push_back(value);
    ++inner.next;
}

CF::AutoPointer plain_decoder::leave_container() {
    const container inner = std::move(containers_.back());
    containers_.pop_back();
    if (!inner.is_dictionary) return leave_object(detail::made(CF::Array::from(inner.values)));
    compared_ += cost_.of_keys(inner.keys);
    if (compared_ > most_compared) unarchiver_.refuse("NSDictionary");
    std::vector<const void*> keys = raw(inner.keys);
    std::vector<const void*> values = raw(inner.values);
    return leave_object(detail::made(CF::Dictionary::adopt(CFDictionaryCreate(
        kCFAllocatorDefault, keys.data(), values.data(), static_cast<CFIndex>(values.size()),
        &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks))));
}

CF::AutoPointer plain_decoder::leave_object(const CF::AutoPointer& value) {
    if (const std::optional<std::uint32_t>& uid = unarchiver_.levels_.back().uid)
        unarchiver_.plain_values_.emplace(*uid, value);
    // The outermost object was entered by someone else.
    if (unarchiver_.levels_.size() > outermost_) unarchiver_.pop();
    return value;
}

keyed_unarchiver::place plain_decoder::place_of_next() const {
    const container& inner = containers_.back();
    if (!inner.is_dictionary || inner.next < inner.keys_to_decode) return inner.next;
    if (CF::String key(inner.keys[inner.next - inner.keys_to_decode]); key) return key;
    return inner.next - inner.keys_to_decode;
}

} // namespace QV
