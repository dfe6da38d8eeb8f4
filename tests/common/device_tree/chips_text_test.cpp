// SPDX-License-Identifier: MIT
// Chips from the "C" lines of a text description.
#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/common/device_tree/loader_text_test.h"

namespace diag::test {
namespace {

// A tree into which "C" lines are read.
class Tree : public TreeOwner {
  public:
    device_node *read(std::string line) {
        return parse_device_config(line.data(), &head, 0, nullptr, 0);
    }
};

Messages logged_for_line(const std::string &line) {
    return logged_by([&] { Tree().read(line); });
}

const Messages kFormatError = error_in("parse_device_config", "Config format error\n");

using ChipLine = DeviceTreeTest;

constexpr char kWhole[] =
    "C | FPGA | 0x1F40 | Main | i2c | 1f | /dev/i2c-2 70:1:f:4 | ID-1 | 0x10 | 0xF0 | 16\n";

// ---- the whole line ----

TEST_F(ChipLine, AllFieldsAreReadInOrder) {
    Tree tree;
    const device_node *node = tree.read(kWhole);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(tree.head.node, node);
    EXPECT_EQ(node->chip_type, DIAG_CHIP_FPGA);
    EXPECT_EQ(node->address, 0x1F40U);
    EXPECT_STREQ(node->name, "Main");
    EXPECT_EQ(node->bus_type, DIAG_BUS_I2C);
    EXPECT_EQ(node->bus_no, 0x1FU);
    EXPECT_EQ(node->pci_dev, -1);
    EXPECT_EQ(node->pci_func, -1);
    ASSERT_EQ(length_of(node->mux_list), 1U);
    EXPECT_STREQ(node->mux_list->bus, "/dev/i2c-2");
    EXPECT_EQ(node->mux_list->addr, 0x70U);
    EXPECT_EQ(node->mux_list->reg, 1U);
    EXPECT_EQ(node->mux_list->mask, 0xFU);
    EXPECT_EQ(node->mux_list->val, 4U);
    EXPECT_STREQ(node->chip_id, "ID-1");
    EXPECT_EQ(node->version_reg, 0x10U);
    EXPECT_EQ(node->version_mask, 0xF0U);
    EXPECT_EQ(node->offset_len, 16U);
    EXPECT_EQ(node->reg_le, 0);
    EXPECT_EQ(node->dev_id, nullptr);
    EXPECT_EQ(node->reg_list, nullptr);
    EXPECT_EQ(node->test_regs_a, nullptr);
}

TEST_F(ChipLine, SaysNothing) {
    EXPECT_EQ(logged_for_line(kWhole), Messages{});
}

TEST_F(ChipLine, DebugEchoesEachFieldAsItWasRead) {
    set_config_debug_enable(1);
    EXPECT_EQ(logged_for_line(kWhole), (Messages{{3, "C "},
                                                 {2, "Debug:  FPGA  "},
                                                 {3, " FPGA  "},
                                                 {3, " 0x1F40  "},
                                                 {3, "Main "},
                                                 {3, "i2c "},
                                                 {3, " 1f  "},
                                                 {3, " /dev/i2c-2 70:1:f:4 \n"},
                                                 {3, "Mux Line:  /dev/i2c-2 70:1:f:4 \n"},
                                                 {3, "Mux: /dev/i2c-2 0x70 0x1 0xf 0x4\n"},
                                                 {3, "No Next Level Mux found \n"},
                                                 {3, "ID-1 "},
                                                 {3, " 0x10  "},
                                                 {3, " 0xF0  "},
                                                 {3, " 16 "},
                                                 {2,
                                                  "tree: POINTER ptr: POINTER device: POINTER "
                                                  "next 0\n"},
                                                 {2, "dev: 1 addr: 0x1f40 desc: Main intf: 0\n"}}));
}

TEST_F(ChipLine, DebugEchoesTheMuxFieldThatNamesNone) {
    set_config_debug_enable(1);
    const Messages logged = logged_for_line("C| CPLD|1|N|lpc|0| - |ID|0|0");
    EXPECT_EQ(logged[7], (Message{3, " - \n"}));
    EXPECT_EQ(logged[8], (Message{3, "ID "}));
}

TEST_F(ChipLine, DebugTellsWhereTheTreeEndedBefore) {
    set_config_debug_enable(1);
    const Messages logged = logged_by([] {
        Tree tree;
        tree.read(chip_line("a"));
        tree.read(chip_line("b"));
    });
    ASSERT_GE(logged.size(), 2U);
    EXPECT_EQ(logged[logged.size() - 2].text,
              "tree: POINTER ptr: POINTER device: POINTER next POINTER\n");
}

TEST_F(ChipLine, DebugDoesNotTellOfANodeThatFailed) {
    set_config_debug_enable(1);
    EXPECT_EQ(
        logged_for_line("C| CPLD|1|N|lpc"),
        (Messages{
            {3, "C "}, {2, "Debug:  CPLD "}, {3, " CPLD "}, {3, "1 "}, {3, "N "}, {3, "lpc "}}) +
            kFormatError);
}

TEST_F(ChipLine, RunsOfSeparatorsCountAsOne) {
    Tree tree;
    const device_node *node = tree.read("|C||| FPGA||40|||N||i2c|||3|| -|||ID||1|||2||16||\n");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->chip_type, DIAG_CHIP_FPGA);
    EXPECT_EQ(node->bus_no, 3U);
    EXPECT_EQ(node->mux_list, nullptr);
    EXPECT_STREQ(node->chip_id, "ID");
    EXPECT_EQ(node->version_mask, 2U);
    EXPECT_EQ(node->offset_len, 16U);
}

TEST_F(ChipLine, EndsAtTheLineFeed) {
    Tree tree;
    const device_node *node = tree.read("C| FPGA|40|N|i2c|3\n| -|ID|1|2|16");
    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->chip_id, "");
    EXPECT_EQ(node->offset_len, 8U);
}

