#include "backtrace.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

namespace {

using QV::symbol;
using testing::ElementsAre;
using testing::StartsWith;

std::optional<symbol> unknown(std::uintptr_t) {
    return std::nullopt;
}

void* pointer(std::uintptr_t address) {
    return reinterpret_cast<void*>(address);
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> found;
    std::size_t start = 0;
    for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n', start)) {
        found.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    EXPECT_EQ(start, text.size()) << "the last line has no end";
    return found;
}

TEST(describe_frame, is_the_symbol_of_the_call_and_the_return_address_in_it) {
    std::uintptr_t asked = 0;
    const auto find = [&](std::uintptr_t address) -> std::optional<symbol> {
        asked = address;
        return symbol{"module!ns::function", address - 0x1000};
    };
    EXPECT_EQ(QV::describe_frame(pointer(0x1024), find), "module!ns::function+0x24");
    EXPECT_EQ(asked, 0x1023U);
    EXPECT_EQ(QV::describe_frame(pointer(0x1001), find), "module!ns::function+0x1");
}

TEST(describe_frame, is_module_and_offset_without_a_symbol) {
    const auto base = reinterpret_cast<std::uintptr_t>(GetModuleHandleW(L"ntdll.dll"));
    EXPECT_EQ(QV::describe_frame(pointer(base + 0x1234), &unknown), "ntdll.dll+0x1234");
    const auto self = reinterpret_cast<std::uintptr_t>(GetModuleHandleW(nullptr));
    EXPECT_EQ(QV::describe_frame(pointer(self + 0x1001), &unknown), "host_test.exe+0x1001");
}

TEST(describe_frame, belongs_to_the_module_of_the_call) {
    // What returns to the very start of a module was called from what lies before it.
    const auto base = reinterpret_cast<std::uintptr_t>(GetModuleHandleW(L"ntdll.dll"));
    EXPECT_THAT(QV::describe_frame(pointer(base + 1), &unknown), StartsWith("ntdll.dll+0x1"));
    EXPECT_EQ(QV::describe_frame(pointer(base), &unknown).find("ntdll.dll"), std::string::npos);
}

TEST(describe_frame, is_the_address_outside_of_all_modules) {
    EXPECT_EQ(QV::describe_frame(pointer(0x10), &unknown), "0x10");
    EXPECT_EQ(QV::describe_frame(pointer(1), &unknown), "0x1");
    EXPECT_EQ(QV::describe_frame(nullptr, &unknown), "0x0");
    EXPECT_EQ(QV::describe_frame(pointer(~std::uintptr_t{0}), &unknown), "0xffffffffffffffff");
    const int local = 0;
    EXPECT_EQ(QV::describe_frame(pointer(reinterpret_cast<std::uintptr_t>(&local)), &unknown),
              fmt::format("0x{:x}", reinterpret_cast<std::uintptr_t>(&local)));
}

TEST(describe_frame, keeps_no_module_loaded) {
    const HMODULE module = LoadLibraryW(L"winmm.dll");
    ASSERT_NE(module, nullptr);
    void* const inside = pointer(reinterpret_cast<std::uintptr_t>(module) + 0x100);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(QV::describe_frame(inside, &unknown), "winmm.dll+0x100");
    FreeLibrary(module);
    EXPECT_EQ(GetModuleHandleW(L"winmm.dll"), nullptr);
}

TEST(backtrace_text, pads_the_index_below_10) {
    std::vector<void*> frames;
    for (std::uintptr_t i = 0; i != 12; ++i)
        frames.push_back(pointer(i));
    EXPECT_THAT(lines(QV::backtrace_text(frames, &unknown)),
                ElementsAre(" 0 0x0", " 1 0x1", " 2 0x2", " 3 0x3", " 4 0x4", " 5 0x5", " 6 0x6", " 7 0x7",
                            " 8 0x8", " 9 0x9", "10 0xa", "11 0xb"));
}

TEST(backtrace_text, grows_with_the_index) {
    const std::vector<void*> frames(101, pointer(1));
    const std::vector<std::string> text = lines(QV::backtrace_text(frames, &unknown));
    ASSERT_EQ(text.size(), 101U);
    EXPECT_EQ(text[99], "99 0x1");
    EXPECT_EQ(text[100], "100 0x1");
}

TEST(backtrace_text, is_empty_without_frames) {
    EXPECT_EQ(QV::backtrace_text({}, &unknown), "");
}

} // namespace
