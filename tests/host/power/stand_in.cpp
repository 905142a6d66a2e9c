#include "stand_in.h"

#include "helper_programs.h"
#include "stand_in_protocol.h"

#include <QVPlatformCompatibility/win32_error.h>

#include <windows.h>

#include <atomic>

namespace stand_in {
namespace {

constexpr wchar_t tool[] = L"C:\\Windows\\System32\\msinfo32.exe";
// A test that died leaves the original here, and the next one puts it back.
constexpr wchar_t original[] = L"C:\\Windows\\System32\\msinfo32.exe.original";

bool exists(const wchar_t* path) {
    return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

// Wine prefers its own programs in the system's folder unless told otherwise.
constexpr wchar_t overrides[] = L"Software\\Wine\\DllOverrides";
constexpr wchar_t overridden[] = L"msinfo32.exe";

void prefer_stand_in() {
    constexpr wchar_t native[] = L"native";
    RegSetKeyValueW(HKEY_CURRENT_USER, overrides, overridden, REG_SZ, native, sizeof(native));
}

void prefer_built_in() {
    RegDeleteKeyValueW(HKEY_CURRENT_USER, overrides, overridden);
}

void check(bool done, const char* call) {
    if (!done) throw QV::win32_error(call);
}

} // namespace

bool may_be_installed() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

installed::installed() {
    if (exists(tool) && !exists(original)) check(MoveFileW(tool, original), "MoveFileW");
    check(CopyFileW(helper_program("stand_in_msinfo32").c_str(), tool, FALSE), "CopyFileW");
    prefer_stand_in();
}

installed::~installed() {
    prefer_built_in();
    DeleteFileW(tool);
    if (exists(original)) MoveFileW(original, tool);
}

director::director(const std::wstring& behaviour) {
    static std::atomic<int> count = 0;
    const std::wstring name =
        L"QV_stand_in_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++count);
    mapping_ =
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(notice), name.c_str());
    check(mapping_ != nullptr, "CreateFileMappingW");
    view_ = MapViewOfFile(mapping_, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(notice));
    check(view_ != nullptr, "MapViewOfFile");
    ready_ = CreateEventW(nullptr, FALSE, FALSE, (name + L"+ready").c_str());
    check(ready_ != nullptr, "CreateEventW");
    SetEnvironmentVariableW(mapping_variable, name.c_str());
    SetEnvironmentVariableW(behaviour_variable, behaviour.c_str());
}

director::~director() {
    CloseHandle(ready_);
    UnmapViewOfFile(view_);
    CloseHandle(mapping_);
}

void* director::open_process() const {
    return OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION | PROCESS_TERMINATE, FALSE,
                       static_cast<const notice*>(view_)->process);
}

} // namespace stand_in
