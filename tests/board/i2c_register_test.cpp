// SPDX-License-Identifier: MIT
#include "diags/board/i2c_register.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include "diags/board/pec.h"

namespace diag::board {
namespace {

using Bytes = std::vector<uint8_t>;

// A bus that remembers what was written and answers what the test says.
class RecordingBoard final : public Board {
  public:
    Status i2c_transfer(const I2cTransfer &transfer) override {
        bus = transfer.bus;
        address = transfer.address;
        written.assign(transfer.write.begin(), transfer.write.end());
        has_pec = transfer.write_has_pec;
        std::copy_n(answer.begin(), std::min(answer.size(), transfer.read.size()),
                    transfer.read.begin());
        return status;
    }

    Status status = Status::kOk;
    Bytes answer;
    unsigned bus = 0;
    uint8_t address = 0;
    Bytes written;
    bool has_pec = false;
};

class I2cRegisterTest : public testing::Test {
  protected:
    Bytes read(size_t count) {
        Bytes data(count);
        EXPECT_EQ(read_register(board_, reg_, data), Status::kOk);
        return data;
    }

    Bytes written(const Bytes &data, bool with_pec = false) {
        EXPECT_EQ(write_register(board_, reg_, data, with_pec), Status::kOk);
        return board_.written;
    }

    RecordingBoard board_;
    I2cRegister reg_ = {.bus = 3, .address = 0x50, .number = 0x12};
};

TEST_F(I2cRegisterTest, GoesToTheBusAndAddress) {
    read(1);
    EXPECT_EQ(board_.bus, 3U);
    EXPECT_EQ(board_.address, 0x50);
}

TEST_F(I2cRegisterTest, SendsANarrowNumberAsOneByte) {
    EXPECT_EQ(written({0xAA, 0xBB}), (Bytes{0x12, 0xAA, 0xBB}));
}

TEST_F(I2cRegisterTest, SendsAWideNumberHighByteFirst) {
    reg_.number = 0x1234;
    reg_.number_width = NumberWidth::k16;
    EXPECT_EQ(written({0xAA}), (Bytes{0x12, 0x34, 0xAA}));
    reg_.number = 0x05;
    EXPECT_EQ(written({}), (Bytes{0x00, 0x05}));
}

TEST_F(I2cRegisterTest, SendsAWideNumberLowByteFirstWhenLittleEndian) {
    reg_.number = 0x1234;
    reg_.number_width = NumberWidth::k16;
    reg_.little_endian = true;
    EXPECT_EQ(written({0xAA}), (Bytes{0x34, 0x12, 0xAA}));
}

TEST_F(I2cRegisterTest, SendsWideItemsHighByteFirst) {
    reg_.wide_items = true;
    EXPECT_EQ(written({0x34, 0x12, 0x78, 0x56}), (Bytes{0x12, 0x12, 0x34, 0x56, 0x78}));
    reg_.little_endian = true;
    EXPECT_EQ(written({0x34, 0x12}), (Bytes{0x12, 0x34, 0x12}));
}

TEST_F(I2cRegisterTest, HandsWideItemsBackInHostOrder) {
    board_.answer = {0x12, 0x34, 0x56, 0x78};
    reg_.wide_items = true;
    EXPECT_EQ(read(4), (Bytes{0x34, 0x12, 0x78, 0x56}));
    reg_.little_endian = true;
    EXPECT_EQ(read(4), (Bytes{0x12, 0x34, 0x56, 0x78}));
}

TEST_F(I2cRegisterTest, LeavesNarrowItemsInOrder) {
    board_.answer = {1, 2, 3};
    EXPECT_EQ(read(3), (Bytes{1, 2, 3}));
    reg_.little_endian = true;
    EXPECT_EQ(read(3), (Bytes{1, 2, 3}));
}

TEST_F(I2cRegisterTest, SendsABlockNumberInAsManyBytesAsItNeeds) {
    reg_.number_width = NumberWidth::kBlock;
    reg_.number = 0xFF;
    EXPECT_EQ(written({1}), (Bytes{0xFF, 1}));
    reg_.number = 0x100;
    EXPECT_EQ(written({1}), (Bytes{0x01, 0x00, 1}));
    reg_.little_endian = true;
    EXPECT_EQ(written({1}), (Bytes{0x00, 0x01, 1}));
}

TEST_F(I2cRegisterTest, NeverReordersABlock) {
    reg_.number_width = NumberWidth::kBlock;
    reg_.wide_items = true;
    EXPECT_EQ(written({1, 2, 3}), (Bytes{0x12, 1, 2, 3}));
    EXPECT_EQ(check_register(reg_, 3), RegisterProblem::kNone);
}

TEST_F(I2cRegisterTest, AppendsThePacketErrorCodeOnRequest) {
    EXPECT_EQ(written({0x5A}, true), (Bytes{0x12, 0x5A, write_pec(0x50, Bytes{0x12, 0x5A})}));
    EXPECT_TRUE(board_.has_pec);
    written({0x5A});
    EXPECT_FALSE(board_.has_pec);
}

TEST_F(I2cRegisterTest, PassesTheBusStatusOn) {
    board_.status = Status::kNoAnswer;
    Bytes data = {0xAA, 0xBB};
    reg_.wide_items = true;
    EXPECT_EQ(read_register(board_, reg_, data), Status::kNoAnswer);
    EXPECT_EQ(write_register(board_, reg_, data, false), Status::kNoAnswer);
}

TEST_F(I2cRegisterTest, RefusesANumberThatDoesNotFit) {
    reg_.number = 0x1FF;
    EXPECT_EQ(check_register(reg_, 1), RegisterProblem::kNumberTooLarge);
    reg_.number_width = NumberWidth::k16;
    EXPECT_EQ(check_register(reg_, 1), RegisterProblem::kNone);
    reg_.number = 0x10000;
    EXPECT_EQ(check_register(reg_, 1), RegisterProblem::kNumberTooLarge);
    reg_.number_width = NumberWidth::kBlock;
    EXPECT_EQ(check_register(reg_, 1), RegisterProblem::kNumberTooLarge);
}

TEST_F(I2cRegisterTest, RefusesHalfAnItem) {
    EXPECT_EQ(check_register(reg_, 3), RegisterProblem::kNone);
    reg_.wide_items = true;
    EXPECT_EQ(check_register(reg_, 3), RegisterProblem::kOddCount);
    EXPECT_EQ(check_register(reg_, 4), RegisterProblem::kNone);
}

TEST_F(I2cRegisterTest, TakesAsMuchAsAKernelMessageHolds) {
    reg_.number_width = NumberWidth::k16;
    EXPECT_EQ(check_register(reg_, kMaxI2cData), RegisterProblem::kNone);
    EXPECT_EQ(check_register(reg_, kMaxI2cData + 1), RegisterProblem::kTooMuchData);
    EXPECT_EQ(written(Bytes(kMaxI2cData, 7), true).size(), kMaxI2cMessage);
}

}  // namespace
}  // namespace diag::board
