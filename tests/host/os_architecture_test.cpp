#include "os_architecture.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

/// What the fake system answers.
struct {
    bool has_module = true;
    bool has_function = true;
    BOOL success = TRUE;
    USHORT process = 0;
    USHORT native = 0;
    std::wstring module;
    std::string function;
} answer;

BOOL WINAPI is_wow64_process2(HANDLE process, USHORT* process_machine, USHORT* native_machine) {
    EXPECT_EQ(process, GetCurrentProcess());
    *process_machine = answer.process;
    *native_machine = answer.native;
    return answer.success;
}

HMODULE WINAPI get_module(LPCWSTR name) {
    answer.module = name;
    return answer.has_module ? GetModuleHandleW(nullptr) : nullptr;
}

FARPROC WINAPI get_function(HMODULE module, LPCSTR name) {
    EXPECT_EQ(module, GetModuleHandleW(nullptr));
    answer.function = name;
    if (!answer.has_function) return nullptr;
    return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(&is_wow64_process2));
}

class os_arch : public testing::Test {
protected:
    void SetUp() override { answer = {}; }
    static std::string ask() { return QV::os_arch({&get_module, &get_function}); }
};

TEST_F(os_arch, names_the_native_machine) {
    const std::pair<int, const char*> table[] = {
        {0, "UNKNOWN"},        {0x14C, "I386"},       {0x1C0, "ARM"},           {0x1C4, "ARMNT"},
        {0x8664, "AMD64"},     {0xAA64, "ARM64"},     {512, "UNKNOWN512"},      {1, "UNKNOWN1"},
        {0x14D, "UNKNOWN333"}, {0x1C2, "UNKNOWN450"}, {0xAA65, "UNKNOWN43621"}, {65535, "UNKNOWN65535"}};
    for (const auto& [machine, name] : table) {
        answer.native = static_cast<USHORT>(machine);
        EXPECT_EQ(ask(), name);
    }
    EXPECT_EQ(answer.module, L"kernel32");
    EXPECT_EQ(answer.function, "IsWow64Process2");
}

TEST_F(os_arch, is_that_of_the_processor_not_of_the_process) {
    answer.process = IMAGE_FILE_MACHINE_I386;
    answer.native = IMAGE_FILE_MACHINE_AMD64;
    EXPECT_EQ(ask(), "AMD64");
    answer.process = IMAGE_FILE_MACHINE_AMD64;
    answer.native = IMAGE_FILE_MACHINE_ARM64;
    EXPECT_EQ(ask(), "ARM64");
}

TEST_F(os_arch, is_amd64_where_the_system_cannot_be_asked) {
    answer.native = IMAGE_FILE_MACHINE_ARM64;
    answer.has_module = false;
    EXPECT_EQ(ask(), "AMD64");
    answer.has_module = true;
    answer.has_function = false;
    EXPECT_EQ(ask(), "AMD64");
    answer.has_function = true;
    answer.success = FALSE;
    EXPECT_EQ(ask(), "AMD64");
}

} // namespace
