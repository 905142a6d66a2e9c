// What was recorded of collections, equality, ownership, data and URLs.
#include "vectors.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <limits>
#include <map>

namespace {

using namespace vectors;

owned<CFMutableArrayRef> letters(std::initializer_list<CFStringRef> values) {
    auto made = own(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (CFStringRef value : values)
        CFArrayAppendValue(made.get(), value);
    return made;
}

std::string joined(CFArrayRef array) {
    std::string text;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
        text += readable(units_of(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i)))) + " ";
    return text;
}

std::string joined(const json& array) {
    std::string text;
    for (const json& value : array.GetArray())
        text += std::string(value.GetString()) + " ";
    return text;
}

// An "x" that no other code shares.
owned<CFStringRef> new_string() {
    return own(CFStringCreateWithCString(nullptr, "x", kCFStringEncodingUTF8));
}

difference check_pair(const test_case& one) {
    const auto a = make_value(one.input["a"]);
    const auto b = make_value(one.input["b"]);
    if (!a || !b) return "not made";
    const bool equal = CFEqual(a.get(), b.get()) != 0;
    if (equal && CFHash(a.get()) != CFHash(b.get())) return "equal objects with different hashes";
    if (equal != (CFEqual(b.get(), a.get()) != 0)) return "equality depends on the order";
    return differs<bool>("equal", equal, one.expect["equal"].GetBool());
}

difference check_mutable_equality(const json& expect) {
    const auto array = letters({CFSTR("x")});
    const auto array_copy = own(CFArrayCreateCopy(nullptr, array.get()));
    const auto string = own(CFStringCreateMutableCopy(nullptr, 0, CFSTR("x")));
    const auto data = own(CFDataCreateMutable(nullptr, 0));
    CFDataAppendBytes(data.get(), reinterpret_cast<const UInt8*>("x"), 1);
    const auto data_copy = own(CFDataCreateCopy(nullptr, data.get()));
    const std::array<std::pair<const char*, std::pair<CFTypeRef, CFTypeRef>>, 3> pairs = {{
        {"array", {array.get(), array_copy.get()}},
        {"string", {string.get(), CFSTR("x")}},
        {"data", {data.get(), data_copy.get()}},
    }};
    for (const auto& [name, pair] : pairs) {
        if (const auto other =
                differs<bool>(name, CFEqual(pair.first, pair.second) != 0, expect[name].GetBool()))
            return other;
        if (CFHash(pair.first) != CFHash(pair.second)) return std::string(name) + ": hashes differ";
    }
    return std::nullopt;
}

// Collects named answers and compares them with the recorded ones, none left out.
class answers {
public:
    void count(const std::string& name, long long value) { values_[name] = std::to_string(value); }
    void flag(const std::string& name, bool value) { values_[name] = value ? "true" : "false"; }
    void list(const std::string& name, CFArrayRef value) { values_[name] = joined(value); }

    difference compare(const json& expect) const {
        for (const auto& member : expect.GetObject()) {
            const std::string name = member.name.GetString();
            const std::string recorded = member.value.IsBool()    ? member.value.GetBool() ? "true" : "false"
                                         : member.value.IsArray() ? joined(member.value)
                                                                  : std::to_string(member.value.GetInt64());
            const auto found = values_.find(name);
            if (found == values_.end()) return "no answer for " + name;
            if (const auto other = differs(name, found->second, recorded)) return other;
        }
        return std::nullopt;
    }

private:
    std::map<std::string, std::string> values_;
};

template <typename Copy>
bool copy_is_same(CFTypeRef original, Copy copy_owned) {
    return own(copy_owned).get() == original;
}

