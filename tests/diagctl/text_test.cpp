// SPDX-License-Identifier: MIT
#include "diags/diagctl/text.h"

#include <gtest/gtest.h>

namespace diag::diagctl {
namespace {

TEST(OneLine, DropsOuterBlanksAndJoinsInnerOnes) {
    EXPECT_EQ(one_line(std::string_view("  fan \t\n controller  ")), "fan controller");
    EXPECT_EQ(one_line(std::string_view(" \n ")), "");
    EXPECT_EQ(one_line(static_cast<const char *>(nullptr)), "");
}

TEST(OneLine, LeavesNoControlCharacterForTheTerminal) {
    EXPECT_EQ(one_line(std::string_view("a\x1b[31mb\x7f")), "a [31mb");
}

TEST(EqualIgnoringCase, ComparesLettersAndLength) {
    EXPECT_TRUE(equal_ignoring_case("Fan_2", "fAN_2"));
    EXPECT_FALSE(equal_ignoring_case("fan", "fan "));
    EXPECT_FALSE(equal_ignoring_case("fan", "fax"));
}

TEST(DisplayWidth, CountsCodePoints) {
    EXPECT_EQ(display_width("abc"), 3U);
    EXPECT_EQ(display_width("├── µ"), 5U);
}

TEST(TextTable, AlignsColumnsToTheirWidestCellAndEndsLinesWithoutBlanks) {
    TextTable table;
    table.add_row({"A", "LONG", "C"});
    table.add_row({"aa", "µ", ""});
    table.add_line("      a line that is wider than the whole table");
    table.add_row({"b", "x", "y"});
    EXPECT_EQ(table.str(),
              "A   LONG  C\n"
              "aa  µ\n"
              "      a line that is wider than the whole table\n"
              "b   x     y\n");
}

TEST(Join, PutsTheSeparatorBetweenParts) {
    EXPECT_EQ(join({"a", "b", "c"}, ", "), "a, b, c");
    EXPECT_EQ(join({}, ", "), "");
}

}  // namespace
}  // namespace diag::diagctl
