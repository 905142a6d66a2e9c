#include "../../helpers/own_machine_registry.h"

#include <RuntimeLocator/mds_path.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using QV::RuntimeLocator::get_mds_path;

class get_mds_path_test : public test::own_machine_registry {
protected:
    static void set_entry(DWORD type, const void* data, std::size_t bytes) {
        set_value(L"SOFTWARE\\Apple Inc.\\Apple Mobile Device Support", L"InstallDir", type, data, bytes);
    }
    static void set_text(const std::wstring& text, DWORD type = REG_SZ) {
        set_entry(type, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    }
};

TEST_F(get_mds_path_test, is_what_the_installer_wrote_down) {
    set_text(L"D:\\Ger\u00E4te\\Mobile Device Support\\");
    EXPECT_EQ(get_mds_path(), std::filesystem::path(L"D:\\Ger\u00E4te\\Mobile Device Support\\"));
    EXPECT_EQ(get_mds_path() / "MobileDevice.dll",
              std::filesystem::path(L"D:\\Ger\u00E4te\\Mobile Device Support\\MobileDevice.dll"));
}

TEST_F(get_mds_path_test, fills_in_environment_variables) {
    SetEnvironmentVariableW(L"QV_TEST_DRIVE", L"E:");
    set_text(L"%QV_TEST_DRIVE%\\Runtime", REG_EXPAND_SZ);
    EXPECT_EQ(get_mds_path(), std::filesystem::path(L"E:\\Runtime"));
}

TEST_F(get_mds_path_test, may_be_long) {
    const std::wstring folder = L"C:\\" + std::wstring(5000, L'x');
    set_text(folder);
    EXPECT_EQ(get_mds_path().native(), folder);
}

TEST_F(get_mds_path_test, is_the_default_folder_without_a_usable_entry) {
    const std::filesystem::path nothing_entered = get_mds_path();
    EXPECT_TRUE(nothing_entered.is_absolute());
    EXPECT_EQ(nothing_entered.filename(), L"Mobile Device Support");
    EXPECT_EQ(nothing_entered.parent_path().filename(), L"Apple");

    set_text(L"");
    EXPECT_EQ(get_mds_path(), nothing_entered);
    set_text(L"relative\\folder");
    EXPECT_EQ(get_mds_path(), nothing_entered);
    const DWORD number = 7;
    set_entry(REG_DWORD, &number, sizeof number);
    EXPECT_EQ(get_mds_path(), nothing_entered);
    set_entry(REG_BINARY, L"C:\\x", 10);
    EXPECT_EQ(get_mds_path(), nothing_entered);
}

TEST_F(get_mds_path_test, takes_an_entry_without_its_end) {
    set_entry(REG_SZ, L"C:\\Runtime", 10 * sizeof(wchar_t)); // no NUL: the registry does not see to that
    EXPECT_EQ(get_mds_path(), std::filesystem::path(L"C:\\Runtime"));
}

} // namespace
