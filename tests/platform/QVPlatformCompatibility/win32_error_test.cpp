#include <QVPlatformCompatibility/win32_error.h>

#include <gtest/gtest.h>

#include <string>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>

#include "last_error.h"

namespace {

using test::set_last_error;

// Both systems number these two alike: 2 is a file that is not there, and no system has text for the other.
constexpr unsigned long no_such_file = 2;
constexpr unsigned long without_text = 0x2FFF'FFFF;

TEST(win32_error, names_the_function_the_system_text_and_the_code) {
    const QV::win32_error error("CreateProcessW", no_such_file);
    EXPECT_EQ(error.function_name(), "CreateProcessW");
    EXPECT_EQ(error.code(), std::error_code(2, std::system_category()));
    EXPECT_EQ(std::string(error.what()), "CreateProcessW: " + QV::get_error_string(no_such_file) + " (2)");
}

TEST(win32_error, takes_the_last_error_of_the_calling_thread) {
    set_last_error(no_such_file);
    const QV::win32_error error("CreateFileW");
    EXPECT_EQ(error.code().value(), 2);
    std::thread([] {
        set_last_error(5);
        EXPECT_EQ(QV::win32_error("OpenProcess").code().value(), 5);
    }).join();
}

TEST(win32_error, is_caught_as_a_standard_system_error) {
    try {
        throw QV::win32_error("SetHandleInformation", 6);
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), 6);
        EXPECT_EQ(std::string(error.what()).find("SetHandleInformation: "), 0U);
    }
}

TEST(win32_error, keeps_all_32_bits_of_a_code) {
    const QV::win32_error error("Function", 0x8007'0005UL);
    EXPECT_EQ(static_cast<unsigned>(error.code().value()), 0x8007'0005U);
    const std::string text = error.what();
    EXPECT_TRUE(text.ends_with(" (2147942405)")) << text;
}

TEST(win32_error, copies_share_their_text_and_never_throw) {
    static_assert(std::is_nothrow_copy_constructible_v<QV::win32_error>);
    static_assert(std::is_nothrow_copy_assignable_v<QV::win32_error>);
    QV::win32_error first("First", 2); // NOLINT(misc-const-correctness): moved from below
    const std::string text = first.what();
    QV::win32_error second("Second", 5);
    second = first;
    // There is no move: an error that was moved from would have nothing for what().
    const QV::win32_error third(std::move(first)); // NOLINT(performance-move-const-arg)
    EXPECT_EQ(second.what(), text);
    EXPECT_EQ(third.what(), text);
    EXPECT_EQ(first.what(), text); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(third.function_name(), "First");
}

TEST(win32_error, an_empty_function_name_is_kept) {
    EXPECT_EQ(QV::win32_error("", no_such_file).function_name(), "");
}

TEST(get_error_string, has_neither_line_break_nor_full_stop_at_its_end) {
    for (const unsigned long code : {0UL, 2UL, 5UL, 6UL, 32UL}) {
        const std::string text = QV::get_error_string(code);
        ASSERT_FALSE(text.empty()) << code;
        EXPECT_EQ(std::string(" .\r\n").find(text.back()), std::string::npos) << text;
    }
}

TEST(get_error_string, names_the_number_of_a_code_without_text) {
    EXPECT_EQ(QV::get_error_string(without_text), "Unknown error 805306367");
}

TEST(get_last_error_string, is_the_text_of_the_last_error_and_leaves_it) {
    set_last_error(no_such_file);
    EXPECT_EQ(QV::get_last_error_string(), QV::get_error_string(no_such_file));
    EXPECT_EQ(test::last_error(), no_such_file);
    set_last_error(without_text);
    EXPECT_EQ(QV::get_last_error_string(), "Unknown error 805306367");
    EXPECT_EQ(test::last_error(), without_text);
}

TEST(make_error_code, is_of_the_system_category) {
    const std::error_code code = QV::win::make_error_code(38);
    EXPECT_EQ(code.value(), 38);
    EXPECT_EQ(&code.category(), &std::system_category());
    EXPECT_FALSE(QV::win::make_error_code(0));
    EXPECT_EQ(QV::win::make_error_code(-1).value(), -1);
}

} // namespace
