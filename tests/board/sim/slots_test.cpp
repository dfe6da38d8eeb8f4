// SPDX-License-Identifier: MIT
// Optional-module slots as programs see them on a running board.
#include "diags/board/sim/slots.h"

#include <gtest/gtest.h>

#include "diags/board/sim/board_error.h"
#include "diags/board/sim/builder.h"
#include "tests/board/sim/running_board.h"

namespace diag::board::sim {
namespace {

using test::Bytes;

class SlotsTest : public testing::Test {
  protected:
    // A board with these slots and settings runs from here on.
    void power_up(const Slots &slots, const std::string &settings = "") {
        const std::string text =
            R"({"description": "x")" + (settings.empty() ? "" : ", " + settings) + "}";
        const std::string path = folder_.file("state");
        build_state(maker_.tree(), parse_board_file("x.board", text), slots).write_to(path);
        ASSERT_EQ(board_.open(path.c_str()), Status::kOk);
    }

    std::string complaint(const Slots &slots) {
        try {
            build_state(maker_.tree(), BoardFile(), slots);
        } catch (const BoardError &error) {
            EXPECT_EQ(error.exit_status(), kExitBadDescription);
            return error.what();
        }
        return "accepted";
    }

    uint8_t lpc(uint32_t address) {
        uint8_t byte = 0xEE;
        EXPECT_EQ(board_.lpc_read(address, 1, {&byte, 1}), Status::kOk);
        return byte;
    }

    Bytes read(uint8_t address, const Bytes &number, size_t count) {
        Bytes data(count);
        EXPECT_EQ(
            board_.i2c_transfer({.bus = 4, .address = address, .write = number, .read = data}),
            Status::kOk);
        return data;
    }

