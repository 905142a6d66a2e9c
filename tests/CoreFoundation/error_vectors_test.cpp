// What every recorded error function answered.
#include "vectors.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <map>
#include <string_view>
#include <system_error>

namespace {

using namespace vectors;

std::string replaced(std::string text, std::string_view what, std::string_view by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

std::string utf8(CFStringRef string) {
    std::string text(static_cast<std::size_t>(CFStringGetLength(string)) * 3 + 1, '\0');
    EXPECT_TRUE(
        CFStringGetCString(string, text.data(), static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8));
    return text.c_str();
}

// The recorded texts were made without the language files, and by another C runtime.
class wording {
public:
    wording(CFErrorRef error, const json& expect) {
        const auto domain = own(CFStringCreateCopy(nullptr, CFErrorGetDomain(error)));
        if (!CFEqual(domain.get(), kCFErrorDomainPOSIX) || !expect["failureReason"].IsString()) return;
        recorded_ = expect["failureReason"].GetString();
        here_ = std::generic_category().message(static_cast<int>(CFErrorGetCode(error)));
        const auto reasons = own(CFErrorCopyUserInfo(error));
        // A reason that was given is the same everywhere.
        if (CFDictionaryContainsKey(reasons.get(), kCFErrorLocalizedFailureReasonKey)) recorded_ = posix_two;
        if (recorded_ == posix_two) here_ = std::generic_category().message(2);
    }

    std::string operator()(const json& text) const {
        std::string out = replaced(text.GetString(), "\\U2019", "\xE2\x80\x99");
        return recorded_.empty() ? out : replaced(std::move(out), recorded_, here_);
    }

private:
    static constexpr const char* posix_two = "No such file or directory";
    std::string recorded_;
    std::string here_;
};

difference check_text(const char* what, CFStringRef got_owned, const json& expected, const wording& word) {
    const auto got = own(got_owned);
    if (expected.IsNull() != (got == nullptr))
        return std::string(what) + (got ? ": got a text" : ": got none");
    if (!got) return std::nullopt;
    return differs<std::string>(what, utf8(got.get()), word(expected));
}

// The entries between the braces may come in any order: the texts are compared as sorted characters there.
std::string without_addresses(std::string text) {
    for (std::size_t at = text.find("0x"); at != std::string::npos; at = text.find("0x", at)) {
        const std::size_t end = text.find_first_not_of("0123456789abcdef", at + 2);
        text.replace(at, std::min(end, text.size()) - at, "<addr>");
    }
    return text;
}

// Splits "a, {b, c}, d" at its outermost commas, orders the parts, and does the same within braces.
std::string in_order(const std::string& text) {
    const std::size_t open = text.find("UserInfo={");
    if (open == std::string::npos) return text;
    std::vector<std::string> entries(1);
    std::size_t at = open + 10;
    for (int depth = 1; at < text.size(); ++at) {
        if (text[at] == '{') ++depth;
        if (text[at] == '}' && --depth == 0) break;
        if (depth == 1 && text.compare(at, 2, ", ") == 0) {
            entries.emplace_back();
            ++at;
        } else {
            entries.back() += text[at];
        }
    }
    for (std::string& entry : entries)
        entry = in_order(entry);
    std::sort(entries.begin(), entries.end());
    std::string out = text.substr(0, open + 10);
    for (const std::string& entry : entries)
        out += entry + ", ";
    return out + text.substr(at);
}

difference check_error(CFErrorRef error, const json& expect) {
    if (error == nullptr) return "not created";
    const wording word(error, expect);
    if (const auto other =
            differs<std::string>("domain", utf8(CFErrorGetDomain(error)), expect["domain"].GetString()))
        return other;
    if (const auto other = differs<long long>("code", CFErrorGetCode(error), expect["code"].GetInt64()))
        return other;
    if (auto other = check_text("description", CFErrorCopyDescription(error), expect["description"], word))
        return other;
    if (auto other = check_text("reason", CFErrorCopyFailureReason(error), expect["failureReason"], word))
        return other;
    if (auto other = check_text("suggestion", CFErrorCopyRecoverySuggestion(error),
                                expect["recoverySuggestion"], word))
        return other;
    const auto info = own(CFErrorCopyUserInfo(error));
    if (const auto other = differs<bool>("info is null", !info, expect["userInfo_is_null"].GetBool()))
        return other;
    if (const auto other = differs<long long>("info count", CFDictionaryGetCount(info.get()),
                                              expect["userInfo_count"].GetInt64()))
        return other;
    if (!expect.HasMember("CFCopyDescription")) return std::nullopt;
    const auto text = own(CFCopyDescription(error));
    return differs("debug text", in_order(without_addresses(utf8(text.get()))),
                   in_order(word(expect["CFCopyDescription"])));
}

owned<CFDictionaryRef> make_info(const json& entries) {
    if (entries.IsNull()) return nullptr;
    CFMutableDictionaryRef made = CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                            &kCFTypeDictionaryValueCallBacks);
    for (const json& entry : entries.GetArray())
        CFDictionarySetValue(made, make_string(entry[0]).get(), make_value(entry[1]).get());
    return own<CFDictionaryRef>(made);
}

owned<CFErrorRef> make_error(const json& domain, CFIndex code, const json& info) {
    return own(CFErrorCreate(nullptr, make_string(domain).get(), code, make_info(info).get()));
}

// N errors, each the reason of the next, each with an entry "L".
owned<CFErrorRef> make_chain(int length) {
    owned<CFErrorRef> made;
    for (int i = 0; i < length; ++i) {
        const auto info = own(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                        &kCFTypeDictionaryValueCallBacks));
        const std::string number = std::to_string(i);
        CFDictionarySetValue(info.get(), CFSTR("L"),
                             make_string(std::u16string(number.begin(), number.end())).get());
        if (made) CFDictionarySetValue(info.get(), kCFErrorUnderlyingErrorKey, made.get());
        const std::string domain = "D" + number;
        made = own(CFErrorCreate(nullptr, make_string(std::u16string(domain.begin(), domain.end())).get(), i,
                                 info.get()));
    }
    return made;
}

