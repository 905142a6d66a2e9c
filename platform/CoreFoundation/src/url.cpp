#include <CoreFoundation/CFURL.h>

#include "ascii.h"
#include "encodings.h"
#include "string_storage.h"

#include <algorithm>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct __CFURL
    : cf::container { // NOLINT(bugprone-reserved-identifier): the opaque type of the public interface
    CFStringRef text; ///< ASCII, never null.
    CFURLRef base;    ///< Or null.
};

namespace {

using cf::hex_value;
using cf::is_digit;
using cf::object;
using cf::owned;

// What the parts of a URL's text are, as far as it has them.
struct parts {
    std::optional<std::string_view> scheme;
    std::optional<std::string_view> net_location;
    std::optional<std::string_view> path;
    std::optional<std::string_view> query;
    std::optional<std::string_view> fragment;
    bool is_opaque = false; ///< There is a scheme, and what follows does not begin with a slash.
};

bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Whether a character may stand in a path as it is.
bool is_path_character(char c) {
    return is_letter(c) || is_digit(c) ||
           std::string_view("-._~!$&'()*+,=:@/").find(c) != std::string_view::npos;
}

// Whether a text is made of the characters that URLs may hold, percent signs only before two hexadecimal
// digits.
bool is_url_text(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '%') {
            if (text.size() - i < 3 || hex_value(text[i + 1]) < 0 || hex_value(text[i + 2]) < 0) return false;
        } else if (!is_path_character(c) && std::string_view(";?#[]").find(c) == std::string_view::npos) {
            return false;
        }
    }
    return true;
}

// Cuts `text` at the first `mark` and returns what follows it.
std::optional<std::string_view> cut_at(std::string_view& text, char mark) {
    const std::size_t at = text.find(mark);
    if (at == std::string_view::npos) return std::nullopt;
    const std::string_view rest = text.substr(at + 1);
    text = text.substr(0, at);
    return rest;
}

parts split(std::string_view text) {
    parts found;
    const std::size_t colon = text.find(':');
    bool is_scheme = colon != std::string_view::npos && colon > 0 && is_letter(text[0]);
    for (std::size_t i = 0; is_scheme && i < colon; ++i)
        is_scheme =
            is_letter(text[i]) || is_digit(text[i]) || text[i] == '+' || text[i] == '-' || text[i] == '.';
    if (is_scheme) {
        found.scheme = text.substr(0, colon);
        text.remove_prefix(colon + 1);
        found.is_opaque = !text.starts_with('/');
        if (found.is_opaque) return found;
    }
    found.fragment = cut_at(text, '#');
    found.query = cut_at(text, '?');
    if (text.starts_with("//")) {
        text.remove_prefix(2);
        const std::size_t slash = std::min(text.find('/'), text.size());
        found.net_location = text.substr(0, slash);
        text.remove_prefix(slash);
        if (text.empty()) return found;
    }
    found.path = text;
    return found;
}

std::string_view text_of(const __CFURL& url) {
    return cf::view(url.text).narrow();
}

bool is_url(CFURLRef url) {
    return cf::is(url, cf::type::url);
}

CFStringRef copy_part(std::optional<std::string_view> part) {
    return part ? cf::create_ascii_string(nullptr, *part) : nullptr;
}

// Resolves percent escapes; those of characters in `kept` stay.
std::string unescape(std::string_view text, std::string_view kept) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && text.size() - i >= 3) {
            const char c = static_cast<char>(hex_value(text[i + 1]) * 16 + hex_value(text[i + 2]));
            if (kept.find(c) == std::string_view::npos) {
                out.push_back(c);
                i += 2;
                continue;
            }
        }
        out.push_back(text[i]);
    }
    return out;
}

