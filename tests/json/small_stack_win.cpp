#include "small_stack.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace qv_test {

namespace {

DWORD WINAPI run(void* argument) {
    (*static_cast<const std::function<void()>*>(argument))();
    return 0;
}

} // namespace

void run_on_small_stack(const std::function<void()>& work) {
    std::function<void()> copy = work;
    const HANDLE thread = CreateThread(nullptr, QV_SMALL_STACK_MIB << 20, run, &copy,
                                       STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    CloseHandle(thread);
}

} // namespace qv_test
