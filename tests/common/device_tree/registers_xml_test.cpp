// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "diag_util.h"

#include "diags/common/src/device_tree/registers.h"
#include "tests/common/device_tree/device_tree_test.h"

namespace diag::test {
namespace {

using RegisterXml = DeviceTreeTest;

std::string element(const std::string &tag, const std::string &text) {
    return "<" + tag + ">" + text + "</" + tag + ">";
}

std::string reg_with(const std::string &tag, const std::string &text) {
    return element("reg", element(tag, text));
}

// White space stands before the first tag, as in every indented file.
std::string bit_with(const std::string &content) {
    return element("reg", element("bit", "\n" + content));
}

// ---- numbers of a register ----

struct NumberCase {
    const char *name;
    const char *tag;
    const char *text;
    uint32_t reg_def::*member;
    uint32_t expected;
};

constexpr NumberCase kNumberCases[] = {
    {"OffsetIsHexadecimal", "reg-offset", "10", &reg_def::offset, 0x10},
    {"OffsetTakesAPrefix", "reg-offset", "0x1F", &reg_def::offset, 0x1F},
    {"OffsetWraps", "reg-offset", "123456789", &reg_def::offset, 0x23456789},
    {"OffsetStopsAtALineFeed", "reg-offset", "1\n2", &reg_def::offset, 1},
    {"SizeIsDecimal", "reg-size", "16", &reg_def::size, 16},
    {"SizeTakesHexadecimal", "reg-size", "0x10", &reg_def::size, 16},
    {"SizeTakesOctal", "reg-size", "010", &reg_def::size, 8},
    {"SizeWraps", "reg-size", "4294967304", &reg_def::size, 8},
    {"SizeThatIsNoNumberIsZero", "reg-size", "wide", &reg_def::size, 0},
    {"DefaultIsHexadecimal", "reg-default", "80000001", &reg_def::def_val, 0x80000001},
    {"MaskIsHexadecimal", "reg-mask", "ff", &reg_def::mask, 0xFF},
    {"TestableIsANumber", "reg-testable", "1", &reg_def::testable, 1},
    {"TestableTakesHexadecimal", "reg-testable", "0x12", &reg_def::testable, 18},
    {"ValidateIsANumber", "reg-validate", "1", &reg_def::validate, 1},
    {"ValidateTakesOctal", "reg-validate", "012", &reg_def::validate, 10},
    {"LengthIsANumber", "reg-length", "4", &reg_def::length, 4},
    {"LengthTakesHexadecimal", "reg-length", "0x20", &reg_def::length, 32},
    {"NegativeLengthWraps", "reg-length", "-1", &reg_def::length, 0xFFFFFFFF},
    {"TestDataIsHexadecimal", "reg-test-data", "5a", &reg_def::test_data, 0x5A},
};

class RegisterNumber : public DeviceTreeTest, public testing::WithParamInterface<NumberCase> {};

TEST_P(RegisterNumber, IsRead) {
    Chip chip;
    ASSERT_EQ(chip.read_xml(reg_with(GetParam().tag, GetParam().text)), 0U);
    EXPECT_EQ(chip.reg()->*GetParam().member, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(All, RegisterNumber, testing::ValuesIn(kNumberCases),
                         [](const auto &number) { return number.param.name; });

// ---- access words ----

struct AccessCase {
    const char *name;
    const char *text;
    int32_t expected;
};

// Looked for anywhere in the text, in the order RO, RW, RC, WO, RMW.
constexpr AccessCase kAccessCases[] = {
    {"Ro", "RO", DIAG_ACCESS_RO},
    {"Rw", "RW", DIAG_ACCESS_RW},
    {"Rc", "RC", DIAG_ACCESS_RC},
    {"Wo", "WO", DIAG_ACCESS_WO},
    {"Rmw", "RMW", DIAG_ACCESS_RMW},
    {"InsideText", "an RC one", DIAG_ACCESS_RC},
    {"RoBeforeRw", "RW or RO", DIAG_ACCESS_RO},
    {"RwBeforeRc", "RC RW", DIAG_ACCESS_RW},
    {"RcBeforeWo", "WO RC", DIAG_ACCESS_RC},
    {"WoBeforeRmw", "RMW WO", DIAG_ACCESS_WO},
    {"LowerCase", "ro", DIAG_ACCESS_OTHER},
    {"Unknown", "XX", DIAG_ACCESS_OTHER},
    {"HalfAWord", "R", DIAG_ACCESS_OTHER},
    {"Blank", " ", DIAG_ACCESS_OTHER},
};

class XmlAccess : public DeviceTreeTest, public testing::WithParamInterface<AccessCase> {};

TEST_P(XmlAccess, OfARegister) {
    Chip chip;
    ASSERT_EQ(chip.read_xml(reg_with("reg-access", GetParam().text)), 0U);
    EXPECT_EQ(chip.reg()->access, GetParam().expected);
}

TEST_P(XmlAccess, OfABit) {
    Chip chip;
    ASSERT_EQ(chip.read_xml(bit_with(element("bit-access", GetParam().text))), 0U);
    EXPECT_EQ(chip.bit()->access, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(All, XmlAccess, testing::ValuesIn(kAccessCases),
                         [](const auto &access) { return access.param.name; });

// ---- registers ----

TEST_F(RegisterXml, EmptyElementGivesARegisterOfLengthOne) {
    Chip chip;
    ASSERT_EQ(chip.read_xml("<reg/>"), 0U);
    const reg_def *reg = chip.reg();
    ASSERT_NE(reg, nullptr);
    EXPECT_EQ(reg->length, 1U);
    EXPECT_EQ(reg->name, nullptr);
    EXPECT_EQ(reg->version, nullptr);
    EXPECT_EQ(reg->bits, nullptr);
    EXPECT_EQ(reg->test_desc, nullptr);
    EXPECT_EQ(reg->testable, 0U);
    EXPECT_EQ(reg->validate, 0U);
    EXPECT_EQ(cursors.reg, reg);
}

TEST_F(RegisterXml, TextsAreCopiedWhole) {
    Chip chip;
    ASSERT_EQ(chip.read_xml("<reg><reg-name> Scratch pad </reg-name>"
                            "<reg-test-description>walks a &lt;1&gt;</reg-test-description></reg>"),
              0U);
    EXPECT_STREQ(chip.reg()->name, " Scratch pad ");
    EXPECT_STREQ(chip.reg()->test_desc, "walks a <1>");
    EXPECT_EQ(chip.reg()->version, nullptr);
}

TEST_F(RegisterXml, NameOfAMegabyteIsKept) {
    Chip chip;
    const std::string name(1 << 20, 'n');
    ASSERT_EQ(chip.read_xml(reg_with("reg-name", name)), 0U);
    EXPECT_EQ(chip.reg()->name, name);
}

TEST_F(RegisterXml, TheLastOfSeveralEqualTagsHolds) {
    Chip chip;
    ASSERT_EQ(chip.read_xml("<reg><reg-name>a</reg-name><reg-name>longer</reg-name>"
                            "<reg-size>8</reg-size><reg-size>32</reg-size>"
                            "<reg-test-description>x</reg-test-description>"
                            "<reg-test-description>y</reg-test-description></reg>"),
              0U);
    EXPECT_STREQ(chip.reg()->name, "longer");
    EXPECT_EQ(chip.reg()->size, 32U);
    EXPECT_STREQ(chip.reg()->test_desc, "y");
}

TEST_F(RegisterXml, TagsWithoutTextArePassedOverInSilence) {
    const std::string text =
        "<reg><reg-name/><reg-offset></reg-offset><reg-size><x>8</x></reg-size>"
        "<reg-length><!-- 3 -->3</reg-length><reg-mask><![CDATA[ff]]></reg-mask>"
        "<reg-test-id/><reg-test-description/><bit/></reg>";
    Chip chip;
    ASSERT_EQ(chip.read_xml(text), 0U);
    const reg_def *reg = chip.reg();
    EXPECT_EQ(reg->name, nullptr);
    EXPECT_EQ(reg->offset, 0U);
    EXPECT_EQ(reg->size, 0U);
    EXPECT_EQ(reg->length, 1U);
    EXPECT_EQ(reg->mask, 0U);
    EXPECT_EQ(reg->test_desc, nullptr);
    EXPECT_EQ(reg->bits, nullptr);
    EXPECT_TRUE(registers_of(chip.node()->intr_setup_regs).empty());
    EXPECT_EQ(logged_for_xml(text), Messages{});
}

TEST_F(RegisterXml, UnknownTagsAndWhatIsNoElementArePassedOver) {
    const std::string text =
        "<reg>text<!-- reg-size --><?reg-size 8?><![CDATA[<reg-size>8</reg-size>]]>"
        "<reg-sizes>8</reg-sizes><reg-siz>8</reg-siz><info><info-val>1</info-val></info>"
        "<reg-name>n</reg-name>tail</reg>";
    Chip chip;
    ASSERT_EQ(chip.read_xml(text), 0U);
    EXPECT_EQ(chip.reg()->size, 0U);
    EXPECT_STREQ(chip.reg()->name, "n");
    EXPECT_EQ(logged_for_xml(text), Messages{});
}

TEST_F(RegisterXml, TextAfterAFirstTextIsNotRead) {
    Chip chip;
    ASSERT_EQ(chip.read_xml("<reg><reg-name>ab<!-- c -->cd</reg-name></reg>"), 0U);
    EXPECT_STREQ(chip.reg()->name, "ab");
}

struct UnknownRoleCase {
    const char *name;
    const char *text;
    const char *shown;
};

constexpr UnknownRoleCase kUnknownRoles[] = {{"JustAbove", "6", "6"},
                                             {"Large", "99", "99"},
                                             {"BelowZero", "-1", "-1"},
                                             {"Wrapping", "4294967302", "6"}};

class UnknownTestRole : public DeviceTreeTest,
                        public testing::WithParamInterface<UnknownRoleCase> {};

TEST_P(UnknownTestRole, OfAnElementIsToldAtLevelOneAndNothingElse) {
    Chip chip;
    ASSERT_EQ(chip.read_xml("<reg><reg-test-id>" + std::string(GetParam().text) +
                            "</reg-test-id><reg-size>8</reg-size></reg>"),
              0U);
    EXPECT_EQ(chip.reg()->size, 8U);
    for (const reg_list *list :
         {chip.node()->intr_setup_regs, chip.node()->intr_status_regs, chip.node()->test_regs_a,
          chip.node()->test_regs_b, chip.node()->test_regs_c}) {
        EXPECT_TRUE(registers_of(list).empty());
    }
    EXPECT_EQ(logged_for_xml(reg_with("reg-test-id", GetParam().text)),
              (Messages{{1, std::string("Unknown Test Register ID ") + GetParam().shown + "\n"}}));
}

INSTANTIATE_TEST_SUITE_P(All, UnknownTestRole, testing::ValuesIn(kUnknownRoles),
                         [](const auto &role) { return role.param.name; });

TEST_F(RegisterXml, TestRoleIsDecimalAndWhatIsNoNumberIsRoleZero) {
    Chip chip;
    chip.read_xml(reg_with("reg-test-id", "0x5"));
    EXPECT_EQ(registers_of(chip.node()->intr_setup_regs), std::vector{chip.reg()});
}

TEST_F(RegisterXml, DebugEchoesEachValueAtLevelTwo) {
    set_config_debug_enable(1);
    EXPECT_EQ(logged_for_xml("<reg><reg-offset>10</reg-offset><reg-name>N</reg-name>"
                             "<reg-size>8</reg-size><reg-access>RW</reg-access>"
                             "<reg-default>0</reg-default><reg-mask>ff</reg-mask>"
                             "<reg-testable>1</reg-testable><reg-validate>0</reg-validate>"
                             "<reg-length>1</reg-length><reg-test-data>7</reg-test-data>"
                             "<reg-test-description>D</reg-test-description>"
                             "<reg-test-id>4</reg-test-id><unknown>u</unknown></reg>"),
              (Messages{{2, "Debug: 10 "},
                        {2, "Debug: N "},
                        {2, "Debug: 8 "},
                        {2, "Debug: RW "},
                        {2, "Debug: 0 "},
                        {2, "Debug: ff "},
                        {2, "Debug: 1 "},
                        {2, "Debug: 0 "},
                        {2, "Debug: 1 "},
                        {2, "Debug: 7 "},
                        {2, "Debug: D "},
                        {2, "Debug: 4 "}}));
}

}  // namespace
}  // namespace diag::test
