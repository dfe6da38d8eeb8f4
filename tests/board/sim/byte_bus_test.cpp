// SPDX-License-Identifier: MIT
// Chips on buses on which every byte has an address: LPC, PCI configuration space, memory.
#include "diags/board/sim/byte_bus.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "tests/board/sim/running_board.h"

namespace diag::test {
namespace {

using board::Status;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr uint32_t kBase = 0x100;
constexpr board::PciFunction kFunction = {.bus = 3, .device = 31, .function = 7};

// One chip at kBase; the same cases hold on every kind of bus.
class ByteBusTest : public testing::TestWithParam<int32_t> {
  protected:
    ByteBusTest() : chip_(add_chip("CHIP", kBase)) {}

    device_node &add_chip(const std::string &name, uint32_t address) {
        device_node &chip = maker_.chip_on(name, GetParam(), 0, address);
        if (GetParam() == DIAG_BUS_PCI) {
            chip.bus_no = kFunction.bus;
            chip.pci_dev = static_cast<int32_t>(kFunction.device);
            chip.pci_func = static_cast<int32_t>(kFunction.function);
        }
        return chip;
    }

    reg_def &reg(uint32_t offset, uint32_t size = 8, int32_t access = DIAG_ACCESS_RW,
                 uint32_t value = 0) {
        reg_def &made = maker_.reg(chip_, "R" + std::to_string(offset), offset, size, access);
        made.def_val = value;
        return made;
    }

    // The board is built at the first access, when the test has described it.
    board::Board &board() {
        if (!board_) {
            board_.emplace(maker_, settings_);
        }
        return board_->board();
    }

    Status try_read(uint32_t address, std::span<uint8_t> data, unsigned item_bytes = 1) {
        switch (GetParam()) {
            case DIAG_BUS_LPC:
                return board().lpc_read(address, item_bytes, data);
            case DIAG_BUS_PCI:
                return board().pci_read(kFunction, address, item_bytes, data);
            default:
                return board().memory_read(address, item_bytes, data);
        }
    }

    Status try_write(uint32_t address, const Bytes &data, unsigned item_bytes = 1) {
        switch (GetParam()) {
            case DIAG_BUS_LPC:
                return board().lpc_write(address, item_bytes, data);
            case DIAG_BUS_PCI:
                return board().pci_write(kFunction, address, item_bytes, data);
            default:
                return board().memory_write(address, item_bytes, data);
        }
    }

    Bytes read(uint32_t address, size_t count) {
        Bytes data(count, 0xEE);
        EXPECT_EQ(try_read(address, data), Status::kOk);
        return data;
    }

    void write(uint32_t address, const Bytes &data) {
        EXPECT_EQ(try_write(address, data), Status::kOk);
    }

