// What property lists promise beyond the recorded behaviour: limits, want of memory, mutability, hostile
// lists.
#include "plist_cases.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

using objects::own;
using plist_cases::make_data;
using plist_cases::make_string;
using plist_cases::object;
using plist_cases::owned;
using plist_cases::text_of;
using std::string_view;

object read(string_view bytes, CFOptionFlags options = 0) {
    return object(CFPropertyListCreateWithData(nullptr, make_data(bytes).get(), options, nullptr, nullptr));
}

// The debug description of the error that reading ends in.
std::string problem_of(string_view bytes, CFOptionFlags options = 0) {
    CFErrorRef raw_error = nullptr;
    const object value(
        CFPropertyListCreateWithData(nullptr, make_data(bytes).get(), options, nullptr, &raw_error));
    const owned<CFErrorRef> error(raw_error);
    EXPECT_EQ(value, nullptr);
    if (error == nullptr) return "no error";
    const auto info = own(CFErrorCopyUserInfo(error.get()));
    return text_of(static_cast<CFStringRef>(CFDictionaryGetValue(info.get(), kCFErrorDebugDescriptionKey)));
}

std::string write(CFTypeRef value, CFPropertyListFormat format = kCFPropertyListXMLFormat_v1_0) {
    const owned<CFDataRef> data(CFPropertyListCreateData(nullptr, value, format, 0, nullptr));
    return data == nullptr ? "nothing" : std::string(plist_cases::bytes_of(data.get()));
}

// What stands between the head and the tail of a written list.
std::string written_body(CFTypeRef value) {
    const std::string text = write(value);
    const std::size_t head = text.find("<plist version=\"1.0\">\n");
    const std::size_t tail = text.rfind("</plist>");
    if (head == std::string::npos || tail == std::string::npos) return text;
    return text.substr(head + 22, tail - head - 22);
}

std::string write_problem(CFTypeRef value, CFPropertyListFormat format) {
    CFErrorRef raw_error = nullptr;
    const owned<CFDataRef> data(CFPropertyListCreateData(nullptr, value, format, 0, &raw_error));
    const owned<CFErrorRef> error(raw_error);
    EXPECT_EQ(data, nullptr);
    if (error == nullptr) return "no error";
    EXPECT_EQ(CFErrorGetCode(error.get()), kCFPropertyListWriteStreamError);
    const auto info = own(CFErrorCopyUserInfo(error.get()));
    return text_of(static_cast<CFStringRef>(CFDictionaryGetValue(info.get(), kCFErrorDebugDescriptionKey)));
}

object nested_arrays(int levels) {
    object value(make_string("x").release());
    for (int i = 0; i < levels; ++i) {
        const void* member = value.get();
        value = object(CFArrayCreate(nullptr, &member, 1, &kCFTypeArrayCallBacks));
    }
    return value;
}

// Every level holds the one below twice: 2^levels strings for who walks through all of it.
object doubling_arrays(int levels) {
    object value(make_string("x").release());
    for (int i = 0; i < levels; ++i) {
        const void* members[] = {value.get(), value.get()};
        value = object(CFArrayCreate(nullptr, members, 2, &kCFTypeArrayCallBacks));
    }
    return value;
}

CFTypeRef at(const object& dictionary, const char* key) {
    return CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary.get()), make_string(key).get());
}

bool can_append_to_array(CFTypeRef value) {
    auto* array = static_cast<CFMutableArrayRef>(const_cast<void*>(value));
    const CFIndex before = CFArrayGetCount(array);
    CFArrayAppendValue(array, kCFBooleanTrue);
    return CFArrayGetCount(array) > before;
}

bool can_append_to_dictionary(CFTypeRef value) {
    auto* dictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(value));
    const CFIndex before = CFDictionaryGetCount(dictionary);
    CFDictionarySetValue(dictionary, make_string("new").get(), kCFBooleanTrue);
    return CFDictionaryGetCount(dictionary) > before;
}

bool can_append_to_string(CFTypeRef value) {
    auto* string = static_cast<CFMutableStringRef>(const_cast<void*>(value));
    const CFIndex before = CFStringGetLength(string);
    CFStringAppend(string, make_string("!").get());
    return CFStringGetLength(string) > before;
}