    test::TemporaryFolder folder_;
    test::TreeMaker maker_;
    SimBoard board_;
};

TEST_F(SlotsTest, SetTheBitsOfEmptySlots) {
    power_up(
        {.presence = {{0x600, 0, true}, {0x600, 1, false}, {0x600, 7, true}, {0x602, 3, false}},
         .cards = {}});
    EXPECT_EQ(lpc(0x600), 0x81);
    EXPECT_EQ(lpc(0x602), 0x00);
    uint8_t byte = 0;
    EXPECT_EQ(board_.lpc_read(0x601, 1, {&byte, 1}), Status::kNoAnswer);
}

TEST_F(SlotsTest, ShowInTheRegisterThatTheDescriptionHasThere) {
    device_node &cpld = maker_.chip_on("CPLD", DIAG_BUS_LPC, 0, 0x600);
    reg_def &wide = maker_.reg(cpld, "PRESENCE", 0, 16, DIAG_ACCESS_RO);
    wide.def_val = 0xFF10;
    wide.mask = 0x00F0;
    power_up({.presence = {{0x600, 0, true}, {0x600, 4, false}, {0x601, 1, true}}, .cards = {}});
    EXPECT_EQ(lpc(0x600), 0x01) << "also where the mask leaves the bit out";
    EXPECT_EQ(lpc(0x601), 0x02);
}

TEST_F(SlotsTest, ShowInThePlainBytesOfTheBoardFile) {
    power_up({.presence = {{0x601, 2, true}}, .cards = {}},
             R"("lpc": [{"address": "0x600", "size": 2, "bytes": [1, "0x80"]}])");
    EXPECT_EQ(lpc(0x600), 0x01);
    EXPECT_EQ(lpc(0x601), 0x84);
}

TEST_F(SlotsTest, GiveACardItsTypeBesideItsRegisters) {
    device_node &card = maker_.chip("CARD", 4, 0x31);
    maker_.reg(card, "A", 0x1E).def_val = 0xAA;
    maker_.reg(card, "B", 0x20).def_val = 0xBB;
    maker_.chip("BARE", 4, 0x32);
    power_up({.presence = {}, .cards = {{"x.txt:1", 0, 0x1F, 2}, {"x.txt:2", 1, 0x1F, 0}}});
    EXPECT_EQ(read(0x31, {0x1E}, 3), (Bytes{0xAA, 2, 0xBB}));
    EXPECT_EQ(read(0x32, {0x1F}, 1), Bytes{0});
    const Bytes write = {0x1F, 0x55};
    EXPECT_EQ(board_.i2c_transfer({.bus = 4, .address = 0x31, .write = write, .read = {}}),
              Status::kOk);
    EXPECT_EQ(read(0x31, {0x1F}, 1), Bytes{2}) << "a card does not change its type";
}

TEST_F(SlotsTest, PutTheTypeIntoARegisterThatIsDescribed) {
    device_node &card = maker_.chip("CARD", 4, 0x31);
    reg_def &id = maker_.reg(card, "TYPE", 0x1F, 8, DIAG_ACCESS_RO);
    id.def_val = 0xFF;
    maker_.reg(maker_.chip("BLOCK", 4, 0x32), "ALL", 0).length = 0x40;
    power_up({.presence = {}, .cards = {{"x.txt:1", 0, 0x1F, 3}, {"x.txt:2", 1, 0x1F, 4}}});
    EXPECT_EQ(read(0x31, {0x1F}, 1), Bytes{3});
    EXPECT_EQ(read(0x32, {0x1E}, 3), (Bytes{0, 4, 0}));
}

TEST_F(SlotsTest, GiveWayToTheSettingsOfTheBoardFile) {
    maker_.reg(maker_.chip("CARD", 4, 0x31), "TYPE", 0x1F, 8, DIAG_ACCESS_RO);
    power_up({.presence = {}, .cards = {{"x.txt:1", 0, 0x1F, 3}}},
             R"("chips": {"CARD": {"registers": {"TYPE": {"value": 9, "stuck_high": "0x40"}}}})");
    EXPECT_EQ(read(0x31, {0x1F}, 1), Bytes{0x49});
}

TEST_F(SlotsTest, ReachCardsBehindTheController) {
    maker_.chip_on("CARD", DIAG_BUS_BMC, 5, 0x33);
    power_up({.presence = {}, .cards = {{"x.txt:1", 0, 0x1F, 7}}});
    IpmiResponse response;
    const Bytes request = {5, 0x33, 0x1F, 1};
    ASSERT_EQ(board_.ipmi_raw({0x38, 0x02, request}, &response), Status::kOk);
    ASSERT_EQ(response.size, 1U);
    EXPECT_EQ(response.data[0], 7);
}

TEST_F(SlotsTest, TakeWideRegisterNumbersOnCardsThatHaveThem) {
    maker_.chip("CARD", 4, 0x31).offset_len = 16;
    power_up({.presence = {}, .cards = {{"x.txt:1", 0, 0x1234, 7}}});
    EXPECT_EQ(read(0x31, {0x12, 0x34}, 1), Bytes{7});
}

TEST_F(SlotsTest, RefuseACardWhoseTypeCannotBeRead) {
    maker_.chip_on("LPC_CARD", DIAG_BUS_LPC, 0, 0x31);
    maker_.chip("CARD", 4, 0x31);
    const std::string bus =
        "a card's type is read over i2c or bmc: the card must be a chip on one "
        "of them";
    EXPECT_EQ(complaint({.presence = {}, .cards = {{"x.txt:1", 0, 0x1F, 7}}}), "x.txt:1: " + bus);
    EXPECT_EQ(complaint({.presence = {}, .cards = {{"x.txt:9", 2, 0x1F, 7}}}), "x.txt:9: " + bus);
    EXPECT_EQ(complaint({.presence = {}, .cards = {{"x.txt:2", 1, 0x100, 7}}}),
              "x.txt:2: the card-id register needs a card with register numbers of 16 bits");
}

}  // namespace
}  // namespace diag::board::sim
