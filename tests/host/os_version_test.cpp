#include "os_version.h"

#include "../json/expect_throw_with.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace {

using qv_test::expect_throw_with;

/// What the fake system answers.
struct {
    DWORD size = 64;
    BOOL has_info = TRUE;
    BOOL has_value = TRUE;
    bool null_value = false;
    UINT value_size = sizeof(VS_FIXEDFILEINFO);
    VS_FIXEDFILEINFO info = {};
    const void* resource = nullptr;
} answer;

DWORD WINAPI get_size(LPCSTR file, LPDWORD) {
    EXPECT_STREQ(file, "kernel32.dll");
    return answer.size;
}

BOOL WINAPI get_info(LPCSTR file, DWORD, DWORD size, LPVOID resource) {
    EXPECT_STREQ(file, "kernel32.dll");
    EXPECT_EQ(size, answer.size);
    std::memset(resource, 0x5A, size); // all of the size is there to be written to
    answer.resource = resource;
    return answer.has_info;
}

BOOL WINAPI query_value(LPCVOID resource, LPCSTR path, LPVOID* value, PUINT size) {
    EXPECT_EQ(resource, answer.resource);
    EXPECT_STREQ(path, "\\");
    *value = answer.null_value ? nullptr : &answer.info;
    *size = answer.value_size;
    return answer.has_value;
}

class os_version : public testing::Test {
protected:
    void SetUp() override { answer = {}; }
    static std::string ask() { return QV::os_version({&get_size, &get_info, &query_value}); }
};

TEST_F(os_version, is_the_four_parts_of_the_file_version) {
    answer.info.dwFileVersionMS = 0x000A0000;
    answer.info.dwFileVersionLS = (19041U << 16U) | 3636U;
    EXPECT_EQ(ask(), "10.0.19041.3636");
    answer.info.dwFileVersionMS = 0x00060001;
    answer.info.dwFileVersionLS = 0;
    EXPECT_EQ(ask(), "6.1.0.0");
    answer.info.dwFileVersionMS = 0xFFFFFFFF;
    answer.info.dwFileVersionLS = 0xFFFF0001;
    EXPECT_EQ(ask(), "65535.65535.65535.1");
}

TEST_F(os_version, does_not_take_the_product_version) {
    answer.info.dwProductVersionMS = 0x000A0000;
    answer.info.dwProductVersionLS = 0x12345678;
    EXPECT_EQ(ask(), "0.0.0.0");
}

TEST_F(os_version, says_that_there_is_nothing_to_read) {
    answer.size = 0;
    expect_throw_with<std::runtime_error>("Failed to read info from kernel32.dll", &ask);
    answer.size = 64;
    answer.has_info = FALSE;
    expect_throw_with<std::runtime_error>("Failed to read info from kernel32.dll", &ask);
}

TEST_F(os_version, says_that_there_is_no_version) {
    answer.has_value = FALSE;
    expect_throw_with<std::runtime_error>("Failed to get version", &ask);
    answer.has_value = TRUE;
    answer.null_value = true;
    expect_throw_with<std::runtime_error>("Failed to get version", &ask);
    answer.null_value = false;
    answer.value_size = sizeof(VS_FIXEDFILEINFO) - 1;
    expect_throw_with<std::runtime_error>("Failed to get version", &ask);
}

} // namespace
