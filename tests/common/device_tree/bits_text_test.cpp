// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "diag_util.h"

#include "diags/common/src/device_tree/registers.h"
#include "tests/common/device_tree/device_tree_test.h"

namespace diag::test {
namespace {

using BitLine = DeviceTreeTest;
using InfoLine = DeviceTreeTest;

// ---- "B" ----

TEST_F(BitLine, AllFieldsAreRead) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B | 7:4 | MODE | RW | 0x1F\n"}), 0U);
    const bit_def *bit = chip.bit();
    ASSERT_NE(bit, nullptr);
    EXPECT_EQ(bit->start, 4);
    EXPECT_EQ(bit->end, 7);
    EXPECT_STREQ(bit->name, "MODE");
    EXPECT_EQ(bit->access, DIAG_ACCESS_RW);
    EXPECT_EQ(bit->def_val, 0x1FU);
    EXPECT_EQ(bit->major_ver, 0);
    EXPECT_EQ(bit->infos, nullptr);
    EXPECT_EQ(cursors.bit, bit);
}

TEST_F(BitLine, MissingFieldsStayZero) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B", "B|3", "B|3|N"}), 0U);
    EXPECT_EQ(length_of(chip.reg()->bits), 3U);
    EXPECT_EQ(chip.bit(0)->name, nullptr);
    EXPECT_EQ(chip.bit(1)->end, 3);
    EXPECT_EQ(chip.bit(1)->name, nullptr);
    EXPECT_STREQ(chip.bit(2)->name, "N");
    EXPECT_EQ(chip.bit(2)->access, 0);
}

struct RangeCase {
    const char *name;
    const char *text;
    int32_t start;
    int32_t end;
};

constexpr RangeCase kRangeCases[] = {
    {"HighFirst", " 7:4 ", 4, 7},
    {"LowFirstIsNotSwapped", "4:7", 7, 4},
    {"OneBit", " 5 ", 5, 5},
    {"Whole", "31:0", 0, 31},
    {"NothingBehind", "7:", 0, 7},
    {"NothingBefore", ":7", 7, 0},
    {"NoNumber", "x", 0, 0},
    {"Decimal", "10:08", 8, 10},
    {"CutAfterNineCharacters", "     31:16", 1, 31},
    {"NumberCutAfterNine", "1234567890", 123456789, 123456789},
};

class LineRange : public DeviceTreeTest, public testing::WithParamInterface<RangeCase> {};

TEST_P(LineRange, IsReadHighBitFirst) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|" + std::string(GetParam().text) + "|N"}), 0U);
    EXPECT_EQ(chip.bit()->start, GetParam().start);
    EXPECT_EQ(chip.bit()->end, GetParam().end);
}

INSTANTIATE_TEST_SUITE_P(All, LineRange, testing::ValuesIn(kRangeCases),
                         [](const auto &range) { return range.param.name; });

TEST_F(BitLine, RangeOfAMegabyteIsCut) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|" + std::string(1 << 20, '1') + "|N"}), 0U);
    EXPECT_EQ(chip.bit()->end, 111111111);
    EXPECT_STREQ(chip.bit()->name, "N");
}

TEST_F(BitLine, NameIsTrimmed) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|1| ONE |", "B|2|  ab|"}), 0U);
    EXPECT_STREQ(chip.bit(0)->name, "ONE");
    EXPECT_STREQ(chip.bit(1)->name, "aba");
}

TEST_F(BitLine, ANameThatContainsMajorVerHoldsTheMajorVersion) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|7:4|MAJOR_VER|", "B|3:2|FPGA_MAJOR_VERSION|",
                               "B|1|MINOR_VER|", "B|0|major_ver|"}),
              0U);
    EXPECT_EQ(chip.bit(0)->major_ver, 1);
    EXPECT_EQ(chip.bit(1)->major_ver, 1);
    EXPECT_EQ(chip.bit(2)->major_ver, 0);
    EXPECT_EQ(chip.bit(3)->major_ver, 0);
}

TEST_F(BitLine, DefaultIsTheRestOfTheLine) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|1|N| RO | 1 2|3"}), 0U);
    EXPECT_EQ(chip.bit()->def_val, 0x12U);
}

TEST_F(BitLine, AttachesToTheRegisterReadLast) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|1|A", "R|2", "B|2|B", "B|3|C"}), 0U);
    EXPECT_EQ(length_of(chip.reg(0)->bits), 1U);
    EXPECT_EQ(length_of(chip.reg(1)->bits), 2U);
    EXPECT_STREQ(chip.reg(1)->bits->next->name, "C");
}

