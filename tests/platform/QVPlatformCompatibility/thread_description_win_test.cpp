// The system's answers played by the test: what it does not have, where it fails, and what must be freed.
#include "thread_description_calls.h"

#include <gtest/gtest.h>

namespace {

/// The text handed out and not freed, and how often it was freed.
wchar_t* handed_out = nullptr;
int freed = 0;

HLOCAL WINAPI free_text(HLOCAL text) {
    EXPECT_EQ(text, handed_out);
    handed_out = nullptr;
    ++freed;
    return LocalFree(text);
}

wchar_t* allocate(std::wstring_view text) {
    handed_out = static_cast<wchar_t*>(LocalAlloc(LPTR, (text.size() + 1) * sizeof(wchar_t)));
    text.copy(handed_out, text.size());
    return handed_out;
}

HRESULT WINAPI give_text(HANDLE, wchar_t** text) {
    *text = allocate(L"io");
    return S_OK;
}
HRESULT WINAPI give_empty_text(HANDLE, wchar_t** text) {
    *text = allocate(L"");
    return S_OK;
}
HRESULT WINAPI give_nothing(HANDLE, wchar_t** text) {
    *text = nullptr;
    return S_OK;
}
HRESULT WINAPI fail(HANDLE, wchar_t**) {
    return E_ACCESSDENIED;
}
HRESULT WINAPI fail_and_give_text(HANDLE, wchar_t** text) {
    *text = allocate(L"half a name");
    return E_ACCESSDENIED;
}

std::optional<std::u16string> read(HRESULT(WINAPI* get)(HANDLE, wchar_t**)) {
    handed_out = nullptr;
    freed = 0;
    return QV::read_thread_description({nullptr, get, &free_text});
}

TEST(thread_description_calls, the_text_is_read_and_freed) {
    EXPECT_EQ(read(&give_text), u"io");
    EXPECT_EQ(freed, 1);
    EXPECT_EQ(read(&give_empty_text), u"");
    EXPECT_EQ(freed, 1);
}

TEST(thread_description_calls, success_without_a_text_is_no_description) {
    EXPECT_FALSE(read(&give_nothing).has_value());
    EXPECT_EQ(freed, 0);
}

TEST(thread_description_calls, a_failure_is_no_description_and_frees_what_came_with_it) {
    EXPECT_FALSE(read(&fail).has_value());
    EXPECT_EQ(freed, 0);
    EXPECT_FALSE(read(&fail_and_give_text).has_value());
    EXPECT_EQ(freed, 1);
    EXPECT_EQ(handed_out, nullptr);
}

TEST(thread_description_calls, a_system_without_them_has_no_descriptions) {
    EXPECT_FALSE(read(nullptr).has_value());
    EXPECT_EQ(QV::write_thread_description({nullptr, nullptr, &free_text}, u"io"), E_NOTIMPL);
}

const void* address_in(const char* module, const char* function) {
    return reinterpret_cast<const void*>(GetProcAddress(GetModuleHandleA(module), function));
}

TEST(thread_description_calls, are_looked_for_in_kernelbase_first) {
    const QV::thread_description_calls found = QV::find_thread_description_calls();
    EXPECT_EQ(reinterpret_cast<const void*>(found.set), address_in("kernelbase.dll", "SetThreadDescription"));
    EXPECT_EQ(reinterpret_cast<const void*>(found.get), address_in("kernelbase.dll", "GetThreadDescription"));
}

TEST(thread_description_calls, are_taken_from_the_first_module_that_has_them) {
    const char* const modules[] = {"not_loaded.dll", "ntdll.dll", "kernel32.dll"};
    const QV::thread_description_calls found = QV::find_thread_description_calls(modules);
    EXPECT_EQ(reinterpret_cast<const void*>(found.set), address_in("kernel32.dll", "SetThreadDescription"));
    EXPECT_EQ(reinterpret_cast<const void*>(found.get), address_in("kernel32.dll", "GetThreadDescription"));
}

TEST(thread_description_calls, are_null_where_no_module_has_them) {
    const char* const modules[] = {"not_loaded.dll", "ntdll.dll"};
    const QV::thread_description_calls found = QV::find_thread_description_calls(modules);
    EXPECT_EQ(found.set, nullptr);
    EXPECT_EQ(found.get, nullptr);
}

std::wstring written;
HRESULT WINAPI take_text(HANDLE thread, const wchar_t* text) {
    EXPECT_EQ(thread, GetCurrentThread());
    written = text;
    return 7;
}
HRESULT WINAPI refuse_text(HANDLE, const wchar_t*) {
    return E_OUTOFMEMORY;
}

TEST(thread_description_calls, the_answer_to_setting_is_handed_on) {
    EXPECT_EQ(QV::write_thread_description({&take_text, nullptr, &free_text}, u"Ger\u00E4t"), 7);
    EXPECT_EQ(written, L"Ger\u00E4t");
    EXPECT_EQ(QV::write_thread_description({&refuse_text, nullptr, &free_text}, u"io"), E_OUTOFMEMORY);
}

} // namespace
