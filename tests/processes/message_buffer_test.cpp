#include <QVSharedSupport/message_buffer.h>

#include "message_samples.h"

#include <gtest/gtest.h>

#include <boost/asio/buffer.hpp>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

using QV::message_buffer;

// Feeds `bytes` in pieces of at most `piece` bytes.
void feed(message_buffer& buffer, std::string_view bytes, std::size_t piece = std::string_view::npos) {
    while (!bytes.empty()) {
        const auto room = buffer.prepare();
        ASSERT_GT(room.size(), 0u);
        const std::size_t count =
            boost::asio::buffer_copy(room, boost::asio::buffer(bytes.data(), std::min(bytes.size(), piece)));
        buffer.commit(count);
        bytes.remove_prefix(count);
    }
}

std::string take(message_buffer& buffer) {
    EXPECT_TRUE(buffer.has_message());
    const CF::Data message = buffer.take_message();
    return {reinterpret_cast<const char*>(message.bytes().data()), message.size()};
}

TEST(message_buffer, has_no_message_at_first) {
    message_buffer buffer;
    EXPECT_FALSE(buffer.has_message());
    EXPECT_EQ(buffer.size(), 0u);
}

TEST(message_buffer, ends_a_message_after_the_first_delimiter) {
    message_buffer buffer;
    feed(buffer, "one</plist>\ntwo</plist></plist>rest");
    EXPECT_EQ(take(buffer), "one</plist>");
    EXPECT_EQ(take(buffer), "\ntwo</plist>");
    EXPECT_EQ(take(buffer), "</plist>");
    EXPECT_FALSE(buffer.has_message());
    EXPECT_EQ(buffer.size(), 4u);
}

TEST(message_buffer, finds_a_delimiter_that_is_split_anywhere) {
    const std::string bytes = "<</pli</plist></plis></plist>";
    for (std::size_t split = 0; split <= bytes.size(); ++split) {
        message_buffer buffer;
        feed(buffer, std::string_view(bytes).substr(0, split));
        // Looking early must not spoil finding it later.
        (void)buffer.has_message();
        feed(buffer, std::string_view(bytes).substr(split));
        EXPECT_EQ(take(buffer), "<</pli</plist>") << split;
        EXPECT_EQ(take(buffer), "</plis></plist>") << split;
        EXPECT_FALSE(buffer.has_message());
    }
}

TEST(message_buffer, finds_delimiters_fed_byte_by_byte) {
    const std::string bytes = "a</plist>\n</plist>b</plist>";
    message_buffer buffer;
    std::vector<std::string> messages;
    for (const char byte : bytes) {
        feed(buffer, {&byte, 1});
        if (buffer.has_message()) messages.push_back(take(buffer));
    }
    EXPECT_EQ(messages, (std::vector<std::string>{"a</plist>", "\n</plist>", "b</plist>"}));
}

TEST(message_buffer, keeps_messages_whole_while_it_moves_and_grows) {
    message_buffer buffer;
    std::size_t fed = 0;
    std::size_t taken = 0;
    for (int round = 0; round < 2000; ++round) {
        // Two messages in, one out; then none in, one out: the held bytes swell and shrink past every
        // threshold.
        const bool swelling = round % 1000 < 500;
        for (int i = 0; swelling && i < 2; ++i) {
            const std::string text = std::string((fed * 37) % 3000, 'x') + std::to_string(fed) + "</plist>";
            ++fed;
            feed(buffer, text, 700);
        }
        if (!buffer.has_message()) continue;
        ASSERT_EQ(take(buffer), std::string((taken * 37) % 3000, 'x') + std::to_string(taken) + "</plist>");
        ++taken;
    }
    EXPECT_EQ(taken, 2000u);
}

TEST(message_buffer, holds_a_message_of_64_mebibytes) {
    const std::string huge = std::string(std::size_t{64} << 20, '<') + "</plist>";
    message_buffer buffer;
    feed(buffer, huge);
    feed(buffer, "next</plist>");
    EXPECT_EQ(take(buffer), huge);
    EXPECT_EQ(take(buffer), "next</plist>");
    EXPECT_EQ(buffer.size(), 0u);
    feed(buffer, "after</plist>");
    EXPECT_EQ(take(buffer), "after</plist>");
}

} // namespace
