#include <RuntimeLocator/mds_path.h>

#include <gtest/gtest.h>

#include <system_error>

namespace {

TEST(get_mds_path, is_an_error_where_there_is_no_such_runtime) {
    try {
        QV::RuntimeLocator::get_mds_path();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
        EXPECT_EQ(std::string(error.what()).find("get_mds_path"), 0U);
    }
}

} // namespace
