#include <CoreFoundation/CFError.h>

#include "string_storage.h"

#include <CoreFoundation/CFNumber.h>

#include <new>
#include <string>
#include <system_error>

struct __CFError
    : cf::container { // NOLINT(bugprone-reserved-identifier): the opaque type of the public interface
    CFIndex code;
    CFStringRef domain;
    CFDictionaryRef user_info; ///< Never null.
};

namespace {

using cf::object;
using cf::owned;

constinit const cf::constant_string posix_domain("NSPOSIXErrorDomain");
constinit const cf::constant_string os_status_domain("NSOSStatusErrorDomain");
constinit const cf::constant_string mach_domain("NSMachErrorDomain");
constinit const cf::constant_string cocoa_domain("NSCocoaErrorDomain");
constinit const cf::constant_string localized_description("NSLocalizedDescription");
constinit const cf::constant_string localized_failure("NSLocalizedFailure");
constinit const cf::constant_string localized_failure_reason("NSLocalizedFailureReason");
constinit const cf::constant_string localized_recovery_suggestion("NSLocalizedRecoverySuggestion");
constinit const cf::constant_string description("NSDescription");
constinit const cf::constant_string debug_description("NSDebugDescription");
constinit const cf::constant_string underlying_error("NSUnderlyingError");
constinit const cf::constant_string url_key("NSURL");
constinit const cf::constant_string file_path("NSFilePath");

} // namespace

extern "C" {
constinit const CFStringRef kCFErrorDomainPOSIX = &posix_domain;
constinit const CFStringRef kCFErrorDomainOSStatus = &os_status_domain;
constinit const CFStringRef kCFErrorDomainMach = &mach_domain;
constinit const CFStringRef kCFErrorDomainCocoa = &cocoa_domain;
constinit const CFStringRef kCFErrorLocalizedDescriptionKey = &localized_description;
constinit const CFStringRef kCFErrorLocalizedFailureKey = &localized_failure;
constinit const CFStringRef kCFErrorLocalizedFailureReasonKey = &localized_failure_reason;
constinit const CFStringRef kCFErrorLocalizedRecoverySuggestionKey = &localized_recovery_suggestion;
constinit const CFStringRef kCFErrorDescriptionKey = &description;
constinit const CFStringRef kCFErrorDebugDescriptionKey = &debug_description;
constinit const CFStringRef kCFErrorUnderlyingErrorKey = &underlying_error;
constinit const CFStringRef kCFErrorURLKey = &url_key;
constinit const CFStringRef kCFErrorFilePathKey = &file_path;
}

namespace {

const __CFError* as_error(CFTypeRef cf) {
    return cf::is(cf, cf::type::error) ? static_cast<const __CFError*>(cf) : nullptr;
}

// A text of the user info, retained; empty if it has none for the key.
owned<CFStringRef> text_for(const __CFError& error, CFStringRef key) {
    const void* value = CFDictionaryGetValue(error.user_info, key);
    if (!cf::is(value, cf::type::string)) return {};
    return owned<CFStringRef>::retained(static_cast<CFStringRef>(value));
}

// The C runtime's text for a code of the POSIX domain; empty for other domains.
owned<CFStringRef> system_text(const __CFError& error) {
    if (CFEqual(error.domain, kCFErrorDomainPOSIX) == 0) return {};
    try {
        const std::string text = std::generic_category().message(static_cast<int>(error.code));
        owned<CFStringRef> made(cf::create_utf8_string(nullptr, text));
        if (made) return made;
        return owned(CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingISOLatin1));
    } catch (const std::bad_alloc&) {
        return {};
    }
}

owned<CFStringRef> first_of(owned<CFStringRef> preferred, owned<CFStringRef> other) {
    return preferred ? std::move(preferred) : std::move(other);
}

owned<CFStringRef> failure_reason(const __CFError& error) {
    return first_of(text_for(error, kCFErrorLocalizedFailureReasonKey), system_text(error));
}

void finalize(object& self) {
    auto& error = static_cast<__CFError&>(self);
    if (error.domain != nullptr) cf::release(error.domain);
    if (error.user_info != nullptr) cf::release(error.user_info);
}

cf::step next_pair(const object& a, const object& b, CFIndex& position, cf::pair& next) {
    const auto& first = static_cast<const __CFError&>(a);
    const auto& second = static_cast<const __CFError&>(b);
    if (position++ != 0) return cf::step::finished;
    if (first.code != second.code || !cf::equal(first.domain, second.domain)) return cf::step::differs;
    next = {first.user_info, second.user_info};
    return cf::step::compare;
}

CFHashCode hash_error(const object& self) {
    const auto& error = static_cast<const __CFError&>(self);
    return cf::hash(error.domain) + static_cast<CFHashCode>(error.code);
}

// An error within an error within an error is shown; what the fourth one carries is not.
constexpr int deepest_shown = 3;
thread_local int nesting = 0;

void append_user_info(CFMutableStringRef text, const __CFError& error) {
    const CFIndex count = CFDictionaryGetCount(error.user_info);
    if (count == 0) return;
    if (nesting > deepest_shown) {
        CFStringAppendFormat(text, nullptr, CFSTR(" UserInfo=%p (not displayed)"),
                             static_cast<const void*>(error.user_info));
        return;
    }
    CFStringAppend(text, CFSTR(" UserInfo={"));
    struct state {
        CFMutableStringRef text;
        bool is_first;
    } appending{text, true};
    CFDictionaryApplyFunction(
        error.user_info,
        [](const void* key, const void* value, void* context) {
            auto& appending_to = *static_cast<state*>(context);
            if (!appending_to.is_first) CFStringAppend(appending_to.text, CFSTR(", "));
            appending_to.is_first = false;
            const bool is_underlying =
                cf::is(value, cf::type::error) && CFEqual(key, kCFErrorUnderlyingErrorKey) != 0;
            if (is_underlying)
                CFStringAppendFormat(appending_to.text, nullptr, CFSTR("%@=%p {%@}"), key, value, value);
            else
                CFStringAppendFormat(appending_to.text, nullptr, CFSTR("%@=%@"), key, value);
        },
        &appending);
    CFStringAppend(text, CFSTR("}"));
}

