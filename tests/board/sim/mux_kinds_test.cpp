// SPDX-License-Identifier: MIT
// Muxes of every kind in front of chips of every kind, and chains of them.
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <tuple>

#include "diags/board/sim/bus_kind.h"
#include "tests/board/sim/running_board.h"

namespace diag::test {
namespace {

using board::Status;

constexpr uint8_t kId = 0xA1;

bool controller_write(board::Board &board, const Bytes &data) {
    board::IpmiResponse response;
    return board.ipmi_raw({0x38, 0x03, data}, &response) == Status::kOk &&
           response.completion_code == 0;
}

// One kind of mux: what a description says of it, and how a program sets it.
struct MuxWay {
    const char *name;
    const char *bus;
    uint32_t address;
    uint32_t reg;
    std::function<bool(board::Board &, uint8_t)> set;
};

std::ostream &operator<<(std::ostream &out, const MuxWay &way) {
    return out << way.name;
}

bool set_i2c(board::Board &board, uint8_t value) {
    const uint8_t bytes[] = {4, value};
    return board.i2c_transfer({.bus = 3, .address = 0x70, .write = bytes, .read = {}}) ==
           Status::kOk;
}

bool set_bmc(board::Board &board, uint8_t value) {
    return controller_write(board, {12, 0x71, 5, value});
}

bool set_gpio(board::Board &board, uint8_t value) {
    return board.gpio_write(2, 7, value != 0) == Status::kOk;
}

bool set_memory(board::Board &board, uint8_t value) {
    return board.memory_write(0x8000, 1, {&value, 1}) == Status::kOk;
}

const MuxWay kI2cMux = {"I2c", "/dev/i2c-3", 0x70, 4, set_i2c};
const MuxWay kBmcMux = {"Bmc", "bmc-12", 0x71, 5, set_bmc};
const MuxWay kIpmiMux = {"Ipmi", "ipmi-12", 0x71, 5, set_bmc};
const MuxWay kGpioMux = {"Gpio", "gpio", 2, 7, set_gpio};
const MuxWay kMemoryMux = {"Memory", "mem", 0x8000, 0, set_memory};

// One kind of chip: how it is described, and how a program looks for it.
struct ChipWay {
    const char *name;
    int32_t bus_type;
    uint32_t bus;
    uint32_t address;
    std::function<bool(board::Board &)> is_there;
};

std::ostream &operator<<(std::ostream &out, const ChipWay &way) {
    return out << way.name;
}

bool is_id(Status status, uint8_t byte) {
    if (status != Status::kOk) {
        EXPECT_EQ(status, Status::kNoAnswer);
        return false;
    }
    EXPECT_EQ(byte, kId);
    return byte == kId;
}

bool is_on_i2c(board::Board &board) {
    const uint8_t number = 0;
    uint8_t id = 0;
    const Status status =
        board.i2c_transfer({.bus = 6, .address = 0x50, .write = {&number, 1}, .read = {&id, 1}});
    return is_id(status, id);
}

bool is_on_bmc(board::Board &board) {
    board::IpmiResponse response;
    const Bytes data = {7, 0x50, 0, 1};
    EXPECT_EQ(board.ipmi_raw({0x38, 0x02, data}, &response), Status::kOk);
    if (response.completion_code != 0) {
        EXPECT_EQ(response.completion_code, board::kIpmiDestinationUnavailable);
        return false;
    }
    return response.size == 1 && response.data[0] == kId;
}

bool is_on_lpc(board::Board &board) {
    uint8_t id = 0;
    const Status status = board.lpc_read(0x600, 1, {&id, 1});
    return is_id(status, id);
}

bool is_on_pci(board::Board &board) {
    uint8_t id = 0;
    const Status status = board.pci_read({6, 5, 4}, 0x40, 1, {&id, 1});
    return is_id(status, id);
}

bool is_in_memory(board::Board &board) {
    uint8_t id = 0;
    const Status status = board.memory_read(0x9000, 1, {&id, 1});
    return is_id(status, id);
}

const ChipWay kI2cChip = {"I2c", DIAG_BUS_I2C, 6, 0x50, is_on_i2c};
const ChipWay kBmcChip = {"Bmc", DIAG_BUS_BMC, 7, 0x50, is_on_bmc};
const ChipWay kLpcChip = {"Lpc", DIAG_BUS_LPC, 0, 0x600, is_on_lpc};
const ChipWay kPciChip = {"Pci", DIAG_BUS_PCI, 6, 0x40, is_on_pci};
const ChipWay kMemoryChip = {"Memory", DIAG_BUS_MEM, 0, 0x9000, is_in_memory};

// A chip of the kind, and one that is always there: a bus without chips is another matter.
device_node &add_chip(TreeMaker &maker, const ChipWay &way) {
    maker.chip_on("BESIDE", way.bus_type, way.bus, 0x20);
    device_node &chip = maker.chip_on("CHIP", way.bus_type, way.bus, way.address);
    chip.pci_dev = 5;
    chip.pci_func = 4;
    maker.reg(chip, "ID", 0, 8, DIAG_ACCESS_RO).def_val = kId;
    return chip;
}

class MuxKindTest : public testing::TestWithParam<std::tuple<MuxWay, ChipWay>> {};

TEST_P(MuxKindTest, HidesAChipUntilItIsSelected) {
    const auto &[mux, way] = GetParam();
    TreeMaker maker;
    maker.mux(add_chip(maker, way), mux.bus, mux.address, mux.reg, 0xFF, 1);
    RunningBoard running(maker);
    board::Board &board = running.board();
    EXPECT_FALSE(way.is_there(board));
    EXPECT_TRUE(mux.set(board, 1));
    EXPECT_TRUE(way.is_there(board));
    EXPECT_TRUE(mux.set(board, 0));
    EXPECT_FALSE(way.is_there(board));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, MuxKindTest,
    testing::Combine(testing::Values(kI2cMux, kBmcMux, kIpmiMux, kGpioMux, kMemoryMux),
                     testing::Values(kI2cChip, kBmcChip, kLpcChip, kPciChip, kMemoryChip)),
    [](const auto &pair) {
        return std::string(std::get<0>(pair.param).name) + "BeforeA" +
               std::get<1>(pair.param).name + "Chip";
    });

class MuxChainTest : public testing::Test {
  protected:
    RunningBoard &running() {
        if (!running_) {
            running_.emplace(maker_, settings_);
        }
        return *running_;
    }
    board::Board &board() { return running().board(); }