TEST_F(ChipLine, WhatFollowsTheLastFieldIsPassedOver) {
    Tree tree;
    const device_node *node = tree.read("C| FPGA|40|N|i2c|3| -|ID|1|2|16|more|fields");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->offset_len, 16U);
}

// ---- a line that ends early ----

// Field by field, with the separator that would open the next one and without.
TEST_F(ChipLine, ThatEndsBeforeItsBusLocationIsRefused) {
    const std::string whole = kWhole;
    const size_t location = whole.find("| 1f") + 1;
    for (size_t length = 1; length <= location; length++) {
        const std::string line = whole.substr(0, length);
        Tree tree;
        EXPECT_EQ(tree.read(line), nullptr) << line;
        EXPECT_NE(tree.head.node, nullptr) << "it stays in the tree";
        EXPECT_EQ(logged_for_line(line), kFormatError) << line;
    }
}

TEST_F(ChipLine, MayEndAnywhereBehindItsBusLocation) {
    const std::string whole = "C | FPGA | 40 | Main | i2c | 1f | - | ID | 10 | f0 | 16\n";
    for (size_t length = whole.find("| 1f") + 2; length <= whole.size(); length++) {
        const std::string line = whole.substr(0, length);
        Tree tree;
        const device_node *node = tree.read(line);
        ASSERT_NE(node, nullptr) << line;
        EXPECT_EQ(node->chip_id[0] != '\0', length > whole.find("ID")) << line;
        EXPECT_EQ(node->version_reg != 0, length > whole.find("10 ")) << line;
        EXPECT_EQ(node->version_mask != 0, length > whole.find("f0")) << line;
        const size_t digits = whole.find("16");
        if (length <= digits) {
            EXPECT_EQ(node->offset_len, 8U) << line;
        } else if (length > digits + 1) {
            EXPECT_EQ(node->offset_len, 16U) << line;
        }
    }
}

TEST_F(ChipLine, ANodeThatFailedKeepsWhatWasRead) {
    Tree tree;
    EXPECT_EQ(tree.read("C | TPM | 1f | Part |"), nullptr);
    ASSERT_NE(tree.head.node, nullptr);
    EXPECT_EQ(tree.head.node->chip_type, DIAG_CHIP_TPM);
    EXPECT_EQ(tree.head.node->address, 0x1FU);
    EXPECT_STREQ(tree.head.node->name, "Part");
    EXPECT_EQ(tree.head.node->bus_type, DIAG_BUS_OTHER);
    EXPECT_NE(tree.read(chip_line("next")), nullptr);
    EXPECT_STREQ(tree.head.next->node->name, "next");
}

// ---- the letter ----

TEST_F(ChipLine, TheLetterIsTrimmedAndItsFirstCharacterTells) {
    for (const char *letter : {"C", " C ", "CHIP", "  C ", " Chip of ours "}) {
        Tree tree;
        EXPECT_NE(tree.read(std::string(letter) + "| FPGA|40|N|i2c|3"), nullptr) << letter;
    }
}

TEST_F(ChipLine, AnotherLetterIsRefusedByName) {
    struct Case {
        const char *line;
        const char *shown;
    };
    for (const Case &other : {Case{"c | FPGA|40|N|i2c|3", "c"},
                              {" R |10", "R"},
                              {"B", "B"},
                              {" a C | FPGA", "a C"},
                              {"", ""},
                              {"\n", ""},
                              {"|||\n", ""},
                              {"  |x", ""},
                              {"# comment\n", "# comment"}}) {
        Tree tree;
        EXPECT_EQ(tree.read(other.line), nullptr) << other.line;
        EXPECT_NE(tree.head.node, nullptr);
        EXPECT_EQ(
            logged_for_line(other.line),
            (Messages{{1, std::string("Invalid entry in device list: ") + other.shown + " \n"}}));
    }
}

