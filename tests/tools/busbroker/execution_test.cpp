// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/execution.h"

#include <gtest/gtest.h>

#include "diags/board/pec.h"
#include "diags/tools/busbroker/directory.h"
#include "tests/board/sim/running_board.h"

namespace diag::daemon {
namespace {

using broker::Outcome;
using test::Bytes;

class ExecutionTest : public testing::Test {
  protected:
    // Nothing may be added to the description once the board is used.
    test::RunningBoard &board() {
        if (!board_) {
            board_.emplace(maker_, settings_);
            directory_ = Directory(maker_.tree());
            EXPECT_TRUE(directory_.problems().empty());
        }
        return *board_;
    }

    Outcome make(const std::string &id, const Access &access) {
        board();
        const DevicePointer device = directory_.find(id);
        if (device == nullptr) {
            return Outcome::kUnknownDevice;
        }
        const Outcome outcome = check_access(*device, access);
        return outcome == Outcome::kSuccess ? execute(board().board(), *device, access, &buffer_)
                                            : outcome;
    }

    Outcome read(const std::string &id, uint32_t address, uint32_t count, uint32_t width = 8,
                 uint8_t options = 0) {
        return make(id, {.address = address, .count = count, .width = width, .options = options});
    }
    Outcome write(const std::string &id, uint32_t address, const Bytes &bytes, uint32_t width = 8,
                  uint8_t options = 0) {
        return make(id, {.is_write = true,
                         .address = address,
                         .count = static_cast<uint32_t>(bytes.size()),
                         .width = width,
                         .options = options,
                         .data = bytes});
    }
    Bytes bytes(const std::string &id, uint32_t address, uint32_t count, uint32_t width = 8,
                uint8_t options = 0) {
        EXPECT_EQ(read(id, address, count, width, options), Outcome::kSuccess);
        return {buffer_.begin(), buffer_.begin() + count};
    }

    device_node &cpld() {
        device_node &node = maker_.chip("CPLD", 1, 0x31);
        maker_.reg(node, "BLOCK", 0).length = 0x80;
        return node;
    }

