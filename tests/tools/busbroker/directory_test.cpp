// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/directory.h"

#include <gtest/gtest.h>

#include "diags/tools/busbroker/description.h"
#include "tests/board/sim/tree_maker.h"

namespace diag::daemon {
namespace {

using test::TreeMaker;

class DirectoryTest : public testing::Test {
  protected:
    device_node &chip(const std::string &name, int32_t bus_type, uint32_t bus, uint32_t address,
                      const char *id = nullptr) {
        device_node &node = maker_.chip_on(name, bus_type, bus, address);
        node.dev_id = const_cast<char *>(id);
        return node;
    }
    Directory directory() const { return Directory(maker_.tree()); }

    // The only problem of the description.
    std::string problem() const {
        const std::vector<std::string> problems = directory().problems();
        EXPECT_EQ(problems.size(), 1U);
        return problems.empty() ? std::string("none") : problems.front();
    }

    TreeMaker maker_;
};

TEST_F(DirectoryTest, NamesAChipByItsDeviceId) {
    chip("CPLD", DIAG_BUS_I2C, 1, 0x31, "2");
    const Directory made = directory();
    ASSERT_NE(made.find("2"), nullptr);
    EXPECT_EQ(made.find("2")->id, "2");
    EXPECT_EQ(made.find("2")->address, 0x31);
    EXPECT_EQ(made.find("CPLD"), nullptr) << "its name is not its id";
    EXPECT_EQ(made.find_asset("CPLD"), made.find("2"));
    EXPECT_EQ(made.find("3"), nullptr);
    EXPECT_TRUE(made.problems().empty());
}

TEST_F(DirectoryTest, NamesAChipWithoutADeviceIdByItsName) {
    chip("CPLD", DIAG_BUS_I2C, 1, 0x31);
    chip("FPGA", DIAG_BUS_I2C, 1, 0x32, "");
    EXPECT_NE(directory().find("CPLD"), nullptr);
    EXPECT_NE(directory().find("FPGA"), nullptr);
    EXPECT_EQ(directory().size(), 2U);
}

TEST_F(DirectoryTest, KnowsRawPlaces) {
    const Directory made;
    ASSERT_NE(made.find("i2c:3:50"), nullptr);
    EXPECT_EQ(made.find("i2c:3:50")->register_bits, 8U);
    EXPECT_EQ(made.find("i2c16:3:50")->register_bits, 16U);
    EXPECT_EQ(made.find("pci:03:1f.7")->function.device, 0x1FU);
    EXPECT_EQ(made.find("gpio:2")->kind, BusKind::kGpio);
    EXPECT_EQ(made.find_asset("mem")->kind, BusKind::kMemory);
    EXPECT_EQ(made.find("i2c:3"), nullptr);
}

TEST_F(DirectoryTest, RefusesAnIdOfSeveralChips) {
    chip("A", DIAG_BUS_I2C, 1, 0x31, "2");
    chip("B", DIAG_BUS_I2C, 1, 0x32, "2");
    chip("C", DIAG_BUS_I2C, 1, 0x33, "2");
    EXPECT_EQ(directory().find("2"), nullptr);
    EXPECT_EQ(directory().size(), 0U);
    EXPECT_EQ(problem(), "id \"2\": several chips have it");
}

TEST_F(DirectoryTest, RefusesANameOfSeveralChipsAsAnAsset) {
    chip("OPTIC", DIAG_BUS_I2C, 1, 0x31, "2");
    chip("OPTIC", DIAG_BUS_I2C, 1, 0x32, "3");
    EXPECT_EQ(directory().find_asset("OPTIC"), nullptr);
    EXPECT_NE(directory().find_asset("3"), nullptr);
}

TEST_F(DirectoryTest, RefusesAnAssetThatIsTheIdOfOneChipAndTheNameOfAnother) {
    chip("A", DIAG_BUS_I2C, 1, 0x31, "B");
    chip("B", DIAG_BUS_I2C, 1, 0x32, "2");
    EXPECT_EQ(directory().find_asset("B"), nullptr);
    EXPECT_NE(directory().find("B"), nullptr) << "as an id it is one chip's";
    EXPECT_NE(directory().find_asset("A"), nullptr);
    EXPECT_NE(directory().find_asset("2"), nullptr);
}

TEST_F(DirectoryTest, RefusesAnAssetThatSharesItsNameWithAChipThatIsNotServed) {
    chip("A", DIAG_BUS_I2C, 1, 0x31, "2");
    chip("A", DIAG_BUS_MTD, 0, 0, "3");
    EXPECT_EQ(directory().find_asset("A"), nullptr);
    EXPECT_EQ(directory().find_asset("3"), nullptr);
    EXPECT_NE(directory().find_asset("2"), nullptr);
}

TEST_F(DirectoryTest, RefusesALongId) {
    const std::string id(33, 'x');
    chip("A", DIAG_BUS_I2C, 1, 0x31, id.c_str());
    EXPECT_EQ(problem(), "chip \"A\": its id has 33 characters, a request has room for 32");
}

TEST_F(DirectoryTest, RefusesAnIdThatMeansSomethingElse) {
    chip("A", DIAG_BUS_I2C, 1, 0x31, "busbroker");
    chip("lpc", DIAG_BUS_I2C, 1, 0x32);
    EXPECT_EQ(directory().problems().size(), 2U);
    EXPECT_EQ(directory().find("lpc")->kind, BusKind::kLpc);
}

TEST_F(DirectoryTest, RefusesAnIdWithStrangeCharacters) {
    chip("A", DIAG_BUS_I2C, 1, 0x31, "a\tb");
    EXPECT_EQ(problem(), "chip \"A\": its id has characters that cannot be in a request");
}

TEST_F(DirectoryTest, RefusesAChipWithoutIdAndName) {
    chip("", DIAG_BUS_I2C, 1, 0x31);
    EXPECT_EQ(problem(), "chip 1: it has neither a device id nor a name");
}

TEST_F(DirectoryTest, RefusesChipsOnBusesThatNobodyReaches) {
    for (const int32_t bus_type : {DIAG_BUS_IO, DIAG_BUS_MTD, DIAG_BUS_OTHER}) {
        chip("CHIP" + std::to_string(bus_type), bus_type, 0, 0);
    }
    EXPECT_EQ(directory().problems().size(), 3U);
    EXPECT_EQ(directory().size(), 0U);
}

TEST_F(DirectoryTest, RefusesNumbersThatTheBusCannotCarry) {
    chip("I2C", DIAG_BUS_I2C, 1, 0x100);
    chip("WIDTH", DIAG_BUS_I2C, 1, 0x31).offset_len = 12;
    chip("BMC", DIAG_BUS_BMC, 256, 0x31);
    chip("PCI", DIAG_BUS_PCI, 1, 0).pci_dev = -1;
    EXPECT_EQ(directory().problems().size(), 4U);
}

TEST_F(DirectoryTest, RefusesAChipBehindAMuxThatNobodySets) {
    maker_.mux(chip("A", DIAG_BUS_I2C, 1, 0x31), "spi-1", 1, 0, 0, 0);
    EXPECT_EQ(problem(), "chip \"A\": mux 1 on its way: nobody reaches bus \"spi-1\"");
}

TEST_F(DirectoryTest, RefusesAMuxWhoseNumbersDoNotFit) {
    maker_.mux(chip("A", DIAG_BUS_I2C, 1, 0x31), "/dev/i2c-1", 0x70, 0, 0xFF, 0x100);
    EXPECT_EQ(problem(), "chip \"A\": mux 1 on its way: a number does not fit its kind of mux");
}

TEST_F(DirectoryTest, TakesDeeperMuxesToBeOnTheBusOfTheFirst) {
    device_node &node = chip("A", DIAG_BUS_I2C, 1, 0x31);
    maker_.mux(node, "/dev/i2c-5", 0x70, 0, 0xFF, 1);
    maker_.mux(node, nullptr, 0x71, 0, 0xFF, 2);
    const MuxPath path = directory().find("A")->muxes;
    ASSERT_EQ(path.size(), 2U);
    EXPECT_EQ(path[1].bus, 5U);
    EXPECT_EQ(path[1].address, 0x71U);
}

TEST_F(DirectoryTest, CoversAChipsBytesUpToItsLastRegister) {
    device_node &node = chip("PLD", DIAG_BUS_LPC, 0, 0x300);
    maker_.reg(node, "LAST", 0x10, 32).length = 2;
    maker_.reg(node, "FIRST", 0);
    const DevicePointer device = directory().find("PLD");
    EXPECT_EQ(device->whole(), (Footprint{BusKind::kLpc, 0, 0x300, 0x318}));
    EXPECT_EQ(device->footprint(4, 1), device->whole());
    EXPECT_EQ(device->footprint(0x20, 2), (Footprint{BusKind::kLpc, 0, 0x300, 0x322}));
}

TEST_F(DirectoryTest, CoversOneByteOfAChipWithoutRegisters) {
    chip("PORT", DIAG_BUS_LPC, 0, 0x80);
    chip("CELL", DIAG_BUS_MEM, 0, 0x1000);
    EXPECT_EQ(directory().find("PORT")->whole(), (Footprint{BusKind::kLpc, 0, 0x80, 0x81}));
    EXPECT_EQ(directory().find("CELL")->whole(), (Footprint{BusKind::kMemory, 0, 0x1000, 0x1001}));
}

TEST_F(DirectoryTest, CoversTheBytesAccessedOfARawPlace) {
    const Directory made;
    EXPECT_EQ(made.find("mem")->footprint(0x100, 8),
              (Footprint{BusKind::kMemory, 0, 0x100, 0x108}));
    EXPECT_EQ(made.find("mem")->whole(), (Footprint{BusKind::kMemory, 0, 0, kEndOfBus}));
    EXPECT_EQ(made.find("gpio:3")->footprint(7, 1), (Footprint{BusKind::kGpio, 3, 7, 8}));
    EXPECT_EQ(made.find("gpio:3")->whole(), (Footprint{BusKind::kGpio, 3, 0, kEndOfBus}));
    EXPECT_EQ(made.find("i2c:3:50")->whole(), (Footprint{BusKind::kI2c, 3, 0x50, 0x51}));
    EXPECT_EQ(made.find("pci:1:2.3")->whole(), made.find("pci:1:2.3")->footprint(0x40, 4));
    EXPECT_FALSE(made.find("pci:1:2.3")->whole().overlaps(made.find("pci:1:2.4")->whole()));
}

TEST_F(DirectoryTest, GivesADescribedChipForItsPlace) {
    chip("CPLD", DIAG_BUS_I2C, 1, 0x31, "2");
    chip("FPGA", DIAG_BUS_I2C, 1, 0x32, "3").offset_len = 16;
    EXPECT_EQ(directory().dynamic_id({1, 0x31, false}), "2");
    EXPECT_EQ(directory().dynamic_id({1, 0x32, true}), "3");
}

TEST_F(DirectoryTest, GivesARawIdWhereTheChipWouldNotDo) {
    chip("CPLD", DIAG_BUS_I2C, 1, 0x31, "2");
    chip("BMC", DIAG_BUS_BMC, 1, 0x33, "3");
    maker_.mux(chip("HIDDEN", DIAG_BUS_I2C, 1, 0x34, "4"), "/dev/i2c-1", 0x70, 0, 0xFF, 1);
    chip("ONE", DIAG_BUS_I2C, 1, 0x35, "5");
    chip("TWO", DIAG_BUS_I2C, 1, 0x35, "6");
    EXPECT_EQ(directory().dynamic_id({1, 0x31, true}), "i2c16:1:31") << "another register width";
    EXPECT_EQ(directory().dynamic_id({1, 0x33, false}), "i2c:1:33") << "not the host's bus";
    EXPECT_EQ(directory().dynamic_id({1, 0x34, false}), "i2c:1:34") << "behind a mux";
    EXPECT_EQ(directory().dynamic_id({1, 0x35, false}), "i2c:1:35") << "several";
    EXPECT_EQ(directory().dynamic_id({0xFF, 0x7F, false}), "i2c:ff:7f") << "nothing described";
}

TEST_F(DirectoryTest, CountsChipsWhoseIdIsSharedAmongThoseOfAPlace) {
    chip("A", DIAG_BUS_I2C, 1, 0x31, "2");
    chip("B", DIAG_BUS_I2C, 1, 0x31, "shared");
    chip("C", DIAG_BUS_I2C, 1, 0x32, "shared");
    EXPECT_EQ(directory().dynamic_id({1, 0x31, false}), "i2c:1:31") << "two stand there";
    EXPECT_EQ(directory().dynamic_id({1, 0x32, false}), "i2c:1:32") << "its id names nothing";
}

TEST_F(DirectoryTest, GivesNoIdForAnAddressThatCannotBe) {
    chip("WIDE", DIAG_BUS_I2C, 1, 0x81, "2");
    EXPECT_EQ(directory().dynamic_id({1, 0x80, false}), "");
    EXPECT_EQ(directory().dynamic_id({1, 0x81, false}), "") << "described all the same";
}

TEST(DirectoryOfExample, HasEveryChipOfTheXmlForm) {
    const Description description(DIAG_SOURCE_DIR "/examples/boards/edge_router.xml");
    const Directory directory(description.tree());
    EXPECT_TRUE(directory.problems().empty());
    EXPECT_EQ(directory.size(), 11U);
    ASSERT_NE(directory.find("9-2.10-1.13"), nullptr);
    EXPECT_EQ(directory.find("9-2.10-1.13")->muxes.size(), 2U);
    EXPECT_EQ(directory.find_asset("QSFP 3"), directory.find("9-2.10-1.13"));
    ASSERT_TRUE(description.address());
    EXPECT_EQ(description.address()->text(), "127.0.0.1:7811");
}

TEST(DirectoryOfExample, HasEveryChipOfTheTextForm) {
    const Description description(DIAG_SOURCE_DIR "/examples/boards/edge_router.txt");
    const Directory directory(description.tree());
    EXPECT_TRUE(directory.problems().empty());
    EXPECT_EQ(directory.size(), 9U);
    EXPECT_NE(directory.find("QSFP 4"), nullptr);
    EXPECT_FALSE(description.address());
}

TEST(DirectoryOfTestDescription, TellsWhatIsOutOfReach) {
    const Description description(DIAG_SOURCE_DIR "/tests/data/diagctl/good_unreachable.txt");
    EXPECT_FALSE(Directory(description.tree()).problems().empty());
}

}  // namespace
}  // namespace diag::daemon
