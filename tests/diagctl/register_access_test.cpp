// SPDX-License-Identifier: MIT
#include "diags/diagctl/register_access.h"

#include <memory>

#include "diags/diagctl/register_route.h"
#include "tests/diagctl/diagctl_test.h"
#include "tests/support/fake_tool.h"

namespace diag::diagctl {
namespace {

using Lines = std::vector<std::string>;

class Access : public ::testing::Test {
  protected:
    const Chip &chip(const std::string &name) const { return find_chip(chips_, name); }
    const reg_def &reg(const std::string &chip_name, const std::string &name) const {
        return test::register_named(chip(chip_name), name);
    }
    std::unique_ptr<RegisterRoute> route(const std::string &chip_name,
                                         const std::string &name) const {
        return make_route(chip(chip_name), reg(chip_name, name));
    }
    test::Failure route_failure(const std::string &chip_name, const std::string &name) const {
        return test::failure_of([&] { route(chip_name, name); });
    }

    // The command line of the one reading, without the FIFO's path.
    std::string read_command(const std::string &chip_name, const std::string &name,
                             const std::string &answer) {
        tool_.answers(answer);
        RegisterAccess access(0);
        bytes_ = access.read(chip(chip_name), reg(chip_name, name)).bytes;
        std::string line = tool_.calls().back();
        const std::size_t start = line.find(" --pipe=");
        return line.erase(start, line.find(' ', start + 1) - start);
    }

