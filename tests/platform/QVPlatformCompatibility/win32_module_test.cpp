#include <QVPlatformCompatibility/win32_error.h>
#include <QVPlatformCompatibility/win32_module.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "system_module.h"

namespace {

using test::missing_function_call;
using test::missing_module_call;
using test::system_function;
using test::system_module;

std::string failing_function(auto operation) {
    try {
        operation();
    } catch (const QV::win32_error& error) {
        EXPECT_NE(error.code().value(), 0);
        return error.function_name();
    }
    return "none";
}

TEST(win32_module, finds_the_functions_of_a_system_module) {
    const QV::win32_module module(system_module);
    EXPECT_TRUE(module);
    EXPECT_NE(module.native_handle(), nullptr);
    const auto found = module.find_function<void()>(system_function);
    EXPECT_NE(found, nullptr);
    EXPECT_EQ(module.get_function<void()>(system_function), found);
}

TEST(win32_module, a_missing_function_is_null_or_an_error) {
    const QV::win32_module module(system_module);
    EXPECT_EQ(module.find_function<void()>("no_such_function_anywhere"), nullptr);
    EXPECT_EQ(failing_function([&] { module.get_function<void()>("no_such_function_anywhere"); }),
              missing_function_call);
}

TEST(win32_module, a_missing_module_is_an_error) {
    for (const std::string& name :
         {std::string("no-such-module.dll"), std::string("./no-such-module.dll"), std::string(),
          std::string(40'000, 'x'), std::string("Ger\xC3\xA4t.dll"), std::string("\xFF.dll")})
        EXPECT_EQ(failing_function([&] { const QV::win32_module module(name); }), missing_module_call)
            << name.size();
}

TEST(win32_module, a_name_with_a_nul_is_not_cut_short) {
    std::string name(system_module);
    name += std::string("\0.dll", 5);
    EXPECT_EQ(failing_function([&] { const QV::win32_module module(name); }), missing_module_call);
    EXPECT_FALSE(QV::win32_module::find_loaded(name));
}

TEST(win32_module, without_a_module_finds_nothing) {
    const QV::win32_module none;
    EXPECT_FALSE(none);
    EXPECT_EQ(none.find_function<void()>(system_function), nullptr);
    EXPECT_EQ(failing_function([&] { none.get_function<void()>(system_function); }), missing_function_call);
}

TEST(win32_module, find_loaded_never_loads) {
    EXPECT_TRUE(QV::win32_module::find_loaded(system_module));
    EXPECT_FALSE(QV::win32_module::find_loaded("no-such-module.dll"));
    EXPECT_FALSE(QV::win32_module::find_loaded(""));
}

TEST(win32_module, moving_hands_the_reference_over) {
    QV::win32_module first(system_module);
    void* const handle = first.native_handle();
    QV::win32_module second(std::move(first));
    EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(second.native_handle(), handle);
    first = std::move(second);
    EXPECT_EQ(first.native_handle(), handle);
    QV::win32_module& same = first;
    first = std::move(same);
    EXPECT_EQ(first.native_handle(), handle);
    first = QV::win32_module(system_module);
    EXPECT_NE(first.find_function<void()>(system_function), nullptr);
}

} // namespace
