#include "objects.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

using objects::own;
using objects::owned;
using objects::string;
using objects::utf8_of;

namespace {

constexpr const char* sample = "68753A44-4D6F-1226-9C60-0050E4C00067";

owned<CFUUIDRef> uuid(const std::string& text) {
    return own(CFUUIDCreateFromString(nullptr, string(text).get()));
}

TEST(Uuid, ComesFromItsTextInEitherCase) {
    const auto upper = uuid(sample);
    const auto lower = uuid("68753a44-4d6f-1226-9c60-0050e4c00067");
    ASSERT_NE(upper, nullptr);
    EXPECT_EQ(CFGetTypeID(upper.get()), CFUUIDGetTypeID());
    EXPECT_TRUE(CFEqual(upper.get(), lower.get()));
    EXPECT_EQ(CFHash(upper.get()), CFHash(lower.get()));
    EXPECT_EQ(utf8_of(CFUUIDCreateString(nullptr, lower.get())), sample);
}

TEST(Uuid, HasItsBytesInTheOrderOfTheText) {
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(uuid(sample).get());
    EXPECT_EQ(bytes.byte0, 0x68);
    EXPECT_EQ(bytes.byte4, 0x4D);
    EXPECT_EQ(bytes.byte7, 0x26);
    EXPECT_EQ(bytes.byte15, 0x67);
    const auto again = own(CFUUIDCreateFromUUIDBytes(nullptr, bytes));
    EXPECT_TRUE(CFEqual(again.get(), uuid(sample).get()));
    CFUUIDBytes other = bytes;
    other.byte9 ^= 1;
    EXPECT_FALSE(CFEqual(own(CFUUIDCreateFromUUIDBytes(nullptr, other)).get(), again.get()));
}

TEST(Uuid, OfAnythingElseIsNone) {
    for (const char* text :
         {"", "68753A44", "68753A44-4D6F-1226-9C60-0050E4C0006", "68753A44-4D6F-1226-9C60-0050E4C000678",
          "68753A44+4D6F-1226-9C60-0050E4C00067", "G8753A44-4D6F-1226-9C60-0050E4C00067",
          "{68753A44-4D6F-1226-9C60-0050E4C00067}"})
        EXPECT_EQ(uuid(text), nullptr) << text;
    EXPECT_EQ(CFUUIDCreateFromString(nullptr, nullptr), nullptr);
    const CFUUIDBytes none = CFUUIDGetUUIDBytes(nullptr);
    const CFUUIDBytes zero = {};
    EXPECT_EQ(std::memcmp(&none, &zero, sizeof none), 0);
}

TEST(Uuid, NewOnesAreRandom) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const auto made = own(CFUUIDCreate(nullptr));
        const std::string text = utf8_of(CFUUIDCreateString(nullptr, made.get()));
        EXPECT_EQ(text[14], '4') << "version 4";
        EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 1000U);
}

} // namespace