// ---- words ----

struct WordCase {
    const char *name;
    const char *text;
    int32_t expected;
};

constexpr WordCase kTypes[] = {
    {"Cpld", " CPLD ", DIAG_CHIP_CPLD},
    {"Fpga", " FPGA ", DIAG_CHIP_FPGA},
    {"Tpm", " TPM ", DIAG_CHIP_TPM},
    {"Nvram", " NVRAM ", DIAG_CHIP_NVRAM},
    {"NvramByFiveCharacters", " NVRA", DIAG_CHIP_NVRAM},
    {"NvramNeedsFiveCharacters", " NVR", DIAG_CHIP_OTHER},
    {"WithoutBlankBehind", " CPLD", DIAG_CHIP_CPLD},
    {"Longer", " FPGAS and more", DIAG_CHIP_FPGA},
    {"TpmByFourCharacters", " TPM2", DIAG_CHIP_TPM},
    {"CpldWithoutBlank", "CPLD", DIAG_CHIP_OTHER},
    {"FpgaWithoutBlank", "FPGA ", DIAG_CHIP_OTHER},
    {"TpmWithoutBlank", "TPM ", DIAG_CHIP_OTHER},
    {"NvramWithoutBlank", "NVRAM ", DIAG_CHIP_OTHER},
    {"TwoBlanks", "  CPLD ", DIAG_CHIP_OTHER},
    {"LowerCase", " cpld ", DIAG_CHIP_OTHER},
    {"CutOff", " CPL", DIAG_CHIP_OTHER},
    {"OnlyABlank", " ", DIAG_CHIP_OTHER},
    {"Unknown", " UNKNOWN ", DIAG_CHIP_OTHER},
};

class ChipLineType : public DeviceTreeTest, public testing::WithParamInterface<WordCase> {};

TEST_P(ChipLineType, IsComparedWithItsBlank) {
    Tree tree;
    const device_node *node = tree.read("C|" + std::string(GetParam().text) + "|40|N|i2c|3");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->chip_type, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(All, ChipLineType, testing::ValuesIn(kTypes),
                         [](const auto &type) { return type.param.name; });

constexpr WordCase kBuses[] = {
    {"I2c", " i2c ", DIAG_BUS_I2C},
    {"Bmc", " bmc ", DIAG_BUS_BMC},
    {"Pci", " pci ", DIAG_BUS_PCI},
    {"Mem", " mem ", DIAG_BUS_MEM},
    {"Lpc", " lpc ", DIAG_BUS_LPC},
    {"Io", " io ", DIAG_BUS_IO},
    {"Mtd", " mtd ", DIAG_BUS_MTD},
    {"WithoutBlanks", "i2c", DIAG_BUS_I2C},
    {"ManyBlanks", "   bmc   ", DIAG_BUS_BMC},
    {"OnlyTheFront", " i2cbus ", DIAG_BUS_I2C},
    {"TwoCharactersOfIo", " iox ", DIAG_BUS_IO},
    {"ADash", " bmc-3 ", DIAG_BUS_BMC},
    {"UpperCase", " I2C ", DIAG_BUS_OTHER},
    {"APath", " /dev/i2c-3 ", DIAG_BUS_OTHER},
    {"CutOff", " i2 ", DIAG_BUS_OTHER},
    {"OneLetter", " i ", DIAG_BUS_OTHER},
    {"Unknown", " unknown ", DIAG_BUS_OTHER},
    {"ATab", "\ti2c ", DIAG_BUS_OTHER},
    {"Blank", "  ", DIAG_BUS_OTHER},
};

class ChipLineBus : public DeviceTreeTest, public testing::WithParamInterface<WordCase> {};

TEST_P(ChipLineBus, IsAWordByItsFirstCharacters) {
    Tree tree;
    const device_node *node = tree.read("C| FPGA|40|N|" + std::string(GetParam().text) + "|1a|");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->bus_type, GetParam().expected);
    EXPECT_EQ(node->bus_no, 0x1AU);
}

// Behind the word the location may stand already; the next field is then that of the muxes.
TEST_P(ChipLineBus, MayShareItsFieldWithTheLocation) {
    if (std::string(GetParam().name) == "Blank") {
        return;
    }
    Tree tree;
    const device_node *node =
        tree.read("C| FPGA|40|N|" + std::string(GetParam().text) + " 1a | -|ID");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->bus_type, GetParam().expected);
    EXPECT_EQ(node->bus_no, 0x1AU);
    EXPECT_EQ(node->mux_list, nullptr);
    EXPECT_STREQ(node->chip_id, "ID");
}

INSTANTIATE_TEST_SUITE_P(All, ChipLineBus, testing::ValuesIn(kBuses),
                         [](const auto &bus) { return bus.param.name; });

}  // namespace
}  // namespace diag::test
