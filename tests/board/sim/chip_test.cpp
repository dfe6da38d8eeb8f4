// SPDX-License-Identifier: MIT
// How a chip behaves on the wire.
#include "diags/board/sim/chip.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "tests/board/sim/running_board.h"

namespace diag::test {
namespace {

using board::Status;

constexpr unsigned kBus = 1;
constexpr uint8_t kAddress = 0x31;

class ChipTest : public testing::Test {
  protected:
    ChipTest() : chip_(maker_.chip("CHIP", kBus, kAddress)) {}

    reg_def &reg(uint32_t offset, uint32_t size = 8, int32_t access = DIAG_ACCESS_RW,
                 uint32_t value = 0) {
        reg_def &made = maker_.reg(chip_, "R" + std::to_string(offset), offset, size, access);
        made.def_val = value;
        return made;
    }

    Bytes read(const Bytes &number, size_t count) {
        return board().read(kBus, kAddress, number, count);
    }

    void write(const Bytes &bytes) { EXPECT_EQ(board().write(kBus, kAddress, bytes), Status::kOk); }

    // The board is built at the first access, when the test has described it.
    RunningBoard &board() {
        if (!board_) {
            board_.emplace(maker_, settings_);
        }
        return *board_;
    }

    TreeMaker maker_;
    device_node &chip_;
    std::string settings_;
    std::optional<RunningBoard> board_;
};

TEST_F(ChipTest, StartsWithItsDefaults) {
    reg(0, 8, DIAG_ACCESS_RO, 0xA5);
    reg(1, 8, DIAG_ACCESS_RW, 0x21);
    EXPECT_EQ(read({0}, 2), (Bytes{0xA5, 0x21}));
}

TEST_F(ChipTest, KeepsWhatIsWritten) {
    reg(2);
    write({2, 0x5A});
    EXPECT_EQ(read({2}, 1), Bytes{0x5A});
}

TEST_F(ChipTest, MovesItsPointerWithEachByte) {
    reg(0x10).length = 4;
    write({0x10, 1, 2, 3, 4});
    EXPECT_EQ(read({0x11}, 2), (Bytes{2, 3}));
    EXPECT_EQ(read({}, 1), Bytes{4}) << "the pointer stays where the last transfer left it";
}

TEST_F(ChipTest, LeavesThePointerAloneWhenOnlyAskedWhetherItIsThere) {
    reg(0, 8, DIAG_ACCESS_RO, 0xA5);
    reg(1, 8, DIAG_ACCESS_RO, 0x21);
    read({1}, 0);
    write({});
    EXPECT_EQ(read({}, 1), Bytes{0x21});
}

TEST_F(ChipTest, ReadsZeroWhereItHasNoRegisterAndIgnoresWrites) {
    reg(0, 8, DIAG_ACCESS_RO, 0xA5);
    write({0x80, 0x5A});
    EXPECT_EQ(read({0x80}, 1), Bytes{0});
    EXPECT_EQ(read({0}, 3), (Bytes{0xA5, 0, 0}));
}

TEST_F(ChipTest, WrapsItsPointerAtTheLastNumber) {
    reg(0xFF, 8, DIAG_ACCESS_RO, 0x11);
    reg(0x00, 8, DIAG_ACCESS_RO, 0x22);
    EXPECT_EQ(read({0xFF}, 2), (Bytes{0x11, 0x22}));
}

TEST_F(ChipTest, SendsAWideRegisterHighByteFirst) {
    reg(4, 16, DIAG_ACCESS_RW, 0x1234);
    reg(8, 32, DIAG_ACCESS_RW, 0x01020304);
    EXPECT_EQ(read({4}, 2), (Bytes{0x12, 0x34}));
    EXPECT_EQ(read({8}, 4), (Bytes{1, 2, 3, 4}));
    write({4, 0xAB, 0xCD});
    EXPECT_EQ(read({5}, 1), Bytes{0xCD}) << "the low byte has a number of its own";
}

TEST_F(ChipTest, SendsAWideRegisterLowByteFirstWhenLittleEndian) {
    chip_.reg_le = 1;
    reg(4, 16, DIAG_ACCESS_RW, 0x1234);
    reg(8, 32, DIAG_ACCESS_RW, 0x01020304);
    EXPECT_EQ(read({4}, 2), (Bytes{0x34, 0x12}));
    EXPECT_EQ(read({8}, 4), (Bytes{4, 3, 2, 1}));
}

TEST_F(ChipTest, NumbersRegistersByUnitWhenTheyWouldOverlapByByte) {
    reg(0, 16, DIAG_ACCESS_RO, 0x1A80);
    reg(1, 8, DIAG_ACCESS_RW, 0x05);
    reg(2, 16, DIAG_ACCESS_RW, 0x4B00);
    reg(3, 16, DIAG_ACCESS_RW, 0x5000);
    EXPECT_EQ(read({0}, 7), (Bytes{0x1A, 0x80, 0x05, 0x4B, 0x00, 0x50, 0x00}));
    EXPECT_EQ(read({2}, 2), (Bytes{0x4B, 0x00}));
    write({2, 0x12, 0x34, 0x56, 0x78});
    EXPECT_EQ(read({2}, 4), (Bytes{0x12, 0x34, 0x56, 0x78}));
}

TEST_F(ChipTest, StartsAWideRegisterAnewWithEachTransfer) {
    reg(0, 16, DIAG_ACCESS_RO, 0x1A80);
    reg(1, 8, DIAG_ACCESS_RW, 0x05);
    EXPECT_EQ(read({0}, 1), Bytes{0x1A});
    EXPECT_EQ(read({}, 2), (Bytes{0x1A, 0x80}));
}

TEST_F(ChipTest, NumbersTheUnitsOfAWideBlockOneByOne) {
    reg(0, 16, DIAG_ACCESS_RW).length = 3;
    reg(3, 8, DIAG_ACCESS_RO, 0x77);
    write({0, 0, 1, 0, 2, 0, 3});
    EXPECT_EQ(read({1}, 5), (Bytes{0, 2, 0, 3, 0x77}));
}

TEST_F(ChipTest, SkipsFromAWideRegisterToTheNextNumberInUse) {
    reg(0, 32, DIAG_ACCESS_RO, 0x01020304);
    reg(2, 32, DIAG_ACCESS_RO, 0x05060708);
    EXPECT_EQ(read({0}, 8), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(read({1}, 1), Bytes{0}) << "no register has the number between them";
}

TEST_F(ChipTest, LetsRegistersInsideAByteBlockOwnTheirNumbers) {
    reg(0, 8, DIAG_ACCESS_RO, 0xEE).length = 6;
    reg(2, 8, DIAG_ACCESS_RW, 0x11).length = 2;
    EXPECT_EQ(read({0}, 6), (Bytes{0xEE, 0xEE, 0x11, 0x11, 0xEE, 0xEE}));
    write({0, 1, 2, 3, 4, 5, 6});
    EXPECT_EQ(read({0}, 6), (Bytes{0xEE, 0xEE, 3, 4, 0xEE, 0xEE}));
}

TEST_F(ChipTest, TakesANumberOfTwoBytesHighByteFirst) {
    chip_.offset_len = 16;
    reg(0x0102, 8, DIAG_ACCESS_RO, 0x42);
    EXPECT_EQ(read({0x01, 0x02}, 1), Bytes{0x42});
}

TEST_F(ChipTest, TakesANumberOfTwoBytesLowByteFirstWhenLittleEndian) {
    chip_.offset_len = 16;
    chip_.reg_le = 1;
    reg(0x0102, 8, DIAG_ACCESS_RO, 0x42);
    EXPECT_EQ(read({0x02, 0x01}, 1), Bytes{0x42});
}

TEST_F(ChipTest, HitsAnotherRegisterInTheWrongByteOrder) {
    chip_.offset_len = 16;
    reg(0x0102, 8, DIAG_ACCESS_RO, 0x42);
    reg(0x0201, 8, DIAG_ACCESS_RW, 0x43);
    EXPECT_EQ(read({0x02, 0x01}, 1), Bytes{0x43});
    write({0x02, 0x01, 0x99});
    EXPECT_EQ(read({0x01, 0x02}, 1), Bytes{0x42});
}

TEST_F(ChipTest, TakesTheSecondByteOfAWideNumberForDataWhenItsNumbersAreNarrow) {
    reg(0x00);
    reg(0x01);
    write({0x00, 0x01, 0xAB});
    EXPECT_EQ(read({0}, 2), (Bytes{0x01, 0xAB}));
}

TEST_F(ChipTest, CompletesAShortNumberWithZero) {
    chip_.offset_len = 16;
    reg(0x0100, 8, DIAG_ACCESS_RO, 0x42);
    reg(0x0001, 8, DIAG_ACCESS_RO, 0x43);
    EXPECT_EQ(read({0x01}, 1), Bytes{0x42});
    chip_.reg_le = 1;
    board_.reset();
    EXPECT_EQ(read({0x01}, 1), Bytes{0x43});
}

TEST_F(ChipTest, WrapsAWidePointerToo) {
    chip_.offset_len = 16;
    reg(0xFFFF, 8, DIAG_ACCESS_RO, 0x11);
    reg(0x0000, 8, DIAG_ACCESS_RO, 0x22);
    EXPECT_EQ(read({0xFF, 0xFF}, 2), (Bytes{0x11, 0x22}));
}

TEST_F(ChipTest, IgnoresWritesToReadOnlyRegisters) {
    reg(0, 8, DIAG_ACCESS_RO, 0xA5);
    write({0, 0x00});
    EXPECT_EQ(read({0}, 1), Bytes{0xA5});
}

TEST_F(ChipTest, ClearsAClearOnReadRegisterByReadingIt) {
    reg(0, 8, DIAG_ACCESS_RC, 0x81);
    write({0, 0x7E});
    EXPECT_EQ(read({0}, 1), Bytes{0x81});
    EXPECT_EQ(read({0}, 1), Bytes{0x00});
}

TEST_F(ChipTest, ClearsOnlyTheBytesThatWereRead) {
    reg(0, 16, DIAG_ACCESS_RC, 0x1234);
    EXPECT_EQ(read({0}, 1), Bytes{0x12});
    EXPECT_EQ(read({0}, 2), (Bytes{0x00, 0x34}));
    EXPECT_EQ(read({0}, 2), (Bytes{0x00, 0x00}));
}

TEST_F(ChipTest, ReadsZeroFromWriteOnlyRegistersButTakesWrites) {
    reg_def &kick = reg(0, 8, DIAG_ACCESS_WO, 0x55);
    kick.mask = 0xFF;
    write({0, 0xAA});
    EXPECT_EQ(read({0}, 1), Bytes{0});
}

TEST_F(ChipTest, ReadsAndWritesRegistersOfOtherAccessTypes) {
    reg(0, 8, DIAG_ACCESS_RMW);
    reg(1, 8, DIAG_ACCESS_OTHER);
    write({0, 0x12, 0x34});
    EXPECT_EQ(read({0}, 2), (Bytes{0x12, 0x34}));
}

TEST_F(ChipTest, HasNoBitsOutsideTheMask) {
    reg(0, 8, DIAG_ACCESS_RW, 0xFF).mask = 0x0F;
    EXPECT_EQ(read({0}, 1), Bytes{0x0F});
    write({0, 0xA5});
    EXPECT_EQ(read({0}, 1), Bytes{0x05});
}

TEST_F(ChipTest, TakesAMaskOfZeroForAllBits) {
    reg(0, 8, DIAG_ACCESS_RW, 0xFF).mask = 0;
    EXPECT_EQ(read({0}, 1), Bytes{0xFF});
}

TEST_F(ChipTest, GivesEachBitFieldItsOwnAccess) {
    reg_def &mixed = reg(0, 8, DIAG_ACCESS_RW, 0xFF);
    maker_.field(mixed, 7, 6, DIAG_ACCESS_RO);
    maker_.field(mixed, 5, 4, DIAG_ACCESS_RC);
    maker_.field(mixed, 3, 2, DIAG_ACCESS_WO);
    maker_.field(mixed, 1, 0, DIAG_ACCESS_RW);
    EXPECT_EQ(read({0}, 1), Bytes{0xF3}) << "write-only bits read 0";
    EXPECT_EQ(read({0}, 1), Bytes{0xC3}) << "clear-on-read bits are clear now";
    write({0, 0x00});
    EXPECT_EQ(read({0}, 1), Bytes{0xC0}) << "read-only bits stay";
    write({0, 0x3F});
    EXPECT_EQ(read({0}, 1), Bytes{0xC3}) << "clear-on-read bits are not written";
}

TEST_F(ChipTest, NeverWidensARegisterByItsFields) {
    reg_def &fixed = reg(0, 8, DIAG_ACCESS_RO, 0xA5);
    maker_.field(fixed, 7, 0, DIAG_ACCESS_RW);
    write({0, 0x00});
    EXPECT_EQ(read({0}, 1), Bytes{0xA5});
}

TEST_F(ChipTest, LetsAReadOnlyFieldOutliveReadsOfItsClearOnReadRegister) {
    reg_def &status = reg(0, 8, DIAG_ACCESS_RC, 0xFF);
    maker_.field(status, 7, 4, DIAG_ACCESS_RO);
    read({0}, 1);
    EXPECT_EQ(read({0}, 1), Bytes{0xF0});
}

TEST_F(ChipTest, TakesAFieldWhoseEndsAreExchanged) {
    reg_def &mixed = reg(0, 8, DIAG_ACCESS_RW, 0xFF);
    maker_.field(mixed, 4, 7, DIAG_ACCESS_RO);
    write({0, 0x00});
    EXPECT_EQ(read({0}, 1), Bytes{0xF0});
}

TEST_F(ChipTest, AppliesRightsToEveryUnitOfABlock) {
    reg_def &block = reg(0, 8, DIAG_ACCESS_RW, 0x20);
    block.length = 3;
    block.mask = 0x7F;
    write({0, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(read({0}, 3), (Bytes{0x7F, 0x7F, 0x7F}));
}

TEST_F(ChipTest, ShowsStuckBitsOnReadsOnly) {
    reg(0, 8, DIAG_ACCESS_RW, 0xF0);
    settings_ = R"("chips": {"CHIP": {"registers": {
        "R0": {"stuck_high": "0x01", "stuck_low": "0x80"}}}})";
    EXPECT_EQ(read({0}, 1), Bytes{0x71});
    write({0, 0x00});
    EXPECT_EQ(read({0}, 1), Bytes{0x01});
    write({0, 0xFF});
    EXPECT_EQ(read({0}, 1), Bytes{0x7F});
}

TEST_F(ChipTest, ShowsStuckBitsEvenWhereNothingIsImplemented) {
    reg(0, 16, DIAG_ACCESS_RW).mask = 0x00FF;
    settings_ = R"("chips": {"CHIP": {"registers": {"R0": {"stuck_high": "0x8000"}}}})";
    EXPECT_EQ(read({0}, 2), (Bytes{0x80, 0x00}));
}

}  // namespace
}  // namespace diag::test
