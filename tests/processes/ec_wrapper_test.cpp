#include <QVSharedSupport/ec_wrapper.h>

#include <gtest/gtest.h>

#include <boost/system/errc.hpp>

#include <string>

namespace {

using boost::system::error_code;
using QV::asio_helpers::ec_wrapper;
const error_code failure = make_error_code(boost::system::errc::no_such_file_or_directory);

TEST(ec_wrapper, clears_the_callers_code_at_once) {
    error_code ec = failure;
    const ec_wrapper wrapper(ec);
    EXPECT_FALSE(ec);
    EXPECT_FALSE(wrapper.throws());
}

TEST(ec_wrapper, reports_into_the_callers_code) {
    error_code ec;
    const ec_wrapper wrapper = ec;
    wrapper.report(failure, "open");
    EXPECT_EQ(ec, failure);
    wrapper.report(error_code(), "open");
    EXPECT_FALSE(ec);
}

TEST(ec_wrapper, throws_when_there_is_no_code) {
    const ec_wrapper wrapper = ec_wrapper::throwing();
    EXPECT_TRUE(wrapper.throws());
    EXPECT_NO_THROW(wrapper.report(error_code(), "open"));
    try {
        wrapper.report(failure, std::string("open"));
        FAIL() << "nothing thrown";
    } catch (const boost::system::system_error& error) {
        EXPECT_EQ(error.code(), failure);
        EXPECT_EQ(std::string(error.what()).rfind("open: ", 0), 0u) << error.what();
    }
}

} // namespace
