// SPDX-License-Identifier: MIT
#include "diags/diagctl/broker_failure.h"

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

TEST(BrokerToolName, IsItsProgramsOrItsNumber) {
    EXPECT_EQ(broker_tool_name(1), "i2ctool");
    EXPECT_EQ(broker_tool_name(6), "diagctl");
    EXPECT_EQ(broker_tool_name(16), "tool 16");
}

class HolderTest : public ::testing::Test {
  protected:
    static constexpr std::uint32_t kOwn = 5;

    // A status in which one client holds that.
    static Json status(const std::string &footprint, std::uint32_t instance = 9) {
        return {{"clients",
                 {{{"address", "127.0.0.1:4711"},
                   {"tool", 1},
                   {"instance", instance},
                   {"holds", {{{"footprint", footprint}}}}}}}};
    }
    bool is_held(const std::string &footprint) const {
        return !holder_of(chip_, status(footprint), kOwn).empty();
    }

    device_node node_{};
    reg_def reg_{};
    reg_list list_{&reg_, 1, nullptr};
    Chip chip_{&node_, "CHIP"};

    HolderTest() {
        node_.bus_no = 3;
        node_.address = 0x50;
        node_.reg_list = &list_;
        reg_.offset = 0x10;
        reg_.size = 32;
        reg_.length = 1;
    }
};

TEST_F(HolderTest, IsTheClientWithAHoldOnTheDevice) {
    EXPECT_EQ(holder_of(chip_, status("i2c 3 0x50"), kOwn),
              "i2ctool at 127.0.0.1:4711, instance 9");
    EXPECT_EQ(holder_of(chip_, status("i2c 3 0x50", kOwn), kOwn), "") << "that is ourselves";
    EXPECT_EQ(holder_of(chip_, Json::object(), kOwn), "");
    EXPECT_EQ(holder_of(chip_, {{"clients", Json::array()}}, kOwn), "");
}

TEST_F(HolderTest, MayHaveTheWholeBus) {
    EXPECT_TRUE(is_held("i2c 3"));
    EXPECT_FALSE(is_held("i2c 4"));
    EXPECT_FALSE(is_held("i2c 3 0x51"));
    EXPECT_FALSE(is_held("bmc 3 0x50"));
    node_.bus_type = DIAG_BUS_BMC;
    EXPECT_TRUE(is_held("bmc 3 0x50"));
}

TEST_F(HolderTest, MayHaveSomeOfTheBytes) {
    node_.address = 0x200;  // up to 0x213
    for (const auto &[bus, name] : {std::pair(DIAG_BUS_LPC, "lpc"), {DIAG_BUS_MEM, "mem"}}) {
        node_.bus_type = bus;
        const std::string noun = name;
        EXPECT_TRUE(is_held(noun));
        EXPECT_TRUE(is_held(noun + " 0x213"));
        EXPECT_TRUE(is_held(noun + " 0x100-0x200"));
        EXPECT_TRUE(is_held(noun + " 0x100-0x300"));
        EXPECT_FALSE(is_held(noun + " 0x214"));
        EXPECT_FALSE(is_held(noun + " 0x100-0x1ff"));
        EXPECT_FALSE(is_held("pci 00:00.0"));
    }
}

TEST_F(HolderTest, HasAPciFunctionAsAWhole) {
    node_.bus_type = DIAG_BUS_PCI;
    node_.pci_dev = 0x1F;
    node_.pci_func = 7;
    EXPECT_TRUE(is_held("pci 03:1f.7"));
    EXPECT_FALSE(is_held("pci 03:1f.6"));
}

}  // namespace
}  // namespace diag::diagctl