TEST_F(BitLine, WithoutARegisterIsRefused) {
    Chip chip;
    EXPECT_EQ(chip.read_line("B|1|N"), DIAG_E_INVAL);
    EXPECT_EQ(logged_by([] {
                  cursors = {};
                  Chip().read_line("B|1|N");
              }),
              error_in("parse_reg_config", "Bit definition without a register\n"));
}

TEST_F(BitLine, DebugEchoesTheBitAtLevelTwo) {
    set_config_debug_enable(1);
    EXPECT_EQ(logged_for_lines({"R|1", "B|7:4| N | RMW | 1f\n", "B|3|M|XX|0"}),
              (Messages{{2, "DEBUG: s : 4 e : 7 N 3 0x1f\n"}, {2, "DEBUG: s : 3 e : 3 M -1 0\n"}}));
}

// ---- the mask check ----

struct MaskCase {
    const char *name;
    const char *mask;
    const char *access;
    const char *testable;
    const char *range;
    const char *bit_access;
    bool refused;
};

constexpr MaskCase kMaskCases[] = {
    {"Bit0InTheMask", "1", " RW ", "1", "0", " RO ", true},
    {"RangeWithBit0", "ff", " RW ", "1", "7:0", " RO ", true},
    {"TestableByAnyNumber", "1", " RW ", "2", "0", " RO ", true},
    {"Bit0OutsideTheMask", "fe", " RW ", "1", "0", " RO ", false},
    {"RangeWithBit0OutsideTheMask", "fe", " RW ", "1", "7:0", " RO ", false},
    // Other bits in the mask pass: the comparison is with 1, not with 0.
    {"Bit1InTheMask", "ff", " RW ", "1", "1", " RO ", false},
    {"RangeAboveBit0", "ff", " RW ", "1", "7:1", " RO ", false},
    {"Bit32DoesNotComeRound", "1", " RW ", "1", "32", " RO ", false},
    {"LowBitFirstTestsNoBit", "ff", " RW ", "1", "0:7", " RO ", false},
    {"NotTestable", "1", " RW ", "0", "0", " RO ", false},
    {"RegisterIsReadOnly", "1", " RO ", "1", "0", " RO ", false},
    {"RegisterIsRmw", "1", " RMW ", "1", "0", " RO ", false},
    {"BitIsReadWrite", "1", " RW ", "1", "0", " RW ", false},
    {"BitHasAnotherAccess", "1", " RW ", "1", "0", "RO", false},
};

class MaskCheck : public DeviceTreeTest, public testing::WithParamInterface<MaskCase> {
  protected:
    static std::vector<std::string> lines() {
        const MaskCase &mask = GetParam();
        return {std::string("R|2a|8|") + mask.mask + "|N|" + mask.access + "|0|" + mask.testable,
                std::string("B|") + mask.range + "|BIT|" + mask.bit_access + "|0"};
    }
};

TEST_P(MaskCheck, RefusesAReadOnlyFieldOverATestableBit0) {
    Chip chip;
    EXPECT_EQ(chip.read_lines(lines()), GetParam().refused ? 0xFFFFFFFFU : 0U);
    EXPECT_STREQ(chip.bit()->name, "BIT");  // stays in either case
}

TEST_P(MaskCheck, NamesRangeAndRegisterAtLevelZero) {
    const Messages expected{{0, std::string("Wrong mask value for the bitrange ") +
                                    GetParam().range + " register 0x2a in config\n"}};
    EXPECT_EQ(logged_for_lines(lines()), GetParam().refused ? expected : Messages{});
}

INSTANTIATE_TEST_SUITE_P(All, MaskCheck, testing::ValuesIn(kMaskCases),
                         [](const auto &mask) { return mask.param.name; });

TEST_F(BitLine, TheMaskCheckShowsTheRangeAsItStands) {
    EXPECT_EQ(logged_for_lines({"R|1|8|1|N| RW |0|1", "B| 7:0 |N| RO |0"}),
              (Messages{{0, "Wrong mask value for the bitrange  7:0  register 0x1 in config\n"}}));
}

TEST_F(BitLine, TheMaskCheckDoesNotConcernXml) {
    Chip chip;
    EXPECT_EQ(chip.read_xml("<reg><reg-mask>1</reg-mask><reg-access>RW</reg-access>"
                            "<reg-testable>1</reg-testable><bit> <bit-range>0</bit-range>"
                            "<bit-access>RO</bit-access></bit></reg>"),
              0U);
}

// ---- "I" ----

TEST_F(InfoLine, ValueAndDescriptionAreRead) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|1|N", "I | 1F | switched on \n", "I|0|off"}), 0U);
    const bit_info *first = chip.bit()->infos;
    ASSERT_EQ(length_of(first), 2U);
    EXPECT_EQ(first->value, 0x1FU);
    EXPECT_STREQ(first->desc, "switched on");
    EXPECT_EQ(first->next->value, 0U);
    EXPECT_STREQ(first->next->desc, "off");
    EXPECT_EQ(cursors.info, first->next);
}

