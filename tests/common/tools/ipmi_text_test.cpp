// SPDX-License-Identifier: MIT
#include "diags/common/src/tools/ipmi_text.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>

namespace {

using diag::bus_behind_dash;
using diag::PrintedText;

TEST(BusBehindDash, IsTheDecimalNumberBehindTheFirstDash) {
    struct Case {
        const char *path;
        int bus;
    };
    constexpr Case kCases[] = {{"ipmi-3", 3},   {"a-10", 10},    {"ipmi-0", 0},    {"ipmi-007", 7},
                               {"ipmi-08", 8},  {"ipmi-5-6", 5}, {"ipmi-5x", 5},   {"ipmi-x", 0},
                               {"ipmi-0x3", 0}, {"ipmi- 4", 4},  {"i2c-ipmi-2", 0}};
    for (const Case &test : kCases) {
        EXPECT_EQ(bus_behind_dash(test.path), test.bus) << test.path;
    }
    EXPECT_EQ(bus_behind_dash((std::string(1 << 20, 'x') + "-9").c_str()), 9);
}

TEST(BusBehindDash, IsNoneWhereNothingStandsBehindADash) {
    for (const char *path : {"", "3", "ipmi3", "ipmi_3", "-", "ipmi-", "ipmi--", "ipmi--3"}) {
        EXPECT_EQ(bus_behind_dash(path), std::nullopt) << path;
    }
}

TEST(PrintedText, TakesTheBeginning) {
    const std::string long_text(2000, 'a');
    EXPECT_EQ(PrintedText("abc", 500).text(), std::string("abc"));
    EXPECT_EQ(PrintedText("abc", 2).text(), std::string("ab"));
    EXPECT_EQ(PrintedText("", 500).text(), std::string());
    EXPECT_EQ(PrintedText(long_text, 499).text(), std::string(499, 'a'));
    EXPECT_EQ(PrintedText(long_text, 500).text(), std::string(500, 'a'));
    EXPECT_EQ(PrintedText(long_text, 5000).text(), std::string(500, 'a'))
        << "there is no more room";
}

TEST(PrintedText, ReadsAsNulBehindItsEnd) {
    const PrintedText text("ab", 500);
    EXPECT_EQ(text.at(1), 'b');
    for (const size_t position : {size_t{2}, size_t{499}, size_t{500}, size_t{501}, SIZE_MAX}) {
        EXPECT_EQ(text.at(position), '\0') << position;
    }
    const PrintedText full(std::string(600, 'c'), 500);
    EXPECT_EQ(full.at(499), 'c');
    EXPECT_EQ(full.at(500), '\0');
}

TEST(PrintedText, KeepsNuls) {
    const PrintedText text(std::string_view("a\0b", 3), 500);
    EXPECT_EQ(text.at(1), '\0');
    EXPECT_EQ(text.at(2), 'b');
}

TEST(PrintedText, PairsAreHexadecimal) {
    const PrintedText text(" 0a fF g1 1g", 500);
    EXPECT_EQ(text.pair_at(1), 0x0AU);
    EXPECT_EQ(text.pair_at(4), 0xFFU);
    EXPECT_EQ(text.pair_at(7), 0U);
    EXPECT_EQ(text.pair_at(10), 1U) << "up to what is no digit";
    EXPECT_EQ(text.pair_at(11), 0U);
    EXPECT_EQ(text.pair_at(12), 0U) << "behind the end";
    EXPECT_EQ(text.pairs_at(1, 4), 0x0AFFU);
    EXPECT_EQ(text.pairs_at(4, 1), 0xFF0AU);
    EXPECT_EQ(text.pairs_at(4, 12), 0xFFU);
    EXPECT_EQ(text.pairs_at(10, 4), 0x1U);
}

TEST(PrintedText, PairAtTheEndOfTheRoomHasOneDigit) {
    const PrintedText text(std::string(600, '7'), 500);
    EXPECT_EQ(text.pair_at(498), 0x77U);
    EXPECT_EQ(text.pair_at(499), 0x7U);
    EXPECT_EQ(text.pair_at(500), 0U);
}

}  // namespace
