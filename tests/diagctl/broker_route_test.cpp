// SPDX-License-Identifier: MIT
#include "diags/diagctl/broker_route.h"

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

class BrokerRouteTest : public ::testing::Test {
  protected:
    BrokerRoute route() const { return {Chip{&node_, "CHIP"}, reg_}; }

    void on_bus(std::int32_t bus_type) { node_.bus_type = bus_type; }
    void reg(std::uint32_t offset, std::uint32_t size, std::uint32_t length = 1) {
        reg_.offset = offset;
        reg_.size = size;
        reg_.length = length;
    }

    char id_[64] = "7-1.9";
    char name_[64] = "A CHIP";
    device_node node_ = [this] {
        device_node node{};
        node.dev_id = id_;
        node.name = name_;
        node.bus_type = DIAG_BUS_I2C;
        node.bus_no = 1;
        node.address = 0x30;
        node.offset_len = 8;
        return node;
    }();
    reg_def reg_{};

    BrokerRouteTest() { reg(0x10, 8); }
};

TEST_F(BrokerRouteTest, NamesTheDeviceByItsId) {
    EXPECT_EQ(route().device(), "7-1.9");
    node_.dev_id = nullptr;
    EXPECT_EQ(route().device(), "A CHIP");
    id_[0] = '\0';
    node_.dev_id = id_;
    EXPECT_EQ(route().device(), "A CHIP");
}

TEST_F(BrokerRouteTest, RefusesAChipThatNoRequestCanName) {
    node_.dev_id = nullptr;
    node_.name = nullptr;
    EXPECT_EQ(test::failure_of([&] { route(); }).status, 3);
    const std::string longest(32, 'x');
    std::snprintf(name_, sizeof name_, "%s", longest.c_str());
    node_.name = name_;
    EXPECT_EQ(route().device(), longest);
    std::snprintf(name_, sizeof name_, "%sy", longest.c_str());
    EXPECT_EQ(test::failure_of([&] { route(); }).status, 3);
}

// On the wire, an I2C register has its most significant byte first unless the chip turns it round.
TEST_F(BrokerRouteTest, HasTheBytesOfAnI2cRegisterAsTheyAreOnTheWire) {
    reg(0x10, 16);
    for (const std::int32_t bus : {DIAG_BUS_I2C, DIAG_BUS_BMC}) {
        on_bus(bus);
        node_.reg_le = 0;
        EXPECT_EQ(route().order(), ByteOrder::kHighFirst);
        node_.reg_le = 1;
        EXPECT_EQ(route().order(), ByteOrder::kLowFirst);
        EXPECT_EQ(route().access(broker::kLast).width, 8);
        EXPECT_EQ(route().count(), 2U);
    }
}

TEST_F(BrokerRouteTest, HasItemsAsWideAsTheBusIsAskedForThem) {
    reg(0x10, 32);
    node_.pci_dev = 3;
    const struct {
        std::int32_t bus;
        int width;
    } kRows[] = {{DIAG_BUS_LPC, 8}, {DIAG_BUS_PCI, 32}, {DIAG_BUS_MEM, 32}};
    for (const auto &row : kRows) {
        on_bus(row.bus);
        EXPECT_EQ(route().access(broker::kFirst).width, row.width);
        EXPECT_EQ(route().order(), ByteOrder::kLowFirst);
        EXPECT_EQ(route().access(broker::kFirst).address, 0x10U)
            << "the broker adds the chip's own address";
        EXPECT_EQ(route().access(broker::kFirst).indication, broker::kFirst);
    }
}

TEST_F(BrokerRouteTest, ChecksTheNumbersAsTheToolsAre) {
    reg(0x100, 8);
    EXPECT_EQ(test::failure_of([&] { route(); }).status, 3) << "no 8-bit register number";
    on_bus(DIAG_BUS_IO);
    EXPECT_EQ(test::failure_of([&] { route(); }).status, 5);
}

TEST_F(BrokerRouteTest, IsOneAccessWhenItFits) {
    reg(0x10, 8, 1900);
    const auto pieces = route().pieces(broker::kMaxReadBytes);
    ASSERT_EQ(pieces.size(), 1U);
    EXPECT_EQ(pieces[0].size, 1900U);
    EXPECT_EQ(pieces[0].access.indication, broker::kLast);
}

TEST_F(BrokerRouteTest, HasPiecesOfWholeItemsInOneTransaction) {
    on_bus(DIAG_BUS_MEM);
    reg(0x10, 32, 1000);
    const auto pieces = route().pieces(1902);
    ASSERT_EQ(pieces.size(), 3U);
    EXPECT_EQ(pieces[0].size, 1900U);
    EXPECT_EQ(pieces[1].begin, 1900U);
    EXPECT_EQ(pieces[1].access.address, 0x10U + 1900);
    EXPECT_EQ(pieces[2].size, 200U);
    EXPECT_EQ(pieces[0].access.indication, broker::kFirst);
    EXPECT_EQ(pieces[1].access.indication, broker::kNext);
    EXPECT_EQ(pieces[2].access.indication, broker::kLast);
}

TEST_F(BrokerRouteTest, DoesNotCutAnI2cTransfer) {
    reg(0x10, 8, 1901);
    const test::Failure failure = test::failure_of([&] { route(); });
    EXPECT_EQ(failure.status, 3);
    EXPECT_NE(failure.message.find("1901 bytes"), std::string::npos) << failure.message;
}

}  // namespace
}  // namespace diag::diagctl
