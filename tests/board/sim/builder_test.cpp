// SPDX-License-Identifier: MIT
#include "diags/board/sim/builder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <tuple>
#include <utility>
#include <vector>

#include "diags/board/sim/board_error.h"
#include "tests/board/sim/tree_maker.h"
#include "tests/support/temporary_folder.h"

namespace diag::board::sim {
namespace {

TEST(Builder, ListsTheChipsInTheOrderOfTheFile) {
    test::TreeMaker maker;
    device_node &deep = maker.chip("DEEP", 1, 0x50);
    maker.mux(deep, "/dev/i2c-1", 0x70, 0, 0, 1);
    maker.chip("NEAR", 1, 0x31);
    maker.chip("ELSEWHERE", 1, 0x32).bus_type = DIAG_BUS_PCI;
    const Builder builder(maker.tree());
    ASSERT_EQ(builder.chips().size(), 3U);
    EXPECT_STREQ(builder.chips()[0].node->name, "DEEP");
    EXPECT_TRUE(builder.chips()[0].device);
    EXPECT_TRUE(builder.chips()[1].device);
    EXPECT_FALSE(builder.chips()[2].device);
}

TEST(Builder, MakesOneDeviceOfAMuxThatManyChipsName) {
    test::TreeMaker maker;
    for (uint8_t n = 0; n < 4; ++n) {
        device_node &chip = maker.chip("C", 1, 0x50);
        maker.mux(chip, "/dev/i2c-1", 0x70, 0, 0, uint32_t{1} << (n / 2));
        maker.mux(chip, "i2c-1", 0x71, 0, 0, uint32_t{1} << (n % 2));
    }
    Builder builder(maker.tree());
    const StateImage image = std::move(builder).finish();
    EXPECT_EQ(image.devices.size(), 4U + 1U + 2U)
        << "the chips, the first mux, one mux behind each of its channels";
}

TEST(Builder, SortsDevicesAndKeepsConditionsPointingAtTheirMuxes) {
    test::TreeMaker maker;
    device_node &chip = maker.chip("C", 1, 0x50);
    maker.mux(chip, "/dev/i2c-9", 0x70, 3, 0x0F, 0x35);
    maker.chip("D", 0, 0x60);
    Builder builder(maker.tree());
    const StateImage image = std::move(builder).finish();
    ASSERT_EQ(image.devices.size(), 3U);
    EXPECT_TRUE(std::ranges::is_sorted(image.devices, {}, &Device::bus));
    ASSERT_EQ(image.conditions.size(), 1U);
    const Condition &condition = image.conditions[0];
    EXPECT_EQ(image.devices[condition.target].first, 0x70U);
    EXPECT_EQ(condition.number, 3U);
    EXPECT_EQ(condition.mask, 0x0F);
    EXPECT_EQ(condition.value, 0x05) << "bits outside the mask do not count";
}

TEST(Builder, LeavesChipsThatNobodyReachesOut) {
    test::TreeMaker maker;
    for (const int32_t bus_type : {DIAG_BUS_IO, DIAG_BUS_MTD, DIAG_BUS_OTHER, DIAG_BUS_PCI}) {
        maker.reg(maker.chip_on("FAR", bus_type, 0, 0), "ODD", 0, 12);
    }
    Builder builder(maker.tree());
    ASSERT_EQ(builder.chips().size(), 4U);
    for (const BuiltChip &chip : builder.chips()) {
        EXPECT_FALSE(chip.device);
    }
    EXPECT_TRUE(std::move(builder).finish().devices.empty());
}

TEST(Builder, SortsDevicesByKindBusAndAddress) {
    test::TreeMaker maker;
    for (const int32_t bus_type :
         {DIAG_BUS_MEM, DIAG_BUS_PCI, DIAG_BUS_LPC, DIAG_BUS_BMC, DIAG_BUS_I2C}) {
        for (const uint32_t address : {0x70U, 0x10U, 0x40U}) {
            for (const uint32_t bus : {2U, 1U}) {
                device_node &chip = maker.chip_on("C", bus_type, bus, address);
                chip.pci_dev = 0;
                chip.pci_func = 0;
                maker.reg(chip, "R", 4);
            }
        }
    }
    const StateImage image = Builder(maker.tree()).finish();
    ASSERT_EQ(image.devices.size(), 30U);
    EXPECT_TRUE(std::ranges::is_sorted(image.devices, {}, [](const Device &device) {
        return std::tuple(device.kind, device.bus, device.first);
    }));
}

TEST(Builder, KnowsHowFarTheDevicesBeforeReach) {
    test::TreeMaker maker;
    const struct {
        uint32_t address;
        uint32_t size;
    } chips[] = {{0x30, 1}, {0x10, 0x18}, {0x00, 4}, {0x18, 2}};
    for (const auto &row : chips) {
        maker.reg(maker.chip_on("C", DIAG_BUS_MEM, 0, row.address), "R", 0).length = row.size;
    }
    maker.reg(maker.chip_on("C", DIAG_BUS_LPC, 0, 0x1000), "R", 0);
    const StateImage image = Builder(maker.tree()).finish();
    std::vector<uint64_t> reaches;
    for (const Device &device : image.devices) {
        reaches.push_back(device.reach);
    }
    EXPECT_EQ(reaches, (std::vector<uint64_t>{0x1001, 4, 0x28, 0x28, 0x31}))
        << "LPC first; then memory, which starts anew";
}

TEST(Builder, MakesOneLineOfAllThatNameIt) {
    test::TreeMaker maker;
    for (uint8_t n = 0; n < 4; ++n) {
        maker.mux(maker.chip("C", 1, 0x50), "gpio", 9, 7U - n / 2U, 0xFF, n % 2U);
    }
    Builder builder(maker.tree());
    builder.line(3, 1).is_high = 1;
    builder.line(9, 7).is_high = 1;
    const StateImage image = std::move(builder).finish();
    ASSERT_EQ(image.lines.size(), 3U);
    EXPECT_EQ(image.lines[0].chip, 3U);
    EXPECT_EQ(image.lines[1].number, 6U);
    EXPECT_EQ(image.lines[2].number, 7U);
    EXPECT_EQ(image.lines[2].is_high, 1U);
    ASSERT_EQ(image.conditions.size(), 4U);
    for (size_t n = 0; n < 4; ++n) {
        EXPECT_EQ(image.conditions[n].kind, ConditionKind::kLine);
        EXPECT_EQ(image.lines[image.conditions[n].target].number, 7U - n / 2U);
        EXPECT_EQ(image.conditions[n].value, n % 2U);
    }
}

TEST(Builder, MakesOneByteOfMemoryOfAllMuxesThatNameIt) {
    test::TreeMaker maker;
    for (uint8_t n = 0; n < 4; ++n) {
        device_node &chip = maker.chip("C", 1, static_cast<uint8_t>(n));
        maker.mux(chip, "gpio", 0, n, 0xFF, 0);
        maker.mux(chip, "mem", 0x8000, 0, 0xFF, n);
    }
    const StateImage image = Builder(maker.tree()).finish();
    EXPECT_EQ(image.devices.size(), 4U + 1U);
}

TEST(StateImage, IsWrittenForItsOwnerAlone) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("state");
    StateImage().write_to(path);
    EXPECT_EQ(std::filesystem::status(path).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(StateImage, NeverTakesOverAFileThatIsThere) {
    const test::TemporaryFolder folder;
    const std::string path = folder.write("state", "something else");
    EXPECT_THROW(StateImage().write_to(path), BoardError);
    EXPECT_EQ(test::read_file(path), "something else");
}

TEST(StateImage, NamesAFileThatCannotBeWritten) {
    const test::TemporaryFolder folder;
    try {
        StateImage().write_to(folder.file("absent/state"));
        FAIL() << "written";
    } catch (const BoardError &error) {
        EXPECT_EQ(error.exit_status(), kExitAccessFailed);
        EXPECT_EQ(error.what(), folder.file("absent/state") + ": No such file or directory");
    }
}

}  // namespace
}  // namespace diag::board::sim
