// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/reservation.h"

#include <gtest/gtest.h>

#include "tests/board/sim/tree_maker.h"

namespace diag::daemon {
namespace {

using broker::Outcome;

class ReservationTest : public testing::Test {
  protected:
    ReservationTest() {
        maker_.chip("CPLD", 1, 0x31).dev_id = const_cast<char *>("2");
        maker_.reg(maker_.chip_on("PLD", DIAG_BUS_LPC, 0, 0x300), "LAST", 0x1F);
        maker_.chip("TWIN", 1, 0x40).dev_id = const_cast<char *>("3");
        maker_.chip("TWIN", 1, 0x41).dev_id = const_cast<char *>("4");
        directory_ = Directory(maker_.tree());
    }

    ReservedPlace selected(uint32_t a, uint32_t b, uint32_t c, const std::string &id = "") const {
        return place_of(
            {.by_index = true, .selector_a = a, .selector_b = b, .selector_c = c, .asset = {}}, id,
            directory_);
    }
    ReservedPlace asset(const std::string &name, const std::string &id = "") const {
        return place_of({.asset = name}, id, directory_);
    }

    test::TreeMaker maker_;
    Directory directory_;
};

TEST_F(ReservationTest, BySelectorsKnowsEachKindOfBus) {
    EXPECT_EQ(selected(0, 3, 0x1F << 3 | 7).footprint, directory_.find("pci:03:1f.7")->whole());
    EXPECT_EQ(selected(1, 0, 0).footprint, directory_.find("lpc")->whole());
    EXPECT_EQ(selected(2, 9, 9).footprint, directory_.find("mem")->whole());
    EXPECT_EQ(selected(3, 2, 17).footprint, directory_.find("gpio:2")->footprint(17, 1));
    EXPECT_EQ(selected(4, 3, 0x50).footprint, directory_.find("i2c:3:50")->whole());
}

TEST_F(ReservationTest, OfI2cAddressZeroIsOfTheWholeBus) {
    const Footprint bus = selected(4, 1, 0).footprint;
    EXPECT_TRUE(bus.overlaps(directory_.find("2")->whole()));
    EXPECT_TRUE(bus.overlaps(directory_.find("i2c:1:7f")->whole()));
    EXPECT_FALSE(bus.overlaps(directory_.find("i2c:2:31")->whole()));
}

TEST_F(ReservationTest, RefusesSelectorsOfNothing) {
    EXPECT_EQ(selected(5, 0, 0).outcome, Outcome::kInvalidRequest);
    EXPECT_EQ(selected(4, 1, 0x80).outcome, Outcome::kUnknownDevice);
}

TEST_F(ReservationTest, ByAssetTakesIdsRawIdsAndNames) {
    EXPECT_EQ(asset("2").footprint, directory_.find("2")->whole());
    EXPECT_EQ(asset("CPLD").footprint, directory_.find("2")->whole());
    EXPECT_EQ(asset("i2c:1:31").footprint, directory_.find("2")->whole());
    EXPECT_EQ(asset("PLD").footprint, (Footprint{BusKind::kLpc, 0, 0x300, 0x320}));
}

TEST_F(ReservationTest, RefusesAnAssetThatIsNoneOrSeveral) {
    EXPECT_EQ(asset("nothing").outcome, Outcome::kUnknownDevice);
    EXPECT_EQ(asset("TWIN").outcome, Outcome::kUnknownDevice);
    EXPECT_EQ(asset("busbroker").outcome, Outcome::kUnknownDevice);
}

TEST_F(ReservationTest, TakesADeviceIdThatSaysTheSame) {
    EXPECT_EQ(asset("CPLD", "2").outcome, Outcome::kSuccess);
    EXPECT_EQ(asset("2", "i2c:1:31").outcome, Outcome::kSuccess);
    EXPECT_EQ(selected(4, 1, 0x31, "2").outcome, Outcome::kSuccess);
    EXPECT_EQ(selected(4, 1, 0, "2").outcome, Outcome::kSuccess);
    EXPECT_EQ(selected(1, 0, 0, "PLD").outcome, Outcome::kSuccess);
}

TEST_F(ReservationTest, RefusesADeviceIdThatSaysSomethingElse) {
    EXPECT_EQ(asset("CPLD", "3").outcome, Outcome::kInvalidRequest);
    EXPECT_EQ(asset("CPLD", "nothing").outcome, Outcome::kInvalidRequest);
    EXPECT_EQ(selected(4, 1, 0x32, "2").outcome, Outcome::kInvalidRequest);
    EXPECT_EQ(selected(4, 2, 0, "2").outcome, Outcome::kInvalidRequest);
    EXPECT_EQ(asset("PLD", "lpc").outcome, Outcome::kInvalidRequest);
}

}  // namespace
}  // namespace diag::daemon
