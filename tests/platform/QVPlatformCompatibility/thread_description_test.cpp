#include <QVPlatformCompatibility/thread.h>
#include <QVPlatformCompatibility/thread_description.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

/// Runs `body` on a thread of its own, whose description nobody has set before.
template <class Body>
void on_new_thread(Body body) {
    QV::thread(std::move(body)).join();
}

// Where the system has no descriptions (Windows 7) both functions say so, and there is nothing else to see.
bool supported() {
    bool answer = false;
    on_new_thread([&] { answer = QV::set_current_thread_description(u"") >= 0; });
    return answer;
}

class thread_description : public testing::Test {
protected:
    void SetUp() override {
        if (!supported()) GTEST_SKIP() << "this system has no thread descriptions";
    }
};

TEST_F(thread_description, of_a_thread_never_named_is_empty) {
    std::optional<std::u16string> seen;
    on_new_thread([&] { seen = QV::get_current_thread_description(); });
    EXPECT_EQ(seen, u"");
}

TEST_F(thread_description, is_read_back_as_set) {
    // Non-ASCII, a character of two units, and a lone surrogate, which is not text but is not ours to judge.
    for (const std::u16string& text :
         {std::u16string(u"worker"), std::u16string(u"Gerät \U0001F4F1"),
          std::u16string{u'a', char16_t(0xD800), u'A'}, std::u16string(2000, u'x'), std::u16string()}) {
        std::optional<std::u16string> seen;
        on_new_thread([&] {
            EXPECT_GE(QV::set_current_thread_description(u"before"), 0);
            EXPECT_GE(QV::set_current_thread_description(text), 0);
            seen = QV::get_current_thread_description();
        });
        EXPECT_TRUE(seen == text) << text.size();
    }
}

TEST_F(thread_description, ends_at_the_first_nul) {
    std::optional<std::u16string> seen;
    on_new_thread([&] {
        QV::set_current_thread_description(std::u16string(u"one\0two", 7));
        seen = QV::get_current_thread_description();
    });
    EXPECT_TRUE(seen == u"one");
}

TEST_F(thread_description, belongs_to_one_thread) {
    std::optional<std::u16string> seen;
    on_new_thread([&] {
        QV::set_current_thread_description(u"outer");
        on_new_thread([] { QV::set_current_thread_description(u"inner"); });
        seen = QV::get_current_thread_description();
    });
    EXPECT_TRUE(seen == u"outer");
}

} // namespace
