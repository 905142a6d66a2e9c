#include <QVSharedSupport/ProductTypeFinder.h>
#include <QVSharedSupport/errors.h>

#include "../devices/device_data.h"
#include "../helpers/memory_watch.h"
#include "file_helpers.h"
#include "sparse_file.h"
#include "temporary_folder.h"

#include <CFAdapters/CFAdapters.h>

#include <boost/filesystem/detail/utf8_codecvt_facet.hpp>

#include <fmt/format.h>

#include <locale>
#include <span>
#include <stdexcept>
#include <string>

namespace {

using QV::SharedSupport::ProductTypeFinder;
using testing::StartsWith;

std::string feed(const std::string& type) {
    return "<plist><dict><key>MobileDeviceProductTypes</key><dict>"
           "<key>DFU</key><dict><key>7</key><string>" +
           type + "</string></dict><key>Recovery</key><dict><key>8</key><string>" + type +
           "</string></dict></dict></dict></plist>";
}

/// The error that loading a file throws; it must be nothing else.
template <class Path>
CF::Error error_of(const Path& path) {
    try {
        ProductTypeFinder::loadFromFile(path);
    } catch (const CF::Error& error) {
        return error;
    }
    return CF::Error();
}

/// Tables of a type "old" before the test.
class ProductTypeFinder_file : public testing::Test {
protected:
    ProductTypeFinder_file() { ProductTypeFinder::loadFromFile(folder.make(L"old.xml", feed("old"))); }

    /// Loading must fail for that reason, and both tables must be what they were.
    template <class Path>
    void expect_failure(const Path& path, const testing::Matcher<std::string>& reason) const {
        const CF::Error error = error_of(path);
        ASSERT_TRUE(error);
        EXPECT_EQ(error.domain(), QV::SharedSupport::kErrorDomain);
        EXPECT_EQ(error.domain().to_string(), "QVSharedError.ErrorDomain");
        EXPECT_EQ(error.code(), 2);
        EXPECT_EQ(error.localized_description(), "Cannot retrieve the requested resource");
        const std::string text = error.failure_reason().to_string();
        const std::string start = "Could not load product types from file: ";
        ASSERT_THAT(text, StartsWith(start));
        EXPECT_THAT(text.substr(start.size()), reason);
        EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(7), "old");
        EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(8), "old");
    }

    const temporary_folder folder;
};

TEST_F(ProductTypeFinder_file, loads_a_property_list) {
    const auto path = folder.make(L"version.xml", feed("iPad8,1"));
    ProductTypeFinder::loadFromFile(path);
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(7), "iPad8,1");
    EXPECT_EQ(ProductTypeFinder::getRecoveryProductType("iPad8,1"), 8U);
    EXPECT_TRUE(DeleteFileW(path.c_str())) << "nothing keeps the file open";
}

TEST_F(ProductTypeFinder_file, is_named_by_a_string_as_well) {
    const auto path = folder.make(L"version.xml", feed("iPad8,2"));
    ProductTypeFinder::loadFromFile(CF::String(path.string()));
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(7), "iPad8,2");
}

TEST_F(ProductTypeFinder_file, loads_a_property_list_of_any_format) {
    const std::string text = feed("iPad8,3");
    const CF::Data xml(std::as_bytes(std::span(text)));
    const auto value =
        CF::Dictionary::adopt(CFPropertyListCreateWithData(nullptr, xml.get(), 0, nullptr, nullptr));
    const auto binary = CF::Data::adopt(
        CFPropertyListCreateData(nullptr, value.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    const std::string bytes(reinterpret_cast<const char*>(binary.bytes().data()), binary.size());
    ProductTypeFinder::loadFromFile(folder.make(L"version.plist", bytes));
    EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(8), "iPad8,3");
    ProductTypeFinder::loadFromFile(
        folder.make(L"version.txt", "{MobileDeviceProductTypes={DFU={7=\"iPad8,4\";};Recovery={};};}"));
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(7), "iPad8,4");
}

TEST_F(ProductTypeFinder_file, says_that_there_is_nothing_in_it) {
    for (const char* text : {"", "<plist><dict/></plist>", "no property list", "<plist><array/></plist>",
                             "<plist><array><true/></array></plist>", "<plist><dict>", "bplist00"})
        expect_failure(folder.make(L"version.xml", text), "version info file contains no elements");
}

TEST_F(ProductTypeFinder_file, says_that_it_cannot_be_opened) {
    const auto missing = folder.path(L"missing.xml");
    expect_failure(missing, StartsWith("when opening file '" + missing.string() + "' for reading: "));
    expect_failure(QV::filesystem::path(), StartsWith("when opening file '' for reading: "));
    expect_failure(CF::String(), StartsWith("when opening file '' for reading: "));
    const QV::filesystem::path itself(folder.root.native());
    expect_failure(itself, StartsWith("when opening file '" + itself.string() + "' for reading: "));
    const auto held = folder.make(L"held.xml", feed("new"));
    const auto writer = QV::file::writable_file::open_append(held);
    expect_failure(held, StartsWith("when opening file '" + held.string() + "' for reading: "));
}

