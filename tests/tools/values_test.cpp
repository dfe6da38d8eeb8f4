// SPDX-License-Identifier: MIT
#include "diags/tools/values.h"

#include <array>
#include <gtest/gtest.h>
#include <vector>

namespace diag::tools {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(ParseWidthTest, TakesPowersOfTwoOfBytes) {
    EXPECT_EQ(parse_width("8", 8), 1U);
    EXPECT_EQ(parse_width("16", 8), 2U);
    EXPECT_EQ(parse_width("32", 4), 4U);
    EXPECT_EQ(parse_width("64", 8), 8U);
    for (const char *text : {"", "0", "1", "4", "12", "24", "128", "0x8", "-8", "8 "}) {
        EXPECT_FALSE(parse_width(text, 8)) << text;
    }
    EXPECT_FALSE(parse_width("16", 1));
    EXPECT_FALSE(parse_width("64", 4));
}

// The bytes of a list, or {0xEE} for one that is refused.
Bytes values(const char *text, unsigned item_bytes, size_t room) {
    Bytes bytes(room, 0xAA);
    const auto size = parse_values(text, item_bytes, bytes);
    if (!size) {
        return {0xEE};
    }
    bytes.resize(*size);
    return bytes;
}

TEST(ParseValuesTest, StoresItemsLeastSignificantByteFirst) {
    EXPECT_EQ(values("1,0x02,3", 1, 8), (Bytes{1, 2, 3}));
    EXPECT_EQ(values("0x1234,5", 2, 8), (Bytes{0x34, 0x12, 5, 0}));
    EXPECT_EQ(values("0xdeadbeef", 4, 8), (Bytes{0xEF, 0xBE, 0xAD, 0xDE}));
    EXPECT_EQ(values("0x0102030405060708", 8, 8), (Bytes{8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST(ParseValuesTest, AnswersNoBytesForAnEmptyText) {
    EXPECT_EQ(values("", 1, 8), Bytes{});
    EXPECT_EQ(values("", 8, 0), Bytes{});
}

TEST(ParseValuesTest, FillsItsRoomAndNoMore) {
    EXPECT_EQ(values("1,2,3", 1, 3), (Bytes{1, 2, 3}));
    EXPECT_EQ(values("1,2,3", 1, 2), Bytes{0xEE});
    EXPECT_EQ(values("1,2", 4, 7), Bytes{0xEE});
    EXPECT_EQ(values("1", 1, 0), Bytes{0xEE});
}

TEST(ParseValuesTest, RefusesGapsAndItemsThatAreTooLarge) {
    for (const char *text : {",", "1,", ",1", "1,,2", "256", "1,0x100", "1 ,2", "-1"}) {
        EXPECT_EQ(values(text, 1, 8), Bytes{0xEE}) << text;
    }
    EXPECT_EQ(values("0x10000", 2, 8), Bytes{0xEE});
    EXPECT_EQ(values("0x100000000", 4, 8), Bytes{0xEE});
}

}  // namespace
}  // namespace diag::tools
