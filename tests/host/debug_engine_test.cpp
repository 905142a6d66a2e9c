#include "debug_engine.h"

#include "helper_programs.h"
#include "wine_registry.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace {

std::uintptr_t known_function() {
    const FARPROC function = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtClose");
    return reinterpret_cast<std::uintptr_t>(reinterpret_cast<void (*)()>(function));
}

TEST(debug_engine, knows_an_exported_function_where_it_names_symbols) {
    const QV::debug_engine engine;
    const auto found = engine.find(known_function());
    if (wine_registry::is_wine()) {
        EXPECT_FALSE(found) << "Wine names symbols now: " << found->name;
    } else {
        ASSERT_TRUE(found);
        EXPECT_EQ(found->name.substr(0, 6), "ntdll!");
        EXPECT_EQ(found->displacement, 0U);
    }
}

TEST(debug_engine, knows_nothing_of_an_address_without_code) {
    const QV::debug_engine engine;
    EXPECT_FALSE(engine.find(0));
    EXPECT_FALSE(engine.find(0x10));
}

TEST(debug_engine, may_be_had_again_and_again) {
    { const QV::debug_engine once; }
    const unsigned long before = open_handles();
    for (int i = 0; i < 50; ++i) {
        const QV::debug_engine engine;
        (void)engine.find(known_function());
    }
    EXPECT_LE(open_handles(), before);
}

} // namespace
