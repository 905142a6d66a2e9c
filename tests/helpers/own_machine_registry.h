#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include <windows.h>

namespace test {

/// Shows this process a machine registry of its own, so that the real one is neither read nor written.
class own_machine_registry : public testing::Test {
protected:
    void SetUp() override {
        HKEY machine = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, scratch_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                  &machine, nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine), ERROR_SUCCESS);
        RegCloseKey(machine);
    }
    void TearDown() override {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegDeleteTreeW(HKEY_CURRENT_USER, scratch_.c_str());
    }

    static void make_key(const wchar_t* name) { RegCloseKey(opened(name)); }
    static void set_value(const wchar_t* key_name, const wchar_t* name, DWORD type, const void* data,
                          std::size_t bytes) {
        const HKEY key = opened(key_name);
        EXPECT_EQ(
            RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(bytes)),
            ERROR_SUCCESS);
        RegCloseKey(key);
    }

private:
    static HKEY opened(const wchar_t* name) {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, name, 0, nullptr, 0, KEY_SET_VALUE | KEY_WOW64_64KEY,
                                  nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        return key;
    }

    // Programs that run at the same time do not get in each other's way.
    const std::wstring scratch_ = L"Software\\QVSharedSupport test " + std::to_wstring(GetCurrentProcessId());
};

} // namespace test
