// Every call that reading a version takes is made to fail in turn.
#include "module_version.h"

#include "../helpers/captured_log.h"
#include "version_log.h"
#include "version_module.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using QV::module_calls;
using QV::read_file_version;
using QV::read_module_version;
using QV::software_version;
using test::expect_one_error;
using testing::ElementsAre;
using testing::IsEmpty;

HMODULE this_library() {
    return GetModuleHandleW(L"QVSharedSupport.dll");
}

void expect_failure(const module_calls& calls, const std::string& text) {
    const test::captured_log log;
    EXPECT_EQ(read_module_version(this_library(), "a {} name", calls), software_version());
    expect_one_error(log, text);
}

TEST(read_module_version, reads_a_loaded_module) {
    const test::captured_log log;
    EXPECT_EQ(read_module_version(this_library(), "x"), (software_version{0, 1, 0, 0}));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(read_module_version, names_the_call_that_fails) {
    module_calls calls;
    calls.find_resource = [](HMODULE, LPCSTR, LPCSTR) { return HRSRC(); };
    expect_failure(calls, "FindResource failed for module 'a {} name'");
    calls = module_calls();
    calls.load_resource = [](HMODULE, HRSRC) { return HGLOBAL(); };
    expect_failure(calls, "LoadResource failed for module 'a {} name'");
    calls = module_calls();
    calls.lock_resource = [](HGLOBAL) { return LPVOID(); };
    expect_failure(calls, "LockResource failed for module 'a {} name'");
    calls = module_calls();
    calls.sizeof_resource = [](HMODULE, HRSRC) { return DWORD(); };
    expect_failure(calls, "SizeofResource failed for module 'a {} name'");
    calls = module_calls();
    calls.query_value = [](LPCVOID, LPCSTR, LPVOID*, PUINT) { return FALSE; };
    expect_failure(calls, "VerQueryValueA failed for module 'a {} name'");
}

TEST(read_module_version, does_not_believe_every_answer) {
    module_calls calls;
    calls.query_value = [](LPCVOID, LPCSTR, LPVOID* value, PUINT size) {
        *value = nullptr;
        *size = sizeof(VS_FIXEDFILEINFO);
        return TRUE;
    };
    expect_failure(calls, "VerQueryValueA failed for module 'a {} name'");
    calls.query_value = [](LPCVOID block, LPCSTR, LPVOID* value, PUINT size) {
        *value = const_cast<void*>(block);
        *size = sizeof(VS_FIXEDFILEINFO) - 1;
        return TRUE;
    };
    expect_failure(calls, "VerQueryValueA failed for module 'a {} name'");
    calls.query_value = [](LPCVOID block, LPCSTR, LPVOID* value, PUINT size) {
        *value = static_cast<char*>(const_cast<void*>(block)) + 65536;
        *size = sizeof(VS_FIXEDFILEINFO);
        return TRUE;
    };
    expect_failure(calls, "VerQueryValueA failed for module 'a {} name'");
}

/// The resource that `read_module_version` finds in the next test.
std::vector<std::uint8_t> found_resource;

TEST(read_module_version, survives_resources_with_anything_in_them) {
    module_calls calls;
    calls.find_resource = [](HMODULE, LPCSTR, LPCSTR)
                              WINAPI { return reinterpret_cast<HRSRC>(found_resource.data()); };
    calls.load_resource = [](HMODULE, HRSRC) { return HGLOBAL(found_resource.data()); };
    calls.lock_resource = [](HGLOBAL bytes) { return bytes; };
    calls.sizeof_resource = [](HMODULE, HRSRC) { return static_cast<DWORD>(found_resource.size()); };
    const test::captured_log log;
    const test::version_module whole(test::processor::amd64, 1, 2, 3, 4);
    std::mt19937 random(6);
    int understood = 0;
    for (int round = 0; round != 20'000; ++round) {
        found_resource = whole.resource;
        // Some of the bytes up to the value, where all the lengths are, and sometimes the end.
        for (auto changes = random() % 4; changes != 0; --changes)
            found_resource[random() % 44] = static_cast<std::uint8_t>(random());
        if (random() % 4 == 0) found_resource.resize(1 + random() % found_resource.size());
        if (read_module_version(nullptr, "x", calls) == software_version{1, 2, 3, 4}) ++understood;
    }
    EXPECT_GT(understood, 1'000);
    EXPECT_EQ(log.texts("System").size() + static_cast<std::size_t>(understood), 20'000U);
    for (const std::string& text : log.texts("System"))
        EXPECT_EQ(text, "VerQueryValueA failed for module 'x'");
}

std::filesystem::path library_file() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(this_library(), path.data(), static_cast<DWORD>(path.size())));
    return path;
}

TEST(read_file_version, says_why_a_file_cannot_be_mapped) {
    module_calls calls;
    calls.load_library = [](LPCWSTR, HANDLE, DWORD flags) {
        EXPECT_EQ(flags, 0x22U);
        SetLastError(ERROR_BAD_EXE_FORMAT);
        return HMODULE();
    };
    const test::captured_log log;
    EXPECT_EQ(read_file_version(L"C:\\\x00E9\\x.dll", calls), software_version());
    expect_one_error(log, "LoadLibraryExW failed for module 'C:\\\xC3\xA9\\x.dll': " +
                              QV::get_error_string(ERROR_BAD_EXE_FORMAT));
}

int unmapped = 0;

TEST(read_file_version, unmaps_the_file_whatever_it_finds_there) {
    unmapped = 0;
    module_calls calls;
    calls.free_library = [](HMODULE module) {
        ++unmapped;
        return FreeLibrary(module);
    };
    const test::captured_log log;
    EXPECT_EQ(read_file_version(library_file(), calls), (software_version{0, 1, 0, 0}));
    EXPECT_EQ(unmapped, 1);
    EXPECT_THAT(log.lines(), IsEmpty());
    calls.find_resource = [](HMODULE, LPCSTR, LPCSTR) { return HRSRC(); };
    EXPECT_EQ(read_file_version(library_file(), calls), software_version());
    EXPECT_EQ(unmapped, 2);
}

TEST(read_file_version, gives_the_version_even_if_the_file_cannot_be_unmapped) {
    module_calls calls;
    calls.free_library = [](HMODULE module) {
        FreeLibrary(module);
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    };
    const test::captured_log log;
    EXPECT_EQ(read_file_version(library_file(), calls), (software_version{0, 1, 0, 0}));
    const std::u8string path = library_file().u8string();
    const std::string shown(path.begin(), path.end());
    const std::string text =
        "FreeLibrary failed for module '" + shown + "': " + QV::get_error_string(ERROR_INVALID_HANDLE);
    expect_one_error(log, text);
    calls.find_resource = [](HMODULE, LPCSTR, LPCSTR) { return HRSRC(); };
    EXPECT_EQ(read_file_version(library_file(), calls), software_version());
    EXPECT_THAT(log.texts("System"),
                ElementsAre(text, "FindResource failed for module '" + shown + "'", text));
}

} // namespace
