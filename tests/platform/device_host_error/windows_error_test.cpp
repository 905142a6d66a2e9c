#include <device_host_error/windows_error.h>

#include <gtest/gtest.h>

namespace {

using libhostdevice::windows::make_error_code;

TEST(windows_error, is_of_the_system_category) {
    const boost::system::error_code code = make_error_code(111);
    EXPECT_TRUE(code.failed());
    EXPECT_EQ(code.value(), 111);
    // Compared across modules: the library made it, this program has a category of its own.
    EXPECT_EQ(code, boost::system::error_code(111, boost::system::system_category()));
    EXPECT_EQ(code.message(), boost::system::error_code(111, boost::system::system_category()).message());
}

TEST(windows_error, zero_is_success) {
    EXPECT_FALSE(make_error_code(0).failed());
}

TEST(windows_error, keeps_all_32_bits) {
    EXPECT_EQ(static_cast<unsigned int>(make_error_code(0x8007'0005UL).value()), 0x8007'0005U);
    EXPECT_TRUE(make_error_code(0xFFFF'FFFFUL).failed());
}

} // namespace
