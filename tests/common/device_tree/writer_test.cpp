// SPDX-License-Identifier: MIT
// Writing a tree as a text description.
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

#include "diag_util.h"

#include "tests/common/device_tree/loader_text_test.h"

namespace diag::test {
namespace {

constexpr char kComments[] =
    "# C - CHIP (Master | Slave -  Cpld or FPGA), Address, Name, Access\n"
    "# R - Register, Offset, Mask, Name, RW , Default Val\n"
    "# B - Bit(s), bitnum(s), Name, RW, Default Val\n"
    "# I - Information on the bits\n"
    "=====\n";

struct CloseStream {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, CloseStream>;

// What is written for the tree.
std::string written(device_tree *head) {
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    EXPECT_EQ(save_cfg_file(stream, head), 0);
    std::fclose(stream);
    std::string result(text, size);
    std::free(text);
    return result;
}

// The same behind the comments that each file begins with.
std::string body(device_tree *head) {
    const std::string text = written(head);
    EXPECT_TRUE(text.starts_with(kComments)) << text;
    return text.substr(std::string(kComments).size());
}

// A tree of records that the test owns.
struct Board {
    char name[8] = "Main";
    char id[8] = "ID-1";
    char version[8] = "v1";
    char field[8] = "MODE";
    char on[8] = "on";
    bit_info info{1, on, nullptr};
    bit_def bit{4, 7, field, DIAG_ACCESS_RW, 0x1A, &info, 0, nullptr};
    reg_def reg{};
    reg_list list{&reg, 1, nullptr};
    device_node node{};
    device_tree head{&node, nullptr};

