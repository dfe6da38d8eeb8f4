// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/command_line.h"

#include <array>
#include <gtest/gtest.h>
#include <string>

namespace {

using diag::CommandLine;

TEST(CommandLine, BeginsEmptyAndGrowsPieceByPiece) {
    CommandLine command;
    EXPECT_STREQ(command.text(), "");
    command.append("%s --count=%d ", "tool", -3);
    command.append("--reg=0x%02x", 7U);
    EXPECT_STREQ(command.text(), "tool --count=-3 --reg=0x07");
    EXPECT_FALSE(command.is_full());
}

TEST(CommandLine, CutsWhatDoesNotFit) {
    CommandLine command;
    const std::string most(2046, 'a');
    command.append("%s", most.c_str());
    EXPECT_FALSE(command.is_full());
    command.append("bcd");
    EXPECT_EQ(command.text(), most + "b");
    EXPECT_TRUE(command.is_full());
    command.append("more");
    EXPECT_EQ(command.text(), most + "b");
}

TEST(CommandLine, CutsOnePieceThatIsTooLong) {
    CommandLine command;
    command.append("%s", std::string(5000, 'a').c_str());
    EXPECT_EQ(command.text(), std::string(2047, 'a'));
}

TEST(CommandLine, AppendsValuesAsAList) {
    const std::array<unsigned char, 3> data = {0x01, 0xAB, 0x00};
    CommandLine command;
    command.append_values(data.data(), 3, CommandLine::Padding::kTwoDigits);
    EXPECT_STREQ(command.text(), "0x01,0xab,0x00");
}

TEST(CommandLine, PadsValuesOnlyWhereAsked) {
    const std::array<unsigned char, 3> data = {0x05, 0x1A, 0x00};
    CommandLine command;
    command.append_values(data.data(), 3, CommandLine::Padding::kNone);
    EXPECT_STREQ(command.text(), "0x5,0x1a,0x0");
}

TEST(CommandLine, AppendsNoValuesForCountsBelow1) {
    for (const int count : {0, -1, -2147483647 - 1}) {
        CommandLine command;
        command.append("--val=");
        command.append_values(nullptr, count, CommandLine::Padding::kTwoDigits);
        EXPECT_STREQ(command.text(), "--val=");
    }
}

TEST(CommandLine, ReadsNoMoreValuesThanFit) {
    // Five characters a value: far fewer than the count are needed, and there are no more.
    const std::array<unsigned char, 410> data{};
    CommandLine command;
    command.append_values(data.data(), 2147483647, CommandLine::Padding::kTwoDigits);
    EXPECT_TRUE(command.is_full());
    EXPECT_TRUE(std::string(command.text()).starts_with("0x00,0x00,"));
}

}  // namespace
