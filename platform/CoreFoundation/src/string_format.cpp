// Formatting, as printf does it and with objects. Nothing here depends on a locale or on the C runtime's own
// printf.
#include "string_storage.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

using cf::text_view;

// How an argument is passed.
enum class passed_as {
    nothing,
    as_int,
    as_long,
    as_long_long,
    as_size,
    as_difference,
    as_max,
    as_double,
    as_long_double,
    as_pointer
};

struct argument {
    passed_as how = passed_as::nothing;
    long long integer = 0;
    double real = 0;
    const void* pointer = nullptr;
};

// Widths and precisions beyond this are cut: they can only be mistakes.
constexpr int largest_number = 1'000'000;

// One stretch of the format: text to be copied, or a conversion.
struct piece {
    CFIndex start = 0; ///< Where it stands in the format.
    CFIndex end = 0;
    UniChar conversion = 0; ///< 0 for text.
    bool left = false;
    bool plus = false;
    bool blank = false;
    bool alternate = false;
    bool zero = false;
    std::optional<int> width;
    std::optional<int> precision;
    std::optional<std::size_t> width_argument;
    std::optional<std::size_t> precision_argument;
    std::size_t value_argument = 0;
    int shortened = 0; ///< How often "h" stands before the conversion.
    bool is_long = false;
};

// Reads a format into pieces and notes how each argument is passed.
class format_reader {
public:
    explicit format_reader(text_view format) : format_(format) {}

    void read() {
        while (at_ < format_.length) {
            const CFIndex start = at_;
            while (at_ < format_.length && format_[at_] != '%')
                ++at_;
            if (at_ > start) add_text(start);
            if (at_ < format_.length) read_conversion();
        }
    }

    std::vector<piece> pieces;
    std::vector<argument> arguments;

private:
    void add_text(CFIndex start) {
        piece text;
        text.start = start;
        text.end = at_;
        pieces.push_back(text);
    }

    UniChar peek() const { return at_ < format_.length ? format_[at_] : UniChar{0}; }

    std::optional<int> read_number() {
        if (peek() < '0' || peek() > '9') return std::nullopt;
        int value = 0;
        for (; peek() >= '0' && peek() <= '9'; ++at_)
            value = std::min(value * 10 + (peek() - '0'), largest_number);
        return value;
    }

    // "2$" if it stands here: the number of an argument.
    std::optional<std::size_t> read_position() {
        const CFIndex start = at_;
        const std::optional<int> number = read_number();
        if (number && *number > 0 && *number <= 1000 && peek() == '$') {
            ++at_;
            return static_cast<std::size_t>(*number - 1);
        }
        at_ = start;
        return std::nullopt;
    }

    std::size_t use(std::optional<std::size_t> position, passed_as how) {
        const std::size_t number = position ? *position : next_argument_++;
        if (arguments.size() <= number) arguments.resize(number + 1);
        arguments[number].how = how;
        return number;
    }

    void read_flags(piece& read) {
        for (;; ++at_) {
            switch (peek()) {
            case '-':
                read.left = true;
                break;
            case '+':
                read.plus = true;
                break;
            case ' ':
                read.blank = true;
                break;
            case '#':
                read.alternate = true;
                break;
            case '0':
                read.zero = true;
                break;
            case '\'':
                break;
            default:
                return;
            }
        }
    }

    // Reads the length before the conversion and says how an integer of it is passed.
    passed_as read_length(piece& read) {
        passed_as how = passed_as::as_int;
        for (;; ++at_) {
            switch (peek()) {
            case 'h':
                ++read.shortened;
                break;
            case 'l':
                how = how == passed_as::as_long ? passed_as::as_long_long : passed_as::as_long;
                read.is_long = true;
                break;
            case 'q':
                how = passed_as::as_long_long;
                break;
            case 'L':
                how = passed_as::as_long_double;
                break;
            case 'z':
                how = passed_as::as_size;
                break;
            case 't':
                how = passed_as::as_difference;
                break;
            case 'j':
                how = passed_as::as_max;
                break;
            default:
                return how;
            }
        }
    }

