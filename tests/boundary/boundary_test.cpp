#include "boundary_module.h"

#include <QVSharedSupport/cf_conversions.h>
#include <QVSharedSupport/errors.h>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>
#include <typeindex>

namespace {

TEST(Boundary, AnAsioCodeOfAnotherModuleIsTheProgramsOwn) {
    EXPECT_TRUE(boundary_module::asio_end_of_file() == boost::asio::error::eof);
    EXPECT_TRUE(boundary_module::operation_aborted() == boost::asio::error::operation_aborted);
    EXPECT_EQ(&boundary_module::asio_end_of_file().category(), &boost::asio::error::get_misc_category());
}

TEST(Boundary, TheLibraryKnowsEndOfFileWhereverItComesFrom) {
    EXPECT_TRUE(boundary_module::asio_end_of_file() == QV::errc::eof);
    EXPECT_TRUE(boost::system::error_code(boost::asio::error::eof) == QV::errc::eof);
    EXPECT_TRUE(boundary_module::asio_end_of_file() == QV::make_error_condition(QV::errc::eof));
    EXPECT_TRUE(boundary_module::knows_end_of_file(boost::asio::error::eof));
    EXPECT_TRUE(boundary_module::knows_end_of_file(
        boost::system::errc::make_error_code(boost::system::errc::broken_pipe)));
    EXPECT_FALSE(boundary_module::knows_end_of_file(boost::asio::error::operation_aborted));
}

TEST(Boundary, TheLibrarysCategoriesAreOneInTheProcess) {
    EXPECT_TRUE(boundary_module::failed_to_parse() == QV::SharedSupport::ErrorCode::FailedToParse);
    EXPECT_EQ(boundary_module::library_category(), &QV::SharedSupport::error_code_category());
    EXPECT_EQ(boundary_module::standard_code(),
              std::error_code(1, QV::SharedSupport::shared_support_error_category()));
    // By way of std::error_code too, which tells categories apart by address.
    EXPECT_EQ(
        std::error_code(boundary_module::failed_to_parse()),
        std::error_code(QV::SharedSupport::make_error_code(QV::SharedSupport::ErrorCode::FailedToParse)));
}

TEST(Boundary, ExceptionsAreCaughtByTheirTypes) {
    EXPECT_THROW(boundary_module::throw_cf_error(), CF::Error);
    EXPECT_THROW(boundary_module::throw_cf_error(), std::exception);
    EXPECT_THROW(boundary_module::throw_system_error(), boost::system::system_error);
    EXPECT_THROW(boundary_module::throw_from_the_library(), std::runtime_error);
    EXPECT_THROW(QV::make_duration(-1.0), std::runtime_error);
    EXPECT_EQ(std::type_index(boundary_module::type_of_cf_error()), std::type_index(typeid(CF::Error)));
}

TEST(Boundary, WhatACaughtErrorSaysIsWhatWasThrown) {
    try {
        boundary_module::throw_cf_error();
    } catch (const CF::Error& error) {
        EXPECT_STREQ(error.what(), "Failed to parse");
        EXPECT_EQ(error.failure_reason(), "thrown in another module");
        EXPECT_EQ(error.domain(), QV::SharedSupport::kErrorDomain);
    }
    try {
        boundary_module::throw_system_error();
    } catch (const boost::system::system_error& error) {
        EXPECT_TRUE(error.code() == QV::SharedSupport::ErrorCode::FailedToParse);
        EXPECT_TRUE(error.code() != QV::errc::ok);
    }
}

TEST(Boundary, ObjectsAndConstantsAreShared) {
    EXPECT_EQ(boundary_module::make_string("Gerät"), CF::String("Gerät"));
    EXPECT_EQ(boundary_module::raw_error_domain(), QV::SharedSupport::kErrorDomain.get());
    EXPECT_EQ(QV::from_cf_type_t<std::string>{}(boundary_module::make_string("text")), "text");
}

} // namespace
