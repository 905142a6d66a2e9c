#include <QVMath/b16_encode.h>

#include <gtest/gtest.h>

#include <array>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

TEST(b16_encode, gives_each_nibble_its_digit) {
    std::string digits;
    for (unsigned int nibble = 0; nibble < 16; ++nibble)
        digits += QV::b16_encode(nibble);
    EXPECT_EQ(digits, "0123456789abcdef");
}

TEST(b16_encode, refuses_what_is_no_nibble) {
    for (const unsigned int wrong : {16U, 255U, 0xFFFF'FFFFU}) {
        try {
            QV::b16_encode(wrong);
            ADD_FAILURE() << wrong;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(std::string(error.what()), "A base-16 digit stands for 0 to 15");
        }
    }
}

TEST(b16_encode, writes_the_high_nibble_first) {
    const std::array bytes{std::byte{0x00}, std::byte{0x1A}, std::byte{0xF0}, std::byte{0xFF}};
    EXPECT_EQ(QV::b16_encode(bytes), "001af0ff");
    EXPECT_EQ(QV::b16_encode(std::span<const std::byte>()), "");
}

TEST(b16_encode, takes_every_byte) {
    std::vector<std::byte> bytes(256);
    for (std::size_t value = 0; value < bytes.size(); ++value)
        bytes[value] = static_cast<std::byte>(value);
    const std::string text = QV::b16_encode(bytes);
    ASSERT_EQ(text.size(), 512U);
    for (std::size_t i = 0; i < 256; ++i)
        EXPECT_EQ(std::stoul(text.substr(2 * i, 2), nullptr, 16), i);
}

} // namespace
