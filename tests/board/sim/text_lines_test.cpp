// SPDX-License-Identifier: MIT
#include "diags/board/sim/text_lines.h"

#include <gtest/gtest.h>

namespace diag::board::sim {
namespace {

TEST(TextLines, CountEmptyLinesAndLeaveThemOut) {
    const auto lines = lines_of("a\n\n\n b\n\nlast");
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].number, 1U);
    EXPECT_EQ(lines[0].text, "a");
    EXPECT_EQ(lines[1].number, 4U);
    EXPECT_EQ(lines[1].text, " b");
    EXPECT_EQ(lines[2].number, 6U);
    EXPECT_EQ(lines[2].text, "last");
    EXPECT_TRUE(lines_of("").empty());
    EXPECT_TRUE(lines_of("\n\n").empty());
}

TEST(TextLines, AreDelimitersWhenTheyBeginWithFiveEqualSigns) {
    EXPECT_TRUE((TextLine{1, "====="}).is_delimiter());
    EXPECT_TRUE((TextLine{1, "======== x"}).is_delimiter());
    EXPECT_FALSE((TextLine{1, "===="}).is_delimiter());
    EXPECT_FALSE((TextLine{1, " ====="}).is_delimiter());
}

TEST(Fields, AreTrimmedAndRunsOfSeparatorsCountAsOne) {
    EXPECT_EQ(fields_of("| a ||b c|  |\td\r", '|'),
              (std::vector<std::string_view>{"a", "b c", "", "d"}));
    EXPECT_TRUE(fields_of("", '|').empty());
}

TEST(Hexadecimal, MayHaveAPrefixAndNothingElse) {
    EXPECT_EQ(parse_hexadecimal("1f"), 0x1FU);
    EXPECT_EQ(parse_hexadecimal("0x1F"), 0x1FU);
    EXPECT_EQ(parse_hexadecimal("ffffffff"), 0xFFFFFFFFU);
    for (const char *text : {"", "0x", "100000000", "-1", " 1", "1g", "+1"}) {
        EXPECT_FALSE(parse_hexadecimal(text)) << text;
    }
}

}  // namespace
}  // namespace diag::board::sim
