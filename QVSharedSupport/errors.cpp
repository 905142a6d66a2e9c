#include <QVSharedSupport/errors.h>

#include <CFAdapters/Boolean.h>
#include <CFAdapters/Dictionary.h>
#include <CFAdapters/friendly.h>

#include <fmt/format.h>

namespace {

/// `text` as a string, with U+FFFD for each byte above ASCII if it is not UTF-8: messages of the C runtime
/// come in the system's code page, and a text that is not quite right beats none.
CF::String lenient_string(std::string_view text) {
    CF::String strict(text);
    if (strict) return strict;
    std::string replaced;
    for (const char byte : text) {
        if (static_cast<unsigned char>(byte) < 0x80)
            replaced += byte;
        else
            replaced += "\xEF\xBF\xBD";
    }
    return CF::String(replaced);
}

/// The string that `make_text` gives the text of; empty if that throws.
template <class Function>
CF::String string_of(Function make_text) noexcept {
    try {
        return lenient_string(make_text());
    } catch (...) {
        return CF::String();
    }
}

template <class Code>
CF::Error failed_code_to_cf(const Code& code, std::string_view reason) noexcept {
    CF::MutableDictionary user_info = CF::MutableDictionary::create();
    user_info.set(kCFErrorLocalizedDescriptionKey, string_of([&] { return code.message(); }));
    user_info.set(kCFErrorIsFriendlyKey, CF::Boolean(false));
    if (!reason.empty()) user_info.set(kCFErrorLocalizedFailureReasonKey, string_of([&] { return reason; }));
    const CF::String domain = string_of([&] { return fmt::format("error_code {}", code.category().name()); });
    // Without a domain there can be no error object.
    return CF::Error::adopt(
        domain ? CFErrorCreate(kCFAllocatorDefault, domain.get(), code.value(), user_info.get()) : nullptr);
}

} // namespace

namespace QV::SharedSupport {

const CF::String kErrorDomain(CFSTR("QVSharedError.ErrorDomain"));

CF::Error Error(ErrorCode code, CFErrorRef underlying, std::string_view message) {
    const CF::String description(make_error_code(code).message());
    return CF::Error(kErrorDomain, static_cast<CFIndex>(code), description, CF::Error(underlying),
                     lenient_string(fmt::format("{}", message)));
}

CF::Error Error(ErrorCode code, CFErrorRef underlying, const std::string& message) {
    return Error(code, underlying, std::string_view(message));
}

} // namespace QV::SharedSupport

namespace QV {

CF::Error ec_to_cf(const std::error_code& code, std::string_view reason) noexcept {
    return code ? failed_code_to_cf(code, reason) : CF::Error();
}

CF::Error ec_to_cf(const boost::system::error_code& code, std::string_view reason) noexcept {
    if (!code.failed()) return CF::Error();
    // So Boost names the category of a wrapped std::error_code, whose value it hides behind a hash.
    if (std::string_view(code.category().name()) == "std:unknown")
        return ec_to_cf(static_cast<std::error_code>(code), reason);
    return failed_code_to_cf(code, reason);
}

} // namespace QV