TEST_F(ProductTypeFinder_file, says_what_is_missing_in_it) {
    expect_failure(folder.make(L"a.xml", "<plist><dict><key>a</key><true/></dict></plist>"),
                   "version info has no dictionary 'MobileDeviceProductTypes'");
    expect_failure(folder.make(L"a.xml", "{MobileDeviceProductTypes={DFU={1=a;};};}"),
                   "version info has no dictionary 'Recovery'");
    expect_failure(folder.make(L"a.xml", "{MobileDeviceProductTypes={DFU=(1,a);Recovery={1=a;};};}"),
                   "version info has no dictionary 'DFU'");
    expect_failure(folder.make(L"a.xml", "{MobileDeviceProductTypes={DFU={4294967296=a;};Recovery={};};}"),
                   "stoi argument out of range");
}

TEST_F(ProductTypeFinder_file, may_have_1_GiB_and_not_one_byte_more) {
    const auto path = make_sparse(folder, 0x40000000);
    {
        // At the limit the contents are wanted. That much memory is not spent here.
        const test::memory_watch watch([](std::size_t size) { return size < 0x40000000; });
        expect_failure(path, StartsWith("while allocating 1073741824 bytes for '" + path.string() +
                                        "': std::bad_alloc: "));
    }
    const auto larger = make_sparse(folder, 0x40000001);
    expect_failure(larger, StartsWith(fmt::format("'{}' is 1073741825 bytes (max size is 1073741824 bytes): ",
                                                  larger.string())));
}

/// Makes UTF-8 the file-system library's default conversion while it lives.
struct utf8_paths {
    utf8_paths()
        : before(boost::filesystem::path::imbue(
              std::locale(std::locale(), new boost::filesystem::detail::utf8_codecvt_facet))) {}
    ~utf8_paths() { boost::filesystem::path::imbue(before); }
    utf8_paths(const utf8_paths&) = delete;
    utf8_paths& operator=(const utf8_paths&) = delete;

    std::locale before;
};

TEST_F(ProductTypeFinder_file, may_have_any_name_where_paths_are_narrowed_to_utf8) {
    const auto path = folder.make(L"\x8BD5 \x00E9.xml", feed("new"));
    // Otherwise the narrow name is not that of the file, or none at all.
    ASSERT_TRUE(error_of(path));
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(7), "old");
    const utf8_paths narrowed;
    ProductTypeFinder::loadFromFile(path);
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(7), "new");
    ProductTypeFinder::loadFromFile(CF::String(path.string()));
}

TEST_F(ProductTypeFinder_file, loads_whole_feeds) {
    ProductTypeFinder::loadFromFile(
        QV::filesystem::path(device_data::own("synthetic_product_types.plist").native()));
    EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(134252866), "AppleTV3,1");
    const auto collected = device_data::collected("plist/firmware/com_apple_macOSIPSW.xml");
    if (!collected) GTEST_SKIP() << "the full collection is not here";
    ProductTypeFinder::loadFromFile(QV::filesystem::path(collected->native()));
    EXPECT_EQ(ProductTypeFinder::getDFUProductType("Mac14,2"), 671121682U);
}

TEST_F(ProductTypeFinder_file, leaves_the_tables_wherever_memory_runs_out) {
    const auto path = folder.make(L"version.xml", feed("new"));
    bool done = false;
    const long failed = test::run_out_of_memory_everywhere(
        [&] {
            done = false;
            try {
                ProductTypeFinder::loadFromFile(path);
                done = true;
            } catch (const CF::Error&) { // NOLINT(bugprone-empty-catch): there was memory enough to say it
            }
        },
        [&](bool refused) {
            EXPECT_TRUE(done || refused);
            const std::string expected = done ? "new" : "old";
            EXPECT_EQ(ProductTypeFinder::getDFUDeviceType(7), expected);
            EXPECT_EQ(ProductTypeFinder::getRecoveryDeviceType(8), expected);
            ProductTypeFinder::loadFromFile(folder.path(L"old.xml"));
        });
    EXPECT_GT(failed, 10);
}

TEST_F(ProductTypeFinder_file, says_that_memory_ran_out) {
    // Of a length that nothing else has.
    const std::string text = feed("new") + std::string(12'345, ' ');
    const auto path = folder.make(L"version.xml", text);
    // Refused only for the contents, so that there is memory for the error.
    const test::memory_watch watch([&](std::size_t size) { return size != text.size(); });
    expect_failure(path, StartsWith(fmt::format("while allocating {} bytes for '", text.size())));
}

} // namespace