bool can_append_to_data(CFTypeRef value) {
    auto* data = static_cast<CFMutableDataRef>(const_cast<void*>(value));
    const CFIndex before = CFDataGetLength(data);
    const UInt8 byte = 1;
    CFDataAppendBytes(data, &byte, 1);
    return CFDataGetLength(data) > before;
}

constexpr string_view sample =
    "<dict><key>s</key><string>x</string><key>a</key><array><string>y</string></array>"
    "<key>d</key><data>eg==</data><key>ea</key><array/><key>ed</key><dict/></dict>";
constexpr string_view oldstyle_sample = "{s = x; a = (y); d = <7a>; ea = (); ed = {};}";

struct parts {
    bool containers;
    bool empty_containers;
    bool leaves;
};

void expect_mutable(const object& list, const parts& expected) {
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(can_append_to_string(at(list, "s")), expected.leaves);
    EXPECT_EQ(can_append_to_data(at(list, "d")), expected.leaves);
    EXPECT_EQ(can_append_to_array(at(list, "a")), expected.containers);
    EXPECT_EQ(can_append_to_array(at(list, "ea")), expected.empty_containers);
    EXPECT_EQ(can_append_to_dictionary(at(list, "ed")), expected.empty_containers);
    EXPECT_EQ(can_append_to_dictionary(list.get()), expected.containers);
}

TEST(PlistMutability, OfXml) {
    expect_mutable(read(sample, 0), {true, false, false});
    expect_mutable(read(sample, 1), {true, true, false});
    expect_mutable(read(sample, 2), {true, true, true});
    expect_mutable(read(sample, 3), {true, true, false});
}

TEST(PlistMutability, OfOldStyleText) {
    expect_mutable(read(oldstyle_sample, 0), {true, true, false});
    expect_mutable(read(oldstyle_sample, 1), {true, true, false});
    expect_mutable(read(oldstyle_sample, 2), {true, true, true});
}

TEST(PlistMutability, OfBinary) {
    const std::string binary = write(read(sample).get(), kCFPropertyListBinaryFormat_v1_0);
    expect_mutable(read(binary, 0), {false, false, false});
    expect_mutable(read(binary, 1), {true, true, false});
    expect_mutable(read(binary, 2), {true, true, true});
}

TEST(PlistMutability, OfDeepCopies) {
    const object list = read(sample);
    const auto copy = [&](CFOptionFlags options) {
        return object(CFPropertyListCreateDeepCopy(nullptr, list.get(), options));
    };
    expect_mutable(copy(0), {false, false, false});
    expect_mutable(copy(1), {true, true, false});
    expect_mutable(copy(2), {true, true, true});
}

TEST(PlistMutability, AChangedValueDoesNotReachTheKeyOfTheSameText) {
    // Key and value are one object in the list.
    const std::string binary = plist_cases::from_hex(
        "62706c6973743030d101015161080b000000000000010100000000000000020000000000000000000000000000000d");
    const object list = read(binary, kCFPropertyListMutableContainersAndLeaves);
    ASSERT_NE(list, nullptr);
    ASSERT_TRUE(can_append_to_string(at(list, "a")));
    EXPECT_EQ(text_of(static_cast<CFStringRef>(at(list, "a"))), "a!");
}

TEST(PlistStrings, EqualOnesOfAListAreOneObject) {
    const auto same = [](string_view list, CFOptionFlags options) {
        const object value = read(list, options);
        const auto* array = static_cast<CFArrayRef>(value.get());
        return CFArrayGetValueAtIndex(array, 0) == CFArrayGetValueAtIndex(array, 1);
    };
    EXPECT_TRUE(same("<array><string>x</string><string>x</string></array>", 0));
    EXPECT_TRUE(same("<array><string>\xC3\xA9</string><string>&#xE9;</string></array>", 0));
    EXPECT_FALSE(same("<array><string>x</string><string>y</string></array>", 0));
    EXPECT_FALSE(same("<array><string>x</string><string>x</string></array>", 2));
}