    void read_conversion() {
        piece read;
        read.start = at_++;
        const std::optional<std::size_t> position = read_position();
        read_flags(read);
        if (peek() == '*') {
            ++at_;
            read.width_argument = use(read_position(), passed_as::as_int);
        } else {
            read.width = read_number();
        }
        if (peek() == '.') {
            ++at_;
            if (peek() == '*') {
                ++at_;
                read.precision_argument = use(read_position(), passed_as::as_int);
            } else {
                read.precision = read_number().value_or(0);
            }
        }
        const passed_as length = read_length(read);
        const UniChar conversion = peek();
        if (at_ < format_.length) ++at_;
        read.end = at_;
        read.conversion = conversion;
        const passed_as integer = length == passed_as::as_long_double ? passed_as::as_long_long : length;
        switch (conversion) {
        case '%':
            break;
        case 'D':
        case 'U':
        case 'O':
            read.value_argument = use(position, passed_as::as_long);
            read.conversion = static_cast<UniChar>(conversion + ('a' - 'A'));
            break;
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            read.value_argument = use(position, integer);
            break;
        case 'c':
        case 'C':
            read.value_argument = use(position, passed_as::as_int);
            break;
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            read.value_argument =
                use(position,
                    length == passed_as::as_long_double ? passed_as::as_long_double : passed_as::as_double);
            break;
        case '@':
        case 's':
        case 'S':
        case 'p':
        case 'n':
            read.value_argument = use(position, passed_as::as_pointer);
            break;
        default:
            read.conversion = 0; // No conversion: it stands for itself.
            break;
        }
        pieces.push_back(read);
    }

    text_view format_;
    CFIndex at_ = 0;
    std::size_t next_argument_ = 0;
};

void fetch(argument& to, va_list* from) {
    // Types that are alike here differ elsewhere. NOLINTBEGIN(bugprone-branch-clone)
    switch (to.how) {
    case passed_as::nothing: // A number that the format skips: nothing is known of it but that most are
                             // integers.
    case passed_as::as_int:
        to.integer = va_arg(*from, int);
        break;
    case passed_as::as_long:
        to.integer = va_arg(*from, long);
        break;
    case passed_as::as_long_long:
        to.integer = va_arg(*from, long long);
        break;
    case passed_as::as_size:
        to.integer = static_cast<long long>(va_arg(*from, std::size_t));
        break;
    case passed_as::as_difference:
        to.integer = va_arg(*from, std::ptrdiff_t);
        break;
    case passed_as::as_max:
        to.integer = va_arg(*from, std::intmax_t);
        break;
    case passed_as::as_double:
        to.real = va_arg(*from, double);
        break;
    case passed_as::as_long_double:
        to.real = static_cast<double>(va_arg(*from, long double));
        break;
    case passed_as::as_pointer:
        to.pointer = va_arg(*from, const void*);
        break;
    }
    // NOLINTEND(bugprone-branch-clone)
}

std::string upper_case(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - ('a' - 'A'));
    }
    return text;
}

// Writes the pieces, each with its argument, to a list of units.
class formatter {
public:
    formatter(text_view format, const std::vector<argument>& arguments)
        : format_(format), arguments_(arguments) {}

    void write(piece piece) {
        if (piece.width_argument) take_width(piece, arguments_[*piece.width_argument].integer);
        if (piece.precision_argument) take_precision(piece, arguments_[*piece.precision_argument].integer);
        switch (piece.conversion) {
        case 0:
            return append(format_, piece.start, piece.end);
        case '%':
            return out.push_back('%');
        case 'n':
            return; // Writing through a pointer in the arguments has only ever served attackers.
        case '@':
            return write_object(piece);
        case 's':
            return write_c_string(piece);
        case 'S':
            return write_units(piece);
        case 'c':
            return write_character(piece, piece.is_long ? 0xFFFF : 0xFF);
        case 'C':
            return write_character(piece, 0xFFFF);
        case 'p':
            return write_pointer(piece);
        case 'd':
        case 'i':
            return write_signed(piece);
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            return write_unsigned(piece);
        default:
            return write_real(piece);
        }
    }

    std::vector<UniChar> out;

private:
    const argument& value(const piece& piece) const { return arguments_[piece.value_argument]; }

    static void take_width(piece& piece, long long width) {
        if (width < 0) piece.left = true;
        piece.width = static_cast<int>(std::min<long long>(width < 0 ? -width : width, largest_number));
    }

    static void take_precision(piece& piece, long long precision) {
        if (precision >= 0)
            piece.precision = static_cast<int>(std::min<long long>(precision, largest_number));
    }

    void append(text_view text, CFIndex start, CFIndex end) {
        for (CFIndex i = start; i < end; ++i)
            out.push_back(text[i]);
    }

    void append(std::string_view ascii) { out.insert(out.end(), ascii.begin(), ascii.end()); }

    void pad(const piece& piece, std::size_t written, UniChar with) {
        const auto width = static_cast<std::size_t>(piece.width.value_or(0));
        if (width > written) out.insert(out.end(), width - written, with);
    }

