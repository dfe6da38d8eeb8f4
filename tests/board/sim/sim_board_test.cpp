// SPDX-License-Identifier: MIT
// Who hears a transfer: buses, muxes, contention, faults.
#include "diags/board/sim/sim_board.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

#include "diags/board/pec.h"
#include "diags/board/sim/chip.h"
#include "tests/board/sim/running_board.h"

namespace diag::test {
namespace {

using board::Status;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char *kBusName = "/dev/i2c-3";
constexpr unsigned kBus = 3;

// A chip with one identification register.
device_node &add_chip(TreeMaker &maker, const std::string &name, unsigned bus, uint8_t address,
                      uint8_t id) {
    device_node &chip = maker.chip(name, bus, address);
    maker.reg(chip, "ID", 0, 8, DIAG_ACCESS_RO).def_val = id;
    maker.reg(chip, "SCRATCH", 1);
    return chip;
}

Status probe(RunningBoard &board, unsigned bus, uint8_t address) {
    Bytes value(1);
    return board.transfer(bus, address, {0}, &value);
}

TEST(SimBoard, TellsABusThatIsNotThereFromADeviceThatDoesNotAnswer) {
    TreeMaker maker;
    add_chip(maker, "A", 1, 0x31, 0xA1);
    add_chip(maker, "B", 5, 0x31, 0xB1);
    RunningBoard board(maker);
    EXPECT_EQ(probe(board, 1, 0x31), Status::kOk);
    EXPECT_EQ(probe(board, 1, 0x30), Status::kNoAnswer);
    EXPECT_EQ(probe(board, 1, 0x32), Status::kNoAnswer);
    EXPECT_EQ(probe(board, 0, 0x31), Status::kNoSuchBus);
    EXPECT_EQ(probe(board, 2, 0x31), Status::kNoSuchBus);
    EXPECT_EQ(probe(board, 6, 0x31), Status::kNoSuchBus);
}

TEST(SimBoard, HasNoBusesWithoutChips) {
    const TreeMaker maker;
    RunningBoard board(maker);
    EXPECT_EQ(probe(board, 1, 0x31), Status::kNoSuchBus);
}

TEST(SimBoard, FindsEachOfManyDevices) {
    TreeMaker maker;
    for (unsigned n = 0; n < 300; ++n) {
        add_chip(maker, "C" + std::to_string(n), 9 - n % 10, static_cast<uint8_t>(n * 7),
                 static_cast<uint8_t>(n));
    }
    RunningBoard board(maker);
    for (unsigned n = 0; n < 128; ++n) {
        EXPECT_EQ(board.read_byte(9 - n % 10, static_cast<uint8_t>(n * 7), 0), n);
    }
}

TEST(SimBoard, CutsAddressesToEightBits) {
    TreeMaker maker;
    add_chip(maker, "A", 1, 0, 0xA1).address = 0x150;
    RunningBoard board(maker);
    EXPECT_EQ(probe(board, 1, 0x50), Status::kOk);
}

TEST(SimBoard, LeavesChipsOnOtherBusesOut) {
    TreeMaker maker;
    add_chip(maker, "A", 1, 0x31, 0xA1).bus_type = DIAG_BUS_BMC;
    add_chip(maker, "B", 2, 0x31, 0xB1);
    RunningBoard board(maker);
    EXPECT_EQ(probe(board, 1, 0x31), Status::kNoSuchBus);
    EXPECT_EQ(probe(board, 2, 0x31), Status::kOk);
}

class MuxTest : public testing::Test {
  protected:
    // A chip at 0x50 behind channel `outer` of the mux at 0x70 and channel `inner` of one at 0x71.
    void add_module(const std::string &name, uint8_t outer, uint8_t inner, uint8_t id) {
        device_node &chip = add_chip(maker_, name, kBus, 0x50, id);
        maker_.mux(chip, kBusName, 0x70, 0, 0xFF, outer);
        maker_.mux(chip, nullptr, 0x71, 0, 0xFF, inner);
    }

    RunningBoard &board() {
        if (!board_) {
            board_.emplace(maker_, settings_);
        }
        return *board_;
    }

