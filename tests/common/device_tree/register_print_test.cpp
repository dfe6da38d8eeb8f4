// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "tests/common/device_tree/device_tree_test.h"

namespace diag::test {
namespace {

using RegisterPrint = DeviceTreeTest;

Messages printed(const std::vector<std::string> &lines, const std::vector<uint8_t> &data) {
    Chip chip;
    EXPECT_EQ(chip.read_lines(lines), 0U);
    return logged_by([&] { parse_reg_data(chip.reg(), data.data()); });
}

std::string text_of(const Messages &messages) {
    std::string text;
    for (const Message &message : messages) {
        text += message.text;
    }
    return text;
}

std::string printed_text(const std::vector<std::string> &lines, const std::vector<uint8_t> &data) {
    return text_of(printed(lines, data));
}

struct SizeCase {
    const char *size;
    const char *expected;
};

class ValueOfSize : public DeviceTreeTest, public testing::WithParamInterface<SizeCase> {};

TEST_P(ValueOfSize, IsReadInHostOrder) {
    EXPECT_EQ(printed_text({std::string("R|1|") + GetParam().size + "|ff|REG|"},
                           {0x78, 0x56, 0x34, 0x92}),
              std::string("REG : offset 0x01 = ") + GetParam().expected + "\n");
}

INSTANTIATE_TEST_SUITE_P(All, ValueOfSize,
                         testing::Values(SizeCase{"8", "0x78"}, SizeCase{"16", "0x5678"},
                                         SizeCase{"32", "0x92345678"}, SizeCase{"24", "0x0"},
                                         SizeCase{"64", "0x0"}, SizeCase{"0", "0x0"},
                                         SizeCase{"7", "0x0"}),
                         [](const auto &size) { return std::string("Bits") + size.param.size; });

TEST_F(RegisterPrint, AllOfItIsLevelZero) {
    EXPECT_EQ(printed({"R|1f|8|ff|REG|", "B|7:4|HIGH|", "B|3|ONE|", "I|1|on"}, {0xA8}),
              (Messages{{0, "REG : offset 0x1f = "},
                        {0, "0xa8\n"},
                        {0, " 7: 4 "},
                        {0, "HIGH = a "},
                        {0, "\n"},
                        {0, "    3 "},
                        {0, "ONE = 1 "},
                        {0, "on\n"}}));
}

TEST_F(RegisterPrint, AValueWithoutMeaningIsToldAtLevelOne) {
    EXPECT_EQ(printed({"R|1|8|ff|REG|", "B|7:4|MODE|", "I|1|one", "I|2|two"}, {0xC0}),
              (Messages{{0, "REG : offset 0x01 = "},
                        {0, "0xc0\n"},
                        {0, " 7: 4 "},
                        {0, "MODE = c "},
                        {1, "Infor for bit name MODE and bitval c not found\n"},
                        {0, "\n"}}));
}

TEST_F(RegisterPrint, TheFirstInfoThatFitsIsShown) {
    EXPECT_EQ(printed_text({"R|1|8|ff|REG|", "B|0|B|", "I|0|zero", "I|1|first", "I|1|second"}, {1}),
              "REG : offset 0x01 = 0x1\n    0 B = 1 first\n");
}

TEST_F(RegisterPrint, TwoDigitBitsAndTheWholeRegister) {
    EXPECT_EQ(printed_text({"R|1|32|0|REG|", "B|31:16|HIGH|", "B|15|TOP|", "B|14:0|LOW|"},
                           {0x34, 0x92, 0xCD, 0xAB}),
              "REG : offset 0x01 = 0xabcd9234\n31:16 HIGH = abcd \n   15 TOP = 1 \n"
              "14: 0 LOW = 1234 \n");
    EXPECT_EQ(printed_text({"R|1|32|0|REG|", "B|31:0|ALL|"}, {0x34, 0x92, 0xCD, 0xAB}),
              "REG : offset 0x01 = 0xabcd9234\n31: 0 ALL = abcd9234 \n");
}

TEST_F(RegisterPrint, ALineRangeGivenLowBitFirstHasValueZero) {
    EXPECT_EQ(printed_text({"R|1|8|ff|REG|", "B|4:7|ODD|", "I|0|none"}, {0xFF}),
              "REG : offset 0x01 = 0xff\n 4: 7 ODD = 0 none\n");
}

// Such a field takes a negative width: the bits left grow again.
TEST_F(RegisterPrint, AFieldAfterAReversedOneIsStillShown) {
    EXPECT_EQ(printed_text({"R|1|8|ff|REG|", "B|0:7|ODD|", "B|6|SIX|"}, {0xFF}),
              "REG : offset 0x01 = 0xff\n 0: 7 ODD = 0 \n    6 SIX = 1 \n");
}

TEST_F(RegisterPrint, EndsOnceTheBitsAreUsedUp) {
    EXPECT_EQ(printed_text({"R|1|8|ff|REG|", "B|3:0|LOW|", "B|7:4|HIGH|"}, {0xA5}),
              "REG : offset 0x01 = 0xa5\n 3: 0 LOW = 5 \n");
}

TEST_F(RegisterPrint, AFieldAboveTheBitsLeftIsShownAndUsesThemUp) {
    EXPECT_EQ(printed_text({"R|1|8|ff|REG|", "B|3|A|", "B|7:5|B|", "B|2|C|"}, {0xE8}),
              "REG : offset 0x01 = 0xe8\n    3 A = 1 \n 7: 5 B = 7 \n");
}

TEST_F(RegisterPrint, GapsAreLeftOut) {
    EXPECT_EQ(printed_text({"R|1|8|ff|REG|", "B|7|TOP|", "B|0|LOW|"}, {0x81}),
              "REG : offset 0x01 = 0x81\n    7 TOP = 1 \n    0 LOW = 1 \n");
}

TEST_F(RegisterPrint, AFieldBelowBitZeroEndsTheOutput) {
    Chip chip;
    chip.read_lines({"R|1|8|ff|REG|", "B|7|TOP|", "B|1|ODD|", "B|0|LOW|"});
    chip.bit(1)->start = -1;
    chip.bit(1)->end = -1;
    const uint8_t data = 0xFF;
    EXPECT_EQ(text_logged_by([&] { parse_reg_data(chip.reg(), &data); }),
              "REG : offset 0x01 = 0xff\n    7 TOP = 1 \n");
}

TEST_F(RegisterPrint, FieldsOutsideTheRegisterAreSafe) {
    EXPECT_EQ(printed_text({"R|1|8|ff|REG|", "B|40|FAR|"}, {0xFF}),
              "REG : offset 0x01 = 0xff\n   40 FAR = 0 \n");
    EXPECT_EQ(printed_text({"R|1|8|ff|REG|", "B|40:4|WIDE|"}, {0xFF}),
              "REG : offset 0x01 = 0xff\n40: 4 WIDE = f \n");
    Chip chip;
    chip.read_lines({"R|1|8|ff|REG|", "B|1|ODD|", "B|0|LOW|"});
    chip.bit()->start = INT32_MIN;
    chip.bit()->end = INT32_MAX;
    const uint8_t data = 0xFF;
    EXPECT_EQ(text_logged_by([&] { parse_reg_data(chip.reg(), &data); }),
              "REG : offset 0x01 = 0xff\n2147483647:-2147483648 ODD = 0 \n");
}

TEST_F(RegisterPrint, WhatHasNoNameIsShownWithoutOne) {
    EXPECT_EQ(printed_text({"R|1|8", "B|0", "I|1"}, {0x01}), " : offset 0x01 = 0x1\n    0  = 1 \n");
}

// ---- several units ----

Messages dumped(const char *size, const char *length, const std::vector<uint8_t> &data) {
    Chip chip;
    EXPECT_EQ(chip.read_xml(std::string("<reg><reg-name>BLK</reg-name><reg-offset>20</reg-offset>"
                                        "<reg-size>") +
                            size + "</reg-size><reg-length>" + length +
                            "</reg-length><bit> <bit-range>0</bit-range></bit></reg>"),
              0U);
    return logged_by([&] { parse_reg_data(chip.reg(), data.data()); });
}

TEST_F(RegisterPrint, ARegisterOfSeveralUnitsIsDumpedWithoutItsBits) {
    const Messages messages = dumped("8", "4", {0x41, 0x42, 0x01, 0x02});
    EXPECT_EQ(text_of(messages),
              "BLK : offset 0x20 = \n[00000020]: 0x41 0x42 0x01 0x02  || AB..\n");
    for (const Message &message : messages) {
        EXPECT_EQ(message.level, 0);
    }
}

TEST_F(RegisterPrint, TheLengthOfADumpIsDividedByTheBytesOfAUnit) {
    EXPECT_EQ(text_of(dumped("16", "4", {0x41, 0x42})),
              "BLK : offset 0x20 = \n[00000020]: 0x4142  || AB\n");
    EXPECT_EQ(text_of(dumped("32", "17", {0x41, 0x42, 0x43, 0x44})),
              "BLK : offset 0x20 = \n[00000020]: 0x41424344  || ABCD\n");
}

TEST_F(RegisterPrint, ALengthOfZeroIsAnEmptyDump) {
    EXPECT_EQ(text_of(dumped("8", "0", {0})), "BLK : offset 0x20 = \n\n");
}

TEST_F(RegisterPrint, UnitsSmallerThanAByteAreAnEmptyDump) {
    EXPECT_EQ(text_of(dumped("4", "2", {0, 0})), "BLK : offset 0x20 = \n\n");
    EXPECT_EQ(text_of(dumped("0", "2", {0, 0})), "BLK : offset 0x20 = \n\n");
}

}  // namespace
}  // namespace diag::test
