// A program of its own, in which nothing has been loaded yet.
#include <QVSharedSupport/ProductTypeFinder.h>

#include <CFAdapters/CFAdapters.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using QV::SharedSupport::ProductTypeFinder;

template <class Function>
void expect_out_of_range(const std::string& text, Function look_up) {
    try {
        look_up();
        ADD_FAILURE() << "found";
    } catch (const std::out_of_range& failure) {
        EXPECT_EQ(failure.what(), text);
    }
}

void expect_empty_tables() {
    expect_out_of_range("bimap<>: invalid key", [] { (void)ProductTypeFinder::getDFUDeviceType(0); });
    expect_out_of_range("bimap<>: invalid key", [] { (void)ProductTypeFinder::getRecoveryDeviceType(1); });
    expect_out_of_range("Can't find device iPhone15,2",
                        [] { (void)ProductTypeFinder::getDFUProductType("iPhone15,2"); });
    expect_out_of_range("Can't find device ", [] { (void)ProductTypeFinder::getRecoveryProductType(""); });
}

TEST(ProductTypeFinder_unloaded, has_empty_tables) {
    expect_empty_tables();
}

TEST(ProductTypeFinder_unloaded, has_empty_tables_after_a_load_that_failed) {
    EXPECT_THROW(ProductTypeFinder::load(CF::Dictionary()), std::runtime_error);
    expect_empty_tables();
}

} // namespace