void answer_about_strings(answers& got) {
    const auto string = new_string();
    got.count("new_string", CFGetRetainCount(string.get()));
    got.flag("CFRetain_returns_argument", CFRetain(string.get()) == string.get());
    got.count("after_retain", CFGetRetainCount(string.get()));
    const void* value = string.get();
    {
        const auto array = own(CFArrayCreate(nullptr, &value, 1, &kCFTypeArrayCallBacks));
        got.count("after_array_create", CFGetRetainCount(string.get()));
        const auto copy = own(CFArrayCreateCopy(nullptr, array.get()));
        got.flag("array_copy_same_pointer", copy == array);
        got.count("array_retain_count_afte", CFGetRetainCount(array.get()));
        got.count("array_retain_count_after_copy", CFGetRetainCount(array.get()));
        got.count("string_after_array_copy", CFGetRetainCount(string.get()));
        CFArrayGetValueAtIndex(array.get(), 0);
        got.flag("get_value_does_not_retain", CFGetRetainCount(string.get()) == 4);
    }
    got.count("after_array_release", CFGetRetainCount(string.get()));
    const auto plain = own(CFArrayCreate(nullptr, &value, 1, nullptr));
    got.count("after_null_callback_array", CFGetRetainCount(string.get()));
    const auto dictionary = own(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                          &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(dictionary.get(), string.get(), string.get());
    got.count("after_dict_set_key_and_value", CFGetRetainCount(string.get()));
    CFDictionaryRemoveValue(dictionary.get(), string.get());
    got.count("after_dict_remove", CFGetRetainCount(string.get()));
    CFRelease(string.get());
    got.flag("string_copy_same_pointer",
             copy_is_same(string.get(), CFStringCreateCopy(nullptr, string.get())));
    got.flag("mutable_copy_same_pointer",
             copy_is_same(string.get(), CFStringCreateMutableCopy(nullptr, 0, string.get())));
    const auto empty = own(CFStringCreateWithCString(nullptr, "", kCFStringEncodingUTF8));
    const auto other_empty = own(CFStringCreateWithCString(nullptr, "", kCFStringEncodingUTF8));
    got.flag("empty_string_same_pointer", empty == other_empty);
}

const void* stored_key(CFStringRef key, const CFDictionaryKeyCallBacks* callbacks) {
    const auto dictionary =
        own(CFDictionaryCreateMutable(nullptr, 0, callbacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(dictionary.get(), key, CFSTR("v"));
    const void* stored = nullptr;
    CFDictionaryGetKeysAndValues(dictionary.get(), &stored, nullptr);
    return stored;
}

void answer_about_copies(answers& got) {
    const auto string = new_string();
    const auto changeable = own(CFStringCreateMutableCopy(nullptr, 0, string.get()));
    got.flag("copystring_key_same_pointer_for_immutable_string",
             stored_key(string.get(), &kCFCopyStringDictionaryKeyCallBacks) == string.get());
    got.flag("copystring_key_same_pointer_for_mutable_string",
             stored_key(changeable.get(), &kCFCopyStringDictionaryKeyCallBacks) == changeable.get());
    got.flag("type_key_callbacks_same_pointer_for_mutable_string",
             stored_key(changeable.get(), &kCFTypeDictionaryKeyCallBacks) == changeable.get());
    const auto data = own(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("abc"), 3));
    got.flag("data_copy_same_pointer", copy_is_same(data.get(), CFDataCreateCopy(nullptr, data.get())));
    const auto mutable_data = own(CFDataCreateMutableCopy(nullptr, 0, data.get()));
    got.flag("copy_of_mutable_data_same_pointer",
             copy_is_same(mutable_data.get(), CFDataCreateCopy(nullptr, mutable_data.get())));
    const auto dictionary = own(CFDictionaryCreate(nullptr, nullptr, nullptr, 0, nullptr, nullptr));
    got.flag("copy_of_immutable_dict_same_pointer",
             copy_is_same(dictionary.get(), CFDictionaryCreateCopy(nullptr, dictionary.get())));
    const auto array = letters({});
    got.flag("copy_of_mutable_array_same_pointer",
             copy_is_same(array.get(), CFArrayCreateCopy(nullptr, array.get())));
}

void answer_about_constants(answers& got) {
    constexpr CFIndex most = std::numeric_limits<CFIndex>::max();
    got.flag("true_is_constant_retain_count_max", CFGetRetainCount(kCFBooleanTrue) == most);
    for (int i = 0; i < 10; ++i)
        CFRelease(kCFBooleanTrue);
    got.flag("true_still_ok_after_over_release", CFBooleanGetValue(kCFBooleanTrue) != 0);
    got.flag("null_constant", CFGetRetainCount(kCFNull) == most);
    const auto small = make_number(kCFNumberIntType, "5");
    const auto same = make_number(kCFNumberIntType, "5");
    // Two owners are counted in the record; here the number is a constant that both of them share.
    got.count("cached_small_number", small == same && CFGetRetainCount(small.get()) == most ? 2 : 0);
    const auto large = make_number(kCFNumberIntType, "500");
    got.count("new_number_500", CFGetRetainCount(large.get()));
}

difference check_retain_counts(const json& expect) {
    answers got;
    answer_about_strings(got);
    answer_about_copies(got);
    answer_about_constants(got);
    return got.compare(expect);
}

difference check_array_operations(const json& expect) {
    answers got;
    const auto b = own(CFStringCreateWithCString(nullptr, "b", kCFStringEncodingUTF8));
    const auto array = letters({CFSTR("a"), CFSTR("b"), CFSTR("c")});
    const CFRange all = CFRangeMake(0, 3);
    got.flag("contains_equal_other_pointer", CFArrayContainsValue(array.get(), all, b.get()) != 0);
    got.count("first_index", CFArrayGetFirstIndexOfValue(array.get(), all, b.get()));
    got.count("first_index_missing", CFArrayGetFirstIndexOfValue(array.get(), all, CFSTR("q")));
    const void* value = b.get();
    const auto plain = own(CFArrayCreate(nullptr, &value, 1, nullptr));
    got.flag("null_callbacks_contains_equal_other_pointer",
             CFArrayContainsValue(plain.get(), CFRangeMake(0, 1), CFSTR("b")) != 0);
    got.flag("null_callbacks_contains_same_pointer",
             CFArrayContainsValue(plain.get(), CFRangeMake(0, 1), b.get()) != 0);
    CFArraySetValueAtIndex(array.get(), 3, CFSTR("d"));
    got.list("set_at_count_appends", array.get());
    CFArrayInsertValueAtIndex(array.get(), 0, CFSTR("z"));
    got.list("insert_0", array.get());
    CFArrayRemoveValueAtIndex(array.get(), 1);
    got.list("remove_1", array.get());
    CFArrayRemoveAllValues(array.get());
    got.count("remove_all_count", CFArrayGetCount(array.get()));
    return got.compare(expect);
}

owned<CFMutableDictionaryRef> make_mutable_dictionary() {
    return own(CFDictionaryCreateMutable(nullptr, 1, &kCFTypeDictionaryKeyCallBacks,
                                         &kCFTypeDictionaryValueCallBacks));
}

difference check_capacity(const test_case& one) {
    const auto array = own(CFArrayCreateMutable(nullptr, 1, &kCFTypeArrayCallBacks));
    const auto dictionary = make_mutable_dictionary();
    for (int i = 0; i < 5; ++i) {
        const auto number = make_number(kCFNumberIntType, std::to_string(i + 100));
        CFArrayAppendValue(array.get(), number.get());
        CFDictionarySetValue(dictionary.get(), number.get(), number.get());
    }
    const bool of_array = one.name.starts_with("array");
    return differs<long long>(
        "count", of_array ? CFArrayGetCount(array.get()) : CFDictionaryGetCount(dictionary.get()),
        one.expect["count"].GetInt64());
}

// The order means nothing, but each key is listed once.
difference check_iteration(const json& expect) {
    const auto dictionary = make_mutable_dictionary();
    std::vector<std::string> inserted;
    for (const json& key : expect["inserted"].GetArray()) {
        inserted.emplace_back(key.GetString());
        CFDictionarySetValue(dictionary.get(), make_string(key).get(), CFSTR("v"));
    }
    std::vector<const void*> keys(inserted.size());
    if (CFDictionaryGetCount(dictionary.get()) != static_cast<CFIndex>(keys.size()))
        return "keys are missing";
    CFDictionaryGetKeysAndValues(dictionary.get(), keys.data(), nullptr);
    std::vector<std::string> listed;
    for (const void* key : keys)
        listed.push_back(readable(units_of(static_cast<CFStringRef>(key))));
    std::sort(listed.begin(), listed.end());
    std::sort(inserted.begin(), inserted.end());
    return listed == inserted ? std::nullopt : difference("other keys are listed");
}

difference check_repeated_keys(const json& expect) {
    std::array<const void*, 3> keys = {CFSTR("a"), CFSTR("b"), CFSTR("a")};
    std::array<const void*, 3> values = {CFSTR("1"), CFSTR("2"), CFSTR("3")};
    const auto made =
        own(CFDictionaryCreate(nullptr, keys.data(), values.data(), 3, &kCFTypeDictionaryKeyCallBacks,
                               &kCFTypeDictionaryValueCallBacks));
    if (const auto other =
            differs<long long>("count", CFDictionaryGetCount(made.get()), expect["count"].GetInt64()))
        return other;
    return differs<std::string>(
        "a", readable(units_of(static_cast<CFStringRef>(CFDictionaryGetValue(made.get(), CFSTR("a"))))),
        expect["a"].GetString());
}

difference check_plain_pointers(const json& expect) {
    const auto key = new_string();
    const auto dictionary = own(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
    CFDictionarySetValue(dictionary.get(), key.get(), nullptr);
    if (const auto other = differs<bool>("same", CFDictionaryContainsKey(dictionary.get(), key.get()) != 0,
                                         expect["same_pointer"].GetBool()))
        return other;
    return differs<bool>("equal", CFDictionaryContainsKey(dictionary.get(), new_string().get()) != 0,
                         expect["equal_other_pointer"].GetBool());
}

difference check_set(const json& expect) {
    answers got;
    const auto set = own(CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks));
    CFSetAddValue(set.get(), make_number(kCFNumberIntType, "1").get());
    CFSetAddValue(set.get(), make_number(kCFNumberDoubleType, "1.0").get());
    CFSetAddValue(set.get(), kCFBooleanTrue);
    got.count("count_1_1.0_true", CFSetGetCount(set.get()));
    CFSetAddValue(set.get(), new_string().get());
    CFSetAddValue(set.get(), new_string().get());
    got.count("count_after_equal_strings", CFSetGetCount(set.get()));
    return got.compare(expect);
}

difference check_url(const test_case& one) {
    const std::string program = one.input["program"].GetString();
    const std::size_t start = program.find('\'') + 1;
    const std::string text = program.substr(start, program.rfind('\'') - start);
    const auto string = own(CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8));
    const auto url = own(CFURLCreateWithString(nullptr, string.get(), nullptr));
    if (const auto other = differs<bool>("made", url != nullptr, one.expect["non_null"].GetBool()))
        return other;
    if (!url) return std::nullopt;
    return differs<std::string>("text", readable(units_of(CFURLGetString(url.get()))),
                                one.expect["string"].GetString());
}

difference check_data(const test_case& one) {
    const bool is_negative = one.name == "data-negative-length";
    const auto data = own(CFDataCreate(nullptr, is_negative ? reinterpret_cast<const UInt8*>("abc") : nullptr,
                                       is_negative ? -1 : 0));
    answers got;
    got.flag("non_null", data != nullptr);
    got.count("length", CFDataGetLength(data.get()));
    got.flag("byteptr_non_null", CFDataGetBytePtr(data.get()) != nullptr);
    return got.compare(one.expect);
}

// Recorded as crashes or as changes to what cannot change: here they do nothing.
difference check_misuse(const std::string& name) {
    const auto array = own(CFArrayCreateCopy(nullptr, letters({CFSTR("x")}).get()));
    const auto dictionary = make_mutable_dictionary();
    const auto fixed = own(CFDictionaryCreateCopy(nullptr, dictionary.get()));
    const auto data = own(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("a"), 1));
    const auto changeable = letters({});
    const auto string = new_string();
    // The type says that it could change; the object cannot.
    CFArrayAppendValue(const_cast<CFMutableArrayRef>(array.get()), CFSTR("y"));
    CFDataAppendBytes(const_cast<CFMutableDataRef>(data.get()), reinterpret_cast<const UInt8*>("b"), 1);
    CFStringAppend(const_cast<CFMutableStringRef>(string.get()), CFSTR("y"));
    CFDictionarySetValue(const_cast<CFMutableDictionaryRef>(fixed.get()), CFSTR("k"), CFSTR("v"));
    CFArrayAppendValue(changeable.get(), nullptr);
    CFDictionarySetValue(dictionary.get(), CFSTR("k"), nullptr);
    CFDictionarySetValue(dictionary.get(), nullptr, CFSTR("v"));
    const std::map<std::string, bool> is_right = {
        {"null-CFEqual(x,NULL)", !CFEqual(CFSTR("x"), nullptr) && !CFEqual(nullptr, CFSTR("x"))},
        {"null-CFRelease(NULL)", (CFRelease(nullptr), true)},
        {"null-CFRetain(NULL)", CFRetain(nullptr) == nullptr},
        {"null-CFGetRetainCount(NULL)", CFGetRetainCount(nullptr) == 0},
        {"null-CFDictionaryGetValue(NULL dict)", CFDictionaryGetValue(nullptr, CFSTR("k")) == nullptr},
        {"null-CFStringGetLength(NULL)", CFStringGetLength(nullptr) == 0},
        {"array-get-out-of-range", CFArrayGetValueAtIndex(array.get(), 5) == nullptr},
        {"append-to-immutable-array", CFArrayGetCount(array.get()) == 1},
        {"set-in-immutable-dict", CFDictionaryGetCount(fixed.get()) == 0},
        {"append-to-immutable-data", CFDataGetLength(data.get()) == 1},
        {"append-to-immutable-string", CFStringGetLength(string.get()) == 1},
        {"array-append-null", CFArrayGetCount(changeable.get()) == 0},
        {"dict-set-null-value", CFDictionaryGetCount(dictionary.get()) == 0},
        {"dict-set-null-key", CFDictionaryGetCount(dictionary.get()) == 0},
    };
    if (!is_right.contains(name)) return "no such case is known";
    return is_right.at(name) ? std::nullopt : difference("not refused");
}