    Board() {
        reg.offset = 0x1F;
        reg.name = field;
        reg.size = 8;
        reg.access = DIAG_ACCESS_RO;
        reg.def_val = 0xCAFE;
        reg.version = version;
        reg.mask = 0xA;
        reg.testable = 1;
        reg.validate = 77;
        reg.length = 1;
        reg.bits = &bit;
        node.reg_list = &list;
        node.address = 0x1F40;
        node.name = name;
        node.chip_type = DIAG_CHIP_FPGA;
        node.bus_type = DIAG_BUS_I2C;
        node.bus_no = 0x1A;
        node.chip_id = id;
        node.version_reg = 5;
        node.version_mask = 0xF0;
        node.offset_len = 16;
    }
};

using SaveCfgFile = DeviceTreeTest;

// ---- the whole ----

TEST_F(SaveCfgFile, WritesEachRecordInItsLine) {
    Board board;
    EXPECT_EQ(body(&board.head),
              "C | FPGA | 0x1f40 |Main| i2c | 1a |ID-1 | 0x05 | 0xf0\n"
              "R | 0x1f | 8 | 0x0A |MODE| RO | 0xCAFE | 1 |v1\n"
              "B |  7:4 |MODE| RW | 0x1a\n"
              "I |  1 |on\n");
}

TEST_F(SaveCfgFile, OfAnEmptyTreeWritesTheComments) {
    device_tree head{};
    EXPECT_EQ(written(&head), kComments);
}

TEST_F(SaveCfgFile, OfAHeadWithoutANodeWritesNothingMore) {
    Board behind;
    device_tree head{nullptr, &behind.head};
    EXPECT_EQ(written(&head), kComments);
}

TEST_F(SaveCfgFile, PutsADelimiterBetweenChipsAndNoneBehindTheLast) {
    Board first;
    Board second;
    Board third;
    first.node.reg_list = second.node.reg_list = third.node.reg_list = nullptr;
    first.head.next = &second.head;
    second.head.next = &third.head;
    const std::string line = "C | FPGA | 0x1f40 |Main| i2c | 1a |ID-1 | 0x05 | 0xf0\n";
    EXPECT_EQ(body(&first.head), line + "=====\n" + line + "=====\n" + line);
}

// As left behind by a load that ran out of memory.
TEST_F(SaveCfgFile, PassesOverWhatIsNotFilled) {
    Board first;
    Board last;
    device_tree empty{nullptr, &last.head};
    first.head.next = &empty;
    last.node.reg_list = nullptr;
    reg_list unfilled{nullptr, 0, nullptr};
    first.list.reg = nullptr;
    first.list.next = &unfilled;
    const std::string line = "C | FPGA | 0x1f40 |Main| i2c | 1a |ID-1 | 0x05 | 0xf0\n";
    EXPECT_EQ(body(&first.head), line + "=====\n" + line);
}

TEST_F(SaveCfgFile, WritesListsInTheirOrder) {
    Board board;
    reg_def other = board.reg;
    other.offset = 2;
    other.bits = nullptr;
    reg_list behind{&other, 0, nullptr};
    board.list.next = &behind;
    bit_def low{0, 0, nullptr, DIAG_ACCESS_RO, 0, nullptr, 0, nullptr};
    board.bit.next = &low;
    bit_info off{0xAB, nullptr, nullptr};
    board.info.next = &off;
    board.node.reg_list->reg->version = nullptr;
    const std::string text = body(&board.head);
    EXPECT_EQ(text.substr(text.find("R | ")),
              "R | 0x1f | 8 | 0x0A |MODE| RO | 0xCAFE | 1 |\n"
              "B |  7:4 |MODE| RW | 0x1a\n"
              "I |  1 |on\n"
              "I |  ab |\n"
              "B |  0 || RO | 0x0\n"
              "R | 0x02 | 8 | 0x0A |MODE| RO | 0xCAFE | 1 |v1\n");
}

// ---- words and numbers ----

std::string chip_fields(const Board &board) {
    Board copy = board;
    copy.node.reg_list = nullptr;
    copy.head.node = &copy.node;
    return body(&copy.head);
}

TEST_F(SaveCfgFile, ChipTypesHaveWords) {
    struct Case {
        int32_t type;
        const char *word;
    };
    for (const Case &type : {Case{DIAG_CHIP_CPLD, "CPLD"},
                             {DIAG_CHIP_FPGA, "FPGA"},
                             {DIAG_CHIP_TPM, "TPM"},
                             {DIAG_CHIP_NVRAM, "NVRAM"},
                             {DIAG_CHIP_OTHER, "UNKNOWN"},
                             {4, "UNKNOWN"},
                             {-2, "UNKNOWN"}}) {
        Board board;
        board.node.chip_type = type.type;
        EXPECT_TRUE(chip_fields(board).starts_with(std::string("C | ") + type.word + " | 0x1f40 "));
    }
}

TEST_F(SaveCfgFile, BusesHaveWordsButForMtd) {
    struct Case {
        int32_t type;
        const char *word;
    };
    for (const Case &bus : {Case{DIAG_BUS_I2C, "i2c"},
                            {DIAG_BUS_BMC, "bmc"},
                            {DIAG_BUS_PCI, "pci"},
                            {DIAG_BUS_MEM, "mem"},
                            {DIAG_BUS_LPC, "lpc"},
                            {DIAG_BUS_IO, "io"},
                            {DIAG_BUS_MTD, "unknown"},
                            {DIAG_BUS_OTHER, "unknown"},
                            {7, "unknown"}}) {
        Board board;
        board.node.bus_type = bus.type;
        EXPECT_NE(chip_fields(board).find(std::string("|Main| ") + bus.word + " | 1a |"),
                  std::string::npos);
    }
}

TEST_F(SaveCfgFile, AccessesHaveWordsButForRmw) {
    struct Case {
        int32_t access;
        const char *word;
    };
    for (const Case &access : {Case{DIAG_ACCESS_RO, "RO"},
                               {DIAG_ACCESS_RW, "RW"},
                               {DIAG_ACCESS_RC, "RC"},
                               {DIAG_ACCESS_WO, "WO"},
                               {DIAG_ACCESS_RMW, "UNKNOWN"},
                               {DIAG_ACCESS_OTHER, "UNKNOWN"},
                               {5, "UNKNOWN"}}) {
        Board board;
        board.reg.access = board.bit.access = access.access;
        const std::string text = body(&board.head);
        const std::string word = std::string("|MODE| ") + access.word + " | 0x";
        EXPECT_NE(text.find(word + "CAFE |"), std::string::npos);
        EXPECT_NE(text.find(word + "1a\n"), std::string::npos);
    }
}

TEST_F(SaveCfgFile, MasksHaveTheDigitsOfTheirRegister) {
    struct Case {
        uint32_t size;
        const char *fields;
    };
    for (const Case &mask : {Case{8, "| 8 | 0xAB |"},
                             {16, "| 16 | 0x00AB |"},
                             {32, "| 32 | 0x000000AB |"},
                             {64, "| 64 | 0x00000000000000AB |"},
                             {0, "| 0 | 0x00000000000000AB |"},
                             {24, "| 24 | 0x00000000000000AB |"}}) {
        Board board;
        board.reg.size = mask.size;
        board.reg.mask = 0xAB;
        EXPECT_NE(body(&board.head).find(std::string("R | 0x1f ") + mask.fields + "MODE|"),
                  std::string::npos);
    }
}

TEST_F(SaveCfgFile, WideNumbersAreWhole) {
    Board board;
    board.node.address = 0x123456789ABCDEF0;
    board.node.version_reg = 0xFFFFFFFF;
    board.node.version_mask = 0xFFFFFFFF;
    board.node.bus_no = 0xFFFFFFFF;
    board.reg.offset = 0xFFFFFFFF;
    board.reg.mask = 0xFFFFFFFF;
    board.reg.def_val = 0xFFFFFFFF;
    board.reg.testable = 10;
    board.bit.def_val = 0xFFFFFFFF;
    board.info.value = 0xFFFFFFFF;
    EXPECT_EQ(body(&board.head),
              "C | FPGA | 0x123456789abcdef0 |Main| i2c | ffffffff |ID-1 | 0xffffffff | "
              "0xffffffff\n"
              "R | 0xffffffff | 8 | 0xFFFFFFFF |MODE| RO | 0xFFFFFFFF | 10 |v1\n"
              "B |  7:4 |MODE| RW | 0xffffffff\n"
              "I |  ffffffff |on\n");
}

TEST_F(SaveCfgFile, ZeroesAreWritten) {
    Board board;
    board.node.address = board.node.version_reg = board.node.version_mask = board.node.bus_no = 0;
    board.reg.offset = board.reg.mask = board.reg.def_val = board.reg.testable = 0;
    board.bit.def_val = 0;
    board.info.value = 0;
    EXPECT_EQ(body(&board.head),
              "C | FPGA | 0x0 |Main| i2c | 0 |ID-1 | 0x00 | 0x0\n"
              "R | 0x00 | 8 | 0x00 |MODE| RO | 0x0 | 0 |v1\n"
              "B |  7:4 |MODE| RW | 0x0\n"
              "I |  0 |on\n");
}

TEST_F(SaveCfgFile, ARangeIsWrittenHighBitFirstAndOneBitAlone) {
    struct Case {
        int32_t start;
        int32_t end;
        const char *range;
    };
    for (const Case &range : {Case{0, 31, "  31:0 |"},
                              {7, 4, "  4:7 |"},
                              {5, 5, "  5 |"},
                              {0, 0, "  0 |"},
                              {-1, 3, "  3:-1 |"}}) {
        Board board;
        board.bit.start = range.start;
        board.bit.end = range.end;
        EXPECT_NE(body(&board.head).find(std::string("\nB |") + range.range + "MODE|"),
                  std::string::npos);
    }
}

TEST_F(SaveCfgFile, ANullTextIsWrittenAsAnEmptyOne) {
    Board board;
    board.node.name = board.node.chip_id = nullptr;
    board.reg.name = board.reg.version = nullptr;
    board.bit.name = nullptr;
    board.info.desc = nullptr;
    EXPECT_EQ(body(&board.head),
              "C | FPGA | 0x1f40 || i2c | 1a | | 0x05 | 0xf0\n"
              "R | 0x1f | 8 | 0x0A || RO | 0xCAFE | 1 |\n"
              "B |  7:4 || RW | 0x1a\n"
              "I |  1 |\n");
}

TEST_F(SaveCfgFile, TheRestOfAChipIsNotWritten) {
    Board board;
    const std::string before = body(&board.head);
    char bus[] = "/dev/i2c-2";
    char dev_id[] = "device";
    mux_entry mux{bus, 1, 2, 3, 4, nullptr};
    board.node.mux_list = &mux;
    board.node.dev_id = dev_id;
    board.node.pci_dev = 3;
    board.node.pci_func = 4;
    board.node.offset_len = 8;
    board.node.reg_le = 1;
    board.node.intr_setup_regs = board.node.test_regs_a = &board.list;
    board.node.test_regs_mode = 2;
    board.reg.validate = 5;
    board.reg.length = 9;
    board.reg.test_data = 7;
    board.reg.test_desc = dev_id;
    board.bit.major_ver = 1;
    EXPECT_EQ(body(&board.head), before);
}

TEST_F(SaveCfgFile, TextsOfAMegabyteAreWhole) {
    Board board;
    std::string mega(1 << 20, 'x');
    board.node.name = mega.data();
    board.info.desc = mega.data();
    const std::string text = body(&board.head);
    EXPECT_NE(text.find("|" + mega + "| i2c"), std::string::npos);
    EXPECT_TRUE(text.ends_with("|" + mega + "\n"));
}

// ---- the stream ----

TEST_F(SaveCfgFile, LeavesTheStreamOpenAndSaysNothing) {
    Board board;
    const TemporaryFolder folder;
    const std::string path = folder.file("board.txt");
    EXPECT_EQ(logged_by([&] {
                  const Stream stream(std::fopen(path.c_str(), "w"));
                  EXPECT_EQ(save_cfg_file(stream.get(), &board.head), 0);
                  EXPECT_GE(std::fputs("behind\n", stream.get()), 0);
              }),
              Messages{});
    EXPECT_EQ(read_file(path), written(&board.head) + "behind\n");
}

TEST_F(SaveCfgFile, AStreamThatIsFullTellsItItself) {
    Board board;
    const Stream stream(std::fopen("/dev/full", "w"));
    ASSERT_NE(stream, nullptr);
    setvbuf(stream.get(), nullptr, _IONBF, 0);
    EXPECT_EQ(save_cfg_file(stream.get(), &board.head), 0);
    EXPECT_NE(std::ferror(stream.get()), 0);
}

}  // namespace
}  // namespace diag::test
