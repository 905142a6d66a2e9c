#include "value_helpers.h"

#include <QVSharedSupport/zip_error.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <map>
#include <string>

extern "C" int zip_error_in_c(int code, int errno_value);

namespace {

const std::map<int, const char*> texts = {
    {0, ""},
    {-1, "Stream error"},
    {-3, "Data error"},
    {-4, "Memory error"},
    {-5, "Buffer error"},
    {-6, "Version error"},
    {-100, "End of list file"},
    {-101, "End of stream"},
    {-102, "Invalid argument"},
    {-103, "Invalid zip file"},
    {-104, "Internal error"},
    {-105, "CRC check error"},
    {-106, "MZ_CRYPT_ERROR"},
    {-107, "MZ_EXIST_ERROR"},
    {-108, "MZ_PASSWORD_ERROR"},
    {-109, "MZ_SUPPORT_ERROR"},
    {-110, "MZ_HASH_ERROR"},
    {-111, "MZ_OPEN_ERROR"},
    {-112, "MZ_CLOSE_ERROR"},
    {-113, "MZ_SEEK_ERROR"},
    {-114, "MZ_TELL_ERROR"},
    {-115, "MZ_READ_ERROR"},
    {-116, "MZ_WRITE_ERROR"},
    {-117, "MZ_SIGN_ERROR"},
    {-118, "MZ_SYMLINK_ERROR"},
};

std::string expected_text(int code) {
    const auto found = texts.find(code);
    return found == texts.end() ? "Unknown error" : found->second;
}

CF::Error created(int code) {
    return CF::Error::adopt(zipCreateError(code));
}

TEST(ZipGetErrorString, HasATextForEveryCode) {
    for (int code = -130; code <= 10; ++code)
        EXPECT_EQ(CF::String(zipGetErrorString(code)), expected_text(code)) << code;
    EXPECT_EQ(CF::String(zipGetErrorString(std::numeric_limits<int>::min())), "Unknown error");
    EXPECT_EQ(CF::String(zipGetErrorString(std::numeric_limits<int>::max())), "Unknown error");
}

TEST(ZipGetErrorString, IsAConstant) {
    EXPECT_EQ(zipGetErrorString(-103), zipGetErrorString(-103));
}

TEST(ZipErrorDomain, IsItsText) {
    EXPECT_EQ(CF::String(zipErrorDomain), "minizip.zipErrorDomain");
}

TEST(ZipCreateError, CarriesDomainCodeAndText) {
    for (const int code : {0, -2, -3, -103, -118, -119, 7}) {
        const CF::Error error = created(code);
        EXPECT_EQ(error.domain(), "minizip.zipErrorDomain");
        EXPECT_EQ(error.code(), code);
        EXPECT_EQ(error.user_info(),
                  CF::Dictionary::of({{kCFErrorDescriptionKey, test::text(expected_text(code))}}));
    }
}

TEST(ZipCreateError, OfAStreamErrorTellsTheErrno) {
    for (const int code : {ENOENT, EACCES, ENOSPC}) {
        errno = code;
        const CF::Error error = created(-1);
        EXPECT_EQ(error.code(), -1);
        EXPECT_EQ(error.user_info().get<CF::String>(kCFErrorDescriptionKey), std::strerror(code));
    }
    EXPECT_EQ(CF::String(zipGetErrorString(-1)), "Stream error");
}

TEST(ZipCreateError, AnErrnoWithoutATextStillMakesAnError) {
    errno = 123456;
    const CF::Error error = created(-1);
    EXPECT_FALSE(error.user_info().get<CF::String>(kCFErrorDescriptionKey).empty());
}

TEST(ZipCreateError, BelongsToTheCaller) {
    const CFErrorRef error = zipCreateError(-103);
    EXPECT_EQ(CFGetRetainCount(error), 1);
    CFRelease(error);
}

TEST(ZipError, CanBeUsedFromC) {
    EXPECT_EQ(zip_error_in_c(-103, 0), -103);
    EXPECT_EQ(zip_error_in_c(-1, ENOENT), -1);
}

} // namespace