TEST_F(InfoLine, DescriptionRunsToTheLineEnd) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|1|N", "I|1| a | b\nc"}), 0U);
    EXPECT_STREQ(chip.bit()->infos->desc, "a | b");
}

TEST_F(InfoLine, MissingFieldsStayZero) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|1|N", "I", "I|3\n", "I|3|\n", "I|3| \n"}), 0U);
    const bit_info *first = chip.bit()->infos;
    ASSERT_EQ(length_of(first), 4U);
    EXPECT_EQ(first->value, 0U);
    EXPECT_EQ(at(first, 1)->value, 3U);
    EXPECT_EQ(at(first, 1)->desc, nullptr);
    EXPECT_EQ(at(first, 2)->desc, nullptr);
    EXPECT_STREQ(at(first, 3)->desc, "");
}

TEST_F(InfoLine, AttachesToTheBitReadLastEvenOfAnEarlierRegister) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|1|A", "B|2|B", "I|1|x", "R|2", "I|2|y"}), 0U);
    EXPECT_EQ(chip.bit(0)->infos, nullptr);
    EXPECT_EQ(length_of(chip.bit(1)->infos), 2U);
    EXPECT_EQ(chip.reg(1)->bits, nullptr);
}

TEST_F(InfoLine, WithoutABitIsRefused) {
    Chip chip;
    EXPECT_EQ(chip.read_lines({"R|1", "I|1|x"}), DIAG_E_INVAL);
    EXPECT_EQ(logged_by([] {
                  cursors = {};
                  Chip().read_line("I|1|x");
              }),
              error_in("parse_reg_config", "Information without a bit definition\n"));
}

TEST_F(InfoLine, DebugEchoesNothing) {
    set_config_debug_enable(1);
    EXPECT_EQ(logged_for_lines({"R|1", "B|1|N"}).size(), 1U);
    EXPECT_EQ(logged_for_lines({"R|1", "B|1|N", "I|1|x"}).size(), 1U);
}

// ---- lines and elements together ----

TEST_F(BitLine, LinesAttachToWhatElementsLeft) {
    Chip chip;
    ASSERT_EQ(chip.read_xml("<reg><bit> <bit-name>A</bit-name><info><info-val>1</info-val></info>"
                            "</bit></reg>"),
              0U);
    ASSERT_EQ(chip.read_lines({"I|2|two", "B|3|B", "I|4|four"}), 0U);
    EXPECT_EQ(length_of(chip.reg()->bits), 2U);
    EXPECT_EQ(length_of(chip.bit(0)->infos), 2U);
    EXPECT_EQ(length_of(chip.bit(1)->infos), 1U);
}

TEST_F(BitLine, ManyBitAndInfoLinesStayFast) {
    constexpr size_t kMany = 100000;
    Chip chip;
    chip.read_line("R|1");
    for (size_t i = 0; i < kMany; i++) {
        ASSERT_EQ(chip.read_line("B|1|"), 0U);
    }
    for (size_t i = 0; i < kMany; i++) {
        ASSERT_EQ(chip.read_line("I|1|"), 0U);
    }
    EXPECT_EQ(length_of(chip.reg()->bits), kMany);
    EXPECT_EQ(length_of(chip.bit(kMany - 1)->infos), kMany);
}

// A register may come to lie where one of a tree that is gone has been.
TEST_F(BitLine, ARegisterWithoutBitsBeginsANewList) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|1|A"}), 0U);
    free_bits(chip.reg()->bits);
    chip.reg()->bits = nullptr;
    ASSERT_EQ(chip.read_line("B|2|B"), 0U);
    ASSERT_EQ(length_of(chip.reg()->bits), 1U);
    EXPECT_STREQ(chip.bit()->name, "B");
}

TEST_F(InfoLine, ABitWithoutInfosBeginsANewList) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|1|A", "I|1|x"}), 0U);
    free_infos(chip.bit()->infos);
    chip.bit()->infos = nullptr;
    ASSERT_EQ(chip.read_line("I|2|y"), 0U);
    ASSERT_EQ(length_of(chip.bit()->infos), 1U);
    EXPECT_EQ(chip.bit()->infos->value, 2U);
}

TEST_F(BitLine, ATreeThatIsGoneLeavesNoTrace) {
    for (int round = 0; round < 20; round++) {
        Chip chip;
        ASSERT_EQ(chip.read_lines({"R|1", "B|1|A", "B|2|B", "I|1|x", "I|2|y"}), 0U);
        EXPECT_EQ(length_of(chip.reg()->bits), 2U);
        EXPECT_EQ(length_of(chip.bit(1)->infos), 2U);
    }
}

}  // namespace
}  // namespace diag::test
