// SPDX-License-Identifier: MIT
// Reading from the simulated board of the examples, and running programs against it.
#include <filesystem>

#include "tests/diagctl/diagctl_test.h"

namespace diag::test {
namespace {

using OnBoard = DiagctlTest;

TEST_F(OnBoard, ReadsARegisterWithItsFields) {
    const ProgramResult result = on_board({"read", example(), "SYS_CPLD.BOARD_ID"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output,
              "SYS_CPLD.BOARD_ID (0x00) = 0xa5\n"
              "    7:4  BOARD_TYPE = 0xa (edge router)\n"
              "    3:0  BOARD_REV = 0x5\n");
    EXPECT_TRUE(left_nothing_behind());
}

TEST_F(OnBoard, ReadsAFieldAlone) {
    EXPECT_EQ(on_board({"read", example(), "sys_cpld.board_id.board_type"}).output,
              "SYS_CPLD.BOARD_ID.BOARD_TYPE = 0xa (edge router)\n");
    EXPECT_EQ(on_board({"read", example(), "SYS_CPLD.0.7:6"}).output,
              "SYS_CPLD.BOARD_ID.7:6 = 0x2\n");
}

TEST_F(OnBoard, ReadsAWholeChipButWhatReadingWouldClear) {
    const ProgramResult result = on_board({"read", example(), "SYS_CPLD"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.output.find("SYS_CPLD.VERSION (0x01) = 0x21\n"), std::string::npos);
    EXPECT_NE(result.output.find("SYS_CPLD.LED_CTRL (0x30) = 0x01\n"), std::string::npos);
    EXPECT_EQ(result.output.find("INTR_STATUS"), std::string::npos);
    EXPECT_EQ(result.errors,
              "diagctl: SYS_CPLD.INTR_STATUS passed over, reading clears it: read it by name\n"
              "diagctl: SYS_CPLD.WATCHDOG_KICK passed over, write-only: read it by name\n");
}

TEST_F(OnBoard, ReadsAClearingRegisterByName) {
    const Words words{"read", example(), "SYS_CPLD.INTR_STATUS.WATCHDOG"};
    EXPECT_EQ(on_board(words).output, "SYS_CPLD.INTR_STATUS.WATCHDOG = 0x1 (pending)\n");
    EXPECT_EQ(on_board(words).output, "SYS_CPLD.INTR_STATUS.WATCHDOG = 0x0 (no)\n");
}

TEST_F(OnBoard, WarnsOfWhatAWriteOnlyRegisterAnswers) {
    const ProgramResult result = on_board({"read", example(), "SYS_CPLD.WATCHDOG_KICK"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors,
              "diagctl: SYS_CPLD.WATCHDOG_KICK is write-only (WO): what it answers has no "
              "meaning\n");
}

TEST_F(OnBoard, ReadsWideRegistersInTheirByteOrder) {
    EXPECT_EQ(on_board({"read", example(), "MAIN_FPGA.DEVICE_ID"}).output,
              "MAIN_FPGA.DEVICE_ID (0x0000) = 0x1f0a\n");
    EXPECT_EQ(on_board({"read", example(), "MAIN_FPGA.STATUS.FRAME_COUNT"}).output,
              "MAIN_FPGA.STATUS.FRAME_COUNT = 0x002a\n");
    EXPECT_EQ(on_board({"read", example(), "CLOCK_FPGA.DIVIDER.INTEGER_PART"}).output,
              "CLOCK_FPGA.DIVIDER.INTEGER_PART = 0x0001\n");
    EXPECT_EQ(on_board({"read", example(), "TPM.DEVICE_VENDOR"}).output,
              "TPM.DEVICE_VENDOR (0x48) = 0x001a15d1\n");
}

TEST_F(OnBoard, ReachesChipsBehindMuxesWhicheverWasSelectedBefore) {
    for (const char *round : {"first", "second"}) {
        EXPECT_EQ(on_board({"read", example(), "QSFP 1.VENDOR_NAME"}).output,
                  "QSFP 1.VENDOR_NAME (0x94): 16 bytes\n00000000  42 52 49 47 48 54 4c 41 4e 45 20 "
                  "20 20 20 20 20  |BRIGHTLANE      |\n")
            << round;
        EXPECT_EQ(on_board({"read", example(), "QSFP 4.VENDOR_NAME"}).output,
                  "QSFP 4.VENDOR_NAME (0x94): 16 bytes\n00000000  4e 4f 52 44 4f 50 54 49 43 20 20 "
                  "20 20 20 20 20  |NORDOPTIC       |\n")
            << round;
    }
}

TEST_F(OnBoard, KeepsItsStateUntilItIsPoweredUpAnew) {
    EXPECT_EQ(on_board({"write", example(), "SYS_CPLD.SCRATCH", "0x77"}).status, 0);
    const Words words{"read", example(), "SYS_CPLD.SCRATCH"};
    EXPECT_EQ(on_board(words).output, "SYS_CPLD.SCRATCH (0x02) = 0x77\n");
    EXPECT_EQ(on_board({"--fresh", "read", example(), "SYS_CPLD.SCRATCH"}).output,
              "SYS_CPLD.SCRATCH (0x02) = 0x00\n");
}

TEST_F(OnBoard, RefusesABoardFileThatIsNotThere) {
    const ProgramResult result =
        diagctl({"--board", "/nonexistent.board", "read", example(), "SYS_CPLD"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(is_one_line(result.errors)) << result.errors;
    EXPECT_NE(result.errors.find("/nonexistent.board"), std::string::npos);
}

TEST_F(OnBoard, RunsAProgramWhoseToolsTalkToTheBoard) {
    const ProgramResult result = on_board({"run", "--", "i2ctool", "--read", "--bus=/dev/i2c-1",
                                           "--addr=0x31", "--reg=0x00", "--count=1", "--width=8"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, "0xa5\n");
}

TEST_F(OnBoard, RunHandsTheArgumentsOnAsTheyAre) {
    EXPECT_EQ(
        on_board({"run", "--", "printf", "<%s>", "[a,b]", "--json", "x  y", "", "--", "-v"}).output,
        "<[a,b]><--json><x  y><><--><-v>");
}

TEST_F(OnBoard, RunPassesTheExitStatusOn) {
    EXPECT_EQ(on_board({"run", "--", "sh", "-c", "exit 7"}).status, 7);
    EXPECT_EQ(on_board({"run", "--", "true"}).status, 0);
    EXPECT_EQ(on_board({"run", "--", "sh", "-c", "kill -9 $$"}).status, 128 + 9);
}

TEST_F(OnBoard, RunSetsTheEnvironment) {
    const ProgramResult result =
        on_board({"run", "--", "sh", "-c", "echo \"$DIAG_BOARD\"; echo \"$PATH\""});
    const std::size_t end = result.output.find('\n');
    EXPECT_TRUE(std::filesystem::exists(result.output.substr(0, end))) << result.output;
    const std::string folder = std::filesystem::path(program()).parent_path();
    EXPECT_EQ(result.output.compare(end + 1, folder.size() + 1, folder + ":"), 0) << result.output;
}

TEST_F(OnBoard, RunGivesItsProgramTheUsualSignals) {
    // A pipe whose reader has gone ends a program that has not arranged otherwise.
    const ProgramResult result =
        on_board({"run", "--", "sh", "-c", "(trap - PIPE; yes; echo $? >&2) | true"});
    EXPECT_EQ(result.errors, "141\n");
}

TEST_F(OnBoard, RunTellsOfAProgramThatIsNotThere) {
    const ProgramResult result = on_board({"run", "--", "no-such-program"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "diagctl: no-such-program cannot be run: No such file or directory\n");
}

}  // namespace
}  // namespace diag::test