difference check(const test_case& one) {
    if (one.name == "hash-values") return "hashes are not promised";
    if (one.name == "equal-mutable-vs-immutable") return check_mutable_equality(one.expect);
    if (one.name.starts_with("equal-")) return check_pair(one);
    if (one.name == "retain-counts") return check_retain_counts(one.expect);
    if (one.name == "array-operations") return check_array_operations(one.expect);
    if (one.name.ends_with("-capacity-is-a-hint")) return check_capacity(one);
    if (one.name.starts_with("dict-iteration-")) return check_iteration(one.expect);
    if (one.name == "dict-create-duplicate-keys") return check_repeated_keys(one.expect);
    if (one.name == "dict-null-callbacks") return check_plain_pointers(one.expect);
    if (one.name == "set-number-uniquing") return check_set(one.expect);
    if (one.name.starts_with("url-create-")) return check_url(one);
    if (one.name.starts_with("data-")) return check_data(one);
    return check_misuse(one.name);
}

// Property lists have tests of their own.
bool is_about_lists(const test_case& one) {
    for (const char* prefix : {"deepcopy-", "parse-", "isvalid-", "createdata-"}) {
        if (one.name.starts_with(prefix)) return true;
    }
    return false;
}

TEST(MiscVectors, AnswersAsRecorded) {
    run("misc.json", check, [](const test_case& one) { return !is_about_lists(one); });
}

} // namespace
