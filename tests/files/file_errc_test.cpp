#include <QVSharedSupport/file.h>

#include <gtest/gtest.h>

namespace {

using boost::system::error_code;
using QV::file::errc;

TEST(file_errc, has_its_texts) {
    EXPECT_STREQ(QV::file::error_category().name(), "QV::file");
    EXPECT_EQ(error_code(errc::success).message(), "Success");
    EXPECT_EQ(error_code(errc::too_large).message(), "File is too large to fit into the buffer");
    EXPECT_EQ(error_code(errc::no_memory).message(), "Could not allocate buffer for file");
    EXPECT_EQ(error_code(errc::not_locked).message(), "Could not obtain file lock");
    EXPECT_EQ(error_code(9, QV::file::error_category()).message(), "Unknown error 9");
    EXPECT_EQ(error_code(-1, QV::file::error_category()).message(), "Unknown error -1");
}

TEST(file_errc, amounts_to_conditions) {
    EXPECT_TRUE(error_code(errc::too_large) == boost::system::errc::not_enough_memory);
    EXPECT_TRUE(error_code(errc::no_memory) == boost::system::errc::not_enough_memory);
    EXPECT_TRUE(error_code(errc::not_locked) == boost::system::errc::operation_would_block);
    EXPECT_FALSE(error_code(errc::success) == boost::system::errc::not_enough_memory);
    EXPECT_FALSE(error_code(errc::too_large) == boost::system::errc::operation_would_block);
}

TEST(file_errc, is_an_error_but_for_success) {
    EXPECT_FALSE(error_code(errc::success).failed());
    EXPECT_TRUE(error_code(errc::too_large).failed());
    EXPECT_TRUE(make_error_code(errc::no_memory).failed());
}

TEST(file_logger, has_its_name) {
    EXPECT_EQ(QV::file::get_logger().name(), "QV::file");
}

} // namespace
