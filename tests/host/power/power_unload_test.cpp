// Not linked to the library, so that it is this program that loads and unloads it.
#include "checker_window.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <functional>

namespace {

using set_callback = void(std::function<void()>);

// The function as this compiler names it in a DLL.
constexpr char set_wakeup_callback[] =
    "_ZN2QV13SharedSupport11PowerEvents19set_wakeup_callbackESt8functionIFvvEE";

TEST(wakeup_checker, keeps_the_library_loaded) {
    ASSERT_TRUE(can_make_windows()) << "windows need a display";
    ASSERT_EQ(GetModuleHandleW(L"QVSharedSupport.dll"), nullptr);
    const HMODULE library = LoadLibraryW(L"QVSharedSupport.dll");
    ASSERT_NE(library, nullptr);
    const auto symbol = reinterpret_cast<void (*)()>(GetProcAddress(library, set_wakeup_callback));
    auto* const set = reinterpret_cast<set_callback*>(symbol);
    ASSERT_NE(set, nullptr);
    int calls = 0;
    checker_window_watch watch;
    set([&] { ++calls; });
    const HWND window = watch.wait();
    while (calls < 3 && FreeLibrary(library)) {
        ASSERT_EQ(GetModuleHandleW(L"QVSharedSupport.dll"), library);
        constexpr WPARAM waking = 18;
        SendMessageA(window, WM_POWERBROADCAST, waking, 0);
    }
    EXPECT_EQ(calls, 3);
    set(nullptr);
}

} // namespace
