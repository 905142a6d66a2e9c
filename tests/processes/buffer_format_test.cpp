#include <QVSharedSupport/buffer_format.h>

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

namespace asio = boost::asio;

std::string format_error_of(const std::string& format) {
    try {
        (void)fmt::format(fmt::runtime(format), asio::buffer("x", 1));
    } catch (const fmt::format_error& error) {
        return error.what();
    }
    return "nothing thrown";
}

TEST(buffer_format, writes_bytes_as_they_are_without_e) {
    const std::string bytes("a\n\\\0\xC3", 5);
    EXPECT_EQ(fmt::format("{}", asio::buffer(bytes)), bytes);
}

TEST(buffer_format, escapes_control_characters_and_backslashes) {
    EXPECT_EQ(fmt::format("{:e}", asio::buffer("\x41\x0A\x5C\x01\xC3", 5)), "A\\n\\\\\\x01\xC3");
    EXPECT_EQ(fmt::format("{:e}", asio::buffer("\t\n\v\f\r", 5)), "\\t\\n\\v\\f\\r");
    EXPECT_EQ(fmt::format("{:e}", asio::buffer("\0\x1F\x7F\x1B", 4)), "\\x00\\x1f\\x7f\\x1b");
    EXPECT_EQ(fmt::format("{:e}", asio::buffer(" ~\"'{}", 6)), " ~\"'{}");
}

TEST(buffer_format, treats_every_byte_value_exactly) {
    for (int value = 0; value < 256; ++value) {
        const char byte = static_cast<char>(value);
        std::string expected(1, byte);
        if (value < 0x20 || value == 0x7F) expected = fmt::format("\\x{:02x}", value);
        if (byte == '\\') expected = "\\\\";
        const std::string named = "\t\n\v\f\r";
        const std::size_t name = named.find(byte);
        if (name != std::string::npos) expected = std::string("\\") + "tnvfr"[name];
        EXPECT_EQ(fmt::format("{:e}", asio::buffer(&byte, 1)), expected) << value;
    }
}

TEST(buffer_format, writes_at_most_the_given_number_of_input_bytes) {
    const std::string bytes = "a\nbcd";
    EXPECT_EQ(fmt::format("{:m0}", asio::buffer(bytes)), "");
    EXPECT_EQ(fmt::format("{:m3}", asio::buffer(bytes)), "a\nb");
    EXPECT_EQ(fmt::format("{:em3}", asio::buffer(bytes)), "a\\nb");
    EXPECT_EQ(fmt::format("{:m3e}", asio::buffer(bytes)), "a\\nb");
    EXPECT_EQ(fmt::format("{:m99}", asio::buffer(bytes)), bytes);
    EXPECT_EQ(fmt::format("{:m18446744073709551615}", asio::buffer(bytes)), bytes);
}

TEST(buffer_format, goes_through_sequences_of_buffers) {
    const std::vector<asio::const_buffer> buffers = {asio::buffer("ab", 2), asio::const_buffer(),
                                                     asio::buffer("c\nd", 3)};
    EXPECT_EQ(fmt::format("{}", buffers), "abc\nd");
    EXPECT_EQ(fmt::format("{:em4}", buffers), "abc\\n");
    char writable[2] = {'x', '\\'};
    const std::array<asio::mutable_buffer, 1> mutable_buffers = {asio::buffer(writable)};
    EXPECT_EQ(fmt::format("{:e}", mutable_buffers), "x\\\\");
    EXPECT_EQ(fmt::format("{}", asio::const_buffer()), "");
}

TEST(buffer_format, refuses_a_maximum_without_digits) {
    for (const char* const format : {"{:m}", "{:em}", "{:me}", "{:m-1}", "{:m 1}"})
        EXPECT_EQ(format_error_of(format), "Missing maximum length amount") << format;
}

TEST(buffer_format, refuses_a_maximum_of_more_than_64_bits) {
    for (const char* const format :
         {"{:m18446744073709551616}", "{:m99999999999999999999}", "{:em100000000000000000000}"})
        EXPECT_EQ(format_error_of(format), "Maximum length is too large") << format;
}

TEST(buffer_format, refuses_other_letters) {
    EXPECT_EQ(format_error_of("{:x}"), "invalid format specifier");
}

} // namespace
