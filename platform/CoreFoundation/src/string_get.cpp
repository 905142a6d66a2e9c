// Reading strings: their units, and their text in some encoding.
#include "encodings.h"
#include "string_storage.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace {

// The names that encodings have in documents, the preferred one of each first.
struct encoding_name {
    CFStringEncoding encoding;
    std::string_view name;
};
constexpr std::array encoding_names = {
    encoding_name{kCFStringEncodingUTF8, "utf-8"},
    encoding_name{kCFStringEncodingUTF8, "utf8"},
    encoding_name{kCFStringEncodingASCII, "us-ascii"},
    encoding_name{kCFStringEncodingASCII, "ascii"},
    encoding_name{kCFStringEncodingASCII, "ansi_x3.4-1968"},
    encoding_name{kCFStringEncodingASCII, "iso646-us"},
    encoding_name{kCFStringEncodingISOLatin1, "iso-8859-1"},
    encoding_name{kCFStringEncodingISOLatin1, "iso_8859-1"},
    encoding_name{kCFStringEncodingISOLatin1, "iso8859-1"},
    encoding_name{kCFStringEncodingISOLatin1, "8859-1"},
    encoding_name{kCFStringEncodingISOLatin1, "latin1"},
    encoding_name{kCFStringEncodingISOLatin1, "l1"},
    encoding_name{kCFStringEncodingWindowsLatin1, "windows-1252"},
    encoding_name{kCFStringEncodingWindowsLatin1, "cp1252"},
    encoding_name{kCFStringEncodingMacRoman, "macintosh"},
    encoding_name{kCFStringEncodingMacRoman, "x-mac-roman"},
    encoding_name{kCFStringEncodingNextStepLatin, "x-nextstep"},
    encoding_name{kCFStringEncodingUTF16, "utf-16"},
    encoding_name{kCFStringEncodingUTF16BE, "utf-16be"},
    encoding_name{kCFStringEncodingUTF16LE, "utf-16le"},
    encoding_name{kCFStringEncodingUTF32, "utf-32"},
    encoding_name{kCFStringEncodingUTF32BE, "utf-32be"},
    encoding_name{kCFStringEncodingUTF32LE, "utf-32le"},
};

bool same_name(cf::text_view text, std::string_view lower_case) {
    if (static_cast<std::size_t>(text.length) != lower_case.size()) return false;
    for (std::size_t i = 0; i < lower_case.size(); ++i) {
        UniChar unit = text[static_cast<CFIndex>(i)];
        if (unit >= 'A' && unit <= 'Z') unit = static_cast<UniChar>(unit + ('a' - 'A'));
        if (unit != static_cast<unsigned char>(lower_case[i])) return false;
    }
    return true;
}

struct conversion {
    CFIndex units;
    CFIndex bytes;
};

// Converts units to bytes until one does not fit or does not convert. A null buffer only measures.
conversion convert(cf::text_view text, CFRange range, CFStringEncoding encoding, UInt8 loss_byte,
                   bool with_mark, UInt8* buffer, CFIndex size) {
    conversion done{0, 0};
    if (!cf::is_available(encoding)) return done;
    const auto put = [&done, buffer, size](std::span<const UInt8> bytes) {
        const auto count = static_cast<CFIndex>(bytes.size());
        if (buffer != nullptr) {
            if (count > size - done.bytes) return false;
            std::copy(bytes.begin(), bytes.end(), buffer + done.bytes);
        }
        done.bytes += count;
        return true;
    };
    if (with_mark && !put(cf::byte_order_mark(encoding))) return done;
    if (!text.wide && cf::contains_ascii(encoding)) {
        const CFIndex fitting = buffer == nullptr ? range.length : std::min(range.length, size - done.bytes);
        if (buffer != nullptr && fitting > 0)
            std::memcpy(buffer + done.bytes, text.narrow().data() + range.location,
                        static_cast<std::size_t>(fitting));
        return {fitting, done.bytes + fitting};
    }
    const CFIndex end = range.location + range.length;
    while (done.units < range.length) {
        cf::encoded character = cf::encode_character(text, range.location + done.units, end, encoding);
        if (character.size == 0) {
            // UTF-8 lacks only unpaired surrogates, for which no single byte could stand.
            if (loss_byte == 0 || encoding == kCFStringEncodingUTF8) break;
            const UniChar unit = loss_byte;
            character = cf::encode_character({&unit, 1, true}, 0, 1, encoding);
            if (character.size == 0) character = {{loss_byte}, 1, 1};
        }
        if (!put(std::span(character.bytes).first(character.size))) break;
        done.units += character.units_used;
    }
    return done;
}

} // namespace

CFIndex CFStringGetLength(CFStringRef theString) {
    return cf::is(theString, cf::type::string) ? theString->length : 0;
}

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx) {
    if (!cf::is(theString, cf::type::string) || idx < 0 || idx >= theString->length) return 0;
    return cf::view(theString)[idx];
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer) {
    if (!cf::is(theString, cf::type::string) || buffer == nullptr) return;
    const cf::text_view text = cf::view(theString);
    if (!cf::contains(text.length, range)) return;
    for (CFIndex i = 0; i < range.length; ++i)
        buffer[i] = text[range.location + i];
}

const UniChar* CFStringGetCharactersPtr(CFStringRef theString) {
    if (!cf::is(theString, cf::type::string)) return nullptr;
    const cf::text_view text = cf::view(theString);
    return text.wide ? text.utf16().data() : nullptr;
}

