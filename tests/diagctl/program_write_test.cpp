// SPDX-License-Identifier: MIT
// Writing: to the simulated board, and in dry runs.
#include "tests/diagctl/diagctl_test.h"
#include "tests/support/fake_tool.h"

namespace diag::test {
namespace {

class Writing : public DiagctlTest {
  protected:
    ProgramResult write(const std::string &target, const std::string &value) const {
        return on_board({"write", example(), target, value});
    }
    std::string value_of(const std::string &target) const {
        const std::string text = on_board({"read", example(), target}).output;
        const std::size_t start = text.find(" = ") + 3;
        return text.substr(start, text.find_first_of(" \n", start) - start);
    }
};

TEST_F(Writing, WritesAWholeRegisterAndReadsItBack) {
    const ProgramResult result = write("SYS_CPLD.SCRATCH", "0x5a");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, "SYS_CPLD.SCRATCH = 0x5a; read back and compared, bits 0xff\n");
    EXPECT_EQ(value_of("SYS_CPLD.SCRATCH"), "0x5a");
    EXPECT_TRUE(left_nothing_behind());
}

TEST_F(Writing, WritesAFieldAndKeepsTheOthers) {
    const ProgramResult result = write("SYS_CPLD.LED_CTRL.FAN_LED", "Amber");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output,
              "SYS_CPLD.LED_CTRL.FAN_LED = 0x2 (amber), register 0x21; read back and compared, "
              "bits 0xff\n");
    EXPECT_EQ(value_of("SYS_CPLD.LED_CTRL"), "0x21");
    EXPECT_EQ(write("SYS_CPLD.LED_CTRL.7", "1").status, 0);
    EXPECT_EQ(value_of("SYS_CPLD.LED_CTRL"), "0xa1");
}

TEST_F(Writing, WritesWideRegistersInEitherByteOrder) {
    EXPECT_EQ(write("MAIN_FPGA.SCRATCH", "0x1234").status, 0);
    EXPECT_EQ(value_of("MAIN_FPGA.SCRATCH"), "0x1234");
    EXPECT_EQ(write("MAIN_FPGA.CONTROL.LANE_ENABLE", "0xa").status, 0);
    EXPECT_EQ(value_of("MAIN_FPGA.CONTROL"), "0x000a0001");
    EXPECT_EQ(write("CLOCK_FPGA.DIVIDER", "0x00020003").status, 0);
    EXPECT_EQ(value_of("CLOCK_FPGA.DIVIDER"), "0x00020003");
    EXPECT_EQ(value_of("CLOCK_FPGA.DIVIDER.FRACTION"), "0x0003");
}

TEST_F(Writing, WritesBehindMuxes) {
    EXPECT_EQ(write("QSFP 3.TX_DISABLE.TX2_DISABLE", "disabled").status, 0);
    EXPECT_EQ(value_of("QSFP 3.TX_DISABLE"), "0x02");
    EXPECT_EQ(value_of("QSFP 2.TX_DISABLE"), "0x00");
}

TEST_F(Writing, DoesNotReadAWriteOnlyRegisterBack) {
    EXPECT_EQ(write("SYS_CPLD.WATCHDOG_KICK", "1").output,
              "SYS_CPLD.WATCHDOG_KICK = 0x01; not read back: the register is write-only\n");
}

TEST_F(Writing, ComparesOnlyWhatCanBeWrittenAndRead) {
    EXPECT_EQ(write("SYS_CPLD.RESET_CTRL", "0xf3").output,
              "SYS_CPLD.RESET_CTRL = 0xf3; read back and compared, bits 0x0f\n");
}

TEST_F(Writing, RefusesWhatIsNotPermitted) {
    for (const char *target :
         {"SYS_CPLD.VERSION", "SYS_CPLD.INTR_STATUS", "SYS_CPLD.RESET_CTRL.BMC_RESET"}) {
        const ProgramResult result = write(target, "1");
        EXPECT_EQ(result.status, 4) << target;
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(is_one_line(result.errors)) << result.errors;
    }
}

TEST_F(Writing, RefusesWhatCannotBeMeant) {
    EXPECT_EQ(write("SYS_CPLD.SCRATCH", "256").status, 2);
    EXPECT_EQ(write("SYS_CPLD.LED_CTRL.FAN_LED", "purple").status, 2);
    EXPECT_EQ(write("SYS_CPLD", "1").status, 2);
    EXPECT_EQ(write("SYS_CPLD.SCRATH", "1").status, 5);
    EXPECT_EQ(write("SYS_CPLD.LED_CTRL.FAN", "1").status, 5);
    EXPECT_EQ(diagctl({"write", diagctl_data("good_accesses.xml"), "PUMP.TABLE", "1"}).status, 2);
}

// ---- against a tool that is a script ----