    TreeMaker maker_;
    std::string settings_;
    std::optional<RunningBoard> running_;
};

TEST_F(MuxChainTest, NeedsEveryMuxOfAMixedChain) {
    const MuxWay chain[] = {kGpioMux, kMemoryMux, kI2cMux, kBmcMux};
    device_node &chip = add_chip(maker_, kMemoryChip);
    for (const MuxWay &mux : chain) {
        maker_.mux(chip, mux.bus, mux.address, mux.reg, 0xFF, 1);
    }
    for (const MuxWay &mux : chain) {
        EXPECT_FALSE(kMemoryChip.is_there(board())) << "before " << mux.name;
        EXPECT_TRUE(mux.set(board(), 1)) << mux.name;
    }
    EXPECT_TRUE(kMemoryChip.is_there(board()));
    EXPECT_TRUE(kGpioMux.set(board(), 0));
    EXPECT_FALSE(kMemoryChip.is_there(board()));
    EXPECT_FALSE(kI2cMux.set(board(), 1)) << "the deeper mux is hidden as well";
    EXPECT_TRUE(kMemoryMux.set(board(), 1)) << "memory itself is behind nothing";
}

TEST_F(MuxChainTest, TakesTheBusOfTheFirstMuxWhereNoneIsGiven) {
    device_node &chip = add_chip(maker_, kLpcChip);
    maker_.mux(chip, "gpio", 2, 7, 0xFF, 1);
    maker_.mux(chip, nullptr, 2, 8, 0xFF, 0);
    EXPECT_TRUE(set_gpio(board(), 1));
    EXPECT_TRUE(kLpcChip.is_there(board())) << "line 8 is low as it should be";
    EXPECT_EQ(board().gpio_write(2, 8, true), Status::kOk);
    EXPECT_FALSE(kLpcChip.is_there(board()));
}

TEST_F(MuxChainTest, KnowsOneBusByBothItsNames) {
    device_node &chip = add_chip(maker_, kBmcChip);
    maker_.mux(chip, "bmc-12", 0x71, 5, 0xFF, 1);
    device_node &other = add_chip(maker_, kI2cChip);
    maker_.mux(other, "ipmi-12", 0x71, 5, 0xFF, 1);
    EXPECT_TRUE(set_bmc(board(), 1));
    EXPECT_TRUE(kBmcChip.is_there(board()));
    EXPECT_TRUE(kI2cChip.is_there(board()));
}

TEST_F(MuxChainTest, TakesARegisterOfAChipBehindTheControllerForAMux) {
    maker_.mux(add_chip(maker_, kI2cChip), "ipmi-12", 0x71, 5, 0x0F, 1);
    device_node &cpld = maker_.chip_on("CPLD", DIAG_BUS_BMC, 12, 0x71);
    maker_.reg(cpld, "SELECT", 5).def_val = 0xF1;
    EXPECT_TRUE(kI2cChip.is_there(board())) << "as it is at power-up";
    EXPECT_TRUE(set_bmc(board(), 0xA0));
    EXPECT_FALSE(kI2cChip.is_there(board()));
}

TEST_F(MuxChainTest, KeepsTheHostsBusesFromThoseOfTheController) {
    maker_.mux(add_chip(maker_, kI2cChip), "bmc-3", 0x70, 4, 0xFF, 1);
    maker_.mux(add_chip(maker_, kLpcChip), "/dev/i2c-3", 0x70, 4, 0xFF, 1);
    EXPECT_TRUE(set_i2c(board(), 1));
    EXPECT_TRUE(kLpcChip.is_there(board()));
    EXPECT_FALSE(kI2cChip.is_there(board()));
}

TEST_F(MuxChainTest, ComparesOnlyTheBitsOfTheMaskInMemory) {
    maker_.mux(add_chip(maker_, kI2cChip), "mem", 0x8000, 0, 0x0C, 0xF4);
    EXPECT_TRUE(set_memory(board(), 0xF7));
    EXPECT_TRUE(kI2cChip.is_there(board()));
    EXPECT_TRUE(set_memory(board(), 0xFB));
    EXPECT_FALSE(kI2cChip.is_there(board()));
}

TEST_F(MuxChainTest, PassesEverythingThroughAMemoryMuxWithoutAMask) {
    maker_.mux(add_chip(maker_, kI2cChip), "mem", 0x8000, 0, 0, 0x04);
    EXPECT_TRUE(kI2cChip.is_there(board()));
}

TEST_F(MuxChainTest, ComparesALineWithTheWholeValue) {
    maker_.mux(add_chip(maker_, kI2cChip), "gpio", 2, 7, 1, 3);
    EXPECT_TRUE(set_gpio(board(), 1));
    EXPECT_FALSE(kI2cChip.is_there(board())) << "no line has a level of 3, whatever the mask";
}

TEST_F(MuxChainTest, TakesAPlainByteOfTheBoardFileForAMux) {
    maker_.mux(add_chip(maker_, kI2cChip), "mem", 0x8000, 0, 0xFF, 1);
    settings_ = R"("memory": [{"address": "0x7ff0", "size": 32}])";
    EXPECT_TRUE(set_memory(board(), 1));
    EXPECT_TRUE(kI2cChip.is_there(board()));
    Bytes around(3);
    EXPECT_EQ(board().memory_read(0x7FFF, 1, around), Status::kOk);
    EXPECT_EQ(around, (Bytes{0, 1, 0}));
}

TEST_F(MuxChainTest, TakesARegisterOfAMemoryChipForAMux) {
    maker_.mux(add_chip(maker_, kI2cChip), "mem", 0x8000, 0, 0x0F, 1);
    device_node &fpga = maker_.chip_on("FPGA", DIAG_BUS_MEM, 0, 0x7FFE);
    maker_.reg(fpga, "CONTROL", 0, 32).def_val = 0xFF01FFFF;
    EXPECT_TRUE(kI2cChip.is_there(board())) << "byte 2 of the register holds the value";
    EXPECT_TRUE(set_memory(board(), 0xF2));
    EXPECT_FALSE(kI2cChip.is_there(board()));
    settings_ = R"("chips": {"FPGA": {"no_answer": true}})";
    running_.reset();
    EXPECT_FALSE(kI2cChip.is_there(board())) << "a mux that does not answer passes nothing on";
}

TEST_F(MuxChainTest, FindsTheByteOfAChipBehindTheSameMuxes) {
    device_node &window = maker_.chip_on("WINDOW", DIAG_BUS_MEM, 0, 0x8000);
    maker_.reg(window, "SELECT", 0);
    maker_.mux(window, "gpio", 2, 7, 0xFF, 1);
    device_node &chip = add_chip(maker_, kI2cChip);
    maker_.mux(chip, "gpio", 2, 7, 0xFF, 1);
    maker_.mux(chip, "mem", 0x8000, 0, 0xFF, 1);
    EXPECT_FALSE(set_memory(board(), 1)) << "the window is closed";
    EXPECT_TRUE(set_gpio(board(), 1));
    EXPECT_TRUE(set_memory(board(), 1));
    EXPECT_TRUE(kI2cChip.is_there(board()));
}

TEST_F(MuxChainTest, KeepsABytesTwinBehindOtherMuxesApart) {
    device_node &window = maker_.chip_on("WINDOW", DIAG_BUS_MEM, 0, 0x8000);
    maker_.reg(window, "SELECT", 0);
    maker_.mux(window, "gpio", 2, 7, 0xFF, 1);
    maker_.mux(add_chip(maker_, kI2cChip), "mem", 0x8000, 0, 0xFF, 1);
    EXPECT_TRUE(set_memory(board(), 1)) << "the byte that is behind nothing";
    EXPECT_TRUE(kI2cChip.is_there(board()));
}

TEST_F(MuxChainTest, SeesTheWholeAccessThroughTheMuxesAsTheyStoodAtItsStart) {
    device_node &chip = maker_.chip_on("CHIP", DIAG_BUS_MEM, 0, 0x8001);
    maker_.reg(chip, "R", 0);
    maker_.mux(chip, "mem", 0x8000, 0, 0xFF, 0);
    const Bytes both = {1, 0x5A};
    EXPECT_EQ(board().memory_write(0x8000, 1, both), Status::kOk);
    Bytes seen(2);
    EXPECT_EQ(board().memory_read(0x8000, 1, seen), Status::kNoAnswer);
    EXPECT_TRUE(set_memory(board(), 0));
    EXPECT_EQ(board().memory_read(0x8000, 1, seen), Status::kOk);
    EXPECT_EQ(seen, (Bytes{0, 0x5A}));
}

TEST(MuxWords, DecideInAFixedOrder) {
    using board::sim::MuxKind;
    const struct {
        const char *bus;
        std::optional<MuxKind> kind;
    } cases[] = {
        {"/dev/i2c-3", MuxKind::kI2c}, {"mem-gpio-ipmi-bmc-i2c", MuxKind::kI2c},
        {"bmc-3", MuxKind::kBmc},      {"mem-gpio-ipmi-bmc", MuxKind::kBmc},
        {"ipmi-3", MuxKind::kBmc},     {"mem-gpio-ipmi", MuxKind::kBmc},
        {"gpio", MuxKind::kGpio},      {"memgpio", MuxKind::kGpio},
        {"memory", MuxKind::kMemory},  {"xmem", MuxKind::kMemory},
        {"I2C-3", std::nullopt},       {"", std::nullopt},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(board::sim::mux_kind_of(row.bus), row.kind) << row.bus;
    }
}

TEST(BmcBus, IsTheNumberAfterTheFirstDash) {
    EXPECT_EQ(board::sim::parse_bmc_bus("bmc-12"), 12U);
    EXPECT_EQ(board::sim::parse_bmc_bus("ipmi-0"), 0U);
    for (const char *bus : {"bmc", "bmc-", "bmc-x", "bmc-0x1", "bmc-1-2", "bmc--1", "12"}) {
        EXPECT_FALSE(board::sim::parse_bmc_bus(bus)) << bus;
    }
}

}  // namespace
}  // namespace diag::test
