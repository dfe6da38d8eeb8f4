// SPDX-License-Identifier: MIT
// Text descriptions that cannot be loaded, and those of unusual shape and size.
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "diag_util.h"

#include "diags/common/src/lib/unique_fd.h"
#include "tests/common/device_tree/loader_text_test.h"
#include "tests/common/process_state.h"

namespace diag::test {
namespace {

using TextFile = DeviceTreeTest;

constexpr uint32_t kBadChip = 0xFFFFFFFFU;

// ---- files that cannot be read ----

TEST_F(TextFile, ThatIsMissingIsNamed) {
    const auto load_it = [] {
        Load load;
        load.from_path("/nowhere/board.txt", 0);
        EXPECT_EQ(load.status, DIAG_E_INVAL);
        EXPECT_EQ(load.busbroker_supported, 0);
        EXPECT_EQ(load.opticstool_present, 1);
        EXPECT_EQ(load.chips(), 0U);
    };
    EXPECT_EQ(logged_by(load_it),
              (Messages{{1, kLoading}}) +
                  error_in("load_device_tree", "Could not open Config File /nowhere/board.txt\n"));
}

TEST_F(TextFile, OfAnEmptyPathIsNamedAllTheSame) {
    EXPECT_EQ(
        logged_by([] {
            Load load;
            load.from_path("", 0);
            EXPECT_EQ(load.status, DIAG_E_INVAL);
        }),
        (Messages{{1, kLoading}}) + error_in("load_device_tree", "Could not open Config File \n"));
}

TEST_F(TextFile, WithoutADescriptorLeftIsNotOpened) {
    const TemporaryFolder folder;
    const std::string path = folder.write("board.txt", "=====\n" + chip_line("N"));
    Load load;
    std::string logged;
    logged = text_logged_by(
        [&] {
            const NoMoreDescriptors none_left;
            load.from_path(path.c_str(), 0);
        },
        -1);
    EXPECT_EQ(load.status, DIAG_E_INVAL);
    EXPECT_EQ(logged, "load_device_tree[]: Could not open Config File " + path + "\n");
}

TEST_F(TextFile, ThatIsAFolderAnswersItsErrno) {
    const TemporaryFolder folder;
    Load load;
    load.from_path(folder.path().c_str(), 0);
    EXPECT_EQ(load.status, DIAG_E_FAIL | static_cast<uint32_t>(EISDIR));
    EXPECT_EQ(load.chips(), 0U);
}

TEST_F(TextFile, MayBeAFifo) {
    const TemporaryFolder folder;
    const std::string path = folder.file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const UniqueFd both(open(path.c_str(), O_RDWR | O_CLOEXEC));
    const std::string text = "=====\n" + chip_line("a") + "R|1\n=====\nIOMTYPE\n";
    ASSERT_EQ(write(both.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    TextLoad load;
    load.from_path(path.c_str(), 0);
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.names(), (Names{"a"}));
}

// ---- lines that cannot be read ----

struct BadCase {
    const char *name;
    std::string text;
    uint32_t status;
    Names names;
    Messages messages;
};

const Messages kNoChip = error_in("parse_device_config", "Config format error\n");

Messages invalid_entry(const std::string &line) {
    return {{1, "Invalid entry in device list: " + line + " \n"}};
}

const Messages kNoLine = {{1, "Invalid specification. Expecting a Register or Bit Definition\n"}};

const BadCase kBadFiles[] = {
    {"RegisterBeforeAChip", "=====\nR|1\n" + chip_line("a"), kBadChip, {"-"}, invalid_entry("R")},
    {"RegisterBehindADelimiter",
     "=====\n" + chip_line("a") + "=====\nR|1\n" + chip_line("b"),
     kBadChip,
     {"a", "-"},
     invalid_entry("R")},
    {"Comment", "=====\n# chip\n" + chip_line("a"), kBadChip, {"-"}, invalid_entry("# chip")},
    {"BlankLine", "=====\n \n", kBadChip, {"-"}, invalid_entry("")},
    {"NulByte", std::string("=====\n\0C| CPLD\n", 15), kBadChip, {"-"}, invalid_entry("")},
    {"ChipWithoutLocation",
     "=====\nC | CPLD | 40 | a | lpc\n=====\n" + chip_line("b"),
     kBadChip,
     {"a"},
     kNoChip},
    {"ChipCutByANulByte",
     std::string("=====\nC|CPLD|40|a\0|lpc|0\n", 25),
     kBadChip,
     {"a"},
     kNoChip},
    {"ChipWithABadMux",
     "=====\nC| CPLD|40|a|lpc|0|ID|0\n",
     kBadChip,
     {"a"},
     {{1, "Invalid MUX specification. Expecting a Mux address\n"}}},
    {"SecondChip",
     "=====\n" + chip_line("a") + "=====\nC|x\n" + chip_line("c"),
     kBadChip,
     {"a", "-"},
     kNoChip},
    {"ChipInABlock", "=====\n" + chip_line("a") + chip_line("b"), DIAG_E_FAIL, {"a"}, kNoLine},
    {"UnknownLine",
     "=====\n" + chip_line("a") + "R|1\nX|1\n=====\n" + chip_line("b"),
     DIAG_E_FAIL,
     {"a"},
     kNoLine},
    {"BlankBeforeARegister", "=====\n" + chip_line("a") + " R|1\n", DIAG_E_FAIL, {"a"}, kNoLine},
    {"FourEqualSigns", "=====\n" + chip_line("a") + "====\n", DIAG_E_FAIL, {"a"}, kNoLine},
    {"BitBeforeARegister",
     "=====\n" + chip_line("a") + "B|1|x\n",
     DIAG_E_FAIL,
     {"a"},
     error_in("parse_reg_config", "Bit definition without a register\n")},
    {"InfoBeforeABit",
     "=====\n" + chip_line("a") + "R|1\nI|1|x\n",
     DIAG_E_FAIL,
     {"a"},
     error_in("parse_reg_config", "Information without a bit definition\n")},
    {"WrongMask",
     "=====\n" + chip_line("a") + "R|2a|8|ff|r| RW |0|1\nB|0|b| RO |0\nR|3\n",
     DIAG_E_FAIL,
     {"a"},
     {{0, "Wrong mask value for the bitrange 0 register 0x2a in config\n"}}},
    {"OnlyIomtyp",
     "=====\n" + chip_line("a") + "=====\nIOMTYP\n",
     kBadChip,
     {"a", "-"},
     invalid_entry("IOMTYP")},
};

class BadTextFile : public DeviceTreeTest, public testing::WithParamInterface<BadCase> {};

TEST_P(BadTextFile, EndsTheLoadAndKeepsWhatWasRead) {
    errno = EXDEV;  // an error left from before is not this file's
    const auto before = open_descriptors();
    const TextLoad load(GetParam().text);
    EXPECT_EQ(load.status, GetParam().status);
    EXPECT_EQ(load.names(), GetParam().names);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(BadTextFile, SaysWhatIsWrongOnce) {
    EXPECT_EQ(logged_for_description(GetParam().text), GetParam().messages);
}

// The same file with the line ends of another system.
TEST_P(BadTextFile, IsAsBadWithCarriageReturns) {
    std::string text;
    for (const char c : GetParam().text) {
        text += c == '\n' ? "\r\n" : std::string(1, c);
    }
    EXPECT_EQ(TextLoad(text).status, GetParam().status);
    EXPECT_EQ(logged_for_description(text), GetParam().messages);
}

INSTANTIATE_TEST_SUITE_P(All, BadTextFile, testing::ValuesIn(kBadFiles),
                         [](const auto &file) { return file.param.name; });

TEST_F(TextFile, ALoadAfterOneThatFailedIsWhole) {
    TextLoad load;
    load.load("=====\n" + chip_line("a") + "R|1\nX\n");
    load.load("=====\n" + chip_line("b") + "R|1\n");
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.names(), (Names{"a", "b"}));
}

TEST_F(TextFile, IsClosedHoweverTheLoadEnds) {
    const auto before = open_descriptors();
    for (const std::string &text :
         {std::string(), std::string("=====\nIOMTYPE"), "=====\n" + chip_line("a"),
          "=====\n" + chip_line("a") + "X\n", std::string("=====\nX\n")}) {
        const TextLoad load(text);
        EXPECT_EQ(open_descriptors(), before) << text;
    }
}

// ---- unusual lines ----

TEST_F(TextFile, WithCarriageReturnsReadsAsWithout) {
    TextLoad load("header\r\n\r\n=====\r\nC| FPGA|40|N|i2c|1f| -|ID|1|2|16\r\n\r\n" +
                  std::string("R|1|8|ff|NAME| RW |1|1|1|v1|4|5|desc\r\nB|7:4|BIT| RO |3\r\n"
                              "I|1|info\r\n=====\r\nC| FPGA|41|M|i2c|2\r\n"
                              "R|2|8|ff|LAST\r\n=====\r\nIOMTYPE\r\n"));
    ASSERT_EQ(load.status, 0U);
    ASSERT_EQ(load.names(), (Names{"N", "M"}));
    EXPECT_EQ(load.chip()->offset_len, 16U);
    const reg_def *reg = load.chip()->reg_list->reg;
    EXPECT_STREQ(reg->test_desc, "desc");
    EXPECT_EQ(reg->bits->def_val, 3U);
    EXPECT_STREQ(reg->bits->infos->desc, "info");
    EXPECT_STREQ(load.chip(1)->chip_id, "");
    EXPECT_STREQ(load.chip(1)->reg_list->reg->name, "LAST");
}

TEST_F(TextFile, TheLastLineNeedsNoEnd) {
    for (const char *end : {"", "\r", "\n", "\r\n"}) {
        TextLoad load("=====\n" + chip_line("a") + "R|1|8|ff|NAME" + end);
        EXPECT_EQ(load.status, 0U);
        EXPECT_STREQ(load.chip()->reg_list->reg->name, "NAME");
    }
    for (const char *end : {"", "\r", "\n", "\r\n"}) {
        TextLoad load(std::string("=====\nC| FPGA|40|N|i2c|1f| -|ID") + end);
        EXPECT_EQ(load.status, 0U);
        EXPECT_STREQ(load.chip()->chip_id, "ID");
    }
}

TEST_F(TextFile, ANulByteEndsALine) {
    TextLoad load("=====\n" + chip_line("a") + std::string("R|1|8|ff|NAME\0| RW |1\nR|2\n", 26));
    EXPECT_EQ(load.status, 0U);
    const std::vector<reg_def *> registers = registers_of(load.chip()->reg_list);
    ASSERT_EQ(registers.size(), 2U);
    EXPECT_STREQ(registers[0]->name, "NAME");
    EXPECT_EQ(registers[0]->def_val, 0U);
    EXPECT_EQ(registers[1]->offset, 2U);
}

TEST_F(TextFile, LinesOfAMegabyte) {
    const std::string mega(1 << 20, 'x');
    TextLoad load(mega + "\n=====" + mega + "\nC| CPLD|40|" + mega + "|lpc|0| -|" + mega +
                  "\nR|1|8|ff|" + mega + "\nB|1|" + mega + "\nI|1|" + mega + "\n=====" + mega +
                  "\nIOMTYPE" + mega);
    ASSERT_EQ(load.status, 0U);
    EXPECT_EQ(std::string(load.chip()->name), std::string(30, 'x'));
    const reg_def *reg = load.chip()->reg_list->reg;
    EXPECT_EQ(reg->name, mega);
    EXPECT_EQ(reg->bits->name, mega);
    EXPECT_EQ(reg->bits->infos->desc, mega);
}

TEST_F(TextFile, AMessageAboutALineOfAMegabyteIsCut) {
    const std::string text = "=====\n" + std::string(1 << 20, 'x') + "\n";
    const std::string logged = text_logged_by([&] { TextLoad{text}; }, 1);
    EXPECT_LT(logged.size(), 2048U);
    EXPECT_NE(logged.find("Invalid entry in device list: xxx"), std::string::npos);
}

TEST_F(TextFile, OfAnyBytesEndsInAStatus) {
    std::string bytes;
    for (int i = 0; i < 256; i++) {
        bytes += static_cast<char>(i);
    }
    EXPECT_EQ(TextLoad(bytes).status, 0U);
    EXPECT_EQ(TextLoad("=====\n" + bytes).status, kBadChip);
    EXPECT_EQ(TextLoad("=====\n" + chip_line("a") + bytes).status, DIAG_E_FAIL);
}

// ---- long lists, each of which a search for its end would make quadratic ----

constexpr size_t kMany = 100000;

TEST_F(TextFile, AHundredThousandChips) {
    const TextLoad load("=====\n" + repeat("C| CPLD|1|N|lpc|0\nR|1\n=====\n", kMany));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.chips(), kMany);
}

TEST_F(TextFile, AHundredThousandRegistersOfOneChip) {
    TextLoad load("=====\n" + chip_line("a") + repeat("R|1\n", kMany));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.chip()->reg_list->count, kMany);
    EXPECT_EQ(length_of(load.chip()->reg_list), kMany);
}

TEST_F(TextFile, AHundredThousandRegistersOfEachTestList) {
    std::string group;
    for (int role = 0; role < 6; role++) {
        group += "R|1|8|1|N|x|0|0|0|v|" + std::to_string(role) + "\n";
    }
    TextLoad load("=====\n" + chip_line("a") + repeat(group, kMany));
    ASSERT_EQ(load.status, 0U);
    const device_node *node = load.chip();
    for (const reg_list *list :
         {node->intr_setup_regs, node->intr_status_regs, node->test_regs_b, node->test_regs_c}) {
        EXPECT_EQ(list->count, kMany);
        EXPECT_EQ(length_of(list), kMany);
    }
    EXPECT_EQ(node->test_regs_a->count, 2 * kMany);
    EXPECT_EQ(length_of(node->test_regs_a), 2 * kMany);
    EXPECT_EQ(node->test_regs_mode, 2U);
}

TEST_F(TextFile, AHundredThousandBitsAndNamedValues) {
    TextLoad load("=====\n" + chip_line("a") + "R|1\n" + repeat("B|1|b\n", kMany) +
                  repeat("I|1|i\n", kMany));
    ASSERT_EQ(load.status, 0U);
    bit_def *bits = load.chip()->reg_list->reg->bits;
    EXPECT_EQ(length_of(bits), kMany);
    EXPECT_EQ(length_of(at(bits, kMany - 1)->infos), kMany);
}

// Appending stays in constant time from one tree to the next, and when one is freed between.
TEST_F(TextFile, LongListsOneTreeAfterTheOther) {
    const std::string text = "=====\n" + chip_line("a") + repeat("R|1\n", kMany / 2) +
                             repeat("B|1|b\n", kMany / 2) + repeat("I|1|i\n", kMany / 2);
    TextLoad kept(text);
    TextLoad load;
    for (int round = 0; round < 3; round++) {
        load.load(text);
        ASSERT_EQ(load.status, 0U);
        const std::vector<reg_def *> registers = registers_of(load.chip()->reg_list);
        ASSERT_EQ(registers.size(), kMany / 2);
        EXPECT_EQ(registers.front()->bits, nullptr);
        EXPECT_EQ(length_of(registers.back()->bits), kMany / 2);
        free_tree(&load.tree.head);
    }
    EXPECT_EQ(length_of(registers_of(kept.chip()->reg_list).back()->bits), kMany / 2);
}

// As a caller does that makes its tree line by line and replaces it.
TEST_F(TextFile, LongListsOfATreeThatACallerRebuilds) {
    for (int round = 0; round < 3; round++) {
        Chip chip;
        ASSERT_EQ(chip.read_line("R|1"), 0U);
        for (size_t i = 0; i < kMany / 2; i++) {
            ASSERT_EQ(chip.read_line("B|1|"), 0U);
        }
        for (size_t i = 0; i < kMany / 2; i++) {
            ASSERT_EQ(chip.read_line("I|1|"), 0U);
        }
        EXPECT_EQ(length_of(chip.reg()->bits), kMany / 2);
        EXPECT_EQ(length_of(chip.bit(kMany / 2 - 1)->infos), kMany / 2);
    }
}

}  // namespace
}  // namespace diag::test