class WritingByScript : public Writing {
  protected:
    ProgramResult write_pump(const std::string &target, const std::string &value) const {
        return diagctl({"write", diagctl_data("good_accesses.xml"), target, value});
    }
    FakeTool tool_{"i2ctool"};
};

TEST_F(WritingByScript, TellsWhatWasExpectedAndReadWhenTheyDiffer) {
    tool_.answers("\x4a");
    const ProgramResult result = write_pump("PUMP.MODE", "0x0e");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              "diagctl: PUMP.MODE: expected 0x0e, read back 0x0a (compared bits 0x0f, different "
              "0x04)\n");
}

TEST_F(WritingByScript, PassesOverDifferencesOutsideTheComparedBits) {
    tool_.answers("\xfe");
    EXPECT_EQ(write_pump("PUMP.MODE", "0x0e").status, 0);
}

TEST_F(WritingByScript, SaysWhenThereIsNothingToCompare) {
    const ProgramResult result = write_pump("PUMP.NO_MASK", "1");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output,
              "PUMP.NO_MASK = 0x01; not read back: no implemented bit of the register can be "
              "compared\n");
    EXPECT_EQ(tool_.calls().size(), 1U);
}

TEST_F(WritingByScript, WarnsWhenItsReadingsClearAField) {
    tool_.answers("\x18");
    const ProgramResult result = write_pump("PUMP.CTRL.SPEED", "1");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "diagctl: reading PUMP.CTRL for this clears its field EVENT\n");
    EXPECT_EQ(tool_.calls().size(), 3U);
}

TEST_F(WritingByScript, TellsOfAWriteThatFails) {
    tool_.runs_script("echo 'i2ctool: no answer' >&2; exit 5\n");
    const ProgramResult result = write_pump("PUMP.MODE", "1");
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(result.errors, "diagctl: PUMP.MODE could not be written: i2ctool: no answer\n");
}

TEST_F(WritingByScript, TellsThatTheToolIsMissing) {
    tool_.is_missing();
    const ProgramResult result = write_pump("PUMP.MODE", "1");
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(result.errors, "diagctl: PUMP.MODE could not be written: i2ctool is not on PATH\n");
}

TEST_F(WritingByScript, DryRunShowsTheCommandLinesAndRunsNothing) {
    const std::string file = diagctl_data("good_accesses.xml");
    const ProgramResult result = diagctl({"write", "--dry-run", file, "DEEP.SET", "7"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output,
              "would run i2ctool --write --bus=/dev/i2c-5 --addr=0x70 --width=8 --reg=0x00 "
              "--val=0x04\n"
              "would run i2ctool --write --bus=/dev/i2c-5 --addr=0x71 --width=8 --reg=0x01 "
              "--val=0x08\n"
              "would run i2ctool --write --bus=/dev/i2c-5 --addr=0x50 --width=8 --reg=0x01 "
              "--val=0x07\n"
              "would compare 1 byte of register 0x01 at /dev/i2c-5 address 0x50, bits 0xff\n");
    EXPECT_TRUE(tool_.calls().empty());
    EXPECT_TRUE(left_nothing_behind());
}

TEST_F(WritingByScript, DryRunOfAFieldSaysHowTheValueWouldChange) {
    const std::string file = diagctl_data("good_accesses.xml");
    const ProgramResult result = diagctl({"write", "-n", file, "PUMP.WORD.TOP", "0xa"});
    EXPECT_EQ(result.output,
              "would read 2 bytes of register 0x10 at /dev/i2c-1 address 0x31\n"
              "would write that value with bits 0xf000 changed to 0xa000\n"
              "would compare 2 bytes of register 0x10 at /dev/i2c-1 address 0x31, bits 0xffff\n");
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(WritingByScript, DryRunPowersNoBoardUp) {
    const ProgramResult result = diagctl({"--board", "/nonexistent.board", "write", "--dry-run",
                                          diagctl_data("good_accesses.xml"), "PUMP.MODE", "1"});
    EXPECT_EQ(result.status, 0) << result.errors;
}

TEST_F(WritingByScript, DryRunRefusesWhatTheWriteWouldRefuse) {
    const std::string file = diagctl_data("good_accesses.xml");
    EXPECT_EQ(diagctl({"write", "--dry-run", file, "PUMP.ID", "1"}).status, 4);
    EXPECT_EQ(diagctl({"write", "--dry-run", file, "PUMP.CTRL", "999"}).status, 2);
    EXPECT_EQ(
        diagctl({"write", "--dry-run", diagctl_data("good_unreachable.txt"), "IO_CHIP.ID", "1"})
            .status,
        4);
    EXPECT_EQ(diagctl({"write", "--dry-run", file, "LPC_CHIP.SET", "1"}).status, 0);
    EXPECT_EQ(diagctl({"write", "--dry-run", file, "PUMP.FAR", "1"}).status, 3);
}

}  // namespace
}  // namespace diag::test
