#include <QVSharedSupport/debug.h>

#include "../helpers/failing_allocator.h"
#include "run_child.h"

#include <CFAdapters/String.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using QV::SharedSupport::Debug::get_backtrace;
using testing::HasSubstr;
using testing::StartsWith;

std::string first_line(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

std::string trace_below(int depth);

/// Called through this, nothing is inlined or made a loop.
std::string (*volatile const call_trace_below)(int) = &trace_below;

/// A trace from `depth` calls further in.
std::string trace_below(int depth) {
    if (depth == 0) return get_backtrace();
    const std::string text = call_trace_below(depth - 1);
    return text + ""; // something to be done after the call, so that it stays on the stack
}

TEST(get_backtrace, begins_with_its_caller) {
    const std::string text = get_backtrace();
    EXPECT_THAT(first_line(text), StartsWith(" 0 "));
    EXPECT_THAT(first_line(text), HasSubstr("host_test"));
    EXPECT_THAT(text, HasSubstr("\n 1 "));
    static_assert(noexcept(get_backtrace()));
}

TEST(get_backtrace, names_module_and_place_in_every_line) {
    const std::string text = get_backtrace();
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '\n');
    std::size_t start = 0;
    for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n', start)) {
        const std::string line = text.substr(start, end - start);
        EXPECT_THAT(line, HasSubstr("+0x"));
        start = end + 1;
    }
}

TEST(get_backtrace, sees_every_call) {
    const auto count = [](const std::string& text) { return std::ranges::count(text, '\n'); };
    const auto shallow = count(call_trace_below(0));
    EXPECT_EQ(count(call_trace_below(20)), shallow + 20);
    EXPECT_EQ(count(call_trace_below(1000)), 256);
}

TEST(get_backtrace, leads_through_the_modules_of_a_call_back) {
    std::string text;
    const auto compare = [](void* context, const void*, const void*) -> int {
        *static_cast<std::string*>(context) = get_backtrace();
        return 0;
    };
    // The C runtime's own module is then between two functions of this program.
    int numbers[] = {2, 1};
    using sorter = void (*)(void*, std::size_t, std::size_t, int (*)(void*, const void*, const void*), void*);
    const FARPROC found = GetProcAddress(LoadLibraryW(L"ucrtbase.dll"), "qsort_s");
    ASSERT_NE(found, nullptr);
    const auto sort = reinterpret_cast<sorter>(reinterpret_cast<void (*)()>(found));
    sort(numbers, 2, sizeof(int), compare, &text);
    EXPECT_THAT(first_line(text), HasSubstr("host_test"));
    EXPECT_THAT(text, HasSubstr("ucrtbase"));
}

TEST(get_backtrace, may_be_asked_for_by_many_threads) {
    constexpr int threads = 8;
    std::mutex mutex;
    std::condition_variable changed;
    int ready = 0;
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i)
        running.emplace_back([&] {
            {
                // All of them at once.
                std::unique_lock lock(mutex);
                ++ready;
                changed.notify_all();
                changed.wait(lock, [&] { return ready == threads; });
            }
            for (int round = 0; round < 20; ++round) {
                const std::string text = get_backtrace();
                EXPECT_THAT(first_line(text), HasSubstr("host_test"));
            }
        });
    for (std::thread& thread : running)
        thread.join();
}

TEST(QXDebugCreateTraceString, belongs_to_the_caller) {
    const CFStringRef text = QXDebugCreateTraceString();
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(CFGetRetainCount(text), 1);
    const CF::String owned = CF::String::adopt(text);
    EXPECT_THAT(owned.to_string(), StartsWith(" 0 "));
    EXPECT_THAT(owned.to_string(), HasSubstr("host_test"));
}

/// Counts what is allocated and not freed, as this thread's default while it lives.
class counting_allocator {
public:
    counting_allocator() : before_(CFAllocatorGetDefault()) { CFAllocatorSetDefault(counting()); }
    ~counting_allocator() { CFAllocatorSetDefault(before_); }
    counting_allocator(const counting_allocator&) = delete;
    counting_allocator& operator=(const counting_allocator&) = delete;

    static inline thread_local int out = 0;

private:
    // One for the whole process: a default allocator is never released.
    static CFAllocatorRef counting() {
        static const CFAllocatorRef allocator = [] {
            CFAllocatorContext context = {};
            context.allocate = [](CFIndex size, CFOptionFlags, void*) -> void* {
                ++out;
                return std::malloc(static_cast<std::size_t>(size));
            };
            context.deallocate = [](void* block, void*) {
                --out;
                std::free(block);
            };
            return CFAllocatorCreate(kCFAllocatorSystemDefault, &context);
        }();
        return allocator;
    }

    CFAllocatorRef before_;
};

TEST(QXDebugCreateTraceString, leaves_nothing_once_it_is_released) {
    const counting_allocator counting;
    const int before = counting.out;
    const CFStringRef text = QXDebugCreateTraceString();
    ASSERT_NE(text, nullptr);
    EXPECT_GT(counting.out, before);
    CFRelease(text);
    EXPECT_EQ(counting.out, before);
}

TEST(QXDebugCreateTraceString, is_null_without_memory) {
    const qv_test::failing_allocator none(0);
    EXPECT_EQ(QXDebugCreateTraceString(), nullptr);
    EXPECT_TRUE(none.refused());
}

TEST(QXDebugCreateTraceString, works_in_a_c_program) {
    EXPECT_EQ(run_child("host_in_c", {"trace"}).code, 0);
}

TEST(QXDebugCrashApplication, dies_of_an_access_violation) {
    EXPECT_EQ(run_child("host_in_c", {"crash"}).code, static_cast<int>(EXCEPTION_ACCESS_VIOLATION));
}

TEST(QXDebugCrashApplication, reads_address_0) {
    EXPECT_EQ(run_child("host_in_c", {"crash-seen"}).code, static_cast<int>(EXCEPTION_ACCESS_VIOLATION));
}

} // namespace
