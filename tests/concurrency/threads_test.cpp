#include <QVSharedSupport/threads.h>

#include "../helpers/captured_log.h"

#include <QVPlatformCompatibility/thread_description.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>

namespace {

using QV::GetCurrentThreadName;
using QV::SetCurrentThreadName;
using QV::thread_name_scope;

/// Runs `body` on a thread that nobody has named yet.
template <class Body>
void on_new_thread(Body body) {
    QV::thread(std::move(body)).join();
}

class thread_names : public testing::Test {
protected:
    void SetUp() override {
        int answer = 0;
        on_new_thread([&] { answer = QV::set_current_thread_description(u""); });
        if (answer < 0) GTEST_SKIP() << "this system has no thread descriptions";
    }
};

TEST_F(thread_names, of_a_thread_never_named_is_empty) {
    std::optional<std::string> seen;
    on_new_thread([&] { seen = GetCurrentThreadName(); });
    EXPECT_EQ(seen, "");
}

TEST_F(thread_names, are_read_back_as_set) {
    for (const std::string name : {"worker", "Ger\xC3\xA4t \xF0\x9F\x93\xB1", "io[0]"}) {
        std::optional<std::string> seen;
        on_new_thread([&] {
            EXPECT_GE(SetCurrentThreadName(name), 0);
            seen = GetCurrentThreadName();
        });
        EXPECT_EQ(seen, name);
    }
}

TEST_F(thread_names, an_empty_name_clears) {
    std::optional<std::string> seen;
    on_new_thread([&] {
        SetCurrentThreadName("before");
        EXPECT_GE(SetCurrentThreadName(""), 0);
        seen = GetCurrentThreadName();
    });
    EXPECT_EQ(seen, "");
}

TEST_F(thread_names, long_ones_are_kept) {
    const std::string name(2000, 'x');
    std::optional<std::string> seen;
    on_new_thread([&] {
        SetCurrentThreadName(name);
        seen = GetCurrentThreadName();
    });
    EXPECT_EQ(seen, name);
}

TEST_F(thread_names, end_at_the_first_nul) {
    std::optional<std::string> seen;
    on_new_thread([&] {
        SetCurrentThreadName(std::string("one\0two", 7));
        seen = GetCurrentThreadName();
    });
    EXPECT_EQ(seen, "one");
}

TEST_F(thread_names, leave_out_what_is_not_utf16) {
    const struct {
        std::u16string description;
        std::string name;
    } cases[] = {
        {{u'a', 0xD83D, 0xDE00, u'b'},
         "a\xF0\x9F\x98\x80"
         "b"},
        {{0xD800, u'A'}, ""},                  // the letter goes with the surrogate
        {{u'x', 0xD800, u'A', u'y'}, "xy"},    //
        {{u'x', 0xD800}, "x"},                 // a high surrogate at the end
        {{u'x', 0xDC00, u'y'}, "xy"},          // a lone low one
        {{0xD800, 0xD800, 0xDC00, u'z'}, "z"}, // the second goes with the first, the third is alone
        {{0xD7FF, 0xE000, 0xFFFF}, "\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
    };
    for (const auto& each : cases) {
        std::optional<std::string> seen;
        on_new_thread([&] {
            QV::set_current_thread_description(each.description);
            seen = GetCurrentThreadName();
        });
        EXPECT_EQ(seen, each.name);
    }
}

TEST_F(thread_names, never_raise_for_what_is_not_utf8) {
    for (const auto& [name, kept] : {std::pair<std::string, std::string>("a\xFFz", "az"),
                                     {"a\xC0\x80z", "az"},
                                     {"a\xED\xA0\x80z", "az"},
                                     {"a\xF0\x9F\x98", "a"}}) {
        std::optional<std::string> seen;
        on_new_thread([&, &text = name] {
            EXPECT_GE(SetCurrentThreadName(text), 0);
            seen = GetCurrentThreadName();
        });
        EXPECT_EQ(seen, kept);
    }
}

TEST(SetCurrentThreadName_, names_the_thread_in_the_log) {
    test::captured_log log;
    on_new_thread([] {
        SetCurrentThreadName("restore worker");
        QV::Logging::get_logger("Test").log(QV::Logging::log_level::critical, "here");
    });
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].thread_name, "restore worker");
}

TEST_F(thread_names, of_a_scope_are_taken_back) {
    on_new_thread([] {
        SetCurrentThreadName("own");
        {
            const thread_name_scope outer("outer");
            EXPECT_EQ(GetCurrentThreadName(), "outer");
            try {
                const thread_name_scope inner("inner");
                EXPECT_EQ(GetCurrentThreadName(), "inner");
                throw std::runtime_error("leaves the scope");
            } catch (const std::runtime_error&) {
                EXPECT_EQ(GetCurrentThreadName(), "outer");
            }
            const thread_name_scope none("");
            EXPECT_EQ(GetCurrentThreadName(), "outer");
        }
        EXPECT_EQ(GetCurrentThreadName(), "own");
    });
}

TEST(InstallSignalHandler, destroys_the_handler_and_never_calls_it) {
    const auto alive = std::make_shared<int>();
    QV::InstallSignalHandler(2, [alive] { FAIL() << "called"; });
    EXPECT_EQ(alive.use_count(), 1);
    QV::InstallSignalHandler(-1, nullptr);
}

TEST(thread_pool, without_threads_is_destroyed_at_once) {
    const QV::thread_pool pool;
}

TEST(thread_pool, joins_every_thread) {
    std::atomic<int> ended = 0;
    {
        QV::thread_pool pool;
        std::promise<void> go;
        const std::shared_future<void> gone = go.get_future().share();
        for (int i = 0; i < 8; ++i)
            pool.add(QV::thread([&ended, gone] {
                gone.wait();
                ++ended;
            }));
        pool.add(QV::thread());
        go.set_value();
    }
    EXPECT_EQ(ended, 8);
}

TEST(thread_pool, joins_what_its_threads_add_while_it_is_being_destroyed) {
    std::atomic<int> ended = 0;
    {
        QV::thread_pool pool;
        pool.add(QV::thread([&] {
            pool.add(QV::thread([&] {
                pool.add(QV::thread([&] { ++ended; }));
                ++ended;
            }));
            ++ended;
        }));
    }
    EXPECT_EQ(ended, 3);
}

} // namespace