    TreeMaker maker_;
    device_node &chip_;
    std::string settings_;
    std::optional<RunningBoard> board_;
};

TEST_P(ByteBusTest, StartsWithDefaultsLeastSignificantByteFirst) {
    chip_.reg_le = 0;  // says something about I2C only
    reg(0, 8, DIAG_ACCESS_RW, 0xA5);
    reg(1, 16, DIAG_ACCESS_RO, 0x1234);
    reg(3, 24, DIAG_ACCESS_RO, 0x00030201);
    reg(6, 32, DIAG_ACCESS_RW, 0x89ABCDEF);
    EXPECT_EQ(read(kBase, 10), (Bytes{0xA5, 0x34, 0x12, 0x01, 0x02, 0x03, 0xEF, 0xCD, 0xAB, 0x89}));
    EXPECT_EQ(read(kBase + 2, 1), Bytes{0x12});
}

TEST_P(ByteBusTest, PutsTheUnitsOfALongRegisterBehindEachOther) {
    reg(4, 16, DIAG_ACCESS_RW, 0x1234).length = 3;
    EXPECT_EQ(read(kBase + 4, 6), (Bytes{0x34, 0x12, 0x34, 0x12, 0x34, 0x12}));
    write(kBase + 6, {0xCD, 0xAB});
    EXPECT_EQ(read(kBase + 4, 6), (Bytes{0x34, 0x12, 0xCD, 0xAB, 0x34, 0x12}));
}

TEST_P(ByteBusTest, KeepsWhatIsWrittenByteByByte) {
    reg(0, 32, DIAG_ACCESS_RW, 0x11223344);
    write(kBase + 1, {0x5A});
    EXPECT_EQ(read(kBase, 4), (Bytes{0x44, 0x5A, 0x22, 0x11}));
    write(kBase, {1, 2, 3, 4});
    EXPECT_EQ(read(kBase, 4), (Bytes{1, 2, 3, 4}));
}

TEST_P(ByteBusTest, IgnoresWritesToReadOnlyRegisters) {
    reg(0, 8, DIAG_ACCESS_RO, 0xA5);
    write(kBase, {0x5A});
    EXPECT_EQ(read(kBase, 1), Bytes{0xA5});
}

TEST_P(ByteBusTest, ClearsAReadClearRegisterByteByByte) {
    reg(0, 16, DIAG_ACCESS_RC, 0x8142);
    EXPECT_EQ(read(kBase, 1), Bytes{0x42});
    EXPECT_EQ(read(kBase, 2), (Bytes{0x00, 0x81}));
    EXPECT_EQ(read(kBase, 2), (Bytes{0x00, 0x00}));
}

TEST_P(ByteBusTest, ReadsZeroFromWriteOnlyRegisters) {
    reg(0, 8, DIAG_ACCESS_WO, 0xA5);
    write(kBase, {0x5A});
    EXPECT_EQ(read(kBase, 1), Bytes{0});
}

TEST_P(ByteBusTest, KeepsToTheMask) {
    reg(0, 16, DIAG_ACCESS_RW, 0xFFFF).mask = 0x0FF0;
    EXPECT_EQ(read(kBase, 2), (Bytes{0xF0, 0x0F}));
    write(kBase, {0xFF, 0xFF});
    EXPECT_EQ(read(kBase, 2), (Bytes{0xF0, 0x0F}));
}

TEST_P(ByteBusTest, NarrowsBitsByTheirFields) {
    reg_def &made = reg(0, 16, DIAG_ACCESS_RW, 0xFFFF);
    maker_.field(made, 11, 4, DIAG_ACCESS_RO);
    write(kBase, {0x00, 0x00});
    EXPECT_EQ(read(kBase, 2), (Bytes{0xF0, 0x0F}));
}

TEST_P(ByteBusTest, ShowsStuckBits) {
    reg(0, 16, DIAG_ACCESS_RW, 0x0F00);
    settings_ = R"("chips": {"CHIP": {"registers": {
        "R0": {"value": "0x1234", "stuck_high": "0x8001", "stuck_low": "0x0030"}}}})";
    EXPECT_EQ(read(kBase, 2), (Bytes{0x05, 0x92}));
    write(kBase, {0xFF, 0x00});
    EXPECT_EQ(read(kBase, 2), (Bytes{0xCF, 0x80}));
}

TEST_P(ByteBusTest, ReadsZeroBetweenTheRegistersOfAChipAndIgnoresWrites) {
    reg(0, 8, DIAG_ACCESS_RW, 0x11);
    reg(8, 16, DIAG_ACCESS_RW, 0x2233);
    write(kBase + 1, Bytes(7, 0xFF));
    EXPECT_EQ(read(kBase, 10), (Bytes{0x11, 0, 0, 0, 0, 0, 0, 0, 0x33, 0x22}));
}

TEST_P(ByteBusTest, LetsTheRegisterThatStartsLastOwnItsBytes) {
    reg(0, 32, DIAG_ACCESS_RW, 0x44332211);
    reg(2, 8, DIAG_ACCESS_RW, 0xAA);
    EXPECT_EQ(read(kBase, 4), (Bytes{0x11, 0x22, 0xAA, 0x44}));
}

TEST_P(ByteBusTest, ReadsTheAndOfChipsThatShareAnAddress) {
    reg(0, 8, DIAG_ACCESS_RW, 0xF3);
    reg(4, 8, DIAG_ACCESS_RW, 0x44);
    device_node &other = add_chip("OTHER", kBase);
    maker_.reg(other, "R", 0, 8, DIAG_ACCESS_RW).def_val = 0x3F;
    maker_.reg(other, "S", 2, 8, DIAG_ACCESS_RW).def_val = 0x22;
    EXPECT_EQ(read(kBase, 5), (Bytes{0x33, 0, 0x22, 0, 0x44}))
        << "a hole of one chip leaves the byte to the other";
}

TEST_P(ByteBusTest, WritesToAllChipsThatShareAnAddress) {
    reg(0, 8, DIAG_ACCESS_RW, 0xFF);
    device_node &other = add_chip("OTHER", kBase);
    maker_.reg(other, "R", 0, 8, DIAG_ACCESS_RW).def_val = 0xFF;
    write(kBase, {0x5A});
    EXPECT_EQ(read(kBase, 1), Bytes{0x5A}) << "the AND of two that hold it";
}

