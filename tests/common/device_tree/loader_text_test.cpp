// SPDX-License-Identifier: MIT
// Text descriptions: header, blocks, and what a load answers.
#include "tests/common/device_tree/loader_text_test.h"

#include <gtest/gtest.h>

#include "diag_util.h"

#include "diags/common/src/device_tree/registers.h"
#include "tests/support/without_leak_check.h"

namespace diag::test {
namespace {

using LoadText = DeviceTreeTest;

// ---- the whole ----

TEST_F(LoadText, ReadsABoard) {
    TextLoad load(R"(# Board of many parts
Revision | 3

=====
C | CPLD | 0x40 | Power | i2c | 3 | - | PWR | 0x00 | 0xf0
R | 0x10 | 8 | 0xff | CONTROL | RW | 0x01 | 1 | 0 | v1 | 4 | 5a | walking ones
B | 7:4 | MODE | RW | 0x0
I | 1 | on
I | 2 | off
R | 0x11 | 8 | 0xff | STATUS | RO | 0x00 | 0 | 0 | v1 | 1 | 3
=====
C | FPGA | 0x41 | Main | lpc | 0
R | 0x20 | 16 | 0xffff | ID | RO | 0xcafe
)");
    ASSERT_EQ(load.status, 0U);
    ASSERT_EQ(load.names(), (Names{"Power", "Main"}));
    const device_node *power = load.chip(0);
    const std::vector<reg_def *> registers = registers_of(power->reg_list);
    ASSERT_EQ(registers.size(), 2U);
    EXPECT_EQ(power->reg_list->count, 2U);
    EXPECT_STREQ(registers[0]->name, "CONTROL");
    EXPECT_EQ(registers[0]->bits->end, 7);
    EXPECT_STREQ(registers[0]->bits->infos->desc, "on");
    EXPECT_STREQ(registers[0]->bits->infos->next->desc, "off");
    EXPECT_EQ(registers_of(power->test_regs_b), (std::vector{registers[0]}));
    EXPECT_EQ(registers_of(power->intr_status_regs), (std::vector{registers[1]}));
    const device_node *main = load.chip(1);
    ASSERT_NE(main->reg_list, nullptr);
    EXPECT_EQ(main->reg_list->count, 1U);
    EXPECT_EQ(main->reg_list->reg->def_val, 0xCAFEU);
}

TEST_F(LoadText, SaysNothingMoreThanThatItBegins) {
    EXPECT_EQ(logged_for_description("header\n=====\n" + chip_line("N") +
                                     "R|1\nB|1|b\nI|1|i\n=====\nIOMTYPE1\n"),
              Messages{});
}

TEST_F(LoadText, FillsInTheFlagsAndNothingElse) {
    TextLoad load("=====\n" + chip_line("N"));
    EXPECT_EQ(load.busbroker_supported, 0);
    EXPECT_EQ(load.opticstool_present, 1);
    EXPECT_EQ(load.document, nullptr);
    EXPECT_STREQ(load.socket.ip, "");
}

TEST_F(LoadText, LeavesTheDocumentAlone) {
    const TemporaryFolder folder;
    const std::string path = folder.write("board.txt", "=====\n" + chip_line("N"));
    xmlDoc untouched{};
    xmlDoc *document = &untouched;
    TreeOwner tree;
    uint8_t busbroker_supported = 1;
    EXPECT_EQ(load_device_tree(path.c_str(), &tree.head, 0, &document, &busbroker_supported,
                               nullptr, nullptr),
              0U);
    EXPECT_EQ(document, &untouched);
    EXPECT_EQ(busbroker_supported, 0);
}

TEST_F(LoadText, AZeroLowByteAsksForTheTextForm) {
    const TemporaryFolder folder;
    const std::string path = folder.write("board.txt", "=====\n" + chip_line("N"));
    for (const int is_xml : {0, 0x100, -0x100, 0x7FFFFF00}) {
        Load load;
        load.from_path(path.c_str(), is_xml);
        EXPECT_EQ(load.status, 0U) << is_xml;
        EXPECT_EQ(load.chips(), 1U);
    }
}

TEST_F(LoadText, NeedsTheBusbrokerFlagBeforeItOpensTheFile) {
    const auto load = [] {
        device_tree head{};
        uint8_t opticstool_present = 77;
        EXPECT_EQ(load_device_tree("/nowhere/board.txt", &head, 0, nullptr, nullptr, nullptr,
                                   &opticstool_present),
                  DIAG_E_INVAL);
        EXPECT_EQ(opticstool_present, 77);
    };
    EXPECT_EQ(logged_by(load),
              (Messages{{1, kLoading}}) +
                  error_in("load_device_tree",
                           "&busbroker_supported needs to be passed to this function\n"));
}

TEST_F(LoadText, WithoutATreeTheFileIsReadAllTheSame) {
    const WithoutLeakCheck chips_are_never_handed_back;
    const TemporaryFolder folder;
    const std::string good =
        folder.write("good", "=====\n" + chip_line("a") + "R|1\n=====\n" + chip_line("b"));
    const std::string bad = folder.write("bad", "=====\nX\n");
    uint8_t supported = 0;
    EXPECT_EQ(load_device_tree(good.c_str(), nullptr, 0, nullptr, &supported, nullptr, nullptr),
              0U);
    EXPECT_EQ(load_device_tree(bad.c_str(), nullptr, 0, nullptr, &supported, nullptr, nullptr),
              0xFFFFFFFFU);
}

// ---- header ----

TEST_F(LoadText, WithoutADelimiterAllIsHeader) {
    for (const std::string &text : {std::string(), std::string("\n\n"), chip_line("N"),
                                    chip_line("N") + "R|1\nIOMTYPE1\n====\n =====\n",
                                    std::string("CARD_TYPE_SUPPORT:9\nSlot|LPC|1|1:C\n")}) {
        const TextLoad load(text);
        EXPECT_EQ(load.status, 0U) << text;
        EXPECT_EQ(load.chips(), 0U) << text;
    }
}

TEST_F(LoadText, OnlyADelimiterLoadsNothing) {
    for (const char *text : {"=====", "=====\n", "=====\n=====\n", "======== text\n"}) {
        const TextLoad load(text);
        EXPECT_EQ(load.status, 0U) << text;
        EXPECT_EQ(load.chips(), 0U) << text;
    }
}

TEST_F(LoadText, NoModulesAnnouncedIsHeaderData) {
    set_config_debug_enable(1);
    for (const char *line : {"OPTIONAL_MODULE_SUPPORT:0\n", "OPTIONAL_MODULE_SUPPORT:05\n",
                             "OPTIONAL_MODULE_SUPPORT | x:0:3\n"}) {
        EXPECT_EQ(logged_for_description(std::string(line) + "CARD_TYPE_SUPPORT:1\n"),
                  (Messages{{2, std::string("Found header data\n ") + line + "\n"},
                            {2, "Found header data\n CARD_TYPE_SUPPORT:1\n\n"}}));
        EXPECT_EQ(TextLoad(line).status, 0U);
    }
}

TEST_F(LoadText, ModulesAreAnnouncedInTheHeaderAtTheFrontOfALineOnly) {
    const TextLoad load(" OPTIONAL_MODULE_SUPPORT:9\noptional_module_support:9\n=====\n" +
                        chip_line("N") + "=====\n");
    EXPECT_EQ(load.status, 0U);
    const TextLoad behind("=====\nOPTIONAL_MODULE_SUPPORT:1\n");
    EXPECT_EQ(behind.status, 0xFFFFFFFFU);  // a chip is expected there
}

// ---- debug ----

TEST_F(LoadText, DebugTellsHeaderLinesAndDelimiters) {
    set_config_debug_enable(1);
    EXPECT_EQ(logged_for_description("one\ntwo"),
              (Messages{{2, "Found header data\n one\n\n"}, {2, "Found header data\n two\n"}}));
    EXPECT_EQ(logged_for_description("=====\n=====\n=====\n"),
              (Messages{{2, "Found first Delimiter\n"},
                        {2, "Found End of Device\n"},
                        {2, "Found End of Device\n"}}));
}

TEST_F(LoadText, DebugEchoesChipsAndBits) {
    set_config_debug_enable(1);
    const Messages logged =
        logged_for_description("=====\n" + chip_line("N") + "R|1\nB|3|BIT| RO |1\nI|1|x\n");
    ASSERT_GE(logged.size(), 4U);
    EXPECT_EQ(logged[0].text, "Found first Delimiter\n");
    EXPECT_EQ(logged[1], (Message{3, "C "}));
    EXPECT_EQ(logged[logged.size() - 2].text, "dev: 0 addr: 0x40 desc: N intf: 3\n");
    EXPECT_EQ(logged.back(), (Message{2, "DEBUG: s : 3 e : 3 BIT 0 0x1\n"}));
}

TEST_F(LoadText, TheDebugFlagIsOffByItself) {
    EXPECT_EQ(logged_for_description("header\n=====\n" + chip_line("N") + "R|1\nB|3|BIT| RO |1\n"),
              Messages{});
}

// ---- blocks ----

TEST_F(LoadText, ABlockIsAChipAndItsRegisters) {
    TextLoad load("=====\n" + chip_line("a") + "R|1\nR|2\n=====\n" + chip_line("b") +
                  "=====\n=====\n" + chip_line("c") + "R|3\n=====");
    EXPECT_EQ(load.status, 0U);
    ASSERT_EQ(load.names(), (Names{"a", "b", "c"}));
    EXPECT_EQ(registers_of(load.chip(0)->reg_list).size(), 2U);
    EXPECT_EQ(load.chip(1)->reg_list, nullptr);
    ASSERT_EQ(registers_of(load.chip(2)->reg_list).size(), 1U);
    EXPECT_EQ(load.chip(2)->reg_list->reg->offset, 3U);
}

TEST_F(LoadText, EmptyLinesAreIgnoredEverywhere) {
    TextLoad load("\n\nheader\n\n=====\n\n" + chip_line("a") + "\n\nR|1\n\nB|1|b\n\nI|1|i\n\n" +
                  "=====\n\n\n" + chip_line("b") + "\n\n");
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.names(), (Names{"a", "b"}));
    EXPECT_STREQ(load.chip(0)->reg_list->reg->bits->infos->desc, "i");
}

TEST_F(LoadText, ALineThatBeginsWithIomtypeEndsTheChips) {
    for (const char *before : {"=====\n", ""}) {
        TextLoad load("=====\n" + chip_line("a") + "R|1\n" + before +
                      "IOMTYPES and more\nR|2\n=====\n" + chip_line("b"));
        EXPECT_EQ(load.status, 0U);
        EXPECT_EQ(load.names(), (Names{"a"}));
        EXPECT_EQ(registers_of(load.chip()->reg_list).size(), 1U);
    }
    EXPECT_EQ(TextLoad("=====\nIOMTYPE").status, 0U);
}

TEST_F(LoadText, IomtypeInTheHeaderIsHeaderData) {
    const TextLoad load("IOMTYPE1\n=====\n" + chip_line("a"));
    EXPECT_EQ(load.names(), (Names{"a"}));
}

// ---- the records read last ----

TEST_F(LoadText, ABitLineAttachesToTheRegisterReadLastEvenOfTheChipBefore) {
    TextLoad load("=====\n" + chip_line("a") + "R|1\nB|1|first\n=====\n" + chip_line("b") +
                  "B|2|second\nI|1|info\n");
    ASSERT_EQ(load.status, 0U);
    EXPECT_EQ(load.chip(1)->reg_list, nullptr);
    bit_def *bits = load.chip(0)->reg_list->reg->bits;
    ASSERT_EQ(length_of(bits), 2U);
    EXPECT_STREQ(bits->next->infos->desc, "info");
}

TEST_F(LoadText, TheCursorsKeepPointingAtTheLastRecords) {
    TextLoad load("=====\n" + chip_line("a") + "R|1\nB|1|A\nI|1|x\nR|2\nB|2|B\nI|2|y\nI|3|z\n");
    const std::vector<reg_def *> registers = registers_of(load.chip()->reg_list);
    ASSERT_EQ(registers.size(), 2U);
    EXPECT_EQ(cursors.reg, registers[1]);
    EXPECT_EQ(cursors.bit, registers[1]->bits);
    EXPECT_EQ(cursors.info, registers[1]->bits->infos->next);
}

TEST_F(LoadText, LinesAfterALoadAttachToItsLastRecords) {
    TextLoad load("=====\n" + chip_line("a") + "R|1\nR|2\nB|2|B\n");
    for (const char *text : {"I|7|seven\n", "B|3|C\n", "R|9\n"}) {
        std::string line = text;
        EXPECT_EQ(parse_reg_config(line.data(), load.chip(), 0, nullptr), 0U);
    }
    const std::vector<reg_def *> registers = registers_of(load.chip()->reg_list);
    ASSERT_EQ(registers.size(), 3U);
    EXPECT_EQ(length_of(registers[1]->bits), 2U);
    EXPECT_STREQ(registers[1]->bits->infos->desc, "seven");
}

TEST_F(LoadText, LinesNeverAttachToATreeFromBefore) {
    for (const char *line : {"B|1|N\n", "I|1|x\n"}) {
        {
            const TextLoad gone("=====\n" + chip_line("a") + "R|1\nB|1|A\n");
            ASSERT_EQ(gone.status, 0U);
        }
        const TextLoad load("=====\n" + chip_line("b") + line);
        EXPECT_EQ(load.status, DIAG_E_FAIL) << line;
    }
}

// ---- several loads ----

TEST_F(LoadText, AppendsToATreeThatHoldsChips) {
    TextLoad load;
    load.load("=====\n" + chip_line("a") + "R|1\n");
    load.from_text("<config><chip><chip-name>b</chip-name></chip></config>");
    load.load("=====\n" + chip_line("c") + "=====\n" + chip_line("d"));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.names(), (Names{"a", "b", "c", "d"}));
    EXPECT_EQ(load.chip(0)->reg_list->count, 1U);
}

TEST_F(LoadText, LoadsTheSameIntoATreeThatWasFreed) {
    TextLoad load;
    for (int round = 0; round < 10; round++) {
        load.load("=====\n" + chip_line("a") + "R|1\nB|1|b\nB|2|c\nI|1|x\nI|2|y\n");
        ASSERT_EQ(load.status, 0U);
        ASSERT_EQ(load.names(), (Names{"a"}));
        bit_def *bits = load.chip()->reg_list->reg->bits;
        ASSERT_EQ(length_of(bits), 2U);
        EXPECT_EQ(length_of(bits->next->infos), 2U);
        free_tree(&load.tree.head);
    }
}

TEST_F(LoadText, LoadsSeveralTreesSideBySide) {
    TextLoad first("=====\n" + chip_line("a") + "R|1\nB|1|b\n");
    TextLoad second("=====\n" + chip_line("b") + "R|1\nB|1|b\nB|2|c\n");
    EXPECT_EQ(length_of(first.chip()->reg_list->reg->bits), 1U);
    EXPECT_EQ(length_of(second.chip()->reg_list->reg->bits), 2U);
}

}  // namespace
}  // namespace diag::test
