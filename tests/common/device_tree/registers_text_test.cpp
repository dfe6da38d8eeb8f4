// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "diag_util.h"

#include "diags/common/src/device_tree/registers.h"
#include "tests/common/device_tree/device_tree_test.h"

namespace diag::test {
namespace {

using RegisterLine = DeviceTreeTest;

// The fields up to the version; what belongs to the test role follows.
constexpr char kUpToVersion[] = "R | 10 | 8 | ff | NAME | RW | a5 | 1 | 1 | v1 |";

std::string line_with_role(const std::string &tail) {
    return kUpToVersion + tail;
}

// ---- "R" ----

TEST_F(RegisterLine, AllFieldsAreReadInOrder) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R | 0x1F | 16 | 0xFFF0 | SCRATCH | RW | 0xBEEF | 1 | 2 | 1.02 | 4 "
                             "| 0x5A | walking ones \n"),
              0U);
    const reg_def *reg = chip.reg();
    ASSERT_NE(reg, nullptr);
    EXPECT_EQ(reg->offset, 0x1FU);
    EXPECT_EQ(reg->size, 16U);
    EXPECT_EQ(reg->mask, 0xFFF0U);
    EXPECT_STREQ(reg->name, "SCRATCH");
    EXPECT_EQ(reg->access, DIAG_ACCESS_RW);
    EXPECT_EQ(reg->def_val, 0xBEEFU);
    EXPECT_EQ(reg->testable, 1U);
    EXPECT_EQ(reg->validate, 2U);
    EXPECT_STREQ(reg->version, "1.02");
    EXPECT_EQ(reg->test_data, 0x5AU);
    EXPECT_STREQ(reg->test_desc, "walking ones");
    EXPECT_EQ(reg->length, 1U);
    EXPECT_EQ(reg->bits, nullptr);
    EXPECT_EQ(registers_of(chip.node()->test_regs_b), std::vector{chip.reg()});
    EXPECT_EQ(cursors.reg, reg);
}

TEST_F(RegisterLine, RunsOfSeparatorsCountAsOne) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R||10|||8||ff||N|| RO ||1||2|3||v"), 0U);
    EXPECT_EQ(chip.reg()->offset, 0x10U);
    EXPECT_EQ(chip.reg()->size, 8U);
    EXPECT_EQ(chip.reg()->mask, 0xFFU);
    EXPECT_STREQ(chip.reg()->name, "N");
    EXPECT_EQ(chip.reg()->access, DIAG_ACCESS_RO);
    EXPECT_STREQ(chip.reg()->version, "v");
}

TEST_F(RegisterLine, TheFirstCharacterAloneTellsTheKind) {
    Chip chip;
    ASSERT_EQ(chip.read_line("Register | 20 | 8"), 0U);
    EXPECT_EQ(chip.reg()->offset, 0x20U);
    EXPECT_EQ(chip.reg()->size, 8U);
}

TEST_F(RegisterLine, EndsAtTheLineFeed) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R|10|8|ff|N\n|RW|1"), 0U);
    EXPECT_STREQ(chip.reg()->name, "N");
    EXPECT_EQ(chip.reg()->access, 0);
}

TEST_F(RegisterLine, NumbersWrap) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R|123456789|4294967304|1ffffffff|N| RW |fffffffff|4294967297|-1"),
              0U);
    EXPECT_EQ(chip.reg()->offset, 0x23456789U);
    EXPECT_EQ(chip.reg()->size, 8U);
    EXPECT_EQ(chip.reg()->mask, 0xFFFFFFFFU);
    EXPECT_EQ(chip.reg()->def_val, 0xFFFFFFFFU);
    EXPECT_EQ(chip.reg()->testable, 1U);
    EXPECT_EQ(chip.reg()->validate, 0xFFFFFFFFU);
}

TEST_F(RegisterLine, SizeTestableAndValidateAreDecimal) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R|1|010|1|N| RW |1|010|0x1"), 0U);
    EXPECT_EQ(chip.reg()->size, 10U);
    EXPECT_EQ(chip.reg()->testable, 10U);
    EXPECT_EQ(chip.reg()->validate, 0U);
}

