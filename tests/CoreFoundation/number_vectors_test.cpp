// What every recorded number function answered.
#include "vectors.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

namespace {

using namespace vectors;

// A value as CFNumberGetValue stores it, worded as in the vectors.
std::string decimal(std::int64_t high, std::uint64_t low) {
    const bool is_negative = high < 0;
    auto upper = static_cast<std::uint64_t>(high);
    if (is_negative) {
        low = ~low + 1;
        upper = ~upper + (low == 0 ? 1U : 0U);
    }
    std::string digits;
    do {
        std::uint64_t rest = 0;
        for (std::uint64_t* half : {&upper, &low}) {
            const std::uint64_t a = rest << 32U | *half >> 32U;
            const std::uint64_t b = a % 10 << 32U | (*half & 0xFFFFFFFFU);
            *half = (a / 10) << 32U | b / 10;
            rest = b % 10;
        }
        digits.insert(digits.begin(), static_cast<char>('0' + rest));
    } while (upper != 0 || low != 0);
    if (is_negative) digits.insert(digits.begin(), '-');
    return digits;
}

struct stored {
    bool returned = false;
    std::string integer; ///< Of the integer types.
    double real = 0;     ///< Of the others.
    bool is_real = false;
};

template <typename T>
stored fetch(CFNumberRef number, CFNumberType type) {
    T value{};
    stored result;
    result.returned = CFNumberGetValue(number, type, &value) != 0;
    if constexpr (std::is_floating_point_v<T>) {
        result.real = value;
        result.is_real = true;
    } else {
        result.integer = std::to_string(value);
    }
    return result;
}

stored fetch_by_type(CFNumberRef number, CFNumberType type) {
    // Recorded where long has eight bytes: there it is what long long is everywhere.
    if (type == kCFNumberLongType && sizeof(long) == 4) type = kCFNumberLongLongType;
    switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
        return fetch<std::int8_t>(number, type);
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
        return fetch<std::int16_t>(number, type);
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        return fetch<std::int32_t>(number, type);
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
        return fetch<float>(number, type);
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
        return fetch<double>(number, type);
    case 17: {
        struct {
            std::int64_t high;
            std::uint64_t low;
        } value{};
        stored result;
        result.returned = CFNumberGetValue(number, type, &value) != 0;
        result.integer = decimal(value.high, value.low);
        return result;
    }
    default:
        return fetch<std::int64_t>(number, type);
    }
}

bool same_real(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) ||
           std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// The recorded answers for reals beyond an integer type are what undefined conversions happened to give: the
// library promises the nearest integer there is, and 0 for NaN. Empty for conversions that are defined.
std::string saturated(CFNumberRef number, CFNumberType type) {
    double real = 0;
    if (CFNumberIsFloatType(number) == 0) return "";
    CFNumberGetValue(number, kCFNumberFloat64Type, &real);
    const auto limit = [real]<typename T>(T smallest, T largest, double range) -> std::string {
        if (std::isnan(real)) return "0";
        const double whole = std::trunc(real);
        if (whole >= range) return std::to_string(largest);
        return whole < -range ? std::to_string(smallest) : "";
    };
    switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
        return limit(INT8_MIN, INT8_MAX, 0x1p7);
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
        return limit(INT16_MIN, INT16_MAX, 0x1p15);
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        return limit(INT32_MIN, INT32_MAX, 0x1p31);
    case kCFNumberFloat32Type:
    case kCFNumberFloat64Type:
    case kCFNumberFloatType:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
        return "";
    case 17:
        if (std::isnan(real)) return "0";
        if (real >= 0x1p127) return "170141183460469231731687303715884105727";
        return real < -0x1p127 ? "-170141183460469231731687303715884105728" : "";
    default:
        return limit(INT64_MIN, INT64_MAX, 0x1p63);
    }
}