    test::TreeMaker maker_;
    std::string settings_;
    std::optional<test::RunningBoard> board_;
    Directory directory_;
    ReadBuffer buffer_;
};

TEST_F(ExecutionTest, ReachesAnI2cChipByIdAndByPlace) {
    cpld();
    EXPECT_EQ(write("CPLD", 2, {0x5A, 0x5B}), Outcome::kSuccess);
    EXPECT_EQ(bytes("CPLD", 2, 2), (Bytes{0x5A, 0x5B}));
    EXPECT_EQ(bytes("i2c:1:31", 3, 1), Bytes{0x5B});
}

TEST_F(ExecutionTest, SendsRegisterNumbersAsTheChipWantsThem) {
    device_node &big = maker_.chip("BIG", 2, 0x40);
    big.offset_len = 16;
    maker_.reg(big, "BLOCK", 0x0100).length = 0x100;
    device_node &little = maker_.chip("LITTLE", 2, 0x41);
    little.offset_len = 16;
    little.reg_le = 1;
    maker_.reg(little, "BLOCK", 0x0100).length = 0x100;
    EXPECT_EQ(write("BIG", 0x0102, {0x11}), Outcome::kSuccess);
    EXPECT_EQ(write("LITTLE", 0x0102, {0x22}), Outcome::kSuccess);
    EXPECT_EQ(bytes("BIG", 0x0102, 1), Bytes{0x11});
    EXPECT_EQ(bytes("LITTLE", 0x0102, 1), Bytes{0x22});
    EXPECT_EQ(board().read(2, 0x40, {0x01, 0x02}, 1), Bytes{0x11});
    EXPECT_EQ(board().read(2, 0x41, {0x02, 0x01}, 1), Bytes{0x22});
    EXPECT_EQ(bytes("i2c16:2:40", 0x0102, 1), Bytes{0x11});
    EXPECT_EQ(bytes("i2c:2:40", 0x0102, 1, 8, broker::kRegister16), Bytes{0x11});
}

TEST_F(ExecutionTest, KeepsBytesInTheOrderOfTheBus) {
    maker_.reg(maker_.chip("WIDE", 1, 0x31), "R", 0, 16).def_val = 0x1234;
    EXPECT_EQ(bytes("WIDE", 0, 2, 16), (Bytes{0x12, 0x34}));
    EXPECT_EQ(bytes("WIDE", 0, 2, 8), (Bytes{0x12, 0x34}));
}

TEST_F(ExecutionTest, SendsBytesAloneWithoutARegister) {
    cpld();
    EXPECT_EQ(write("i2c:1:31", 0xFFFF, {0x05, 0x77}, 8, broker::kNoRegister), Outcome::kSuccess);
    EXPECT_EQ(bytes("CPLD", 5, 1), Bytes{0x77});
    EXPECT_EQ(write("CPLD", 5, {}, 8), Outcome::kSuccess) << "sets the register pointer";
    EXPECT_EQ(bytes("CPLD", 0, 1, 8, broker::kNoRegister), Bytes{0x77});
}

TEST_F(ExecutionTest, SendsNoDataWhenAskedTo) {
    cpld();
    EXPECT_EQ(write("CPLD", 5, {0x11}), Outcome::kSuccess);
    EXPECT_EQ(write("CPLD", 5, {}), Outcome::kSuccess);
    EXPECT_EQ(write("CPLD", 0x1234, {0xFF}, 0, broker::kNoData), Outcome::kSuccess);
    EXPECT_EQ(bytes("CPLD", 0, 1, 8, broker::kNoRegister), Bytes{0x11})
        << "neither register pointer nor register have changed";
    EXPECT_EQ(write("i2c:1:32", 0, {0xFF}, 8, broker::kNoData), Outcome::kNoAnswer);
}

TEST_F(ExecutionTest, HandsOnThePacketErrorCode) {
    cpld();
    const Bytes wire = {0x05, 0x77};
    const uint8_t pec = board::write_pec(0x31, wire);
    EXPECT_EQ(write("CPLD", 5, {0x77, pec}, 8, broker::kPec), Outcome::kSuccess);
    EXPECT_EQ(bytes("CPLD", 5, 2), (Bytes{0x77, 0}));
    EXPECT_EQ(write("CPLD", 5, {0x66, pec}, 8, broker::kPec), Outcome::kAccessFailed);
    EXPECT_EQ(bytes("CPLD", 5, 1), Bytes{0x77});
}

TEST_F(ExecutionTest, RefusesOptionsThatContradict) {
    cpld();
    using namespace broker;
    EXPECT_EQ(write("CPLD", 0, {1}, 8, kRegister16 | kNoRegister), Outcome::kInvalidRequest);
    EXPECT_EQ(write("CPLD", 0, {1}, 8, kNoData | kPec), Outcome::kInvalidRequest);
    EXPECT_EQ(write("CPLD", 0, {}, 8, kPec), Outcome::kInvalidRequest);
    EXPECT_EQ(read("CPLD", 0, 1, 8, kPec), Outcome::kInvalidRequest);
    EXPECT_EQ(read("CPLD", 0, 1, 8, kNoData), Outcome::kInvalidRequest);
}

TEST_F(ExecutionTest, RefusesOptionsOnOtherBuses) {
    maker_.reg(maker_.chip_on("BMC", DIAG_BUS_BMC, 3, 0x2E), "R", 0);
    for (const char *id : {"BMC", "lpc", "mem", "pci:0:0.0", "gpio:0"}) {
        EXPECT_EQ(write(id, 0, {1}, 8, broker::kNoRegister), Outcome::kNotSupported) << id;
    }
}

TEST_F(ExecutionTest, ReachesAChipBehindTheController) {
    device_node &node = maker_.chip_on("FAN", DIAG_BUS_BMC, 3, 0x2E);
    maker_.reg(node, "BLOCK", 0).length = 0x100;
    device_node &wide = maker_.chip_on("WIDE", DIAG_BUS_BMC, 3, 0x2F);
    wide.offset_len = 16;
    maker_.reg(wide, "BLOCK", 0x0100).length = 0x200;
    EXPECT_EQ(write("FAN", 2, {1, 2, 3}), Outcome::kSuccess);
    EXPECT_EQ(bytes("FAN", 3, 2), (Bytes{2, 3}));
    EXPECT_EQ(write("WIDE", 0x0210, {9}), Outcome::kSuccess);
    EXPECT_EQ(bytes("WIDE", 0x0210, 1), Bytes{9});
}

TEST_F(ExecutionTest, GivesTheControllerNoMoreThanItTakes) {
    device_node &node = maker_.chip_on("FAN", DIAG_BUS_BMC, 3, 0x2E);
    node.offset_len = 16;
    maker_.reg(node, "BLOCK", 0).length = 0x200;
    EXPECT_EQ(read("FAN", 0, 255), Outcome::kSuccess);
    EXPECT_EQ(read("FAN", 0, 256), Outcome::kTooLong);
    EXPECT_EQ(write("FAN", 0, Bytes(250)), Outcome::kSuccess);
    EXPECT_EQ(write("FAN", 0, Bytes(251)), Outcome::kTooLong);
}

TEST_F(ExecutionTest, ReachesChipsInSpacesOfBytes) {
    maker_.reg(maker_.chip_on("PLD", DIAG_BUS_LPC, 0, 0x300), "R", 0, 32).length = 4;
    maker_.reg(maker_.chip_on("RAM", DIAG_BUS_MEM, 0, 0x80000000), "R", 0, 32).length = 4;
    device_node &function = maker_.chip_on("PCI", DIAG_BUS_PCI, 3, 0x40);
    function.pci_dev = 1;
    function.pci_func = 2;
    maker_.reg(function, "R", 0, 32).length = 4;
    for (const char *id : {"PLD", "RAM", "PCI"}) {
        EXPECT_EQ(write(id, 4, {1, 2, 3, 4}, 32), Outcome::kSuccess) << id;
        EXPECT_EQ(bytes(id, 4, 4, 32), (Bytes{1, 2, 3, 4})) << id;
    }
    EXPECT_EQ(bytes("lpc", 0x304, 2, 16), (Bytes{1, 2}));
    EXPECT_EQ(bytes("mem", 0x80000000, 8, 64), (Bytes{0, 0, 0, 0, 1, 2, 3, 4}));
    EXPECT_EQ(bytes("mem", 0x80000004, 2), (Bytes{1, 2}));
    EXPECT_EQ(bytes("pci:03:01.2", 0x44, 2), (Bytes{1, 2}));
}

TEST_F(ExecutionTest, ReachesGpioLines) {
    settings_ = R"("gpio": {"1": {"17": 1, "18": 0}})";
    EXPECT_EQ(bytes("gpio:1", 17, 1), Bytes{1});
    EXPECT_EQ(bytes("gpio:1", 18, 1), Bytes{0});
    EXPECT_EQ(write("gpio:1", 18, {1}), Outcome::kSuccess);
    EXPECT_EQ(bytes("gpio:1", 18, 1), Bytes{1});
    EXPECT_EQ(read("gpio:1", 19, 1), Outcome::kUnknownDevice);
    EXPECT_EQ(read("gpio:2", 17, 1), Outcome::kUnknownDevice);
    EXPECT_EQ(write("gpio:1", 18, {2}), Outcome::kInvalidRequest);
    EXPECT_EQ(write("gpio:1", 18, {1, 1}), Outcome::kInvalidRequest);
    EXPECT_EQ(write("gpio:1", 18, {}), Outcome::kInvalidRequest);
    EXPECT_EQ(read("gpio:1", 18, 2), Outcome::kInvalidRequest);
}

TEST_F(ExecutionTest, TellsHowAnAccessFailed) {
    cpld();
    EXPECT_EQ(read("i2c:1:32", 0, 1), Outcome::kNoAnswer);
    EXPECT_EQ(read("i2c:9:31", 0, 1), Outcome::kUnknownDevice) << "no such bus";
    EXPECT_EQ(read("lpc", 0, 1), Outcome::kUnknownDevice) << "no such bus on this board";
    EXPECT_EQ(read("nothing", 0, 1), Outcome::kUnknownDevice);
}

TEST_F(ExecutionTest, RefusesWhatTheBusCannotCarry) {
    cpld();
    EXPECT_EQ(read("CPLD", 0x100, 1), Outcome::kInvalidRequest);
    EXPECT_EQ(read("i2c16:1:31", 0x10000, 1), Outcome::kInvalidRequest);
    EXPECT_EQ(read("CPLD", 0, 0), Outcome::kInvalidRequest);
    EXPECT_EQ(read("lpc", 0, 0), Outcome::kInvalidRequest);
    EXPECT_EQ(read("lpc", 1, 4, 32), Outcome::kInvalidRequest) << "not at a multiple";
    EXPECT_EQ(read("lpc", 0, 6, 32), Outcome::kInvalidRequest) << "not a whole number of items";
    EXPECT_EQ(read("lpc", UINT32_MAX, 2), Outcome::kInvalidRequest) << "beyond the end";
    EXPECT_EQ(read("pci:0:0.0", 4095, 2), Outcome::kInvalidRequest) << "beyond the end";
    EXPECT_EQ(read("pci:0:0.0", UINT32_MAX, 1), Outcome::kInvalidRequest);
}

TEST_F(ExecutionTest, RefusesWidthsThatTheBusHasNot) {
    cpld();
    for (const uint32_t width : {0U, 1U, 12U, 255U}) {
        EXPECT_EQ(read("mem", 0, 8, width), Outcome::kInvalidRequest) << width;
    }
    EXPECT_EQ(read("lpc", 0, 8, 64), Outcome::kNotSupported);
    EXPECT_EQ(read("pci:0:0.0", 0, 8, 64), Outcome::kNotSupported);
    EXPECT_EQ(read("CPLD", 0, 8, 64), Outcome::kNotSupported);
    EXPECT_EQ(read("gpio:0", 0, 1, 16), Outcome::kNotSupported);
}

TEST_F(ExecutionTest, MovesTheMostThatADatagramCarriesAndNoMore) {
    settings_ = R"("memory": [{"address": 0, "size": 4096}])";
    EXPECT_EQ(read("mem", 0, broker::kMaxReadBytes), Outcome::kSuccess);
    EXPECT_EQ(read("mem", 0, broker::kMaxReadBytes + 1), Outcome::kTooLong);
    EXPECT_EQ(write("mem", 0, Bytes(broker::kMaxWriteBytes)), Outcome::kSuccess);
    EXPECT_EQ(write("mem", 0, Bytes(broker::kMaxWriteBytes + 1)), Outcome::kTooLong);
}

TEST_F(ExecutionTest, WritesTheMostThatADatagramCarriesOverI2c) {
    device_node &node = maker_.chip("BIG", 2, 0x40);
    node.offset_len = 16;
    maker_.reg(node, "BLOCK", 0).length = 0x1000;
    EXPECT_EQ(write("BIG", 0, Bytes(broker::kMaxWriteBytes, 7)), Outcome::kSuccess);
    EXPECT_EQ(bytes("BIG", broker::kMaxWriteBytes - 1, 2), (Bytes{7, 0}));
}

// Each of two chips answers only while its muxes are set, so what one shows must be what was
// written to it.
TEST_F(ExecutionTest, SetsTheMuxesOfEveryKind) {
    const auto hidden = [this](const std::string &name, uint32_t bus,
                               void (*add_muxes)(test::TreeMaker &, device_node &)) {
        device_node &node = maker_.chip(name, bus, 0x50);
        maker_.reg(node, "R", 0);
        add_muxes(maker_, node);
    };
    hidden("I2C_1", 3, [](auto &m, auto &n) {
        m.mux(n, "/dev/i2c-3", 0x70, 0, 0xFF, 1);
        m.mux(n, nullptr, 0x71, 0, 0xFF, 2);
    });
    hidden("I2C_2", 3, [](auto &m, auto &n) { m.mux(n, "/dev/i2c-3", 0x70, 0, 0xFF, 2); });
    hidden("GPIO_1", 4, [](auto &m, auto &n) { m.mux(n, "gpio", 0, 17, 1, 1); });
    hidden("GPIO_2", 4, [](auto &m, auto &n) { m.mux(n, "gpio", 0, 17, 1, 0); });
    hidden("MEM_1", 5, [](auto &m, auto &n) { m.mux(n, "mem", 0x80000010, 0, 0x0C, 0x04); });
    hidden("MEM_2", 5, [](auto &m, auto &n) { m.mux(n, "mem", 0x80000010, 0, 0x0C, 0x08); });
    hidden("IPMI_1", 6, [](auto &m, auto &n) { m.mux(n, "ipmi-4", 0x70, 0, 0xFF, 1); });
    hidden("IPMI_2", 6, [](auto &m, auto &n) { m.mux(n, "ipmi-4", 0x70, 0, 0xFF, 2); });
    hidden("BMC_1", 7, [](auto &m, auto &n) { m.mux(n, "bmc-5", 0x70, 0, 0xFF, 1); });
    hidden("BMC_2", 7, [](auto &m, auto &n) { m.mux(n, "bmc-5", 0x70, 0, 0xFF, 2); });
    uint8_t value = 1;
    for (const char *kind : {"I2C", "GPIO", "MEM", "IPMI", "BMC"}) {
        const std::string first = std::string(kind) + "_1";
        const std::string second = std::string(kind) + "_2";
        EXPECT_EQ(write(first, 0, {value}), Outcome::kSuccess) << kind;
        EXPECT_EQ(write(second, 0, {static_cast<uint8_t>(value + 1)}), Outcome::kSuccess) << kind;
        EXPECT_EQ(bytes(first, 0, 1), Bytes{value}) << kind;
        EXPECT_EQ(bytes(second, 0, 1), Bytes{static_cast<uint8_t>(value + 1)}) << kind;
        value = static_cast<uint8_t>(value + 2);
    }
}

TEST_F(ExecutionTest, LeavesTheOtherBitsOfAMemoryMuxAlone) {
    device_node &node = maker_.chip("OPTIC", 5, 0x50);
    maker_.reg(node, "R", 0);
    maker_.mux(node, "mem", 0x1000, 0, 0x0C, 0x04);
    settings_ = R"("memory": [{"address": "0x1000", "size": 1, "bytes": ["0xf8"]}])";
    EXPECT_EQ(read("OPTIC", 0, 1), Outcome::kSuccess);
    EXPECT_EQ(bytes("mem", 0x1000, 1), Bytes{0xF4});
}

TEST_F(ExecutionTest, DoesNotAccessBehindAMuxThatFails) {
    device_node &node = maker_.chip("OPTIC", 3, 0x50);
    maker_.reg(node, "R", 0, 8, DIAG_ACCESS_RC).def_val = 0xFF;
    maker_.mux(node, "/dev/i2c-3", 0x70, 0, 0xFF, 1);
    maker_.reg(maker_.chip("MUX", 3, 0x70), "SELECT", 0);
    settings_ = R"("chips": {"MUX": {"no_answer": true}})";
    EXPECT_EQ(read("OPTIC", 0, 1), Outcome::kNoAnswer);
}

TEST_F(ExecutionTest, SetsNoMuxesForARawPlace) {
    device_node &node = maker_.chip("OPTIC", 3, 0x50);
    maker_.reg(node, "R", 0);
    maker_.mux(node, "/dev/i2c-3", 0x70, 0, 0xFF, 1);
    EXPECT_EQ(read("i2c:3:50", 0, 1), Outcome::kNoAnswer);
    EXPECT_EQ(read("OPTIC", 0, 1), Outcome::kSuccess);
    EXPECT_EQ(read("i2c:3:50", 0, 1), Outcome::kSuccess) << "now the way is open";
}

}  // namespace
}  // namespace diag::daemon