    Status select(uint8_t mux, uint8_t value) { return board().write(kBus, mux, {0, value}); }
    uint8_t id() { return board().read_byte(kBus, 0x50, 0); }

    TreeMaker maker_;
    std::string settings_;
    std::optional<RunningBoard> board_;
};

TEST_F(MuxTest, HidesAChipUntilItsMuxIsSelected) {
    device_node &chip = add_chip(maker_, "A", kBus, 0x50, 0xA1);
    maker_.mux(chip, kBusName, 0x70, 4, 0xFF, 2);
    EXPECT_EQ(probe(board(), kBus, 0x50), Status::kNoAnswer);
    EXPECT_EQ(board().write(kBus, 0x70, {4, 2}), Status::kOk);
    EXPECT_EQ(id(), 0xA1);
    EXPECT_EQ(board().write(kBus, 0x70, {4, 3}), Status::kOk);
    EXPECT_EQ(probe(board(), kBus, 0x50), Status::kNoAnswer);
}

TEST_F(MuxTest, GivesAPlainMux256RegistersThatStartAtZero) {
    add_module("A", 1, 1, 0xA1);
    EXPECT_EQ(board().read(kBus, 0x70, {0}, 256), Bytes(256, 0));
    EXPECT_EQ(board().write(kBus, 0x70, {0xFE, 0x12, 0x34}), Status::kOk);
    EXPECT_EQ(board().read(kBus, 0x70, {0xFE}, 2), (Bytes{0x12, 0x34}));
}

TEST_F(MuxTest, NeedsEveryMuxOnTheWay) {
    add_module("A", 1, 2, 0xA1);
    EXPECT_EQ(probe(board(), kBus, 0x71), Status::kNoAnswer) << "the second mux is hidden as well";
    EXPECT_EQ(select(0x70, 1), Status::kOk);
    EXPECT_EQ(probe(board(), kBus, 0x50), Status::kNoAnswer);
    EXPECT_EQ(select(0x71, 2), Status::kOk);
    EXPECT_EQ(id(), 0xA1);
    EXPECT_EQ(select(0x70, 0), Status::kOk);
    EXPECT_EQ(probe(board(), kBus, 0x50), Status::kNoAnswer);
}

TEST_F(MuxTest, KeepsMuxesBehindDifferentChannelsApart) {
    add_module("A", 1, 1, 0xA1);
    add_module("B", 1, 2, 0xA2);
    add_module("C", 2, 1, 0xB1);
    add_module("D", 2, 2, 0xB2);
    select(0x70, 1);
    select(0x71, 2);
    EXPECT_EQ(id(), 0xA2);
    select(0x70, 2);
    EXPECT_EQ(probe(board(), kBus, 0x50), Status::kNoAnswer)
        << "the mux behind the other channel was never set";
    select(0x71, 1);
    EXPECT_EQ(id(), 0xB1);
    select(0x70, 1);
    EXPECT_EQ(id(), 0xA2) << "the first one still is";
}

TEST_F(MuxTest, ComparesOnlyTheBitsOfTheMask) {
    device_node &chip = add_chip(maker_, "A", kBus, 0x50, 0xA1);
    maker_.mux(chip, kBusName, 0x70, 0, 0x0C, 0x04);
    EXPECT_EQ(select(0x70, 0xF7), Status::kOk);
    EXPECT_EQ(id(), 0xA1);
    EXPECT_EQ(select(0x70, 0xFB), Status::kOk);
    EXPECT_EQ(probe(board(), kBus, 0x50), Status::kNoAnswer);
}

TEST_F(MuxTest, ComparesTheWholeRegisterWithoutAMask) {
    device_node &chip = add_chip(maker_, "A", kBus, 0x50, 0xA1);
    maker_.mux(chip, kBusName, 0x70, 0, 0, 0x04);
    EXPECT_EQ(select(0x70, 0x84), Status::kOk);
    EXPECT_EQ(probe(board(), kBus, 0x50), Status::kNoAnswer);
    EXPECT_EQ(select(0x70, 0x04), Status::kOk);
    EXPECT_EQ(id(), 0xA1);
}

TEST_F(MuxTest, TakesARegisterOfADescribedChipForAMux) {
    // Described after the chip behind it: the order in the file does not matter.
    device_node &behind = add_chip(maker_, "BEHIND", kBus, 0x50, 0xA1);
    maker_.mux(behind, kBusName, 0x31, 1, 0x0F, 0x05);
    add_chip(maker_, "CPLD", kBus, 0x31, 0xC1);
    EXPECT_EQ(board().read_byte(kBus, 0x31, 0), 0xC1);
    EXPECT_EQ(probe(board(), kBus, 0x50), Status::kNoAnswer);
    EXPECT_EQ(board().write(kBus, 0x31, {1, 0x65}), Status::kOk);
    EXPECT_EQ(id(), 0xA1);
}

TEST_F(MuxTest, ReachesAcrossBuses) {
    device_node &chip = add_chip(maker_, "A", 4, 0x50, 0xA1);
    maker_.mux(chip, "i2c-3", 0x70, 0, 0xFF, 1);
    EXPECT_EQ(probe(board(), 4, 0x50), Status::kNoAnswer);
    select(0x70, 1);
    EXPECT_EQ(board().read_byte(4, 0x50, 0), 0xA1);
}

TEST_F(MuxTest, DoesNotReachThroughMuxesThatCannotBeFound) {
    uint8_t address = 0x50;
    for (const char *bus :
         {"uart-3", "i2c-x", "bmc", "ipmi-", "", static_cast<const char *>(nullptr)}) {
        device_node &behind = add_chip(maker_, "A", kBus, address++, 0xA1);
        maker_.mux(behind, bus, 0x70, 0, 0xFF, 0);
    }
    while (address-- > 0x50) {
        EXPECT_EQ(probe(board(), kBus, address), Status::kNoAnswer) << int{address};
    }
}

TEST_F(MuxTest, PassesNothingThroughAMuxThatDoesNotAnswer) {
    device_node &behind = add_chip(maker_, "BEHIND", kBus, 0x50, 0xA1);
    maker_.mux(behind, kBusName, 0x31, 1, 0xFF, 0);
    add_chip(maker_, "CPLD", kBus, 0x31, 0xC1);
    settings_ = R"("chips": {"CPLD": {"no_answer": true}})";
    EXPECT_EQ(probe(board(), kBus, 0x31), Status::kNoAnswer);
    EXPECT_EQ(probe(board(), kBus, 0x50), Status::kNoAnswer);
}

TEST_F(MuxTest, SeesTheWholeTransferThroughTheMuxesAsTheyStoodAtItsStart) {
    // Both answer at 0x50: a mux, and a chip that this write to the mux disconnects.
    device_node &behind = add_chip(maker_, "BEHIND", kBus, 0x50, 0xF1);
    maker_.mux(behind, kBusName, 0x50, 1, 0x0F, 0);
    EXPECT_EQ(board().write(kBus, 0x50, {1, 0x57}), Status::kOk);
    EXPECT_EQ(board().write(kBus, 0x50, {1, 0xF0}), Status::kOk) << "to the mux alone";
    EXPECT_EQ(board().read_byte(kBus, 0x50, 1), 0x50) << "0x57 in the chip, 0xF0 in the mux";
}

TEST(Contention, ReadsTheAndOfAllDevicesThatAnswer) {
    TreeMaker maker;
    device_node &one = maker.chip("ONE", 1, 0x50);
    maker.reg(one, "R", 0).def_val = 0xF3;
    device_node &two = maker.chip("TWO", 1, 0x50);
    maker.reg(two, "R", 0).def_val = 0x3F;
    RunningBoard board(maker);
    EXPECT_EQ(board.read_byte(1, 0x50, 0), 0x33);
}

TEST(Contention, WritesToAllDevicesThatAnswer) {
    TreeMaker maker;
    for (const char *name : {"A", "B"}) {
        device_node &chip = add_chip(maker, name, kBus, 0x50, 0xFF);
        maker.mux(chip, kBusName, 0x70, 0, name[0] == 'A' ? 0x01 : 0x02, 0xFF);
    }
    RunningBoard board(maker);
    EXPECT_EQ(board.write(kBus, 0x70, {0, 3}), Status::kOk);
    EXPECT_EQ(board.write(kBus, 0x50, {1, 0x5A}), Status::kOk);
    for (const uint8_t channel : Bytes{1, 2}) {
        EXPECT_EQ(board.write(kBus, 0x70, {0, channel}), Status::kOk);
        EXPECT_EQ(board.read_byte(kBus, 0x50, 1), 0x5A);
    }
}

TEST(Faults, SilenceADevice) {
    TreeMaker maker;
    add_chip(maker, "A", 1, 0x31, 0xA1);
    add_chip(maker, "B", 1, 0x32, 0xB1);
    RunningBoard board(maker, R"("chips": {"A": {"no_answer": true}})");
    EXPECT_EQ(probe(board, 1, 0x31), Status::kNoAnswer);
    EXPECT_EQ(probe(board, 1, 0x32), Status::kOk);
}

TEST(Faults, DelayADevice) {
    TreeMaker maker;
    add_chip(maker, "SLOW", 1, 0x31, 0xA1);
    RunningBoard board(maker, R"("chips": {"SLOW": {"delay_ms": 30}})");
    const auto start = steady_clock::now();
    EXPECT_EQ(board.read_byte(1, 0x31, 0), 0xA1);
    EXPECT_GE(steady_clock::now() - start, milliseconds(30));
}

TEST(Faults, DelayOnlyWhoAsksTheSlowDevice) {
    TreeMaker maker;
    add_chip(maker, "SLOW", 1, 0x31, 0xA1);
    RunningBoard board(maker, R"("chips": {"SLOW": {"delay_ms": 300}})");
    std::thread slow([&board] { EXPECT_EQ(board.write(1, 0x31, {1, 0x5A}), Status::kOk); });
    board::sim::State state;
    ASSERT_EQ(state.open(board.path().c_str()), Status::kOk);
    // The write is done before the delay; as soon as it shows, the lock must be free again.
    uint8_t scratch = 0;
    while (scratch != 0x5A) {
        const board::sim::State::Lock lock(state, milliseconds(100));
        ASSERT_EQ(lock.status(), Status::kOk);
        scratch = board::sim::Registers(state, state.devices()[0]).byte_at(1).peek();
    }
    {
        const board::sim::State::Lock lock(state, milliseconds(100));
        EXPECT_EQ(lock.status(), Status::kOk);
    }
    slow.join();
}

class PecTest : public testing::Test {
  protected:
    PecTest() : board_(make()) {}

