// SPDX-License-Identifier: MIT
// What a board file does to the board, and what it may not say about it.
#include "diags/board/sim/settings.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "diags/board/sim/board_error.h"
#include "tests/board/sim/running_board.h"

namespace diag::board::sim {
namespace {

using test::Bytes;

class SettingsTest : public testing::Test {
  protected:
    SettingsTest() : chip_(maker_.chip("CHIP", 1, 0x31)) {}

    static std::string registers(const std::string &settings) {
        return R"("chips": {"CHIP": {"registers": {)" + settings + "}}}";
    }

    // What register numbers from 0 on hold on a board with these settings.
    Bytes read(const std::string &settings, size_t count) {
        test::RunningBoard board(maker_, settings);
        return board.read(1, 0x31, {0}, count);
    }

    std::string complaint(const std::string &settings) { return complaint(maker_, settings); }

    static std::string complaint(const test::TreeMaker &maker, const std::string &settings) {
        try {
            const test::RunningBoard board(maker, settings);
        } catch (const BoardError &error) {
            EXPECT_EQ(error.exit_status(), kExitBadDescription);
            return error.what();
        }
        return "accepted";
    }

    std::string register_complaint(const std::string &settings) {
        return complaint(registers(settings));
    }

    // The first registers of a chip at 0x50 of bus 1, or of PCI function 1:2.3.
    static Bytes read_six(Board &board, int32_t bus_type) {
        Bytes data(6);
        IpmiResponse response;
        const Bytes request = {1, 0x50, 0, 6};
        switch (bus_type) {
            case DIAG_BUS_LPC:
                EXPECT_EQ(board.lpc_read(0x50, 1, data), Status::kOk);
                break;
            case DIAG_BUS_PCI:
                EXPECT_EQ(board.pci_read({1, 2, 3}, 0x50, 1, data), Status::kOk);
                break;
            case DIAG_BUS_MEM:
                EXPECT_EQ(board.memory_read(0x50, 1, data), Status::kOk);
                break;
            default:
                EXPECT_EQ(board.ipmi_raw({0x38, 0x02, request}, &response), Status::kOk);
                EXPECT_EQ(response.size, data.size());
                std::copy_n(response.data.begin(), data.size(), data.begin());
                break;
        }
        return data;
    }