CFStringRef describe(const object& self) {
    const auto& error = static_cast<const __CFError&>(self);
    const owned<CFStringRef> main_text =
        first_of(text_for(error, kCFErrorDescriptionKey), system_text(error));
    const owned<CFStringRef> debug_text = text_for(error, kCFErrorDebugDescriptionKey);
    const owned<CFStringRef> localized = first_of(text_for(error, kCFErrorLocalizedDescriptionKey),
                                                  text_for(error, kCFErrorLocalizedFailureReasonKey));
    CFStringRef shown = main_text ? main_text.get() : debug_text ? debug_text.get() : localized.get();
    owned<CFMutableStringRef> text(CFStringCreateMutable(nullptr, 0));
    if (!text) return nullptr;
    CFStringAppendFormat(text.get(), nullptr, CFSTR("Error Domain=%@ Code=%lld \"%@\""), error.domain,
                         cf::as_long_long(error.code), shown);
    if (main_text && debug_text) CFStringAppendFormat(text.get(), nullptr, CFSTR(" (%@)"), debug_text.get());
    ++nesting;
    append_user_info(text.get(), error);
    --nesting;
    return text.detach();
}

} // namespace

namespace cf {

constinit const type_info error_type_info = {"CFError",  true,     finalize, nullptr,
                                             hash_error, describe, nullptr,  next_pair};

} // namespace cf

CFTypeID CFErrorGetTypeID() {
    return static_cast<CFTypeID>(cf::type::error);
}

CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFStringRef domain, CFIndex code,
                         CFDictionaryRef userInfo) {
    if (!cf::is(domain, cf::type::string)) return nullptr;
    owned<CFErrorRef> made(cf::make<__CFError>(allocator, cf::type::error));
    if (!made) return nullptr;
    made.get()->code = code;
    made.get()->domain = CFStringCreateCopy(allocator, domain);
    made.get()->user_info =
        cf::is(userInfo, cf::type::dictionary)
            ? CFDictionaryCreateCopy(allocator, userInfo)
            : CFDictionaryCreate(allocator, nullptr, nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks,
                                 &kCFTypeDictionaryValueCallBacks);
    if (made.get()->domain == nullptr || made.get()->user_info == nullptr) return nullptr;
    return made.detach();
}

CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFStringRef domain, CFIndex code,
                                                  const void* const* userInfoKeys,
                                                  const void* const* userInfoValues,
                                                  CFIndex numUserInfoValues) {
    const owned<CFDictionaryRef> user_info(CFDictionaryCreate(
        allocator, const_cast<const void**>(userInfoKeys), const_cast<const void**>(userInfoValues),
        numUserInfoValues, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    return user_info ? CFErrorCreate(allocator, domain, code, user_info.get()) : nullptr;
}

CFStringRef CFErrorGetDomain(CFErrorRef err) {
    const __CFError* error = as_error(err);
    return error == nullptr ? nullptr : error->domain;
}

CFIndex CFErrorGetCode(CFErrorRef err) {
    const __CFError* error = as_error(err);
    return error == nullptr ? 0 : error->code;
}

CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err) {
    const __CFError* error = as_error(err);
    return error == nullptr ? nullptr : owned<CFDictionaryRef>::retained(error->user_info).detach();
}

CFStringRef CFErrorCopyDescription(CFErrorRef err) {
    const __CFError* error = as_error(err);
    if (error == nullptr) return nullptr;
    if (owned<CFStringRef> given = text_for(*error, kCFErrorLocalizedDescriptionKey)) return given.detach();
    const owned<CFStringRef> reason = failure_reason(*error);
    if (owned<CFStringRef> failure = text_for(*error, kCFErrorLocalizedFailureKey)) {
        if (!reason) return failure.detach();
        return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ %@"), failure.get(), reason.get());
    }
    if (reason)
        return CFStringCreateWithFormat(
            nullptr, nullptr, CFSTR("The operation couldn\xE2\x80\x99t be completed. %@"), reason.get());
    const owned<CFStringRef> detail = text_for(*error, kCFErrorDescriptionKey);
    const long long code = cf::as_long_long(error->code);
    if (detail)
        return CFStringCreateWithFormat(
            nullptr, nullptr, CFSTR("The operation couldn\xE2\x80\x99t be completed. (%@ error %lld - %@)"),
            error->domain, code, detail.get());
    return CFStringCreateWithFormat(nullptr, nullptr,
                                    CFSTR("The operation couldn\xE2\x80\x99t be completed. (%@ error %lld.)"),
                                    error->domain, code);
}

CFStringRef CFErrorCopyFailureReason(CFErrorRef err) {
    const __CFError* error = as_error(err);
    return error == nullptr ? nullptr : failure_reason(*error).detach();
}

CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err) {
    const __CFError* error = as_error(err);
    return error == nullptr ? nullptr : text_for(*error, kCFErrorLocalizedRecoverySuggestionKey).detach();
}
