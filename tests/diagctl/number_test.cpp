// SPDX-License-Identifier: MIT
#include "diags/diagctl/number.h"

#include <gtest/gtest.h>

namespace diag::diagctl {
namespace {

TEST(ParseNumber, ReadsDecimalHexadecimalAndBinary) {
    EXPECT_EQ(parse_number("0"), 0U);
    EXPECT_EQ(parse_number("42"), 42U);
    EXPECT_EQ(parse_number("0x2a"), 0x2AU);
    EXPECT_EQ(parse_number("0X2A"), 0x2AU);
    EXPECT_EQ(parse_number("0b101010"), 42U);
    EXPECT_EQ(parse_number("007"), 7U);
    EXPECT_EQ(parse_number("0xffffffffffffffff"), 0xFFFFFFFFFFFFFFFFU);
}

TEST(ParseNumber, RefusesWhatIsNoNumber) {
    for (const char *text :
         {"", "x", "0x", "0b", "0b2", "0xg", "1a", "-1", "0x-1", "+1", " 1", "1 ", "1.0"}) {
        EXPECT_FALSE(parse_number(text)) << text;
        EXPECT_FALSE(looks_like_number(text)) << text;
    }
}

TEST(ParseNumber, RefusesMoreThan64BitsThoughItLooksLikeANumber) {
    EXPECT_FALSE(parse_number("18446744073709551616"));
    EXPECT_TRUE(looks_like_number("18446744073709551616"));
}

TEST(ParseBitRange, TakesTwoNumbersInEitherOrderOrOne) {
    for (const char *text : {"7:4", "4:7"}) {
        const auto range = parse_bit_range(text);
        ASSERT_TRUE(range) << text;
        EXPECT_EQ(range->low, 4);
        EXPECT_EQ(range->high, 7);
    }
    const auto single = parse_bit_range("3");
    ASSERT_TRUE(single);
    EXPECT_EQ(single->low, 3);
    EXPECT_EQ(single->high, 3);
}

TEST(ParseBitRange, RefusesEverythingElse) {
    for (const char *text :
         {"", ":", "7:", ":4", "7:4:1", "a:b", "-1", "7:-4", "0x7", " 7", "99999999999"}) {
        EXPECT_FALSE(parse_bit_range(text)) << text;
    }
}

}  // namespace
}  // namespace diag::diagctl