const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
    if (!cf::is(theString, cf::type::string) || !cf::contains_ascii(encoding)) return nullptr;
    const cf::text_view text = cf::view(theString);
    return text.wide ? nullptr : text.narrow().data();
}

const unsigned char* CFStringGetPascalStringPtr(CFStringRef, CFStringEncoding) {
    return nullptr;
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding) {
    if (buffer == nullptr || bufferSize <= 0) return false;
    buffer[0] = 0;
    if (!cf::is(theString, cf::type::string)) return false;
    const cf::text_view text = cf::view(theString);
    const conversion done = convert(text, CFRangeMake(0, text.length), encoding, 0, false,
                                    reinterpret_cast<UInt8*>(buffer), bufferSize - 1);
    const bool is_whole = done.units == text.length && cf::is_available(encoding);
    buffer[is_whole ? done.bytes : 0] = 0;
    return is_whole;
}

Boolean CFStringGetPascalString(CFStringRef theString, unsigned char* buffer, CFIndex bufferSize,
                                CFStringEncoding encoding) {
    if (buffer == nullptr || bufferSize <= 0) return false;
    buffer[0] = 0;
    if (!cf::is(theString, cf::type::string)) return false;
    const cf::text_view text = cf::view(theString);
    const conversion done = convert(text, CFRangeMake(0, text.length), encoding, 0, false, buffer + 1,
                                    std::min<CFIndex>(bufferSize - 1, 255));
    if (done.units != text.length || !cf::is_available(encoding)) return false;
    buffer[0] = static_cast<unsigned char>(done.bytes);
    return true;
}

CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufLen,
                         CFIndex* usedBufLen) {
    conversion done{0, 0};
    if (cf::is(theString, cf::type::string) && cf::contains(theString->length, range)) {
        if (maxBufLen <= 0) buffer = nullptr;
        done = convert(cf::view(theString), range, encoding, lossByte, isExternalRepresentation != 0, buffer,
                       maxBufLen);
    }
    if (usedBufLen != nullptr) *usedBufLen = done.bytes;
    return done.units;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
    CFIndex most = 1;
    switch (encoding) {
    case kCFStringEncodingUTF8:
        most = 3;
        break;
    case kCFStringEncodingUTF16:
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE:
        most = 2;
        break;
    case kCFStringEncodingUTF32:
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE:
        most = 4;
        break;
    case kCFStringEncodingNonLossyASCII:
        most = 6;
        break;
    default:
        break;
    }
    if (length < 0 || length > std::numeric_limits<CFIndex>::max() / most) return kCFNotFound;
    return length * most;
}

CFStringEncoding CFStringGetSystemEncoding() {
    return kCFStringEncodingUTF8;
}

CFStringEncoding CFStringGetSmallestEncoding(CFStringRef theString) {
    if (!cf::is(theString, cf::type::string)) return kCFStringEncodingInvalidId;
    const cf::text_view text = cf::view(theString);
    if (!text.wide) return kCFStringEncodingASCII;
    unsigned bits = 0;
    for (const UniChar unit : text.utf16())
        bits |= unit;
    if (bits < 0x80) return kCFStringEncodingASCII;
    const conversion done =
        convert(text, CFRangeMake(0, text.length), kCFStringEncodingUTF8, 0, false, nullptr, 0);
    return done.units == text.length ? kCFStringEncodingUTF8 : kCFStringEncodingUTF16;
}

CFStringEncoding CFStringGetFastestEncoding(CFStringRef theString) {
    if (!cf::is(theString, cf::type::string)) return kCFStringEncodingInvalidId;
    return cf::view(theString).wide ? kCFStringEncodingUTF16 : kCFStringEncodingASCII;
}

Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding) {
    return cf::is_available(encoding);
}

CFStringEncoding CFStringConvertIANACharSetNameToEncoding(CFStringRef theString) {
    if (!cf::is(theString, cf::type::string)) return kCFStringEncodingInvalidId;
    const cf::text_view text = cf::view(theString);
    for (const encoding_name& known : encoding_names) {
        if (same_name(text, known.name)) return known.encoding;
    }
    return kCFStringEncodingInvalidId;
}

CFStringRef CFStringConvertEncodingToIANACharSetName(CFStringEncoding encoding) {
    for (const encoding_name& known : encoding_names) {
        // The names are literals. NOLINTNEXTLINE(bugprone-suspicious-stringview-data-usage)
        if (known.encoding == encoding) return __CFStringMakeConstantString(known.name.data());
    }
    return nullptr;
}

CFDataRef CFStringCreateExternalRepresentation(CFAllocatorRef alloc, CFStringRef theString,
                                               CFStringEncoding encoding, UInt8 lossByte) {
    if (!cf::is(theString, cf::type::string) || !cf::is_available(encoding)) return nullptr;
    const cf::text_view text = cf::view(theString);
    const CFRange all = CFRangeMake(0, text.length);
    const conversion measured = convert(text, all, encoding, lossByte, true, nullptr, 0);
    if (measured.units != text.length) return nullptr;
    cf::owned<CFMutableDataRef> made(CFDataCreateMutable(alloc, measured.bytes));
    if (!made) return nullptr;
    CFDataSetLength(made.get(), measured.bytes);
    if (CFDataGetLength(made.get()) != measured.bytes) return nullptr;
    if (measured.bytes > 0)
        convert(text, all, encoding, lossByte, true, CFDataGetMutableBytePtr(made.get()), measured.bytes);
    return made.detach();
}