    // Text: cut to the precision and padded to the width.
    void write_text(const piece& piece, text_view text) {
        CFIndex length = text.length;
        if (piece.precision) length = std::min<CFIndex>(length, *piece.precision);
        if (!piece.left) pad(piece, static_cast<std::size_t>(length), ' ');
        append(text, 0, length);
        if (piece.left) pad(piece, static_cast<std::size_t>(length), ' ');
    }

    void write_text(const piece& piece, std::string_view ascii) {
        write_text(piece, {ascii.data(), static_cast<CFIndex>(ascii.size()), false});
    }

    void write_object(const piece& piece) {
        if (value(piece).pointer == nullptr) return write_text(piece, "(null)");
        const cf::owned<CFStringRef> text(cf::copy_formatted(value(piece).pointer));
        if (!text) throw std::bad_alloc();
        write_text(piece, cf::view(text.get()));
    }

    void write_c_string(piece piece) {
        if (value(piece).pointer == nullptr) return write_text(piece, "(null)");
        if (piece.is_long) return write_wide_characters(piece);
        const auto* text = static_cast<const char*>(value(piece).pointer);
        // The precision counts bytes, and promises that no more of them are looked at.
        std::size_t size = 0;
        while ((!piece.precision || size < static_cast<std::size_t>(*piece.precision)) && text[size] != 0)
            ++size;
        piece.precision.reset();
        const std::string_view bytes(text, size);
        cf::owned<CFStringRef> read(cf::create_utf8_string(nullptr, bytes));
        if (!read)
            read = cf::owned(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text),
                                                     static_cast<CFIndex>(size), kCFStringEncodingISOLatin1,
                                                     false));
        if (!read) throw std::bad_alloc();
        write_text(piece, cf::view(read.get()));
    }

    void write_wide_characters(const piece& piece) {
        std::vector<UniChar> units;
        const auto* text = static_cast<const wchar_t*>(value(piece).pointer);
        for (std::size_t i = 0;
             (!piece.precision || i < static_cast<std::size_t>(*piece.precision)) && text[i] != 0; ++i) {
            const auto character = static_cast<char32_t>(text[i]);
            if (character > 0xFFFF) {
                units.push_back(static_cast<UniChar>(0xD7C0U + (character >> 10U)));
                units.push_back(static_cast<UniChar>(0xDC00U + (character & 0x3FFU)));
            } else {
                units.push_back(static_cast<UniChar>(character));
            }
        }
        write_text(piece, {units.data(), static_cast<CFIndex>(units.size()), true});
    }

    void write_units(const piece& piece) {
        if (value(piece).pointer == nullptr) return write_text(piece, "(null)");
        const auto* units = static_cast<const UniChar*>(value(piece).pointer);
        CFIndex length = 0;
        while ((!piece.precision || length < *piece.precision) && units[length] != 0)
            ++length;
        write_text(piece, {units, length, true});
    }

    void write_character(piece piece, unsigned mask) {
        const auto unit = static_cast<UniChar>(static_cast<unsigned>(value(piece).integer) & mask);
        piece.precision.reset();
        write_text(piece, {&unit, 1, true});
    }

    void write_pointer(piece piece) {
        piece.precision.reset();
        std::string text = "0x";
        write_text(piece, text.append(digits(reinterpret_cast<std::uintptr_t>(value(piece).pointer), 16)));
    }

    static std::string digits(unsigned long long number, int base) {
        std::array<char, 24> text{};
        const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number, base);
        return {text.data(), error == std::errc{} ? end : text.data()};
    }

    // A number: its sign or prefix, zeros if wanted, and the rest.
    void write_number(const piece& piece, std::string_view prefix, std::string_view rest,
                      bool may_be_zero_padded) {
        const std::size_t size = prefix.size() + rest.size();
        const bool zeros = piece.zero && !piece.left && may_be_zero_padded;
        if (!piece.left && !zeros) pad(piece, size, ' ');
        append(prefix);
        if (zeros) pad(piece, size, '0');
        append(rest);
        if (piece.left) pad(piece, size, ' ');
    }

    void write_integer(const piece& piece, std::string_view prefix, unsigned long long magnitude, int base) {
        std::string text = magnitude == 0 && piece.precision == 0 ? "" : digits(magnitude, base);
        if (piece.conversion == 'X') text = upper_case(text);
        if (piece.precision && text.size() < static_cast<std::size_t>(*piece.precision))
            text.insert(0, static_cast<std::size_t>(*piece.precision) - text.size(), '0');
        if (base == 8 && piece.alternate && !text.starts_with('0')) text.insert(0, 1, '0');
        write_number(piece, prefix, text, !piece.precision);
    }

    std::string_view sign(const piece& piece, bool is_negative) const {
        return is_negative ? "-" : piece.plus ? "+" : piece.blank ? " " : "";
    }

    void write_signed(const piece& piece) {
        long long number = value(piece).integer;
        if (piece.shortened == 1) number = static_cast<short>(number);
        // The sign stays. NOLINTNEXTLINE(bugprone-signed-char-misuse)
        if (piece.shortened > 1) number = static_cast<signed char>(number);
        const auto bits = static_cast<unsigned long long>(number);
        write_integer(piece, sign(piece, number < 0), number < 0 ? 0 - bits : bits, 10);
    }

    void write_unsigned(const piece& piece) {
        const argument& from = value(piece);
        auto number = static_cast<unsigned long long>(from.integer);
        if (from.how == passed_as::as_int) number = static_cast<unsigned int>(from.integer);
        if (from.how == passed_as::as_long) number = static_cast<unsigned long>(from.integer);
        if (piece.shortened == 1) number = static_cast<unsigned short>(number);
        if (piece.shortened > 1) number = static_cast<unsigned char>(number);
        const int base = piece.conversion == 'u' ? 10 : piece.conversion == 'o' ? 8 : 16;
        const bool has_prefix = piece.alternate && base == 16 && number != 0;
        write_integer(piece, !has_prefix ? "" : piece.conversion == 'x' ? "0x" : "0X", number, base);
    }

    void write_real(const piece& piece) {
        const double number = value(piece).real;
        const bool is_upper = piece.conversion < 'a';
        const auto kind = static_cast<char>(is_upper ? piece.conversion + ('a' - 'A') : piece.conversion);
        std::string prefix(sign(piece, std::signbit(number) && !std::isnan(number)));
        std::string text = "nan";
        if (std::isinf(number)) text = "inf";
        if (std::isfinite(number)) {
            text = real_digits(std::fabs(number), kind, piece.precision);
            if (kind == 'a') prefix += "0x";
        }
        write_number(piece, is_upper ? upper_case(prefix) : prefix, is_upper ? upper_case(text) : text,
                     std::isfinite(number));
    }

    static std::string real_digits(double number, char kind, std::optional<int> precision) {
        const std::chars_format format = kind == 'f'   ? std::chars_format::fixed
                                         : kind == 'e' ? std::chars_format::scientific
                                         : kind == 'g' ? std::chars_format::general
                                                       : std::chars_format::hex;
        std::string text(static_cast<std::size_t>(precision.value_or(6)) + 350, '\0');
        char* const end = text.data() + text.size();
        const std::to_chars_result result =
            kind == 'a' && !precision
                ? std::to_chars(text.data(), end, number, format)
                : std::to_chars(text.data(), end, number, format, precision.value_or(6));
        text.resize(static_cast<std::size_t>(result.ptr - text.data()));
        return text;
    }

    text_view format_;
    const std::vector<argument>& arguments_;
};