// A part with its escapes resolved but for those named; with all of them if none are.
CFStringRef copy_unescaped(std::optional<std::string_view> part, CFStringRef left_escaped) {
    if (!part) return nullptr;
    if (!cf::is(left_escaped, cf::type::string)) return copy_part(part);
    try {
        const cf::text_view kept = cf::view(left_escaped);
        std::string ascii;
        for (CFIndex i = 0; i < kept.length; ++i) {
            if (kept[i] < 0x80) ascii.push_back(static_cast<char>(kept[i]));
        }
        return cf::create_utf8_string(nullptr, unescape(*part, ascii));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

std::string escape(std::string_view path) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string out;
    for (const char c : path) {
        if (is_path_character(c)) {
            out.push_back(c);
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        out.push_back('%');
        out.push_back(digits[byte >> 4U]);
        out.push_back(digits[byte & 0xFU]);
    }
    return out;
}

std::string utf8(CFStringRef string) {
    const CFRange all = CFRangeMake(0, CFStringGetLength(string));
    CFIndex size = 0;
    if (CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false, nullptr, 0, &size) != all.length)
        return {};
    std::string out(static_cast<std::size_t>(size), '\0');
    CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false, reinterpret_cast<UInt8*>(out.data()), size,
                     nullptr);
    return out;
}

CFURLRef create(CFAllocatorRef allocator, CFStringRef text, CFURLRef base) {
    auto* made = cf::make<__CFURL>(allocator, cf::type::url);
    if (made == nullptr) return nullptr;
    made->text = text;
    made->base = base;
    cf::retain(text);
    if (base != nullptr) cf::retain(base);
    return made;
}

// The file URL of a path with Windows' separators: "C:\a" is "file:///C:/a", "\\server\share" is
// "file://server/share".
std::string windows_url(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    const bool has_drive = path.size() >= 2 && is_letter(path[0]) && path[1] == ':';
    std::string url;
    if (path.starts_with("//"))
        url = "file:";
    else if (has_drive)
        url = "file:///";
    else if (path.starts_with('/'))
        url = "file://";
    return url.append(escape(path));
}

std::string windows_path(const parts& found, std::string_view path) {
    std::string out;
    if (found.net_location && !found.net_location->empty() && *found.net_location != "localhost")
        out.append("//").append(*found.net_location);
    else if (path.size() >= 3 && path[0] == '/' && is_letter(path[1]) && path[2] == ':')
        path.remove_prefix(1);
    out.append(path);
    std::replace(out.begin(), out.end(), '/', '\\');
    return out;
}

// The path of the text without "." and "..", as a reference relative to a base is resolved.
std::string without_dots(std::string_view path) {
    std::vector<std::string_view> kept;
    const bool is_absolute = path.starts_with('/');
    bool ends_in_slash = false;
    std::size_t start = is_absolute ? 1 : 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view part = path.substr(start, end - start);
        ends_in_slash = part.empty() || part == "." || part == "..";
        if (part == ".." && !kept.empty())
            kept.pop_back();
        else if (!part.empty() && part != "." && part != "..")
            kept.push_back(part);
        start = end + 1;
    }
    std::string out = is_absolute ? "/" : "";
    for (std::size_t i = 0; i < kept.size(); ++i) {
        if (i > 0) out += '/';
        out += kept[i];
    }
    if (ends_in_slash && !kept.empty()) out += '/';
    return out;
}

// A reference resolved against an absolute text, by the rules for references with and without each part.
std::string resolve(std::string_view base_text, std::string_view text) {
    const parts reference = split(text);
    const parts base = split(base_text);
    std::string out;
    if (!reference.scheme && base.scheme) out.append(*base.scheme).append(":");
    if (reference.scheme || reference.net_location) return out.append(text);
    if (base.net_location) out.append("//").append(*base.net_location);
    const std::string_view base_path = base.path.value_or(base.net_location ? "/" : "");
    const std::string_view path = reference.path.value_or("");
    std::optional<std::string_view> query = reference.query;
    if (path.empty()) {
        out.append(base_path);
        if (!query) query = base.query;
    } else if (path.starts_with('/')) {
        out.append(without_dots(path));
    } else {
        std::string joined(base_path.substr(0, base_path.rfind('/') + 1)); // npos + 1 is 0.
        out.append(without_dots(joined.append(path)));
    }
    if (query) out.append("?").append(*query);
    if (reference.fragment) out.append("#").append(*reference.fragment);
    return out;
}

// The whole text of a URL, resolved from the outermost base inwards.
std::string absolute_text(const __CFURL& url) {
    std::vector<const __CFURL*> chain;
    for (const __CFURL* each = &url; each != nullptr; each = each->base)
        chain.push_back(each);
    std::string text(text_of(*chain.back()));
    chain.pop_back();
    for (; !chain.empty(); chain.pop_back())
        text = resolve(text, text_of(*chain.back()));
    return text;
}

