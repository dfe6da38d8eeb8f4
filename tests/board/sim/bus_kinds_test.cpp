// SPDX-License-Identifier: MIT
// What is particular to a kind of bus: where it ends, what is missing, plain bytes, GPIO lines.
#include <gtest/gtest.h>

#include "tests/board/sim/running_board.h"

namespace diag::test {
namespace {

using board::PciFunction;
using board::Status;

device_node &add_pci_chip(TreeMaker &maker, uint32_t bus, int32_t device, int32_t function,
                          uint32_t address = 0) {
    device_node &chip = maker.chip_on("ASIC", DIAG_BUS_PCI, bus, address);
    chip.pci_dev = device;
    chip.pci_func = function;
    return chip;
}

Status probe(RunningBoard &board, const PciFunction &function, uint32_t offset = 0) {
    uint8_t byte = 0;
    return board.board().pci_read(function, offset, 1, {&byte, 1});
}

Bytes read_memory(RunningBoard &board, uint64_t address, size_t count) {
    Bytes data(count, 0xEE);
    EXPECT_EQ(board.board().memory_read(address, 1, data), Status::kOk);
    return data;
}

Bytes read_lpc(RunningBoard &board, uint32_t address, size_t count) {
    Bytes data(count, 0xEE);
    EXPECT_EQ(board.board().lpc_read(address, 1, data), Status::kOk);
    return data;
}

TEST(PciSpace, AnswersEverywhereWithinAFunction) {
    TreeMaker maker;
    maker.reg(add_pci_chip(maker, 3, 2, 1), "ID", 0x10, 16).def_val = 0x1234;
    RunningBoard board(maker);
    Bytes all(4096, 0xEE);
    ASSERT_EQ(board.board().pci_read({3, 2, 1}, 0, 4, all), Status::kOk);
    Bytes expected(4096);
    expected[0x10] = 0x34;
    expected[0x11] = 0x12;
    EXPECT_EQ(all, expected);
    const Bytes ones(16, 0xFF);
    EXPECT_EQ(board.board().pci_write({3, 2, 1}, 0xFF0, 4, ones), Status::kOk);
    ASSERT_EQ(board.board().pci_read({3, 2, 1}, 0, 4, all), Status::kOk);
    EXPECT_EQ(all, expected) << "nobody takes what is written where nothing is described";
}

TEST(PciSpace, KeepsFunctionsApart) {
    TreeMaker maker;
    add_pci_chip(maker, 3, 2, 1);
    RunningBoard board(maker);
    EXPECT_EQ(probe(board, {3, 2, 1}), Status::kOk);
    for (const PciFunction &other : {PciFunction{3, 2, 0}, {3, 2, 2}, {3, 3, 1}, {2, 2, 1}}) {
        EXPECT_EQ(probe(board, other), Status::kNoAnswer);
    }
}

TEST(PciSpace, HasNoFunctionsOutsideTheNumbersThatThereAre) {
    TreeMaker maker;
    add_pci_chip(maker, 0, 1, 0);
    RunningBoard board(maker);
    EXPECT_EQ(probe(board, {0, 1, 0}), Status::kOk);
    EXPECT_EQ(probe(board, {0, 0, 8}), Status::kNoAnswer) << "not device 1, function 0";
    EXPECT_EQ(probe(board, {256, 1, 0}), Status::kNoAnswer);
    EXPECT_EQ(probe(board, {0, 32, 0}), Status::kNoAnswer);
}

TEST(PciSpace, DoesNotReachAChipWhoseFunctionIsNotNamed) {
    TreeMaker maker;
    add_pci_chip(maker, 0, -1, -1);
    add_pci_chip(maker, 0, 1, 8);
    add_pci_chip(maker, 256, 1, 0);
    add_pci_chip(maker, 0, 32, 0);
    RunningBoard board(maker);
    for (unsigned device = 0; device < 32; ++device) {
        for (unsigned function = 0; function < 8; ++function) {
            EXPECT_EQ(probe(board, {0, device, function}), Status::kNoAnswer);
        }
    }
}

TEST(PciSpace, PassesOverRegistersBehindItsEnd) {
    TreeMaker maker;
    maker.reg(add_pci_chip(maker, 0, 1, 0, 0xFFE), "WIDE", 0, 32).def_val = 0x44332211;
    RunningBoard board(maker);
    Bytes data(2);
    EXPECT_EQ(board.board().pci_read({0, 1, 0}, 0xFFE, 2, data), Status::kOk);
    EXPECT_EQ(data, (Bytes{0x11, 0x22}));
    EXPECT_EQ(probe(board, {0, 1, 0}, 0x1000), Status::kNoAnswer);
    EXPECT_EQ(probe(board, {0, 1, 0}, 0xFFFFFFFF), Status::kNoAnswer);
}

TEST(PciSpace, GoesOnWhenOneOfTwoChipsOfAFunctionIsSilent) {
    TreeMaker maker;
    device_node &silent = add_pci_chip(maker, 0, 1, 0);
    maker.reg(silent, "A", 0).def_val = 0x11;
    maker.reg(add_pci_chip(maker, 0, 1, 0), "B", 1).def_val = 0x22;
    RunningBoard board(maker, R"("chips": {"ASIC#1": {"no_answer": true}})");
    Bytes data(2);
    EXPECT_EQ(board.board().pci_read({0, 1, 0}, 0, 1, data), Status::kOk);
    EXPECT_EQ(data, (Bytes{0x00, 0x22}));
}

TEST(ByteSpaces, TellABoardWithoutABusFromAnAddressWithoutAnAnswer) {
    const TreeMaker empty;
    RunningBoard bare(empty);
    uint8_t byte = 0;
    EXPECT_EQ(bare.board().lpc_read(0, 1, {&byte, 1}), Status::kNoSuchBus);
    EXPECT_EQ(bare.board().lpc_write(0, 1, {&byte, 1}), Status::kNoSuchBus);
    EXPECT_EQ(bare.board().memory_read(0, 1, {&byte, 1}), Status::kNoSuchBus);
    EXPECT_EQ(bare.board().memory_write(0, 1, {&byte, 1}), Status::kNoSuchBus);
    EXPECT_EQ(probe(bare, {0, 0, 0}), Status::kNoAnswer);
    RunningBoard board(empty, R"("lpc": [{"address": 16, "size": 1}],
                                 "memory": [{"address": 16, "size": 1}])");
    for (const uint32_t address : {15U, 17U, 0U, 0xFFFFFFFFU}) {
        EXPECT_EQ(board.board().lpc_read(address, 1, {&byte, 1}), Status::kNoAnswer);
        EXPECT_EQ(board.board().memory_write(address, 1, {&byte, 1}), Status::kNoAnswer);
    }
}

TEST(ByteSpaces, HaveThePlainBytesOfTheBoardFile) {
    const TreeMaker maker;
    RunningBoard board(maker, R"("lpc": [{"address": "0x80", "size": 3, "bytes": ["0xa1", 2]}],
        "memory": [{"address": "0x123456789a", "size": 6, "bytes": [1, 2, 3, 4, 5]}])");
    EXPECT_EQ(read_lpc(board, 0x80, 3), (Bytes{0xA1, 2, 0}));
    EXPECT_EQ(read_memory(board, 0x123456789A, 6), (Bytes{1, 2, 3, 4, 5, 0}));
    const Bytes written = {0xAA, 0xBB, 0xCC};
    EXPECT_EQ(board.board().memory_write(0x123456789C, 1, written), Status::kOk);
    EXPECT_EQ(read_memory(board, 0x123456789A, 6), (Bytes{1, 2, 0xAA, 0xBB, 0xCC, 0}));
    EXPECT_EQ(board.board().lpc_write(0x80, 1, written), Status::kOk);
    EXPECT_EQ(read_lpc(board, 0x80, 3), written);
}

TEST(ByteSpaces, DoNotGoOnAtZeroBehindTheirEnd) {
    TreeMaker maker;
    device_node &top = maker.chip_on("TOP", DIAG_BUS_LPC, 0, 0xFFFFFFFE);
    maker.reg(top, "WIDE", 0, 32).def_val = 0x44332211;
    maker.reg(maker.chip_on("LOW", DIAG_BUS_LPC, 0, 0), "R", 0, 32);
    RunningBoard board(maker, R"("memory": [{"address": 0, "size": 16}])");
    Bytes data(4);
    EXPECT_EQ(read_lpc(board, 0xFFFFFFFE, 2), (Bytes{0x11, 0x22}));
    EXPECT_EQ(board.board().lpc_read(0xFFFFFFFE, 4, data), Status::kNoAnswer);
    EXPECT_EQ(board.board().memory_read(UINT64_MAX - 1, 4, data), Status::kNoAnswer);
}

TEST(ByteSpaces, ReachMemoryChipsAboveFourGigabytes) {
    TreeMaker maker;
    device_node &chip = maker.chip_on("FPGA", DIAG_BUS_MEM, 0, 0xFFFFFF00);
    maker.reg(chip, "R", 0x200, 32).def_val = 0x44332211;
    RunningBoard board(maker);
    EXPECT_EQ(read_memory(board, 0x100000100, 4), (Bytes{0x11, 0x22, 0x33, 0x44}));
}

TEST(ByteSpaces, HaveNothingForAChipWithoutRegisters) {
    TreeMaker maker;
    maker.chip_on("BARE", DIAG_BUS_MEM, 0, 0x100);
    RunningBoard board(maker);
    uint8_t byte = 0;
    EXPECT_EQ(board.board().memory_read(0x100, 1, {&byte, 1}), Status::kNoAnswer);
}

TEST(Gpio, HasTheLinesOfTheBoardFile) {
    const TreeMaker maker;
    RunningBoard board(maker, R"("gpio": {"2": {"7": 1, "0x03": 0}, "0": {"0": 1}})");
    bool is_high = false;
    EXPECT_EQ(board.board().gpio_read(2, 7, &is_high), Status::kOk);
    EXPECT_TRUE(is_high);
    EXPECT_EQ(board.board().gpio_read(2, 3, &is_high), Status::kOk);
    EXPECT_FALSE(is_high);
    EXPECT_EQ(board.board().gpio_write(2, 3, true), Status::kOk);
    EXPECT_EQ(board.board().gpio_write(2, 7, false), Status::kOk);
    EXPECT_EQ(board.board().gpio_read(2, 3, &is_high), Status::kOk);
    EXPECT_TRUE(is_high);
    EXPECT_EQ(board.board().gpio_read(2, 7, &is_high), Status::kOk);
    EXPECT_FALSE(is_high);
}

TEST(Gpio, TellsAMissingChipFromAMissingLine) {
    const TreeMaker maker;
    RunningBoard board(maker, R"("gpio": {"2": {"7": 1}})");
    bool is_high = false;
    EXPECT_EQ(board.board().gpio_read(1, 7, &is_high), Status::kNoSuchBus);
    EXPECT_EQ(board.board().gpio_write(3, 7, true), Status::kNoSuchBus);
    EXPECT_EQ(board.board().gpio_read(2, 6, &is_high), Status::kNoSuchLine);
    EXPECT_EQ(board.board().gpio_write(2, 8, true), Status::kNoSuchLine);
}

TEST(Gpio, HasTheLinesThatMuxesName) {
    TreeMaker maker;
    maker.mux(maker.chip("A", 1, 0x50), "gpio", 4, 9, 0xFF, 1);
    RunningBoard board(maker);
    bool is_high = true;
    EXPECT_EQ(board.board().gpio_read(4, 9, &is_high), Status::kOk);
    EXPECT_FALSE(is_high);
    RunningBoard high(maker, R"("gpio": {"4": {"9": 1}})");
    EXPECT_EQ(high.board().gpio_read(4, 9, &is_high), Status::kOk);
    EXPECT_TRUE(is_high);
}

}  // namespace
}  // namespace diag::test