std::vector<UniChar> format_units(text_view format, va_list arguments) {
    format_reader reader(format);
    reader.read();
    va_list rest;
    va_copy(rest, arguments);
    for (argument& each : reader.arguments)
        fetch(each, &rest);
    va_end(rest);
    formatter writer(format, reader.arguments);
    for (const piece& piece : reader.pieces)
        writer.write(piece);
    return std::move(writer.out);
}

} // namespace

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef alloc, CFDictionaryRef, CFStringRef format,
                                                 va_list arguments) {
    if (!cf::is(format, cf::type::string)) return nullptr;
    try {
        return cf::create_utf16_string(alloc, format_units(cf::view(format), arguments));
    } catch (const std::bad_alloc&) {
        return nullptr;
    } catch (const std::length_error&) {
        return nullptr;
    }
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format,
                                     ...) {
    va_list arguments;
    va_start(arguments, format);
    CFStringRef made = CFStringCreateWithFormatAndArguments(alloc, formatOptions, format, arguments);
    va_end(arguments);
    return made;
}

void CFStringAppendFormatAndArguments(CFMutableStringRef theString, CFDictionaryRef formatOptions,
                                      CFStringRef format, va_list arguments) {
    const cf::owned<CFStringRef> text(
        CFStringCreateWithFormatAndArguments(nullptr, formatOptions, format, arguments));
    CFStringAppend(theString, text.get());
}

void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions, CFStringRef format,
                          ...) {
    va_list arguments;
    va_start(arguments, format);
    CFStringAppendFormatAndArguments(theString, formatOptions, format, arguments);
    va_end(arguments);
}
