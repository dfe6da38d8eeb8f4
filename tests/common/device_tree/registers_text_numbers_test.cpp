// SPDX-License-Identifier: MIT
// The decimal numbers of "R" and "B" lines.
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "tests/common/device_tree/device_tree_test.h"

namespace diag::test {
namespace {

struct NumberCase {
    const char *name;
    const char *text;
    uint32_t expected;
};

// As strtol() reads them, and cut to 32 bits.
constexpr NumberCase kNumbers[] = {
    {"OneDigit", "8", 8},
    {"Blanks", "  8  ", 8},
    {"OtherWhiteSpace", "\t\v8", 8},
    {"Plus", "+8", 8},
    {"BlankAndPlus", " +8", 8},
    {"BelowZero", " -8", 0xFFFFFFF8},
    {"TwoSigns", "+-8", 0},
    {"BlankBehindTheSign", "- 8", 0},
    {"LeadingZeroes", "0000000000000000008", 8},
    {"WhatFollowsIsPassedOver", "8 16", 8},
    {"Letters", "8x", 8},
    {"NoHexadecimal", "0x10", 0},
    {"NoDigit", "ff", 0},
    {"Blank", " ", 0},
    {"EightDigits", "12345678", 12345678},
    {"NineDigits", "123456789", 123456789},
    {"TenDigits", "1234567890", 1234567890},
    {"Highest", "4294967295", 0xFFFFFFFF},
    {"Wraps", "4294967296", 0},
    {"Lowest", "-2147483648", 0x80000000},
    {"MoreThanALong", "99999999999999999999", 0xFFFFFFFF},
    {"LessThanALong", "-99999999999999999999", 0},
};

class LineNumber : public DeviceTreeTest, public testing::WithParamInterface<NumberCase> {
  protected:
    const std::string text_ = GetParam().text;
};

TEST_P(LineNumber, OfSizeTestableAndValidate) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R|1|" + text_ + "|ff|N| RO |0|" + text_ + "|" + text_ + "|v"), 0U);
    EXPECT_EQ(chip.reg()->size, GetParam().expected);
    EXPECT_EQ(chip.reg()->testable, GetParam().expected);
    EXPECT_EQ(chip.reg()->validate, GetParam().expected);
    EXPECT_STREQ(chip.reg()->version, "v");
}

// The field of a range is cut after nine characters.
class LineBit : public LineNumber {};

std::vector<NumberCase> numbers_of_a_range() {
    std::vector<NumberCase> numbers;
    for (const NumberCase &number : kNumbers) {
        if (std::string_view(number.text).size() < 10) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

TEST_P(LineBit, IsReadByTheSameRules) {
    Chip chip;
    const auto expected = static_cast<int32_t>(GetParam().expected);
    ASSERT_EQ(chip.read_lines({"R|1", "B|" + text_ + "|N"}), 0U);
    EXPECT_EQ(chip.bit()->start, expected);
    EXPECT_EQ(chip.bit()->end, expected);
    if (text_.size() < 7) {
        ASSERT_EQ(chip.read_lines({"R|1", "B|" + text_ + ":5|N"}), 0U);
        EXPECT_EQ(chip.reg(1)->bits->end, expected);
        EXPECT_EQ(chip.reg(1)->bits->start, 5);
        ASSERT_EQ(chip.read_lines({"R|1", "B|5:" + text_ + "|N"}), 0U);
        EXPECT_EQ(chip.reg(2)->bits->end, 5);
        EXPECT_EQ(chip.reg(2)->bits->start, expected);
    }
}

INSTANTIATE_TEST_SUITE_P(All, LineNumber, testing::ValuesIn(kNumbers),
                         [](const auto &number) { return number.param.name; });

INSTANTIATE_TEST_SUITE_P(All, LineBit, testing::ValuesIn(numbers_of_a_range()),
                         [](const auto &number) { return number.param.name; });

struct RoleCase {
    const char *name;
    const char *text;
    int role;  // -1: none; 6: reported as unknown
};

constexpr RoleCase kRoles[] = {
    {"Digit", "4", 4},          {"Blanks", " 4 ", 4},
    {"Plus", "+4", 4},          {"Tab", "\t4", 4},
    {"LeadingZeroes", "04", 4}, {"Behind", "4x", 4},
    {"BehindABlank", "4 5", 4}, {"Word", "none", 0},
    {"Hexadecimal", "0x4", 0},  {"Dash", "-", -1},
    {"DashBehind", "4-", -1},   {"BelowZero", "-4", -1},
    {"Blank", "  ", -1},        {"Six", "6", 6},
    {"Wraps", "4294967302", 6},
};

class LineRole : public DeviceTreeTest, public testing::WithParamInterface<RoleCase> {};

TEST_P(LineRole, IsADecimalNumber) {
    const std::string line = "R|1|8|1|N|x|0|0|0|v|" + std::string(GetParam().text) + "|5a|d";
    const int role = GetParam().role;
    Chip chip;
    ASSERT_EQ(chip.read_line(line), 0U);
    EXPECT_EQ(registers_of(chip.node()->test_regs_b).size(), role == 4 ? 1U : 0U);
    EXPECT_EQ(registers_of(chip.node()->intr_setup_regs).size(), role == 0 ? 1U : 0U);
    EXPECT_EQ(chip.reg()->test_data, role == 4 || role == 0 ? 0x5AU : 0U);
    EXPECT_EQ(logged_for_lines({line}),
              role == 6 ? (Messages{{0, "Unknown Test Register ID 6\n"}}) : Messages{});
}

INSTANTIATE_TEST_SUITE_P(All, LineRole, testing::ValuesIn(kRoles),
                         [](const auto &role) { return role.param.name; });

}  // namespace
}  // namespace diag::test
