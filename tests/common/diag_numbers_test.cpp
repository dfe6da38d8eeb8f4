// SPDX-License-Identifier: MIT
#include <array>
#include <cstring>
#include <gtest/gtest.h>

#include "diag_util.h"

namespace {

TEST(Atoh, ReadsHexadecimalDigits) {
    struct Case {
        const char *text;
        uint32_t value;
    };
    constexpr Case kCases[] = {
        {"0x1F", 0x1F},
        {"1 F", 0x1F},
        {"1x2", 0x12},
        {"0X1F", 0},
        {"12g4", 0x12},
        {"", 0},
        {"abcdef", 0xABCDEF},
        {"ABCDEF", 0xABCDEF},
        {"aBcD", 0xABCD},
        {"  7", 7},
        {"x", 0},
        {"xx1", 1},
        {"\t1", 0},
        {"1\t2", 1},
        {"-1", 0},
        {"FFFFFFFF", 0xFFFFFFFF},
        {"123456789", 0x23456789},
        {"1\n", 1},
        {"0012", 0x12},
        {"1:2", 1},
        {"1@", 1},
        {"1G", 1},
        {"1`", 1},
        {"1/", 1},
    };
    for (const Case &test : kCases) {
        EXPECT_EQ(atoh(test.text), test.value) << "'" << test.text << "'";
    }
}

TEST(AtohP, ReadsIntoTheGivenWidth) {
    struct Case {
        int width;
        uint64_t value;  // as eight bytes that held 0xEE before
    };
    constexpr Case kCases[] = {
        {8, 0xEEEEEEEEEEEEEEEF}, {16, 0xEEEEEEEEEEEECDEF}, {32, 0xEEEEEEEE89ABCDEF},
        {64, 0x23456789ABCDEF},  {0, 0x23456789ABCDEF},    {-8, 0x23456789ABCDEF},
        {128, 0x23456789ABCDEF},
    };
    for (const Case &test : kCases) {
        uint64_t value = 0xEEEEEEEEEEEEEEEE;
        atoh_p("0x23456789abCDEF", &value, test.width);
        EXPECT_EQ(value, test.value) << test.width;
    }
}

TEST(AtohP, DigitsTooManyFallOffTheTop) {
    uint64_t value = 0;
    atoh_p("123456789ABCDEF01", &value, 64);
    EXPECT_EQ(value, 0x23456789ABCDEF01U);
    uint8_t byte = 0;
    atoh_p("123", &byte, 8);
    EXPECT_EQ(byte, 0x23);
}

TEST(AtohP, TextWithoutDigitsLeavesZero) {
    for (const int width : {8, 16, 32, 64}) {
        uint64_t value = 0;
        std::memset(&value, 0xEE, static_cast<size_t>(width / 8));
        atoh_p("Q", &value, width);
        EXPECT_EQ(value, 0U) << width;
    }
}

TEST(AtohP, TakesOutputsThatAreNotAligned) {
    std::array<uint8_t, 9> bytes{};
    atoh_p("1122334455667788", bytes.data() + 1, 64);
    EXPECT_EQ(bytes, (std::array<uint8_t, 9>{0, 0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11}));
}

TEST(AtohP, PassesOverBlanksAndX) {
    uint16_t value = 0;
    atoh_p("0x 1 F,2", &value, 16);
    EXPECT_EQ(value, 0x1F);
    atoh_p("0X1F", &value, 16);
    EXPECT_EQ(value, 0);
}

int expected_digit(int c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' - 22 : -1;
}

TEST(HexToI, AnswersEveryCharacter) {
    for (int c = 0; c < 256; c++) {
        uint32_t error = 77;
        const int expected = expected_digit(c);
        EXPECT_EQ(hex_to_i(static_cast<char>(c), &error), expected) << c;
        EXPECT_EQ(error, expected == -1 ? 0x86018021U : 0U) << c;
    }
}

TEST(HexToI, UpperCaseIsNegative) {
    uint32_t error = 77;
    EXPECT_EQ(hex_to_i('B', &error), -21);
    EXPECT_EQ(error, 0U);
}

TEST(TwosComplement, IsReadFromTheLowBits) {
    struct Case {
        unsigned int raw;
        int bits;
        int fraction;
        float value;
    };
    constexpr Case kCases[] = {
        {0xFF0, 12, 4, -1.0F},
        {0x7FF, 12, 0, 2047.0F},
        {0x800, 12, 0, -2048.0F},
        {0xFFFFF7FF, 12, 0, 2047.0F},  // bits above the field do not count
        {1, 2, 0, 1.0F},
        {2, 2, 0, -2.0F},
        {3, 2, 1, -0.5F},
        {0x40000000, 31, 0, -1073741824.0F},
        {0x3FFFFFFF, 31, 30, 1.0F},
        {0x20000000, 31, 30, 0.5F},
        {0, 8, 7, 0.0F},
    };
    for (const Case &test : kCases) {
        float value = 99;
        EXPECT_EQ(get_twos_complement_val(test.raw, test.bits, test.fraction, &value), 0);
        EXPECT_EQ(value, test.value) << test.raw << " with " << test.bits << " bits";
    }
}

TEST(TwosComplement, CountsOutOfRangeLeaveTheValue) {
    struct Case {
        int bits;
        int fraction;
    };
    constexpr Case kCases[] = {{1, 0}, {0, 0}, {-5, 0}, {32, 0}, {8, 8}, {8, 9}, {8, -1}, {31, 31}};
    for (const Case &test : kCases) {
        float value = 99;
        EXPECT_EQ(get_twos_complement_val(1, test.bits, test.fraction, &value), -1)
            << test.bits << ", " << test.fraction;
        EXPECT_EQ(value, 99.0F);
    }
}

}  // namespace