// However early it ends, what is not there stays 0 or null.
TEST_F(RegisterLine, MayEndEarly) {
    const std::string line = kUpToVersion;
    for (size_t length = 1; length <= line.size(); length++) {
        Chip chip;
        ASSERT_EQ(chip.read_line(line.substr(0, length)), 0U) << length;
        ASSERT_NE(chip.reg(), nullptr);
        EXPECT_EQ(chip.reg()->version != nullptr, length > line.find(" v1 |"));
        EXPECT_EQ(chip.reg()->name != nullptr, length > line.find(" NAME |"));
        EXPECT_EQ(chip.reg()->length, 1U);
        EXPECT_TRUE(registers_of(chip.node()->intr_setup_regs).empty());
    }
}

TEST_F(RegisterLine, AWrittenLineWithoutValidateLeavesTheVersionNull) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R | 0x10 | 8 | 0xFF |NAME| RW | 0x0 | 1 |7.1\n"), 0U);
    EXPECT_EQ(chip.reg()->validate, 7U);
    EXPECT_EQ(chip.reg()->version, nullptr);
}

TEST_F(RegisterLine, TrimsNameAndVersionAsTrimSpacesDoes) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R|1|8|ff|  ab | RW |0|0|0|   v1 |-"), 0U);
    EXPECT_STREQ(chip.reg()->name, "aba");      // the leftover of two leading blanks
    EXPECT_STREQ(chip.reg()->version, "v1 v");  // and of three
}

TEST_F(RegisterLine, NameOfBlanksIsEmpty) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R|1|8|ff|   | RW |0"), 0U);
    EXPECT_STREQ(chip.reg()->name, "");
}

TEST_F(RegisterLine, NameOfAMegabyteIsKept) {
    Chip chip;
    const std::string name(1 << 20, 'n');
    ASSERT_EQ(chip.read_line("R|1|8|ff|" + name + "| RW |0"), 0U);
    EXPECT_EQ(chip.reg()->name, name);
}

// ---- access ----

struct AccessCase {
    const char *name;
    const char *text;
    int32_t expected;
};

constexpr AccessCase kAccessCases[] = {
    {"Ro", " RO ", DIAG_ACCESS_RO},
    {"Rw", " RW ", DIAG_ACCESS_RW},
    {"Rc", " RC ", DIAG_ACCESS_RC},
    {"Wo", " WO ", DIAG_ACCESS_WO},
    {"Rmw", " RMW ", DIAG_ACCESS_RMW},
    {"RmwByItsFirstFourCharacters", " RMWX", DIAG_ACCESS_RMW},
    {"OnlyTheFront", " RO and more", DIAG_ACCESS_RO},
    {"WithoutBlankBehind", " RO", DIAG_ACCESS_OTHER},
    {"WithoutBlankBefore", "RO ", DIAG_ACCESS_OTHER},
    {"WithoutBlanks", "RW", DIAG_ACCESS_OTHER},
    {"TwoBlanksBefore", "  RW ", DIAG_ACCESS_OTHER},
    {"LowerCase", " rw ", DIAG_ACCESS_OTHER},
    {"Unknown", " UNKNOWN ", DIAG_ACCESS_OTHER},
};

class LineAccess : public DeviceTreeTest, public testing::WithParamInterface<AccessCase> {};

TEST_P(LineAccess, OfARegisterIsMatchedWithItsBlanks) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R|1|8|ff|N|" + std::string(GetParam().text) + "|0"), 0U);
    EXPECT_EQ(chip.reg()->access, GetParam().expected);
}

