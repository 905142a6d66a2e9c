#include <QVSharedSupport/ProductTypeFinder.h>
#include <QVSharedSupport/errors.h>

#include "temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using QV::SharedSupport::ProductTypeFinder;
using testing::EndsWith;
using testing::StartsWith;

CF::Error error_of(const QV::filesystem::path& path) {
    try {
        ProductTypeFinder::loadFromFile(path);
    } catch (const CF::Error& error) {
        return error;
    }
    return CF::Error();
}

TEST(ProductTypeFinder_file, loads_a_property_list) {
    const temporary_folder folder;
    ProductTypeFinder::loadFromFile(folder.make(
        L"version.xml", "<plist><dict><key>MobileDeviceProductTypes</key><dict><key>DFU</key><dict>"
                        "<key>7</key><string>iPad8,1</string></dict><key>Recovery</key><dict/>"
                        "</dict></dict></plist>"));
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(7), "iPad8,1");
}

TEST(ProductTypeFinder_file, reports_what_is_wrong_with_the_file) {
    const temporary_folder folder;
    for (const char* text : {"", "<plist><dict/></plist>", "no property list"}) {
        const CF::Error error = error_of(folder.make(L"version.xml", text));
        ASSERT_TRUE(error);
        EXPECT_EQ(error.domain(), QV::SharedSupport::kErrorDomain);
        EXPECT_EQ(error.code(), 2);
        EXPECT_EQ(error.failure_reason().to_string(),
                  "Could not load product types from file: version info file contains no elements");
    }
    const CF::Error missing = error_of(folder.path(L"missing.xml"));
    ASSERT_TRUE(missing);
    EXPECT_THAT(missing.failure_reason().to_string(),
                StartsWith("Could not load product types from file: when opening file '"));
    const CF::Error other =
        error_of(folder.make(L"other.xml", "<plist><dict><key>a</key><true/></dict></plist>"));
    ASSERT_TRUE(other);
    EXPECT_THAT(other.failure_reason().to_string(),
                EndsWith("version info has no dictionary 'MobileDeviceProductTypes'"));
}

} // namespace
