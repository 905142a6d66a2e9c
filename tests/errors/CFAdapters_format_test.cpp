// Together with the two headers of {fmt} that would format ranges and exceptions in their own way.
#include <fmt/ranges.h>
#include <fmt/std.h>

#include <CFAdapters/CFAdapters.h>

#include <gtest/gtest.h>

namespace {

TEST(CFAdaptersFormat, AStringIsItsText) {
    EXPECT_EQ(fmt::format("{}", CF::String("Gerät")), "Gerät");
    EXPECT_EQ(fmt::format("[{:>5}]", CF::String("abc")), "[  abc]");
    EXPECT_EQ(fmt::format("{}", CF::String()), "(null)");
}

TEST(CFAdaptersFormat, OtherTypesAreTheirDescriptions) {
    const auto expect_description = [](const auto& wrapper) {
        const CF::String description = CF::String::adopt(CFCopyDescription(wrapper.get()));
        ASSERT_TRUE(description);
        EXPECT_EQ(fmt::format("{}", wrapper), description.to_string());
    };
    expect_description(CF::Number(5));
    expect_description(CF::Boolean(true));
    expect_description(CF::Data(std::span<const std::byte>()));
    expect_description(CF::Date(1.5));
    expect_description(CF::Array::of(CF::Number(1)));
    expect_description(CF::MutableArray::create());
    expect_description(CF::Dictionary::of({{"a", CF::Number(1)}}));
    expect_description(CF::MutableDictionary::create());
    expect_description(CF::Error(CF::String("d"), 1, CF::String("t"), CF::Error(), CF::String()));
    expect_description(CF::AutoPointer(CF::Number(5)));
    expect_description(CF::Type(kCFNull));
    EXPECT_EQ(fmt::format("{}", CF::Array()), "(null)");
}

} // namespace