TEST_P(LineAccess, OfABitIsMatchedWithItsBlanks) {
    Chip chip;
    ASSERT_EQ(chip.read_lines({"R|1", "B|1|N|" + std::string(GetParam().text) + "|0"}), 0U);
    EXPECT_EQ(chip.bit()->access, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(All, LineAccess, testing::ValuesIn(kAccessCases),
                         [](const auto &access) { return access.param.name; });

// ---- test roles ----

struct RoleTailCase {
    const char *name;
    const char *tail;
    uint32_t test_data;
    const char *test_desc;  // null: none
};

// Roles 0, 2, 4 and 5 have test data and a description, 1 has data, 3 has a description.
constexpr RoleTailCase kRoleTails[] = {
    {"Role0", " 0 | 1f | desc \n", 0x1F, "desc"},
    {"Role0WithoutDescription", " 0 | 1f |\n", 0x1F, nullptr},
    {"Role0WithBlankDescription", " 0 | 1f |   \n", 0x1F, nullptr},
    {"Role0WithoutData", " 0 |\n", 0, nullptr},
    {"Role1", " 1 | 1f | desc \n", 0x1F, nullptr},
    {"Role2", " 2 | 1f | desc \n", 0x1F, "desc"},
    {"Role2WithoutDescription", " 2 | 1f\n", 0x1F, nullptr},
    {"Role2WithBlankDescription", " 2 | 1f |   \n", 0x1F, ""},
    {"Role3", " 3 | 1f and a word \n", 0, "1f and a word"},
    {"Role3WithBlankDescription", " 3 |  \n", 0, ""},
    {"Role4", " 4 | 1f | desc \n", 0x1F, "desc"},
    {"Role5", " 5 | 1f | desc \n", 0x1F, "desc"},
    {"Role5WithBlankDescription", " 5 | 1f | \n", 0x1F, ""},
    {"DescriptionRunsToTheLineEnd", " 5 | 1f | a|b || c \n", 0x1F, "a|b || c"},
    {"DescriptionWithoutLineEnd", " 5 | 1f | a", 0x1F, "a"},
    {"TestDataWraps", " 4 | 123456789 | d", 0x23456789, "d"},
    {"NoRole", " - | 1f | desc \n", 0, nullptr},
    {"NoRoleInsideText", " 4-5 | 1f | desc \n", 0, nullptr},
    {"BelowZeroIsNoRole", " -1 | 1f | desc \n", 0, nullptr},
    {"UnknownRole", " 6 | 1f | desc \n", 0, nullptr},
};

class RoleTail : public DeviceTreeTest, public testing::WithParamInterface<RoleTailCase> {};

TEST_P(RoleTail, GivesTheTestDataAndTheDescription) {
    Chip chip;
    ASSERT_EQ(chip.read_line(line_with_role(GetParam().tail)), 0U);
    EXPECT_STREQ(chip.reg()->version, "v1");
    EXPECT_EQ(chip.reg()->test_data, GetParam().test_data);
    EXPECT_STREQ(chip.reg()->test_desc, GetParam().test_desc);
}

INSTANTIATE_TEST_SUITE_P(All, RoleTail, testing::ValuesIn(kRoleTails),
                         [](const auto &tail) { return tail.param.name; });

TEST_F(RegisterLine, ADashOrABlankFieldMeansNoTestRole) {
    for (const char *tail : {" - ", "-", " -1 |1|x", "3-", " ", "  \n", " | 1f | desc"}) {
        Chip chip;
        ASSERT_EQ(chip.read_line(line_with_role(tail)), 0U);
        for (const reg_list *list :
             {chip.node()->intr_setup_regs, chip.node()->intr_status_regs, chip.node()->test_regs_a,
              chip.node()->test_regs_b, chip.node()->test_regs_c}) {
            EXPECT_TRUE(registers_of(list).empty()) << tail;
        }
        EXPECT_EQ(logged_for_lines({line_with_role(tail)}), Messages{});
    }
}

TEST_F(RegisterLine, AnUnknownTestRoleIsToldAtLevelZero) {
    EXPECT_EQ(logged_for_lines({line_with_role(" 6 |")}),
              (Messages{{0, "Unknown Test Register ID 6\n"}}));
    EXPECT_EQ(logged_for_lines({line_with_role(" 5 |")}), Messages{});
}

TEST_F(RegisterLine, DebugEchoesNothing) {
    set_config_debug_enable(1);
    EXPECT_EQ(logged_for_lines({line_with_role(" 4 | 1 | d")}), Messages{});
}

// ---- other lines ----

TEST_F(RegisterLine, AnotherKindOfLineIsRefusedAtLevelOne) {
    for (const char *line : {"C | FPGA", "r|1", " R|1", "#", "", "\n", "|R|1"}) {
        Chip chip;
        EXPECT_EQ(chip.read_line(line), DIAG_E_INVAL) << line;
        EXPECT_EQ(chip.node()->reg_list, nullptr);
        EXPECT_EQ(
            logged_for_lines({line}),
            (Messages{{1, "Invalid specification. Expecting a Register or Bit Definition\n"}}));
    }
}

}  // namespace
}  // namespace diag::test