    static TreeMaker &make() {
        static TreeMaker maker;
        add_chip(maker, "A", 1, 0x31, 0xA1);
        return maker;
    }

    Status write(const Bytes &bytes) {
        return board_.board().i2c_transfer(
            {.bus = 1, .address = 0x31, .write = bytes, .read = {}, .write_has_pec = true});
    }

    RunningBoard board_;
};

TEST_F(PecTest, TakesAWriteWithTheRightCode) {
    const uint8_t code = board::write_pec(0x31, Bytes{1, 0x5A});
    EXPECT_EQ(write({1, 0x5A, code}), Status::kOk);
    EXPECT_EQ(board_.read(1, 0x31, {1}, 2), (Bytes{0x5A, 0})) << "the code itself is no data";
}

TEST_F(PecTest, TakesNothingFromAWriteWithAWrongCode) {
    const uint8_t code = board::write_pec(0x31, Bytes{1, 0x5A});
    EXPECT_EQ(write({1, 0x5A, static_cast<uint8_t>(code ^ 1)}), Status::kBadPec);
    EXPECT_EQ(board_.read_byte(1, 0x31, 1), 0);
    EXPECT_EQ(write({}), Status::kBadPec);
}

TEST(Nvram, HandsOutItsBlock) {
    const TreeMaker maker;
    RunningBoard board(maker, R"("nvram": {"verbosity_override": true, "verbosity": -2})");
    std::array<uint8_t, board::kNvramSize> block;
    ASSERT_EQ(board.board().nvram_read(block), Status::kOk);
    EXPECT_EQ(block[1058], 1);
    int32_t verbosity = 0;
    std::memcpy(&verbosity, &block[1060], sizeof verbosity);
    EXPECT_EQ(verbosity, -2);
    EXPECT_EQ(std::count(block.begin(), block.begin() + 1058, 0), 1058);
}

}  // namespace
}  // namespace diag::test