    test::TreeMaker maker_;
    device_node &chip_;
};

TEST_F(SettingsTest, PresetRegistersByNameAndByNumber) {
    maker_.reg(chip_, "A", 0);
    maker_.reg(chip_, "B", 1);
    EXPECT_EQ(read(registers(R"("A": 1, "0x01": "0x02")"), 2), (Bytes{1, 2}));
}

TEST_F(SettingsTest, PresetReadOnlyRegisters) {
    maker_.reg(chip_, "A", 0, 8, DIAG_ACCESS_RO);
    EXPECT_EQ(read(registers(R"("A": "0x5a")"), 1), Bytes{0x5A});
}

TEST_F(SettingsTest, ShowBitsThatTheDescriptionDoesNotKnow) {
    reg_def &reg = maker_.reg(chip_, "A", 0);
    reg.mask = 0x0F;
    test::RunningBoard board(maker_, registers(R"("A": "0x83")"));
    EXPECT_EQ(board.read_byte(1, 0x31, 0), 0x83);
    EXPECT_EQ(board.write(1, 0x31, {0, 0x00}), Status::kOk);
    EXPECT_EQ(board.read_byte(1, 0x31, 0), 0x80) << "constant, like a bit of another chip version";
}

TEST_F(SettingsTest, KeepWriteOnlyRegistersUnreadable) {
    maker_.reg(chip_, "A", 0, 8, DIAG_ACCESS_WO);
    EXPECT_EQ(read(registers(R"("A": 255)"), 1), Bytes{0});
}

TEST_F(SettingsTest, FillBlocksFromTheirStart) {
    reg_def &block = maker_.reg(chip_, "A", 0);
    block.length = 5;
    block.def_val = 0x20;
    EXPECT_EQ(read(registers(R"("A": {"text": "Hey"})"), 5), (Bytes{'H', 'e', 'y', 0x20, 0x20}));
    EXPECT_EQ(read(registers(R"("A": [1, 2])"), 5), (Bytes{1, 2, 0x20, 0x20, 0x20}));
}

TEST_F(SettingsTest, FillWideBlocksUnitByUnit) {
    maker_.reg(chip_, "A", 0, 16).length = 2;
    EXPECT_EQ(read(registers(R"("A": ["0x1234", 1])"), 4), (Bytes{0x12, 0x34, 0x00, 0x01}));
}

TEST_F(SettingsTest, ReachRegistersInsideABlock) {
    maker_.reg(chip_, "ALL", 0).length = 4;
    maker_.reg(chip_, "PART", 1).length = 2;
    EXPECT_EQ(read(registers(R"("ALL": [1, 2, 3, 4])"), 4), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(read(registers(R"("ALL": [1, 2, 3, 4], "PART": [7])"), 4), (Bytes{1, 7, 3, 4}))
        << "the later one in the file wins";
    EXPECT_EQ(read(registers(R"("PART": [7], "ALL": [1, 2, 3, 4])"), 4), (Bytes{1, 2, 3, 4}));
}

TEST_F(SettingsTest, StickTheBitsOfEveryUnit) {
    maker_.reg(chip_, "A", 0).length = 2;
    EXPECT_EQ(read(registers(R"("A": {"stuck_high": 1})"), 2), (Bytes{1, 1}));
}

TEST_F(SettingsTest, TellChipsOfOneNameApartByNumber) {
    maker_.reg(chip_, "A", 0);
    device_node &second = maker_.chip("CHIP", 2, 0x31);
    maker_.reg(second, "A", 0);
    test::RunningBoard board(
        maker_,
        R"("chips": {"CHIP#2": {"registers": {"A": 2}}, "CHIP#1": {"registers": {"A": 1}}})");
    EXPECT_EQ(board.read_byte(1, 0x31, 0), 1);
    EXPECT_EQ(board.read_byte(2, 0x31, 0), 2);
    EXPECT_EQ(register_complaint(R"("A": 1)"),
              "test.board: /chips/CHIP: 2 chips carry that name: say CHIP#1 to CHIP#2");
    EXPECT_EQ(complaint(R"("chips": {"CHIP#3": {}})"),
              "test.board: /chips/CHIP#3: no such chip (nearest: CHIP)");
    EXPECT_EQ(complaint(R"("chips": {"CHIP#0": {}})"),
              "test.board: /chips/CHIP#0: no such chip (nearest: CHIP)");
}

TEST_F(SettingsTest, TakeANumberSignThatIsPartOfAName) {
    device_node &odd = maker_.chip("SLOT#7", 2, 0x31);
    maker_.reg(odd, "A", 0);
    EXPECT_EQ(complaint(R"("chips": {"SLOT#7": {"registers": {"A": 2}}, "CHIP#1": {}})"),
              "accepted");
}

TEST_F(SettingsTest, NameUnknownChipsAndRegisters) {
    maker_.reg(chip_, "RESET", 0);
    maker_.reg(chip_, "STATUS", 1);
    EXPECT_EQ(complaint(R"("chips": {"CHP": {}})"),
              "test.board: /chips/CHP: no such chip (nearest: CHIP)");
    EXPECT_EQ(register_complaint(R"("RESTE": 1)"),
              "test.board: /chips/CHIP/registers/RESTE: no such register (nearest: RESET)");
    EXPECT_NE(register_complaint(R"("0x02": 1)").find("registers/0x02: no such register"),
              std::string::npos);
}

TEST_F(SettingsTest, RefuseANameThatSeveralRegistersCarry) {
    maker_.reg(chip_, "A", 0);
    maker_.reg(chip_, "A", 1);
    EXPECT_EQ(register_complaint(R"("A": 1)"),
              "test.board: /chips/CHIP/registers/A: several registers carry that name: give the "
              "number (0x...)");
    EXPECT_EQ(read(registers(R"("0x01": 5)"), 2), (Bytes{0, 5}));
}

TEST_F(SettingsTest, PresetRegistersOnEveryBus) {
    for (const int32_t bus_type : {DIAG_BUS_BMC, DIAG_BUS_LPC, DIAG_BUS_PCI, DIAG_BUS_MEM}) {
        test::TreeMaker maker;
        device_node &far = maker.chip_on("FAR", bus_type, 1, 0x50);
        far.pci_dev = 2;
        far.pci_func = 3;
        maker.reg(far, "A", 0, 16);
        maker.reg(far, "BLOCK", 2).length = 4;
        test::RunningBoard running(
            maker, R"("chips": {"FAR": {"registers": {"A": "0x1234", "BLOCK": {"text": "Hey"}}}})");
        const Bytes seen = read_six(running.board(), bus_type);
        const Bytes first = bus_type == DIAG_BUS_BMC ? Bytes{0x12, 0x34} : Bytes{0x34, 0x12};
        EXPECT_EQ(Bytes(seen.begin(), seen.begin() + 2), first) << bus_type;
        EXPECT_EQ(Bytes(seen.begin() + 2, seen.end()), (Bytes{'H', 'e', 'y', 0})) << bus_type;
    }
}

TEST_F(SettingsTest, RefuseChipsThatNobodyReaches) {
    for (const int32_t bus_type : {DIAG_BUS_IO, DIAG_BUS_MTD, DIAG_BUS_OTHER}) {
        test::TreeMaker maker;
        maker.chip("FAR", 0, 0).bus_type = bus_type;
        EXPECT_EQ(complaint(maker, R"("chips": {"FAR": {}})"),
                  "test.board: /chips/FAR: nobody reaches the chip: its bus is none of i2c, bmc, "
                  "lpc, pci and mem");
    }
    test::TreeMaker maker;
    maker.chip("ASIC", 0, 0).bus_type = DIAG_BUS_PCI;
    EXPECT_EQ(complaint(maker, R"("chips": {"ASIC": {}})"),
              "test.board: /chips/ASIC: the description does not say which PCI function the chip "
              "is (bus:device.function)");
}

TEST_F(SettingsTest, RefuseValuesThatDoNotFit) {
    maker_.reg(chip_, "A", 0);
    maker_.reg(chip_, "W", 4, 16);
    maker_.reg(chip_, "BLOCK", 8).length = 2;
    const std::string place = "test.board: /chips/CHIP/registers/";
    EXPECT_EQ(register_complaint(R"("A": 256)"),
              place + "A: out of range: the register has units of 8 bits");
    EXPECT_EQ(register_complaint(R"("W": 65536)"),
              place + "W: out of range: the register has units of 16 bits");
    EXPECT_EQ(register_complaint(R"("A": {"stuck_low": "0x100"})"),
              place + "A: out of range: the register has units of 8 bits");
    EXPECT_EQ(register_complaint(R"("BLOCK": 1)"),
              place + "BLOCK: the register has 2 units: give a list or a text");
    EXPECT_EQ(register_complaint(R"("BLOCK": [1, 2, 3])"),
              place + "BLOCK: 3 units given, the register has 2");
    EXPECT_EQ(register_complaint(R"("W": {"text": "AB"})"),
              place + "W: a text needs a register of 8-bit units");
}

}  // namespace
}  // namespace diag::board::sim
