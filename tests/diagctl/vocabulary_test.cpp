// SPDX-License-Identifier: MIT
#include "diags/diagctl/vocabulary.h"

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

device_node node_on(std::int32_t bus_type, std::uint32_t number) {
    device_node node{};
    node.bus_type = bus_type;
    node.bus_no = number;
    return node;
}

TEST(Words, AreThereForEveryKindAndForUnknownOnes) {
    EXPECT_STREQ(chip_type_name(DIAG_CHIP_NVRAM), "NVRAM");
    EXPECT_STREQ(chip_type_name(DIAG_CHIP_OTHER), "other");
    EXPECT_STREQ(bus_kind_name(DIAG_BUS_BMC), "bmc");
    EXPECT_STREQ(bus_kind_name(77), "unknown");
    EXPECT_STREQ(access_name(DIAG_ACCESS_RMW), "RMW");
    EXPECT_STREQ(access_name(DIAG_ACCESS_OTHER), "?");
}

TEST(BusName, IsWhatAToolIsToldWithTheNumberInDecimal) {
    EXPECT_EQ(bus_name(node_on(DIAG_BUS_I2C, 16)), "/dev/i2c-16");
    EXPECT_EQ(bus_name(node_on(DIAG_BUS_BMC, 2)), "bmc-2");
    EXPECT_EQ(bus_name(node_on(DIAG_BUS_MTD, 0)), "mtd-0");
    EXPECT_EQ(bus_name(node_on(DIAG_BUS_LPC, 0)), "lpc");
    EXPECT_EQ(bus_name(node_on(DIAG_BUS_OTHER, 0)), "unknown");
}

TEST(Hex, HasTheDigitsOfTheWidth) {
    EXPECT_EQ(hex(5, 8), "0x05");
    EXPECT_EQ(hex(5, 1), "0x5");
    EXPECT_EQ(hex(5, 12), "0x005");
    EXPECT_EQ(hex(0x1234), "0x1234");
    EXPECT_EQ(hex(1), "0x01");
}

class Roles : public ::testing::Test {
  protected:
    std::vector<std::string> of(const std::string &name) const {
        const Chip &chip = find_chip(chips_, "PUMP");
        std::vector<std::string> labels;
        for (const TestRole &role : test_roles(*chip.node, test::register_named(chip, name))) {
            labels.emplace_back(role.json_name);
        }
        return labels;
    }
    Description chips_{test::diagctl_data("good_test_roles.xml"), 0};
};

TEST_F(Roles, ComeFromTheListsThatARegisterIsOn) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(of("R0"), Names{"interrupt_setup"});
    EXPECT_EQ(of("R1"), Names{"interrupt_status"});
    EXPECT_EQ(of("R4"), Names{"b"});
    EXPECT_EQ(of("R5"), Names{"c"});
    EXPECT_EQ(of("R6"), Names{});
    EXPECT_EQ(of("R7"), (Names{"interrupt_setup", "b"}));
    EXPECT_EQ(of("R8"), Names{});
}

TEST_F(Roles, OfTestAHaveTheModeOfTheChip) {
    EXPECT_EQ(of("R2"), std::vector<std::string>{"a_mode2"});
    EXPECT_EQ(of("R3"), std::vector<std::string>{"a_mode2"});
}

}  // namespace
}  // namespace diag::diagctl
