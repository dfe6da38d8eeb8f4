// SPDX-License-Identifier: MIT
#include "diags/board/sim/builder.h"

#include <algorithm>
#include <gtest/gtest.h>

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
    EXPECT_EQ(image.devices[condition.device].address, 0x70);
    EXPECT_EQ(condition.number, 3);
    EXPECT_EQ(condition.mask, 0x0F);
    EXPECT_EQ(condition.value, 0x05) << "bits outside the mask do not count";
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