difference check_get(CFNumberRef number, CFNumberType type, const json& expected) {
    const std::string what = "as type " + std::to_string(type);
    const stored got = fetch_by_type(number, type);
    if (const std::string nearest = saturated(number, type); !nearest.empty()) {
        if (got.returned) return what + " beyond its range returned true";
        return differs(what, got.integer, nearest);
    }
    if (const auto other = differs<bool>(what + " returned", got.returned, expected["returned"].GetBool()))
        return other;
    if (!got.is_real) return differs<std::string>(what, got.integer, expected["v"].GetString());
    const char* text = expected.HasMember("hex") ? expected["hex"].GetString() : expected["v"].GetString();
    const double recorded = std::strtod(text, nullptr);
    if (!same_real(got.real, recorded))
        return what + ": got " + std::to_string(got.real) + " instead of " + text;
    return std::nullopt;
}

difference check_number(CFNumberRef number, const json& expect) {
    if (number == nullptr) return "not created";
    if (const auto other = differs<long long>("type", CFNumberGetType(number), expect["type"].GetInt64()))
        return other;
    if (const auto other =
            differs<long long>("size", CFNumberGetByteSize(number), expect["byte_size"].GetInt64()))
        return other;
    if (const auto other =
            differs<bool>("is real", CFNumberIsFloatType(number) != 0, expect["is_float"].GetBool()))
        return other;
    if (expect.HasMember("get_null_ptr_type4")) {
        const bool returned = CFNumberGetValue(number, kCFNumberSInt64Type, nullptr) != 0;
        if (const auto other = differs<bool>("into NULL", returned, expect["get_null_ptr_type4"].GetBool()))
            return other;
    }
    for (const auto& member : expect["get"].GetObject()) {
        if (const auto other = check_get(number, std::stoi(member.name.GetString()), member.value))
            return other;
    }
    return std::nullopt;
}

difference check_pair(CFTypeRef a, CFTypeRef b, const json& expect) {
    const bool equal = CFEqual(a, b) != 0;
    if (equal && CFHash(a) != CFHash(b)) return "equal numbers with different hashes";
    if (const auto other = differs<bool>("equal", equal, expect["equal"].GetBool())) return other;
    if (expect.HasMember("reverse_equal")) {
        if (const auto other =
                differs<bool>("reverse", CFEqual(b, a) != 0, expect["reverse_equal"].GetBool()))
            return other;
    }
    if (!expect.HasMember("compare")) return std::nullopt;
    const auto first = static_cast<CFNumberRef>(a);
    const auto second = static_cast<CFNumberRef>(b);
    if (const auto other = differs<long long>("compare", CFNumberCompare(first, second, nullptr),
                                              expect["compare"].GetInt64()))
        return other;
    return differs<long long>("reverse", CFNumberCompare(second, first, nullptr),
                              expect["reverse_compare"].GetInt64());
}

owned<CFTypeRef> operand(const json& described) {
    if (described.IsObject() && described.HasMember("create_type"))
        return own<CFTypeRef>(
            make_number(described["create_type"].GetInt64(), described["v"].GetString()).release());
    return make_value(described);
}

difference check(const test_case& one) {
    if (one.input.HasMember("a"))
        return check_pair(operand(one.input["a"]).get(), operand(one.input["b"]).get(), one.expect);
    if (one.input.HasMember("constant")) {
        const std::string name = one.input["constant"].GetString();
        return check_number(name == "kCFNumberPositiveInfinity"   ? kCFNumberPositiveInfinity
                            : name == "kCFNumberNegativeInfinity" ? kCFNumberNegativeInfinity
                                                                  : kCFNumberNaN,
                            one.expect);
    }
    if (one.input.HasMember("create_type")) {
        const auto number = make_number(one.input["create_type"].GetInt64(), one.input["v"].GetString());
        return check_number(number.get(), one.expect);
    }
    return "hash values are not promised";
}

TEST(NumberVectors, AnswersAsRecorded) {
    run("number.json", check);
}

} // namespace