void finalize(object& self) {
    const auto& url = static_cast<const __CFURL&>(self);
    cf::release(url.text);
    if (url.base != nullptr) cf::release(url.base);
}

cf::step next_pair(const object& a, const object& b, CFIndex& position, cf::pair& next) {
    const auto& first = static_cast<const __CFURL&>(a);
    const auto& second = static_cast<const __CFURL&>(b);
    if (position++ != 0) return cf::step::finished;
    if (!cf::equal(first.text, second.text)) return cf::step::differs;
    next = {first.base, second.base};
    return cf::step::compare;
}

CFHashCode hash_url(const object& self) {
    return cf::hash(static_cast<const __CFURL&>(self).text);
}

CFStringRef describe(const object& self) {
    const auto& url = static_cast<const __CFURL&>(self);
    const owned<CFStringRef> heading(cf::copy_heading(self, "CFURL"));
    if (!heading) return nullptr;
    const owned<CFStringRef> base(url.base == nullptr ? CFSTR("(null)") : CFCopyDescription(url.base));
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@{string = %@, encoding = %u, base = %@}"),
                                    heading.get(), url.text, static_cast<unsigned>(kCFStringEncodingUTF8),
                                    base.get());
}

CFStringRef copy_formatted(const object& self) {
    const auto& url = static_cast<const __CFURL&>(self);
    if (url.base == nullptr) return owned<CFStringRef>::retained(url.text).detach();
    const owned<CFStringRef> base(cf::copy_formatted(url.base));
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ -- %@"), url.text, base.get());
}

} // namespace

namespace cf {

constinit const type_info url_type_info = {"CFURL",  true,     finalize,         nullptr,
                                           hash_url, describe, ::copy_formatted, next_pair};

} // namespace cf

CFTypeID CFURLGetTypeID() {
    return static_cast<CFTypeID>(cf::type::url);
}

CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef URLString, CFURLRef baseURL) {
    if (!cf::is(URLString, cf::type::string) || (baseURL != nullptr && !is_url(baseURL))) return nullptr;
    // A copy, which is stored as ASCII if the text is nothing else.
    const owned<CFStringRef> text(
        CFStringCreateWithSubstring(allocator, URLString, CFRangeMake(0, CFStringGetLength(URLString))));
    if (!text || cf::view(text.get()).wide || !is_url_text(cf::view(text.get()).narrow())) return nullptr;
    return create(allocator, text.get(), baseURL);
}

CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* URLBytes, CFIndex length,
                              CFStringEncoding encoding, CFURLRef baseURL) {
    const owned<CFStringRef> text(CFStringCreateWithBytes(allocator, URLBytes, length, encoding, false));
    return CFURLCreateWithString(allocator, text.get(), baseURL);
}

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef filePath,
                                       CFURLPathStyle pathStyle, Boolean isDirectory) {
    if (!cf::is(filePath, cf::type::string)) return nullptr;
    try {
        std::string path = utf8(filePath);
        if (path.empty()) return nullptr;
        std::string url;
        if (pathStyle == kCFURLWindowsPathStyle)
            url = windows_url(std::move(path));
        else if (pathStyle == kCFURLPOSIXPathStyle)
            url.append(path.starts_with('/') ? "file://" : "").append(escape(path));
        else
            return nullptr;
        if (isDirectory != 0 && !url.ends_with('/')) url.push_back('/');
        const owned<CFStringRef> text(cf::create_ascii_string(allocator, url));
        return text ? create(allocator, text.get(), nullptr) : nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL) {
    if (!is_url(relativeURL)) return nullptr;
    if (relativeURL->base == nullptr) return owned<CFURLRef>::retained(relativeURL).detach();
    try {
        const owned<CFStringRef> text(cf::create_ascii_string(nullptr, absolute_text(*relativeURL)));
        return text ? create(nullptr, text.get(), nullptr) : nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

CFStringRef CFURLGetString(CFURLRef anURL) {
    return is_url(anURL) ? anURL->text : nullptr;
}

CFURLRef CFURLGetBaseURL(CFURLRef anURL) {
    return is_url(anURL) ? anURL->base : nullptr;
}

Boolean CFURLCanBeDecomposed(CFURLRef anURL) {
    return is_url(anURL) && !split(text_of(*anURL)).is_opaque;
}

CFStringRef CFURLCopyScheme(CFURLRef anURL) {
    // A relative URL has the scheme of its base.
    for (const __CFURL* url = is_url(anURL) ? anURL : nullptr; url != nullptr; url = url->base) {
        if (const auto scheme = split(text_of(*url)).scheme) return copy_part(scheme);
    }
    return nullptr;
}

CFStringRef CFURLCopyNetLocation(CFURLRef anURL) {
    return is_url(anURL) ? copy_part(split(text_of(*anURL)).net_location) : nullptr;
}

CFStringRef CFURLCopyPath(CFURLRef anURL) {
    return is_url(anURL) ? copy_part(split(text_of(*anURL)).path) : nullptr;
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle) {
    if (!is_url(anURL) || (pathStyle != kCFURLPOSIXPathStyle && pathStyle != kCFURLWindowsPathStyle))
        return nullptr;
    const parts found = split(text_of(*anURL));
    if (!found.path) return nullptr;
    try {
        std::string path = unescape(*found.path, "");
        if (path.size() > 1 && path.ends_with('/')) path.pop_back();
        if (pathStyle == kCFURLWindowsPathStyle) path = windows_path(found, path);
        return cf::create_utf8_string(nullptr, path);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace {

// The host and the port of a net location, without the user.
struct host_and_port {
    std::string_view host;
    std::optional<std::string_view> port;
};

host_and_port split_host(std::string_view location) {
    const std::size_t at = location.rfind('@');
    if (at != std::string_view::npos) location.remove_prefix(at + 1);
    if (location.starts_with('[')) {
        const std::size_t end = std::min(location.find(']'), location.size());
        const std::string_view rest = location.substr(std::min(end + 1, location.size()));
        host_and_port found{location.substr(1, end - 1), std::nullopt};
        if (rest.starts_with(':')) found.port = rest.substr(1);
        return found;
    }
    host_and_port found{location, std::nullopt};
    found.port = cut_at(found.host, ':');
    return found;
}

} // namespace

CFStringRef CFURLCopyHostName(CFURLRef anURL) {
    const auto location = is_url(anURL) ? split(text_of(*anURL)).net_location : std::nullopt;
    if (!location) return nullptr;
    const std::string_view host = split_host(*location).host;
    return host.empty() ? nullptr : cf::create_ascii_string(nullptr, host);
}

SInt32 CFURLGetPortNumber(CFURLRef anURL) {
    const auto location = is_url(anURL) ? split(text_of(*anURL)).net_location : std::nullopt;
    const auto port = location ? split_host(*location).port : std::nullopt;
    if (!port || port->empty()) return -1;
    SInt32 number = 0;
    for (const char c : *port) {
        if (!is_digit(c) || number > 65535) return -1;
        number = number * 10 + (c - '0');
    }
    return number;
}

CFStringRef CFURLCopyQueryString(CFURLRef anURL, CFStringRef charactersToLeaveEscaped) {
    return is_url(anURL) ? copy_unescaped(split(text_of(*anURL)).query, charactersToLeaveEscaped) : nullptr;
}

CFStringRef CFURLCopyFragment(CFURLRef anURL, CFStringRef charactersToLeaveEscaped) {
    return is_url(anURL) ? copy_unescaped(split(text_of(*anURL)).fragment, charactersToLeaveEscaped)
                         : nullptr;
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef anURL) {
    const auto whole = is_url(anURL) ? split(text_of(*anURL)).path : std::nullopt;
    if (!whole) return nullptr;
    std::string_view path = *whole;
    while (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    if (path.size() > 1) path.remove_prefix(path.rfind('/') + 1); // npos + 1 is 0.
    try {
        return cf::create_utf8_string(nullptr, unescape(path, ""));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Boolean CFURLHasDirectoryPath(CFURLRef anURL) {
    const auto whole = is_url(anURL) ? split(text_of(*anURL)).path : std::nullopt;
    if (!whole) return false;
    const std::string_view last = whole->substr(whole->rfind('/') + 1);
    return last.empty() || last == "." || last == "..";
}