TEST(PlistStrings, ManyDifferentOnesKeepTheirTexts) {
    std::string list = "<array>";
    for (int i = 0; i < 5000; ++i)
        list.append("<string>number ").append(std::to_string(i % 2500)).append("</string>");
    const object value = read(list + "</array>");
    ASSERT_NE(value, nullptr);
    const auto* array = static_cast<CFArrayRef>(value.get());
    for (CFIndex i = 0; i < 5000; ++i) {
        const auto* string = static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i));
        ASSERT_EQ(text_of(string), std::string("number ").append(std::to_string(i % 2500)));
        ASSERT_EQ(string, CFArrayGetValueAtIndex(array, (i + 2500) % 5000));
    }
}

TEST(PlistStrings, AByteOrderMarkWithinTextIsText) {
    const object value = read("<string>\xEF\xBB\xBFx</string>");
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(CFStringGetLength(static_cast<CFStringRef>(value.get())), 2);
}

TEST(PlistEncodings, Declared) {
    const auto text_in = [](const std::string& encoding, const std::string& text) {
        const object value =
            read("<?xml version=\"1.0\" encoding='" + encoding + "'?><string>" + text + "</string>");
        return value == nullptr ? "nothing" : text_of(static_cast<CFStringRef>(value.get()));
    };
    EXPECT_EQ(text_in("ISO-8859-1", "\xE9\x80"), "\xC3\xA9\xC2\x80");
    EXPECT_EQ(text_in("windows-1252", "\xE9\x80"), "\xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(text_in("windows-1252", "\x81"), "nothing");
    EXPECT_EQ(text_in("us-ascii", "abc"), "abc");
    EXPECT_EQ(text_in("Utf-8", "\xC3\xA9"), "\xC3\xA9");
    EXPECT_EQ(text_in("macintosh", "abc"), "nothing");
    EXPECT_EQ(text_in("utf-16", "abc"), "nothing");
}

std::string utf16(string_view ascii, bool big_endian) {
    std::string bytes = big_endian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : ascii)
        bytes += big_endian ? std::string{'\0', c} : std::string{c, '\0'};
    return bytes;
}

TEST(PlistEncodings, Marked) {
    EXPECT_EQ(write(read(utf16("<string>x</string>", true)).get()), write(make_string("x").get()));
    EXPECT_EQ(write(read(utf16("<string>x</string>", false)).get()), write(make_string("x").get()));
    EXPECT_EQ(write(read("\xEF\xBB\xBF<string>x</string>").get()), write(make_string("x").get()));
    EXPECT_EQ(read(utf16("<string>", true) + "\xD8"), nullptr);
    EXPECT_EQ(problem_of(std::string("\xFF\xFE\0\0a\0\0", 7)),
              "Unable to convert string to correct encoding");
}

TEST(PlistErrors, CountLinesByTheirEnds) {
    EXPECT_EQ(problem_of("<foo/>"), "Encountered unknown tag foo on line 1");
    EXPECT_EQ(problem_of("\n\n<foo/>"), "Encountered unknown tag foo on line 3");
    EXPECT_EQ(problem_of("\r\r<foo/>"), "Encountered unknown tag foo on line 3");
    EXPECT_EQ(problem_of("\r\n\r\n<foo/>"), "Encountered unknown tag foo on line 3");
    EXPECT_EQ(problem_of("\n\r\n\r<foo/>"), "Encountered unknown tag foo on line 4");
}

TEST(PlistErrors, QuoteBytesThatAreNoTextSafely) {
    EXPECT_EQ(problem_of("<plist>\xFF</plist>"),
              "Encountered unexpected character '?' (0xff) on line 1 while looking for open tag");
    EXPECT_EQ(problem_of("<\xC3\xA9/>"), "Encountered unknown tag \xC3\xA9 on line 1");
    EXPECT_EQ(problem_of("<?xml version=\"1.0\" encoding=\"\xFF\"?><true/>"),
              "The text is not well-formed UTF-8");
}

