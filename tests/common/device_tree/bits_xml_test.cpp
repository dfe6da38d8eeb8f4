// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "diag_util.h"

#include "diags/common/src/device_tree/registers.h"
#include "tests/common/device_tree/device_tree_test.h"

namespace diag::test {
namespace {

using BitXml = DeviceTreeTest;
using InfoXml = DeviceTreeTest;

std::string element(const std::string &tag, const std::string &text) {
    return "<" + tag + ">" + text + "</" + tag + ">";
}

// White space stands before the first tag, as in every indented file.
std::string bit_with(const std::string &content) {
    return element("reg", element("bit", "\n" + content));
}

std::string info_with(const std::string &content) {
    return bit_with(element("info", "\n" + content));
}

// ---- bits ----

struct RangeCase {
    const char *name;
    const char *text;
    int32_t start;
    int32_t end;
};

constexpr RangeCase kRangeCases[] = {
    {"HighFirst", "7:4", 4, 7},
    {"LowFirst", "4:7", 4, 7},
    {"OneBit", "5", 5, 5},
    {"Equal", "3:3", 3, 3},
    {"Whole", "31:0", 0, 31},
    {"BlanksAround", " 7 : 4 ", 4, 7},
    {"NothingBehind", "7:", 0, 7},
    {"NothingBefore", ":7", 0, 7},
    {"OnlyColon", ":", 0, 0},
    {"NoNumber", "all", 0, 0},
    {"DecimalOnly", "0x10", 0, 0},
    {"TwoColons", "7:4:2", 4, 7},
    {"Wraps", "4294967299:1", 1, 3},
    {"BelowZero", "-2", -2, -2},
    {"LeadingZero", "010:08", 8, 10},
};

class XmlRange : public DeviceTreeTest, public testing::WithParamInterface<RangeCase> {};

TEST_P(XmlRange, IsReadLowBitFirst) {
    Chip chip;
    ASSERT_EQ(chip.read_xml(bit_with(element("bit-range", GetParam().text))), 0U);
    EXPECT_EQ(chip.bit()->start, GetParam().start);
    EXPECT_EQ(chip.bit()->end, GetParam().end);
}

INSTANTIATE_TEST_SUITE_P(All, XmlRange, testing::ValuesIn(kRangeCases),
                         [](const auto &range) { return range.param.name; });

TEST_F(BitXml, AllFieldsAreRead) {
    Chip chip;
    ASSERT_EQ(chip.read_xml(bit_with("<bit-range>7:4</bit-range><bit-name>MODE</bit-name>"
                                     "<bit-access>RW</bit-access><bit-default>1f</bit-default>"
                                     "<bit-major-version>true</bit-major-version>")),
              0U);
    const bit_def *bit = chip.bit();
    ASSERT_NE(bit, nullptr);
    EXPECT_EQ(bit->start, 4);
    EXPECT_EQ(bit->end, 7);
    EXPECT_STREQ(bit->name, "MODE");
    EXPECT_EQ(bit->access, DIAG_ACCESS_RW);
    EXPECT_EQ(bit->def_val, 0x1FU);
    EXPECT_EQ(bit->major_ver, 1);
    EXPECT_EQ(bit->infos, nullptr);
    EXPECT_EQ(bit->next, nullptr);
    EXPECT_EQ(cursors.bit, bit);
}

TEST_F(BitXml, MissingFieldsStayZero) {
    Chip chip;
    ASSERT_EQ(chip.read_xml(bit_with("")), 0U);
    const bit_def *bit = chip.bit();
    ASSERT_NE(bit, nullptr);
    EXPECT_EQ(bit->start, 0);
    EXPECT_EQ(bit->end, 0);
    EXPECT_EQ(bit->name, nullptr);
    EXPECT_EQ(bit->major_ver, 0);
}

TEST_F(BitXml, MajorVersionIsTrueUnlessTheTextContainsFalse) {
    const auto read = [](const char *text) {
        Chip chip;
        chip.read_xml(bit_with(element("bit-major-version", text)));
        return chip.bit()->major_ver;
    };
    EXPECT_EQ(read("true"), 1);
    EXPECT_EQ(read("0"), 1);
    EXPECT_EQ(read("FALSE"), 1);
    EXPECT_EQ(read("false"), 0);
    EXPECT_EQ(read("this is false, too"), 0);
}

TEST_F(BitXml, ABitWithoutLeadingWhiteSpaceLosesItsFirstChildOnly) {
    Chip chip;
    ASSERT_EQ(chip.read_xml("<reg><bit><bit-range>7:4</bit-range><bit-name>N</bit-name></bit>"
                            "</reg>"),
              0U);
    ASSERT_NE(chip.bit(), nullptr);
    EXPECT_EQ(chip.bit()->end, 0);
    EXPECT_STREQ(chip.bit()->name, "N");
}

TEST_F(BitXml, ALeadingCommentIsTheChildThatIsPassedOver) {
    Chip chip;
    ASSERT_EQ(chip.read_xml("<reg><bit><!-- low --><bit-range>3</bit-range></bit></reg>"), 0U);
    EXPECT_EQ(chip.bit()->end, 3);
}

TEST_F(BitXml, ABitOfWhiteSpaceAloneIsABit) {
    Chip chip;
    ASSERT_EQ(chip.read_xml("<reg><bit> </bit></reg>"), 0U);
    EXPECT_EQ(length_of(chip.reg()->bits), 1U);
}

TEST_F(BitXml, UnknownTagsAndTagsWithoutTextArePassedOverInSilence) {
    const std::string text = bit_with(
        "<bit-name/><bit-range><!-- 1 --></bit-range><bit-access><b/></bit-access><bit-size>3"
        "</bit-size><!-- c --><?bit-range 3?><info/>");
    Chip chip;
    ASSERT_EQ(chip.read_xml(text), 0U);
    EXPECT_EQ(chip.bit()->name, nullptr);
    EXPECT_EQ(chip.bit()->end, 0);
    EXPECT_EQ(chip.bit()->infos, nullptr);
    EXPECT_EQ(logged_for_xml(text), Messages{});
}

TEST_F(BitXml, TheLastOfSeveralNamesHolds) {
    Chip chip;
    chip.read_xml(bit_with("<bit-name>first</bit-name><bit-name>second</bit-name>"));
    EXPECT_STREQ(chip.bit()->name, "second");
}

TEST_F(BitXml, BitsAreInFileOrder) {
    Chip chip;
    chip.read_xml(
        "<reg><bit> <bit-range>1</bit-range></bit><bit> <bit-range>9</bit-range></bit>"
        "<bit> <bit-range>5</bit-range></bit></reg>");
    EXPECT_EQ(chip.bit(0)->start, 1);
    EXPECT_EQ(chip.bit(1)->start, 9);
    EXPECT_EQ(chip.bit(2)->start, 5);
    EXPECT_EQ(chip.bit(3), nullptr);
}

TEST_F(BitXml, DebugEchoesEachValueAtLevelZeroWithALineEnd) {
    set_config_debug_enable(1);
    EXPECT_EQ(logged_for_xml(bit_with("<bit-range>7:4</bit-range><bit-name>N</bit-name>"
                                      "<bit-access>RO</bit-access><bit-default>3</bit-default>"
                                      "<bit-major-version>false</bit-major-version>")),
              (Messages{{0, "Debug: 7:4 \n"},
                        {0, "Debug: N \n"},
                        {0, "Debug: RO \n"},
                        {0, "Debug: 3 \n"},
                        {0, "Debug: false \n"}}));
}

TEST_F(BitXml, ParseBitConfigAppendsToTheGivenRegister) {
    Chip chip;
    chip.read_line("R|1");
    chip.read_line("R|2");
    const XmlText text("<bit> <bit-name>A</bit-name></bit>");
    EXPECT_EQ(parse_bit_config(chip.reg(0), text.root()), 0U);
    EXPECT_EQ(parse_bit_config(chip.reg(0), text.root()), 0U);
    EXPECT_EQ(length_of(chip.reg(0)->bits), 2U);
    EXPECT_EQ(chip.reg(1)->bits, nullptr);
    EXPECT_EQ(cursors.bit, chip.bit(1));
}

// ---- named values ----

struct ValueCase {
    const char *name;
    const char *text;
    uint32_t expected;
};

constexpr ValueCase kValueCases[] = {
    {"Decimal", "10", 10},          {"Hexadecimal", "0x1F", 0x1F}, {"Octal", "010", 8},
    {"Largest", "0xFFFFFFFF", ~0U}, {"Wraps", "4294967297", 1},    {"BelowZero", "-1", ~0U},
    {"NoNumber", "on", 0},
};

class XmlInfoValue : public DeviceTreeTest, public testing::WithParamInterface<ValueCase> {};

TEST_P(XmlInfoValue, IsReadInAnyBase) {
    Chip chip;
    ASSERT_EQ(chip.read_xml(info_with(element("info-val", GetParam().text))), 0U);
    ASSERT_NE(chip.bit()->infos, nullptr);
    EXPECT_EQ(chip.bit()->infos->value, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(All, XmlInfoValue, testing::ValuesIn(kValueCases),
                         [](const auto &value) { return value.param.name; });

TEST_F(InfoXml, ValuesAreInFileOrderWithTheirDescriptions) {
    Chip chip;
    ASSERT_EQ(
        chip.read_xml(bit_with("<info><info-val>1</info-val><info-desc> on </info-desc></info>"
                               "<bit-name>N</bit-name><info><info-val>0</info-val></info>")),
        0U);
    const bit_info *first = chip.bit()->infos;
    ASSERT_EQ(length_of(first), 2U);
    EXPECT_EQ(first->value, 1U);
    EXPECT_STREQ(first->desc, " on ");
    EXPECT_EQ(first->next->value, 0U);
    EXPECT_EQ(first->next->desc, nullptr);
    EXPECT_EQ(cursors.info, first->next);
}

TEST_F(InfoXml, TheFirstChildOfAnInfoIsNotPassedOver) {
    Chip chip;
    chip.read_xml(bit_with("<info><info-val>7</info-val></info>"));
    EXPECT_EQ(chip.bit()->infos->value, 7U);
}

TEST_F(InfoXml, UnknownTagsAndTagsWithoutTextArePassedOverInSilence) {
    const std::string text = info_with(
        "<info-val/><info-desc><x/></info-desc><info-name>n"
        "</info-name><!-- c --><?info-val 3?>");
    Chip chip;
    ASSERT_EQ(chip.read_xml(text), 0U);
    EXPECT_EQ(chip.bit()->infos->value, 0U);
    EXPECT_EQ(chip.bit()->infos->desc, nullptr);
    EXPECT_EQ(logged_for_xml(text), Messages{});
}

TEST_F(InfoXml, TheLastOfSeveralDescriptionsHolds) {
    Chip chip;
    chip.read_xml(info_with("<info-desc>a</info-desc><info-desc>bcd</info-desc>"));
    EXPECT_STREQ(chip.bit()->infos->desc, "bcd");
}

TEST_F(InfoXml, DebugEchoesEachValueAtLevelTwo) {
    set_config_debug_enable(1);
    EXPECT_EQ(logged_for_xml(info_with("<info-val>1</info-val><info-desc>on</info-desc>")),
              (Messages{{2, "Debug: 1 "}, {2, "Debug: on "}}));
}

TEST_F(InfoXml, ParseInfoConfigAppendsToTheGivenBit) {
    Chip chip;
    chip.read_lines({"R|1", "B|1|ONE", "B|2|TWO"});
    const XmlText text("<info><info-val>5</info-val><info-desc>five</info-desc></info>");
    EXPECT_EQ(parse_info_config(chip.bit(0), text.root()), 0U);
    EXPECT_EQ(parse_info_config(chip.bit(0), text.root()), 0U);
    EXPECT_EQ(length_of(chip.bit(0)->infos), 2U);
    EXPECT_EQ(chip.bit(1)->infos, nullptr);
}

TEST_F(InfoXml, WithoutDebugAllIsSilent) {
    EXPECT_EQ(logged_for_xml(info_with("<info-val>1</info-val><info-desc>on</info-desc>")),
              Messages{});
}

TEST_F(InfoXml, AHundredThousandBitsAndInfosAreReadInOrder) {
    constexpr size_t kMany = 100000;
    Chip chip;
    ASSERT_EQ(
        chip.read_xml("<reg>" + repeat("<bit> <bit-range>3</bit-range></bit>", kMany) + "<bit> " +
                      repeat("<info><info-val>9</info-val></info>", kMany) + "</bit></reg>"),
        0U);
    EXPECT_EQ(length_of(chip.reg()->bits), kMany + 1);
    EXPECT_EQ(length_of(chip.bit(kMany)->infos), kMany);
}

}  // namespace
}  // namespace diag::test
