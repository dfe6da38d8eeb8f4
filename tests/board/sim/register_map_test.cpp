// SPDX-License-Identifier: MIT
#include "diags/board/sim/register_map.h"

#include <gtest/gtest.h>
#include <string>

#include "diags/board/sim/board_error.h"
#include "tests/board/sim/tree_maker.h"

namespace diag::board::sim {
namespace {

class RegisterMapTest : public testing::Test {
  protected:
    RegisterMapTest() : chip_(maker_.chip("CHIP", 1, 0x31)) {}

    reg_def &reg(uint32_t offset, uint32_t size = 8, uint32_t length = 1) {
        reg_def &made = maker_.reg(chip_, "R", offset, size);
        made.length = length;
        return made;
    }

    RegisterMap map() { return RegisterMap(chip_, &cells_); }

    std::string refusal() {
        try {
            map();
        } catch (const BoardError &error) {
            EXPECT_EQ(error.exit_status(), kExitBadDescription);
            return error.what();
        }
        return "accepted";
    }

    test::TreeMaker maker_;
    device_node &chip_;
    std::vector<Cell> cells_;
};

TEST_F(RegisterMapTest, SortsRegistersByNumber) {
    reg(8);
    reg(2);
    reg(4);
    const RegisterMap made = map();
    ASSERT_EQ(made.ranges().size(), 3U);
    EXPECT_EQ(made.ranges()[0].first, 2U);
    EXPECT_EQ(made.ranges()[1].first, 4U);
    EXPECT_EQ(made.ranges()[2].first, 8U);
    EXPECT_EQ(made.registers()[0].definition->offset, 8U) << "in the order of the file";
}

TEST_F(RegisterMapTest, GivesEachUnitACell) {
    reg(0, 16, 4).def_val = 0x1234;
    const RegisterMap made = map();
    ASSERT_EQ(cells_.size(), 4U);
    EXPECT_EQ(cells_[3].value, 0x1234U);
    EXPECT_EQ(made.ranges()[0].count, 8U);
}

TEST_F(RegisterMapTest, TakesALengthOfZeroForOneUnit) {
    reg(0, 8, 0);
    map();
    EXPECT_EQ(cells_.size(), 1U);
}

TEST_F(RegisterMapTest, LetsARegisterDescribedTwiceShareItsCells) {
    reg(4, 16);
    reg(4, 16);
    reg(4, 8);
    const RegisterMap made = map();
    EXPECT_EQ(made.registers()[0].first_cell, made.registers()[1].first_cell);
    EXPECT_NE(made.registers()[0].first_cell, made.registers()[2].first_cell);
}

TEST_F(RegisterMapTest, PrefersTheFirstOfSeveralRegistersAtOneNumber) {
    reg(4, 8).def_val = 0x11;
    reg(4, 16).def_val = 0x2233;
    const RegisterMap made = map();
    ASSERT_EQ(made.ranges().size(), 2U);
    EXPECT_EQ(made.ranges()[0].count, 1U);
    EXPECT_EQ(made.ranges()[0].unit_bytes, 1);
    EXPECT_EQ(made.ranges()[1].first, 5U);
    EXPECT_EQ(made.ranges()[1].skip, 1U) << "the low byte of the wide one";
}

TEST_F(RegisterMapTest, NeverLetsRangesOverlap) {
    reg(0, 8, 64);
    reg(8, 8, 16);
    reg(12, 32);
    reg(13, 8);
    reg(14, 16, 3);
    reg(60, 8, 8);
    uint32_t end = 0;
    const RegisterMap made = map();
    for (const Range &range : made.ranges()) {
        EXPECT_GE(range.first, end);
        EXPECT_GT(range.count, 0U);
        end = range.first + range.count;
    }
    EXPECT_EQ(end, 68U);
}

TEST_F(RegisterMapTest, PassesOverNumbersThatNoTransferCanName) {
    reg(0x10000);
    reg(0xFFFFFFFF, 32);
    EXPECT_TRUE(map().ranges().empty());
    EXPECT_EQ(map().registers().size(), 2U);
}

TEST_F(RegisterMapTest, IsFastForManyRegisters) {
    for (uint32_t n = 0; n < 50'000; ++n) {
        reg(n);
    }
    EXPECT_EQ(map().ranges().size(), 50'000U);
}

TEST_F(RegisterMapTest, RefusesSizesThatAreNoWholeBytes) {
    reg(0, 12);
    EXPECT_EQ(refusal(), "chip CHIP, register R: a size of 12 bits cannot be simulated");
}

TEST_F(RegisterMapTest, RefusesSizesOutOfRange) {
    reg_def &odd = reg(0, 0);
    EXPECT_NE(refusal().find("a size of 0 bits"), std::string::npos);
    odd.size = 64;
    EXPECT_NE(refusal().find("a size of 64 bits"), std::string::npos);
}

TEST_F(RegisterMapTest, RefusesALengthThatNoRegisterSpaceHolds) {
    reg(0, 8, 0x10000);
    EXPECT_EQ(refusal(), "accepted");
    reg(0, 16, 0x8001);
    EXPECT_NE(refusal().find("a length of 32769 units"), std::string::npos);
}

TEST_F(RegisterMapTest, CountsBytesOnBusesThatAddressBytes) {
    for (const int32_t bus_type : {DIAG_BUS_LPC, DIAG_BUS_PCI, DIAG_BUS_MEM}) {
        const Numbering numbering = numbering_of(test::TreeMaker().chip_on("C", bus_type, 0, 0));
        EXPECT_TRUE(numbering.little_endian);
        EXPECT_FALSE(numbering.may_count_units);
        EXPECT_GT(numbering.highest, 0xFFFFU);
    }
    chip_.bus_type = DIAG_BUS_MEM;
    reg(0, 16);
    reg(1, 16);
    const RegisterMap made = map();
    ASSERT_EQ(made.ranges().size(), 2U);
    EXPECT_EQ(made.ranges()[0].count, 1U);
    EXPECT_EQ(made.ranges()[0].flags, kRangeLittleEndian);
    EXPECT_EQ(made.ranges()[1].first, 1U);
    EXPECT_EQ(made.ranges()[1].count, 2U);
}

TEST_F(RegisterMapTest, HasLargeRegistersAndNumbersOnBusesThatAddressBytes) {
    chip_.bus_type = DIAG_BUS_MEM;
    reg(0x12345678, 32, 0x10000);
    EXPECT_EQ(map().ranges().at(0).first, 0x12345678U);
    reg(0xFFFFFFFC, 32);
    EXPECT_EQ(map().ranges().size(), 1U) << "the last byte there could be is left out";
    reg(0, 8, 1024 * 1024 + 1);
    EXPECT_NE(refusal().find("a length of 1048577 units is too much"), std::string::npos);
}

}  // namespace
}  // namespace diag::board::sim