    Description chips_{test::diagctl_data("good_accesses.xml"), 0};
    test::FakeTool tool_{"i2ctool"};
    std::vector<std::uint8_t> bytes_;
};

TEST_F(Access, ReadsAByteByAShortNumber) {
    EXPECT_EQ(read_command("PUMP", "ID", "\xA5"),
              "--read --bus=/dev/i2c-1 --addr=0x31 --count=1 --width=8 --reg=0x00");
    EXPECT_EQ(bytes_, std::vector<std::uint8_t>{0xA5});
}

TEST_F(Access, ReadsAWordAsAnItemOf16Bits) {
    EXPECT_EQ(read_command("PUMP", "WORD", "\x34\x12"),
              "--read --bus=/dev/i2c-1 --addr=0x31 --count=2 --width=16 --reg=0x10");
}

TEST_F(Access, ReadsADoubleWordByteByByte) {
    EXPECT_EQ(read_command("PUMP", "LONG", "\x12\x34\x56\x78"),
              "--read --bus=/dev/i2c-1 --addr=0x31 --count=4 --width=8 --reg=0x20");
}

TEST_F(Access, ReadsSeveralUnitsAsABlockBehindAShortNumber) {
    EXPECT_EQ(read_command("PUMP", "TABLE", "abcd"),
              "--read --bus=/dev/i2c-1 --addr=0x31 --count=4 --width=8 --regblock=0x60");
}

TEST_F(Access, ReadsByALongNumberInTheChipsByteOrder) {
    EXPECT_EQ(read_command("WIDE", "LONG", "abcd"),
              "--read --bus=/dev/i2c-2 --addr=0x40 --count=4 --width=8 --reg16=0x1234 --reg_le");
    EXPECT_EQ(read_command("WIDE", "WORD", "ab"),
              "--read --bus=/dev/i2c-2 --addr=0x40 --count=2 --width=16 --reg16=0x0100 --reg_le");
    EXPECT_EQ(read_command("WIDE", "LABEL", "abcd"),
              "--read --bus=/dev/i2c-2 --addr=0x40 --count=4 --width=8 --reg16=0x0200 --reg_le");
}

TEST_F(Access, WritesTheBytesThatTheToolExpects) {
    RegisterAccess access(0);
    access.write(chip("PUMP"), reg("PUMP", "CTRL"), 0x5A);
    access.write(chip("PUMP"), reg("PUMP", "WORD"), 0x1234);
    access.write(chip("PUMP"), reg("PUMP", "LONG"), 0x12345678);
    access.write(chip("WIDE"), reg("WIDE", "LONG"), 0x12345678);
    EXPECT_EQ(tool_.calls(),
              (Lines{"--write --bus=/dev/i2c-1 --addr=0x31 --width=8 --reg=0x01 --val=0x5a",
                     "--write --bus=/dev/i2c-1 --addr=0x31 --width=16 --reg=0x10 --val=0x34,0x12",
                     "--write --bus=/dev/i2c-1 --addr=0x31 --width=8 --reg=0x20 "
                     "--val=0x12,0x34,0x56,0x78",
                     "--write --bus=/dev/i2c-2 --addr=0x40 --width=8 --reg16=0x1234 "
                     "--val=0x78,0x56,0x34,0x12 --reg_le"}));
}

TEST_F(Access, SelectsEachMuxInOrderTheDeeperOnesOnTheBusOfTheFirst) {
    RegisterAccess access(0);
    access.select(chip("DEEP"));
    EXPECT_EQ(tool_.calls(),
              (Lines{"--write --bus=/dev/i2c-5 --addr=0x70 --width=8 --reg=0x00 --val=0x04",
                     "--write --bus=/dev/i2c-5 --addr=0x71 --width=8 --reg=0x01 --val=0x08"}));
}

TEST_F(Access, NamesTheMuxThatDoesNotAnswerAndGoesNoFurther) {
    tool_.runs_script("case $* in *0x71*) echo 'i2ctool: no answer' >&2; exit 5;; esac\n");
    RegisterAccess access(0);
    const test::Failure failure = test::failure_of([&] { access.select(chip("DEEP")); });
    EXPECT_EQ(failure.status, kExitAccessFailed);
    EXPECT_EQ(failure.message,
              "mux 2 of 2 (/dev/i2c-5 address 0x71) could not be set: i2ctool: no answer");
}

TEST_F(Access, StopsAtTheFirstMuxThatFails) {
    tool_.answers("", 6);
    RegisterAccess access(0);
    EXPECT_EQ(test::failure_of([&] { access.select(chip("DEEP")); }).message,
              "mux 1 of 2 (/dev/i2c-5 address 0x70) could not be set: i2ctool failed and said "
              "nothing");
    EXPECT_EQ(tool_.calls().size(), 1U);
}

TEST_F(Access, RefusesNumbersThatTheBusWouldCutShort) {
    EXPECT_EQ(route_failure("PUMP", "FAR").status, kExitBadDescription);
    EXPECT_EQ(route_failure("PUMP", "FAR").message,
              "PUMP.FAR: offset 0x100 does not fit the chip's 8-bit register numbers");
    EXPECT_EQ(route_failure("FAR_AWAY", "ID").message,
              "chip \"FAR_AWAY\": address 0x150 does not fit an i2c bus");
    EXPECT_EQ(route_failure("ODD_NUMBERS", "ID").status, kExitBadDescription);
    RegisterAccess access(0);
    EXPECT_EQ(test::failure_of([&] { access.select(chip("WIDE_MUX")); }).message,
              "mux 1 of 1 (/dev/i2c-5 address 0x170) on the way to chip \"WIDE_MUX\": addr 0x170 "
              "does not fit 8 bits");
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(Access, RefusesAnAnswerThatIsTooShort) {
    tool_.answers("\x01");
    RegisterAccess access(0);
    const test::Failure failure =
        test::failure_of([&] { access.read(chip("PUMP"), reg("PUMP", "WORD")); });
    EXPECT_EQ(failure.status, kExitAccessFailed);
    EXPECT_EQ(failure.message, "PUMP.WORD could not be read: i2ctool delivered 1 of 2 bytes");
}

TEST_F(Access, RefusesNoAnswerAtAll) {
    tool_.answers("");
    RegisterAccess access(0);
    EXPECT_EQ(test::failure_of([&] { access.read(chip("PUMP"), reg("PUMP", "ID")); }).message,
              "PUMP.ID could not be read: i2ctool delivered 0 of 1 bytes");
}

TEST_F(Access, TakesWhatWasAskedForFromAToolThatSaysMore) {
    read_command("PUMP", "ID", "\xA5\xFF\xFF");
    EXPECT_EQ(bytes_, std::vector<std::uint8_t>{0xA5});
}

TEST_F(Access, SaysWhatItWouldRead) {
    EXPECT_EQ(route("PUMP", "ID")->text(), "1 byte of register 0x00 at /dev/i2c-1 address 0x31");
    EXPECT_EQ(route("WIDE", "LONG")->text(),
              "4 bytes of register 0x1234 at /dev/i2c-2 address 0x40");
}

}  // namespace
}  // namespace diag::diagctl
