// SPDX-License-Identifier: MIT
#include "diags/board/number.h"

#include <gtest/gtest.h>

namespace diag::board {
namespace {

TEST(ParseNumber, ReadsHexadecimalAndDecimal) {
    EXPECT_EQ(parse_number("0x1F", 0xFF), 0x1FU);
    EXPECT_EQ(parse_number("0XaB", 0xFF), 0xABU);
    EXPECT_EQ(parse_number("31", 0xFF), 31U);
    EXPECT_EQ(parse_number("0xffffffff", UINT32_MAX), UINT32_MAX);
}

TEST(ParseNumber, TakesALeadingZeroForADecimalDigit) {
    EXPECT_EQ(parse_number("010", 0xFF), 10U);
}

TEST(ParseNumber, RefusesWhatIsNoNumber) {
    for (const char *text : {"", "0x", "-1", "+1", " 1", "1 ", "1f", "0xg", "x1", "one"}) {
        EXPECT_FALSE(parse_number(text, UINT32_MAX)) << text;
    }
}

TEST(ParseNumber, RefusesWhatPassesTheLimit) {
    EXPECT_EQ(parse_number("255", 255), 255U);
    EXPECT_FALSE(parse_number("256", 255));
    EXPECT_FALSE(parse_number("0x100000000", UINT32_MAX));
    EXPECT_FALSE(parse_number("99999999999999999999999999", UINT32_MAX));
}

TEST(ParseI2cBus, TakesTheThreeSpellings) {
    EXPECT_EQ(parse_i2c_bus("/dev/i2c-3"), 3U);
    EXPECT_EQ(parse_i2c_bus("i2c-12"), 12U);
    EXPECT_EQ(parse_i2c_bus("7"), 7U);
}

TEST(ParseI2cBus, TakesNumbersAsTheKernelWritesThem) {
    EXPECT_EQ(parse_i2c_bus("/dev/i2c-10"), 10U);
    EXPECT_FALSE(parse_i2c_bus("/dev/i2c-0x10"));
    EXPECT_FALSE(parse_i2c_bus("/dev/i2c-a"));
}

TEST(ParseI2cBus, RefusesOtherNames) {
    for (const char *text : {"", "/dev/i2c-", "i2c", "/dev/spi-1", "bmc-1", "/dev/i2c-i2c-1"}) {
        EXPECT_FALSE(parse_i2c_bus(text)) << text;
    }
}

TEST(WideNumber, GoesUpToSixtyFourBits) {
    EXPECT_EQ(parse_wide_number("0xffffffffffffffff", UINT64_MAX), UINT64_MAX);
    EXPECT_EQ(parse_wide_number("18446744073709551615", UINT64_MAX), UINT64_MAX);
    EXPECT_FALSE(parse_wide_number("0x10000000000000000", UINT64_MAX));
    EXPECT_FALSE(parse_wide_number("18446744073709551616", UINT64_MAX));
    EXPECT_EQ(parse_wide_number("0x100000000", uint64_t{1} << 32), uint64_t{1} << 32);
    EXPECT_FALSE(parse_wide_number("0x100000001", uint64_t{1} << 32));
    EXPECT_FALSE(parse_wide_number("5", 4));
    EXPECT_EQ(parse_wide_number("0", 0), 0U);
    EXPECT_FALSE(parse_wide_number("-1", UINT64_MAX));
}

}  // namespace
}  // namespace diag::board