TEST_P(ByteBusTest, ReachesOverTheBorderOfTwoChips) {
    reg(0, 16, DIAG_ACCESS_RW, 0x2211);
    device_node &next = add_chip("NEXT", kBase + 2);
    maker_.reg(next, "R", 0, 16, DIAG_ACCESS_RW).def_val = 0x4433;
    EXPECT_EQ(read(kBase, 4), (Bytes{0x11, 0x22, 0x33, 0x44}));
    write(kBase, {1, 2, 3, 4});
    EXPECT_EQ(read(kBase + 1, 2), (Bytes{2, 3}));
}

TEST_P(ByteBusTest, FindsASmallChipBehindALargeOne) {
    reg(0, 8).length = 0x400;
    for (uint32_t n = 0; n < 50; ++n) {
        device_node &small = add_chip("S", kBase + 0x10 + 8 * n);
        maker_.reg(small, "R", 0);
    }
    write(kBase + 0x3FF, {0x77});
    EXPECT_EQ(read(kBase + 0x3FF, 1), Bytes{0x77});
    EXPECT_EQ(read(kBase + 0x200, 1), Bytes{0});
}

TEST_P(ByteBusTest, TakesLongAccessesWhole) {
    reg(0, 8).length = 1000;
    Bytes data(1000);
    for (size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<uint8_t>(i * 7);
    }
    write(kBase, data);
    EXPECT_EQ(read(kBase, 1000), data);
    EXPECT_EQ(read(kBase + 63, 3), (Bytes{data[63], data[64], data[65]}));
}

TEST_P(ByteBusTest, HasNoAnswerFromASilentChip) {
    reg(0);
    settings_ = R"("chips": {"CHIP": {"no_answer": true}})";
    Bytes data(1);
    EXPECT_EQ(try_read(kBase, data), Status::kNoAnswer);
    EXPECT_EQ(try_write(kBase, {1}), Status::kNoAnswer);
}

TEST_P(ByteBusTest, WaitsForTheSlowestChipOfAnAccess) {
    reg(0);
    device_node &slow = add_chip("SLOW", kBase + 1);
    maker_.reg(slow, "R", 0);
    settings_ = R"("chips": {"CHIP": {"delay_ms": 5}, "SLOW": {"delay_ms": 30}})";
    const auto start = steady_clock::now();
    read(kBase, 2);
    EXPECT_GE(steady_clock::now() - start, milliseconds(30));
}

// PCI configuration space has its end somewhere else, see below.
TEST_P(ByteBusTest, DoesNothingUnlessEveryByteHasSomethingThatAnswers) {
    if (GetParam() == DIAG_BUS_PCI) {
        chip_.address = 0xF00;
    }
    const auto base = static_cast<uint32_t>(chip_.address);
    const uint32_t end = GetParam() == DIAG_BUS_PCI ? 0x1000 : base + 4;
    reg(end - base - 4, 16, DIAG_ACCESS_RC, 0x2211);
    reg(end - base - 2, 16, DIAG_ACCESS_RW, 0x4433);
    Bytes data(4);
    EXPECT_EQ(try_read(end - 2, data, 4), Status::kNoAnswer);
    EXPECT_EQ(try_write(end - 2, {1, 2, 3, 4}, 4), Status::kNoAnswer);
    EXPECT_EQ(try_read(end, data, 4), Status::kNoAnswer);
    EXPECT_EQ(try_read(end - 4, data, 8), Status::kOk);
    EXPECT_EQ(data, (Bytes{0x11, 0x22, 0x33, 0x44})) << "nothing was cleared or written before";
    Bytes wide(8);
    EXPECT_EQ(try_read(end - 4, wide, 8), Status::kNoAnswer);
}

std::string kind_name(const testing::TestParamInfo<int32_t> &kind) {
    return kind.param == DIAG_BUS_LPC ? "Lpc" : kind.param == DIAG_BUS_PCI ? "Pci" : "Memory";
}

INSTANTIATE_TEST_SUITE_P(Kinds, ByteBusTest,
                         testing::Values(DIAG_BUS_LPC, DIAG_BUS_PCI, DIAG_BUS_MEM), kind_name);

}  // namespace
}  // namespace diag::test