TEST(PlistErrors, NullArguments) {
    EXPECT_EQ(CFPropertyListCreateWithData(nullptr, nullptr, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFPropertyListCreateFromXMLData(nullptr, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(CFPropertyListCreateData(nullptr, nullptr, kCFPropertyListXMLFormat_v1_0, 0, nullptr), nullptr);
    EXPECT_EQ(CFPropertyListCreateXMLData(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFPropertyListCreateDeepCopy(nullptr, nullptr, 0), nullptr);
    EXPECT_FALSE(CFPropertyListIsValid(nullptr, kCFPropertyListBinaryFormat_v1_0));
    const void* not_data = make_string("x").release();
    EXPECT_EQ(CFPropertyListCreateWithData(nullptr, static_cast<CFDataRef>(not_data), 0, nullptr, nullptr),
              nullptr);
    CFRelease(not_data);
}

TEST(PlistReaders, CanBeChosen) {
    constexpr CFOptionFlags oldstyle = 1U << 8;
    constexpr CFOptionFlags binary = 1U << 9;
    constexpr CFOptionFlags xml = 1U << 10;
    const std::string binary_list = write(kCFBooleanTrue, kCFPropertyListBinaryFormat_v1_0);
    EXPECT_NE(read("word", oldstyle), nullptr);
    EXPECT_EQ(read("word", xml), nullptr);
    EXPECT_EQ(read("word", binary), nullptr);
    EXPECT_NE(read("<true/>", xml), nullptr);
    EXPECT_EQ(read("<true/>", oldstyle), nullptr);
    EXPECT_NE(read(binary_list, binary), nullptr);
    EXPECT_EQ(read(binary_list, xml | oldstyle), nullptr);
    EXPECT_EQ(problem_of("<true/>", binary), "The data is not a binary property list");
}

TEST(PlistDates, RunOverIntoLargerFields) {
    const auto seconds = [](const std::string& text) {
        const object value = read("<date>" + text + "</date>");
        return CFDateGetAbsoluteTime(static_cast<CFDateRef>(value.get()));
    };
    EXPECT_EQ(seconds("2001-13-01T00:00:00Z"), seconds("2002-01-01T00:00:00Z"));
    EXPECT_EQ(seconds("2001-00-01T00:00:00Z"), seconds("2001-01-01T00:00:00Z"));
    EXPECT_EQ(seconds("2000-12-31T23:59:60Z"), 0);
    EXPECT_EQ(seconds("0000-02-29T00:00:00Z"), seconds("0000-03-01T00:00:00Z") - 86400);
}

TEST(PlistDates, ThatTheCalendarCannotExpressAreRefused) {
    for (const double time : {1e17, -1e17, 1e300, std::numeric_limits<double>::quiet_NaN()}) {
        const object date(CFDateCreate(nullptr, time));
        EXPECT_EQ(CFPropertyListCreateXMLData(nullptr, date.get()), nullptr);
    }
    // So far away a real counts eight seconds at a time.
    const object late = read("<date>2147483647-12-31T12:00:00Z</date>");
    EXPECT_TRUE(written_body(late.get()).starts_with("<date>2147483647-12-31T"));
    const object early = read("<date>-2147483648-01-01T12:00:00Z</date>");
    EXPECT_TRUE(written_body(early.get()).starts_with("<date>-2147483648-01-01T"));
    const double two_days = 2 * 86400;
    const object after(
        CFDateCreate(nullptr, CFDateGetAbsoluteTime(static_cast<CFDateRef>(late.get())) + two_days));
    EXPECT_EQ(CFPropertyListCreateXMLData(nullptr, after.get()), nullptr);
}

TEST(PlistNumbers, OfEverySize) {
    struct {
        std::int64_t high;
        std::uint64_t low;
    } smallest = {std::numeric_limits<std::int64_t>::min(), 0};
    const object number(CFNumberCreate(nullptr, 17, &smallest));
    EXPECT_EQ(written_body(number.get()), "<integer>-170141183460469231731687303715884105728</integer>\n");
    EXPECT_EQ(written_body(read("<real>1e400</real>").get()), "<real>+infinity</real>\n");
    EXPECT_EQ(written_body(read("<real>0.00001e-99999999999999999999</real>").get()), "<real>0.0</real>\n");
    EXPECT_EQ(written_body(read("<real>0.00001e99999999999999999999</real>").get()),
              "<real>+infinity</real>\n");
    EXPECT_EQ(written_body(read("<real>0e99999</real>").get()), "<real>0.0</real>\n");
    const std::string zeros(400, '0');
    EXPECT_EQ(written_body(read("<real>0." + zeros + "1e401</real>").get()), "<real>1</real>\n");
    EXPECT_EQ(written_body(read("<real>1" + zeros + "</real>").get()), "<real>+infinity</real>\n");
}

TEST(PlistLimits, NestingOfWhatIsRead) {
    const auto nest = [](string_view open, string_view inner, string_view close, int levels) {
        std::string text;
        for (int i = 0; i < levels; ++i)
            text += open;
        text += inner;
        for (int i = 0; i < levels; ++i)
            text += close;
        return text;
    };
    EXPECT_NE(read(nest("<array>", "<true/>", "</array>", 512)), nullptr);
    EXPECT_EQ(read(nest("<array>", "<true/>", "</array>", 513)), nullptr);
    EXPECT_NE(read(nest("(", "x", ")", 512)), nullptr);
    EXPECT_EQ(read(nest("(", "x", ")", 513)), nullptr);
    EXPECT_EQ(read(nest("(", "x", ")", 1'000'000)), nullptr);
    EXPECT_EQ(read(nest("{a=", "x;", "}", 1'000'000)), nullptr);
    EXPECT_EQ(read(nest("<array>", "", "", 1'000'000)), nullptr);
    EXPECT_NE(read(nest("<plist>", "<true/>", "</plist>", 100'000)), nullptr);
    EXPECT_EQ(read(nest("<plist>", "", "", 1'000'000)), nullptr);
}

/// A binary list put together object by object; references take four bytes.
class binary_list {
public:
    /// Adds the first bytes of an object, and references to others; returns its number.
    std::uint32_t add(const std::string& head, const std::vector<std::uint32_t>& references = {}) {
        offsets_.push_back(static_cast<std::uint32_t>(bytes_.size()));
        bytes_ += head;
        for (const std::uint32_t reference : references)
            bytes_ += big_endian(reference, 4);
        return static_cast<std::uint32_t>(offsets_.size() - 1);
    }
    std::uint32_t add_array(const std::vector<std::uint32_t>& elements) { return add_all('\xAF', elements); }
    std::uint32_t add_set(const std::vector<std::uint32_t>& elements) { return add_all('\xCF', elements); }
    std::uint32_t add_integer(std::uint32_t value) {
        std::string head = "\x12";
        head += big_endian(value, 4);
        return add(head);
    }
    /// The list with the object added last as its root.
    std::string finish() const {
        std::string list = bytes_;
        for (const std::uint32_t offset : offsets_)
            list += big_endian(offset, 4);
        list.append(6, '\0');
        list += "\x04\x04";
        list += big_endian(offsets_.size(), 8);
        list += big_endian(offsets_.size() - 1, 8);
        list += big_endian(bytes_.size(), 8);
        return list;
    }

private:
    std::uint32_t add_all(char marker, const std::vector<std::uint32_t>& references) {
        std::string head = {marker, '\x12'};
        head += big_endian(references.size(), 4);
        return add(head, references);
    }
    static std::string big_endian(std::uint64_t value, int size) {
        std::string bytes;
        for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
            bytes += static_cast<char>(value >> shift & 0xFF);
        return bytes;
    }

    std::string bytes_ = "bplist00";
    std::vector<std::uint32_t> offsets_;
};

// A binary list in which every array holds the one before, and the root all of them: no reader is ever inside
// more than two, but the last is as deep as there are arrays.
std::string binary_ladder(int arrays) {
    binary_list list;
    std::vector<std::uint32_t> all;
    std::uint32_t inner = list.add("\x09");
    for (int i = 0; i < arrays; ++i) {
        inner = list.add_array({inner});
        all.push_back(inner);
    }
    list.add_array(all);
    return list.finish();
}

TEST(PlistLimits, NestingThroughSharedObjects) {
    EXPECT_NE(read(binary_ladder(511)), nullptr);
    EXPECT_EQ(read(binary_ladder(512)), nullptr);
    EXPECT_EQ(read(binary_ladder(5000)), nullptr);
}

TEST(PlistLimits, NestingOfWhatIsWritten) {
    const object deepest = nested_arrays(10'000);
    EXPECT_NE(write(deepest.get()), "nothing");
    EXPECT_TRUE(CFPropertyListIsValid(deepest.get(), kCFPropertyListXMLFormat_v1_0));
    const object copy(CFPropertyListCreateDeepCopy(nullptr, deepest.get(), 0));
    EXPECT_TRUE(CFEqual(copy.get(), deepest.get()));
    const object deeper = nested_arrays(10'001);
    EXPECT_EQ(write_problem(deeper.get(), kCFPropertyListXMLFormat_v1_0),
              "Property list invalid for format: 100 (property lists cannot be nested more than 10000 levels "
              "deep)");
    EXPECT_FALSE(CFPropertyListIsValid(deeper.get(), kCFPropertyListXMLFormat_v1_0));
    EXPECT_EQ(CFPropertyListCreateDeepCopy(nullptr, deeper.get(), 0), nullptr);
    const object million = nested_arrays(1'000'000);
    EXPECT_NE(write(million.get(), kCFPropertyListBinaryFormat_v1_0), "nothing");
}

TEST(PlistLimits, SharedContainers) {
    const object huge = doubling_arrays(64);
    EXPECT_EQ(write_problem(huge.get(), kCFPropertyListXMLFormat_v1_0),
              "Property list invalid for format: 100 (property lists cannot contain the same array or "
              "dictionary more "
              "than 1537 times)");
    EXPECT_FALSE(CFPropertyListIsValid(huge.get(), kCFPropertyListXMLFormat_v1_0));
    EXPECT_EQ(CFPropertyListCreateDeepCopy(nullptr, huge.get(), 2), nullptr);
    // One object is written once in binary, and read as one: there it is small.
    EXPECT_TRUE(CFPropertyListIsValid(huge.get(), kCFPropertyListBinaryFormat_v1_0));
    const std::string binary = write(huge.get(), kCFPropertyListBinaryFormat_v1_0);
    EXPECT_LT(binary.size(), 400U);
    for (const CFOptionFlags options : {0U, 1U, 2U})
        EXPECT_NE(read(binary, options), nullptr);
}

// A cycle that nobody outside refers to: the deepest level ends it.
TEST(PlistLimits, AnUnownedCycle) {
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFArrayAppendValue(array, array);
    CFRelease(array);
    EXPECT_EQ(CFPropertyListCreateXMLData(nullptr, array), nullptr);
    EXPECT_EQ(CFPropertyListCreateData(nullptr, array, kCFPropertyListBinaryFormat_v1_0, 0, nullptr),
              nullptr);
    EXPECT_EQ(CFPropertyListCreateDeepCopy(nullptr, array, 0), nullptr);
    CFRetain(array);
    CFArrayRemoveAllValues(array);
    CFRelease(array);
}

TEST(PlistThreads, ReadAndWriteTheSameObjects) {
    const auto data = make_data(sample);
    const object shared = read(sample);
    const std::string expected = write(shared.get());
    std::vector<std::thread> threads;
    std::vector<int> wrong(4, 0);
    for (int& count : wrong) {
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                const object mine(CFPropertyListCreateWithData(nullptr, data.get(), 0, nullptr, nullptr));
                const object copy(CFPropertyListCreateDeepCopy(nullptr, shared.get(), 0));
                if (write(mine.get()) != expected || write(copy.get()) != expected ||
                    write(shared.get()) != expected)
                    ++count;
            }
        });
    }
    for (std::thread& each : threads)
        each.join();
    EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

// A set of as many arrays, each of one number of its own: all of one hash.
std::string set_of_arrays(std::uint32_t count) {
    binary_list list;
    std::vector<std::uint32_t> arrays;
    for (std::uint32_t i = 0; i < count; ++i)
        arrays.push_back(list.add_array({list.add_integer(i)}));
    list.add_set(arrays);
    return list.finish();
}

TEST(PlistHostility, SetsOfTwoThousandArraysAreRead) {
    const object set = read(set_of_arrays(2000));
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(CFSetGetCount(static_cast<CFSetRef>(set.get())), 2000);
}

// Would otherwise take until tomorrow.
TEST(PlistHostility, SetsThatTakeTooLongToCompareAreRefused) {
    EXPECT_EQ(read(set_of_arrays(100'000)), nullptr);
}

TEST(PlistHostility, ListsThatHoldEachOtherOverAndOverAreRefusedInASet) {
    binary_list list;
    std::uint32_t one = list.add_array({list.add_integer(1)});
    std::uint32_t other = list.add_array({list.add_integer(1)});
    for (int level = 0; level < 60; ++level) {
        one = list.add_array({one, one});
        other = list.add_array({other, other});
    }
    list.add_set({one, other});
    EXPECT_EQ(read(list.finish()), nullptr);
    // The limit ends with the reading.
    EXPECT_TRUE(CFEqual(read("(1, 2, (3))").get(), read("(1, 2, (3))").get()));
}

/// An allocator that fails from some call on, and counts what it has given out.
class failing_allocator {
public:
    failing_allocator() {
        CFAllocatorContext context = {0,        this,       nullptr,    nullptr, nullptr,
                                      allocate, reallocate, deallocate, nullptr};
        allocator_ = CFAllocatorCreate(nullptr, &context);
    }
    failing_allocator(const failing_allocator&) = delete;
    failing_allocator& operator=(const failing_allocator&) = delete;
    ~failing_allocator() {
        EXPECT_EQ(blocks_, 0);
        CFRelease(allocator_);
    }
    CFAllocatorRef get() const { return allocator_; }
    /// Whether a request has failed since `calls` more were allowed.
    bool failed() const { return left_ < 0; }
    void allow(int calls) { left_ = calls; }

private:
    bool take() { return --left_ >= 0; }
    static void* allocate(CFIndex size, CFOptionFlags, void* info) {
        auto& self = *static_cast<failing_allocator*>(info);
        if (!self.take()) return nullptr;
        ++self.blocks_;
        return std::malloc(static_cast<std::size_t>(size));
    }
    static void* reallocate(void* block, CFIndex size, CFOptionFlags, void* info) {
        auto& self = *static_cast<failing_allocator*>(info);
        return self.take() ? std::realloc(block, static_cast<std::size_t>(size)) : nullptr;
    }
    static void deallocate(void* block, void* info) {
        --static_cast<failing_allocator*>(info)->blocks_;
        std::free(block);
    }

    CFAllocatorRef allocator_;
    int left_ = std::numeric_limits<int>::max();
    int blocks_ = 0;
};

// Lets every request in turn be the first that fails. What fails gives nothing and leaks nothing; some
// requests can be done without, so that the operation succeeds all the same.
template <typename Operation>
void fail_at_every_call(const Operation& operation) {
    failing_allocator allocator;
    for (int calls = 0;; ++calls) {
        ASSERT_LT(calls, 10'000);
        allocator.allow(calls);
        const object made(operation(allocator.get()));
        if (!allocator.failed()) {
            EXPECT_NE(made, nullptr);
            EXPECT_GT(calls, 0) << "it asked another allocator";
            return;
        }
        allocator.allow(std::numeric_limits<int>::max());
    }
}

TEST(PlistMemory, RunsOutWhileReading) {
    const object list = read(sample);
    for (const std::string& bytes : {std::string(sample), std::string(oldstyle_sample),
                                     write(list.get(), kCFPropertyListBinaryFormat_v1_0)}) {
        const auto data = make_data(bytes);
        for (const CFOptionFlags options : {0U, 1U, 2U}) {
            fail_at_every_call([&](CFAllocatorRef allocator) {
                CFErrorRef raw_error = nullptr;
                const CFPropertyListRef value =
                    CFPropertyListCreateWithData(allocator, data.get(), options, nullptr, &raw_error);
                const owned<CFErrorRef> error(raw_error);
                return value;
            });
        }
    }
}

TEST(PlistMemory, RunsOutWhileWriting) {
    const object list = read(sample);
    for (const CFPropertyListFormat format :
         {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        fail_at_every_call([&](CFAllocatorRef allocator) {
            return CFPropertyListCreateData(allocator, list.get(), format, 0, nullptr);
        });
    }
}

TEST(PlistMemory, RunsOutWhileCopying) {
    const object list = read(sample);
    for (const CFOptionFlags options : {0U, 1U, 2U}) {
        fail_at_every_call([&](CFAllocatorRef allocator) {
            return CFPropertyListCreateDeepCopy(allocator, list.get(), options);
        });
    }
}

} // namespace