difference check_constants(const json& expect) {
    const std::map<std::string, CFStringRef> constants = {
        {"kCFErrorLocalizedDescriptionKey", kCFErrorLocalizedDescriptionKey},
        {"kCFErrorLocalizedFailureKey", kCFErrorLocalizedFailureKey},
        {"kCFErrorLocalizedFailureReasonKey", kCFErrorLocalizedFailureReasonKey},
        {"kCFErrorLocalizedRecoverySuggestionKey", kCFErrorLocalizedRecoverySuggestionKey},
        {"kCFErrorDescriptionKey", kCFErrorDescriptionKey},
        {"kCFErrorDebugDescriptionKey", kCFErrorDebugDescriptionKey},
        {"kCFErrorUnderlyingErrorKey", kCFErrorUnderlyingErrorKey},
        {"kCFErrorURLKey", kCFErrorURLKey},
        {"kCFErrorFilePathKey", kCFErrorFilePathKey},
        {"kCFErrorDomainPOSIX", kCFErrorDomainPOSIX},
        {"kCFErrorDomainOSStatus", kCFErrorDomainOSStatus},
        {"kCFErrorDomainMach", kCFErrorDomainMach},
        {"kCFErrorDomainCocoa", kCFErrorDomainCocoa},
    };
    for (const auto& member : expect.GetObject()) {
        const std::string name = member.name.GetString();
        if (!constants.contains(name)) return "no constant " + name;
        if (const auto other = differs<std::string>(name, utf8(constants.at(name)), member.value.GetString()))
            return other;
    }
    return std::nullopt;
}

difference check_pair(const test_case& one) {
    const json& a = one.input["a"];
    const json& b = one.input["b"];
    const auto first = make_error(a[0], a[1].GetInt64(), a[2]);
    const auto second = make_error(b[0], b[1].GetInt64(), b[2]);
    const bool equal = CFEqual(first.get(), second.get()) != 0;
    if (equal && CFHash(first.get()) != CFHash(second.get())) return "equal errors with different hashes";
    return differs<bool>("equal", equal, one.expect["equal"].GetBool());
}

difference check_info_is_copied(const json& expect) {
    const auto info = own(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                    &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(info.get(), CFSTR("a"), CFSTR("b"));
    const auto error = own(CFErrorCreate(nullptr, CFSTR("D"), 1, info.get()));
    CFDictionarySetValue(info.get(), CFSTR("c"), CFSTR("d"));
    const auto first = own(CFErrorCopyUserInfo(error.get()));
    const auto second = own(CFErrorCopyUserInfo(error.get()));
    if (const auto other =
            differs<bool>("same pointer", first == second, expect["same_pointer_twice"].GetBool()))
        return other;
    return differs<long long>("count", CFDictionaryGetCount(first.get()),
                              expect["count_after_mutation_of_original"].GetInt64());
}

difference check(const test_case& one) {
    if (one.name == "constant-strings") return check_constants(one.expect);
    if (one.name == "userinfo-is-copied") return check_info_is_copied(one.expect);
    if (one.name == "CreateWithUserInfoKeysAndValues" || one.name == "CreateWithUserInfoKeysAndValues-none") {
        const std::array<const void*, 2> keys = {kCFErrorLocalizedDescriptionKey, CFSTR("x")};
        const std::array<const void*, 2> values = {CFSTR("LD"), CFSTR("y")};
        const CFIndex count = one.name.ends_with("none") ? 0 : 2;
        const auto error = own(CFErrorCreateWithUserInfoKeysAndValues(nullptr, CFSTR("D"), 3, keys.data(),
                                                                      values.data(), count));
        return check_error(error.get(), one.expect);
    }
    if (one.name.starts_with("underlying-depth-"))
        return check_error(make_chain(std::stoi(one.name.substr(17))).get(), one.expect);
    if (one.input.HasMember("a")) return check_pair(one);
    if (!one.input.HasMember("domain")) return "no such case is known";
    return check_error(
        make_error(one.input["domain"], one.input["code"].GetInt64(), one.input["userInfo"]).get(),
        one.expect);
}

TEST(ErrorVectors, AnswersAsRecorded) {
    run("error.json", check);
}

} // namespace
