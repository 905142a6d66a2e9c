#include <CFAdapters/CFAdapters.h>

#include <gtest/gtest.h>

#include <type_traits>
#include <unordered_set>
#include <utility>

namespace {

/// A string long enough to be an object of its own, with one reference.
CFStringRef new_string() {
    const char text[] = "a text that no implementation keeps inside a reference";
    return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

CFIndex references(const CF::Type& wrapper) {
    return CFGetRetainCount(wrapper.get());
}

static_assert(!std::is_constructible_v<CF::AutoPointer, const char*>, "a text is no object");
static_assert(!std::is_constructible_v<CF::AutoPointer, int*>, "an int is no object");
static_assert(!std::is_convertible_v<CFStringRef, CF::String>, "taking a raw reference is said aloud");
static_assert(!std::is_convertible_v<CF::AutoPointer, CF::String>,
              "an object that may be lost is said aloud");
static_assert(std::is_convertible_v<CF::String, CF::AutoPointer>);
static_assert(!std::is_assignable_v<CF::Type&, CF::Number>, "a typed wrapper seen as Type keeps its type");
static_assert(!std::is_constructible_v<CF::MutableArray, CF::AutoPointer>,
              "no object tells that it is mutable");
static_assert(!std::is_constructible_v<CF::Number, unsigned int>);
static_assert(!std::is_constructible_v<CF::Boolean, int>);
static_assert(!std::is_constructible_v<CF::Boolean, const char*>);
static_assert(std::is_nothrow_copy_constructible_v<CF::String> &&
              std::is_nothrow_move_constructible_v<CF::String>);
static_assert(std::is_nothrow_copy_assignable_v<CF::String> && std::is_nothrow_move_assignable_v<CF::String>);
static_assert(std::is_nothrow_copy_constructible_v<CF::Error> && std::is_nothrow_swappable_v<CF::Error>);

TEST(CFAdaptersOwnership, ARawReferenceIsRetained) {
    const CFStringRef raw = new_string();
    {
        const CF::String wrapper(raw);
        EXPECT_EQ(references(wrapper), 2);
        EXPECT_EQ(wrapper.get(), raw);
    }
    EXPECT_EQ(CFGetRetainCount(raw), 1);
    CFRelease(raw);
}

TEST(CFAdaptersOwnership, AnAdoptedReferenceIsTakenOver) {
    const CF::String wrapper = CF::String::adopt(new_string());
    EXPECT_EQ(references(wrapper), 1);
}

TEST(CFAdaptersOwnership, CopyingRetainsAndDestructionReleases) {
    const CF::String first = CF::String::adopt(new_string());
    {
        const CF::String second = first; // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_EQ(references(first), 2);
        EXPECT_EQ(second.get(), first.get());
    }
    EXPECT_EQ(references(first), 1);
}

TEST(CFAdaptersOwnership, MovingStealsAndLeavesNothing) {
    CF::String first = CF::String::adopt(new_string());
    const CF::String second = std::move(first);
    EXPECT_EQ(references(second), 1);
    EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(first.get(), nullptr);
    EXPECT_EQ(first.length(), 0U);
    EXPECT_EQ(first.to_string(), "");
}

TEST(CFAdaptersOwnership, AssignmentReleasesWhatWasThere) {
    CF::String first = CF::String::adopt(new_string());
    const CF::String witness = first;
    first = CF::String("other");
    EXPECT_EQ(references(witness), 1);
    first = witness;
    EXPECT_EQ(references(witness), 2);
}

TEST(CFAdaptersOwnership, AssignmentToItselfKeepsTheObject) {
    CF::String wrapper = CF::String::adopt(new_string());
    CF::String& same = wrapper;
    wrapper = same;
    EXPECT_EQ(references(wrapper), 1);
    wrapper = std::move(same);
    EXPECT_EQ(references(wrapper), 1);
}

TEST(CFAdaptersOwnership, ReleaseGivesUpAndResetEmpties) {
    CF::String wrapper = CF::String::adopt(new_string());
    const CFStringRef raw = wrapper.release();
    EXPECT_FALSE(wrapper);
    EXPECT_EQ(CFGetRetainCount(raw), 1);
    wrapper = CF::String::adopt(raw);
    const CF::String witness = wrapper;
    wrapper.reset();
    EXPECT_FALSE(wrapper);
    EXPECT_EQ(references(witness), 1);
}

TEST(CFAdaptersOwnership, SwapExchangesObjects) {
    CF::String first("first");
    CF::String second;
    std::swap(first, second);
    EXPECT_FALSE(first);
    EXPECT_EQ(second, "first");
}

TEST(CFAdaptersOwnership, ATypedWrapperOfAnotherTypeIsEmpty) {
    const CF::String string = CF::String::adopt(new_string());
    EXPECT_FALSE(CF::Number(string));
    EXPECT_FALSE(CF::Number(string.get()));
    EXPECT_FALSE(CF::Array(string));
    EXPECT_FALSE(CF::Error(string));
    EXPECT_EQ(references(string), 1);
}

TEST(CFAdaptersOwnership, ATypedWrapperKeepsAnObjectOfItsType) {
    const CF::AutoPointer any = CF::AutoPointer::adopt(new_string());
    const CF::String string(any);
    EXPECT_TRUE(string);
    EXPECT_EQ(references(string), 2);
    EXPECT_TRUE(any.is<CF::String>());
    EXPECT_FALSE(any.is<CF::Number>());
    EXPECT_EQ(any.type_id(), CFStringGetTypeID());
}

TEST(CFAdaptersOwnership, MovingIntoTheWrongTypeLeavesTheSourceAlone) {
    CF::AutoPointer any = CF::AutoPointer::adopt(new_string());
    const CF::Number number(std::move(any));
    EXPECT_FALSE(number);
    EXPECT_EQ(references(any), 1); // NOLINT(bugprone-use-after-move)
    const CF::String string(std::move(any));
    EXPECT_EQ(references(string), 1);
    EXPECT_FALSE(any); // NOLINT(bugprone-use-after-move)
}

TEST(CFAdaptersOwnership, AdoptingTheWrongTypeReleasesIt) {
    const CF::String witness = CF::String::adopt(new_string());
    CFRetain(witness.get());
    EXPECT_FALSE(CF::Number::adopt(witness.get()));
    EXPECT_EQ(references(witness), 1);
}

TEST(CFAdaptersOwnership, NullIsEmptyEverywhere) {
    EXPECT_FALSE(CF::Type(nullptr));
    EXPECT_FALSE(CF::AutoPointer(nullptr));
    EXPECT_FALSE(CF::AutoPointer::adopt(nullptr));
    EXPECT_FALSE(CF::String(nullptr));
    EXPECT_FALSE(CF::String::adopt(nullptr));
    EXPECT_FALSE(CF::Error(static_cast<CFErrorRef>(nullptr)));
    EXPECT_FALSE(CF::MutableArray(nullptr));
    EXPECT_FALSE(CF::MutableDictionary::adopt(nullptr));
    EXPECT_EQ(CF::AutoPointer().type_id(), 0U);
    EXPECT_FALSE(CF::AutoPointer().is<CF::String>());
    EXPECT_EQ(CF::AutoPointer().description(), "(null)");
}

TEST(CFAdaptersOwnership, AutoPointerHoldsAnyTypeAndChangesIt) {
    CF::AutoPointer any = CF::String("text");
    any = CF::Number(5);
    EXPECT_TRUE(any.is<CF::Number>());
    any = CF::AutoPointer(kCFNull);
    EXPECT_EQ(any.get(), kCFNull);
}

TEST(CFAdaptersEquality, GoesByValueAndEmptyEqualsEmpty) {
    EXPECT_EQ(CF::String("a"), CF::String("a"));
    EXPECT_NE(CF::String("a"), CF::String("b"));
    EXPECT_EQ(CF::Number(1), CF::Number(1.0));
    EXPECT_NE(CF::AutoPointer(CF::Number(1)), CF::AutoPointer(CF::String("1")));
    EXPECT_EQ(CF::String(), CF::Number());
    EXPECT_NE(CF::String(), CF::String(""));
    EXPECT_NE(CF::String(""), CF::String());
}

TEST(CFAdaptersEquality, EqualObjectsHaveEqualHashes) {
    EXPECT_EQ(std::hash<CF::String>{}(CF::String("key")), std::hash<CF::AutoPointer>{}(CF::String("key")));
    EXPECT_EQ(std::hash<CF::Number>{}(CF::Number()), 0U);
    std::unordered_set<CF::String> set{CF::String("a"), CF::String("b"), CF::String("a")};
    EXPECT_EQ(set.size(), 2U);
    EXPECT_TRUE(set.contains(CF::String("b")));
}

} // namespace
