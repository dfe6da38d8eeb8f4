// SPDX-License-Identifier: MIT
#include "diags/diagctl/text_fields.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace diag::diagctl {
namespace {

std::vector<std::string> all(TextFields fields) {
    std::vector<std::string> found;
    while (const auto field = fields.next()) {
        found.emplace_back(*field);
    }
    return found;
}

TEST(TextFields, AreWhatStandsBetweenRunsOfSeparators) {
    EXPECT_EQ(all({"R | 0x10 ||8|", "|"}), (std::vector<std::string>{"R ", " 0x10 ", "8"}));
    EXPECT_EQ(all({"||", "|"}), std::vector<std::string>{});
    EXPECT_EQ(all({"", "|"}), std::vector<std::string>{});
    EXPECT_EQ(all({"one", "|"}), std::vector<std::string>{"one"});
}

TEST(TextFields, GiveTheRestWithItsSeparators) {
    TextFields fields("a||b|c|", "|");
    fields.next();
    EXPECT_EQ(fields.rest(), "b|c|");
    EXPECT_EQ(fields.next(), "b");
    fields.next();
    EXPECT_EQ(fields.rest(), std::nullopt);
}

TEST(TextLines, AreCountedTheEmptyOnesIncludedAndLoseTheirEnds) {
    TextLines lines("one\n\n\r\ntwo\r\n three");
    EXPECT_EQ(lines.next(), "one");
    EXPECT_EQ(lines.number(), 1);
    EXPECT_EQ(lines.next(), "two");
    EXPECT_EQ(lines.number(), 4);
    EXPECT_EQ(lines.next(), " three");
    EXPECT_EQ(lines.number(), 5);
    EXPECT_EQ(lines.next(), std::nullopt);
}

TEST(WithoutBlanks, DropsThemAtBothEnds) {
    EXPECT_EQ(without_blanks(" \ta b\t "), "a b");
    EXPECT_EQ(without_blanks("  "), "");
    EXPECT_EQ(without_blanks(""), "");
}

}  // namespace
}  // namespace diag::diagctl
