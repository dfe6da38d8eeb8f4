// SPDX-License-Identifier: MIT
// The example board: what newcomers try first.
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "diags/board/i2c_register.h"
#include "diags/board/sim/power_up.h"
#include "diags/board/sim/sim_board.h"
#include "tests/support/temporary_folder.h"

namespace diag::board {
namespace {

using Bytes = std::vector<uint8_t>;

class ExampleBoardTest : public testing::Test {
  protected:
    ExampleBoardTest() {
        setenv("DIAG_BOARD_DIR", folder_.file("run").c_str(), 1);
        const std::string state =
            sim::power_up(DIAG_SOURCE_DIR "/examples/boards/edge_router.board", true);
        EXPECT_EQ(board_.open(state.c_str()), Status::kOk);
    }

    Bytes read(const I2cRegister &reg, size_t count) {
        Bytes data(count);
        EXPECT_EQ(read_register(board_, reg, data), Status::kOk);
        return data;
    }

    std::string text(const I2cRegister &reg, size_t count) {
        const Bytes data = read(reg, count);
        return {data.begin(), data.end()};
    }

    void select(uint8_t mux, uint8_t channel) {
        const I2cRegister reg = {.bus = 3, .address = mux, .number = 0};
        EXPECT_EQ(write_register(board_, reg, Bytes{channel}, false), Status::kOk);
    }

    test::TemporaryFolder folder_;
    sim::SimBoard board_;
};

TEST_F(ExampleBoardTest, IdentifiesItsCplds) {
    EXPECT_EQ(read({.bus = 1, .address = 0x31, .number = 0}, 2), (Bytes{0xA5, 0x21}));
    EXPECT_EQ(read({.bus = 1, .address = 0x32, .number = 0}, 2), (Bytes{0xA6, 0x22}));
}

TEST_F(ExampleBoardTest, IdentifiesItsFpgasInBothByteOrders) {
    const I2cRegister big = {.bus = 2,
                             .address = 0x40,
                             .number = 0,
                             .number_width = NumberWidth::k16,
                             .wide_items = true};
    EXPECT_EQ(read(big, 2), (Bytes{0x0A, 0x1F}));
    I2cRegister little = big;
    little.address = 0x41;
    little.little_endian = true;
    EXPECT_EQ(read(little, 4), (Bytes{0x0B, 0x2C, 0x02, 0x01}));
}

TEST_F(ExampleBoardTest, ShowsEachModuleBehindItsTwoMuxes) {
    const I2cRegister serial = {
        .bus = 3, .address = 0x50, .number = 0xC4, .number_width = NumberWidth::kBlock};
    std::vector<std::string> serials;
    for (const uint8_t outer : Bytes{1, 2}) {
        select(0x70, outer);
        for (const uint8_t inner : Bytes{1, 2}) {
            select(0x71, inner);
            serials.push_back(text(serial, 16));
        }
        select(0x71, 0);
    }
    EXPECT_EQ(serials, (std::vector<std::string>{"BL2309A0001     ", "BL2309A0002     ",
                                                 "NO77120031      ", "NO77130552      "}));
}

TEST_F(ExampleBoardTest, HasAnEepromAndASensor) {
    EXPECT_EQ(
        text({.bus = 4, .address = 0x57, .number = 0x10, .number_width = NumberWidth::k16}, 16),
        "EDGE-ROUTER-4Q  ");
    EXPECT_EQ(read({.bus = 4, .address = 0x48, .number = 0, .wide_items = true}, 2),
              (Bytes{0x80, 0x1C}));
    EXPECT_EQ(read({.bus = 4, .address = 0x48, .number = 2, .wide_items = true}, 4),
              (Bytes{0x00, 0x4B, 0x00, 0x50}));
}

TEST_F(ExampleBoardTest, ReportsTheWatchdogOnce) {
    const I2cRegister status = {.bus = 1, .address = 0x31, .number = 0x21};
    EXPECT_EQ(read(status, 1), Bytes{0x80});
    EXPECT_EQ(read(status, 1), Bytes{0x00});
}

}  // namespace
}  // namespace diag::board
