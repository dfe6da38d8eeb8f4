// SPDX-License-Identifier: MIT
// What goes wrong while a register is read: one line each, and nothing left behind.
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include "tests/diagctl/diagctl_test.h"
#include "tests/support/fake_tool.h"

namespace diag::test {
namespace {

class Failing : public DiagctlTest {
  protected:
    ProgramResult read_pump(const std::string &target) const {
        return diagctl({"read", diagctl_data("good_accesses.xml"), target});
    }
    void expect(const ProgramResult &result, int status, const std::string &line) const {
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "diagctl: " + line + "\n");
        EXPECT_TRUE(left_nothing_behind());
    }

    FakeTool tool_{"i2ctool"};
};

TEST_F(Failing, TellsThatTheToolIsMissing) {
    tool_.is_missing();
    expect(read_pump("PUMP.ID"), 6, "PUMP.ID could not be read: i2ctool is not on PATH");
}

TEST_F(Failing, TellsThatTheToolCannotBeExecuted) {
    const TemporaryFolder folder;
    folder.write("i2ctool", "not a program");
    const ProgramResult result = diagctl({"read", diagctl_data("good_accesses.xml"), "PUMP.ID"},
                                         {"PATH=" + folder.path().string()});
    expect(result, 6, "PUMP.ID could not be read: i2ctool cannot be executed");
}

TEST_F(Failing, HandsTheToolsStatusAndLineOn) {
    for (const int status : {5, 7, 8}) {
        tool_.runs_script("echo 'i2ctool: the reason' >&2; exit " + std::to_string(status) + "\n");
        expect(read_pump("PUMP.ID"), status, "PUMP.ID could not be read: i2ctool: the reason");
    }
}

TEST_F(Failing, DoesNotTakeAUsageErrorOfTheToolForTheUsers) {
    tool_.runs_script("echo 'i2ctool: unknown option' >&2; exit 2\n");
    expect(read_pump("PUMP.ID"), 6, "PUMP.ID could not be read: i2ctool: unknown option");
}

TEST_F(Failing, MakesOneLineOfWhateverTheToolSays) {
    tool_.runs_script("printf '\\n\\033[31mno\\033[0m\\nmore\\n' >&2; exit 6\n");
    expect(read_pump("PUMP.ID"), 6, "PUMP.ID could not be read: [31mno [0m");
}

TEST_F(Failing, TellsOfAToolThatSaysNothing) {
    tool_.answers("", 9);
    expect(read_pump("PUMP.ID"), 6,
           "PUMP.ID could not be read: i2ctool ended with status 9 and said nothing");
}

TEST_F(Failing, TellsOfAToolThatASignalEnds) {
    tool_.runs_script("kill -SEGV $$\n");
    expect(read_pump("PUMP.ID"), 6,
           "PUMP.ID could not be read: i2ctool was ended by signal 11 (Segmentation fault)");
}

TEST_F(Failing, TellsOfAToolThatIsInterrupted) {
    tool_.runs_script("kill -INT $$\n");
    EXPECT_EQ(read_pump("PUMP.ID").status, 130);
}

TEST_F(Failing, TellsOfAnAnswerThatIsTooShort) {
    tool_.answers("\x01");
    expect(read_pump("PUMP.WORD"), 6,
           "PUMP.WORD could not be read: i2ctool delivered 1 of 2 bytes");
    tool_.answers("");
    expect(read_pump("PUMP.WORD"), 6,
           "PUMP.WORD could not be read: i2ctool delivered 0 of 2 bytes");
}

TEST_F(Failing, TakesTheFirstBytesOfAnAnswerThatIsTooLong) {
    tool_.answers("\x34\x12\xff\xff");
    const ProgramResult result = read_pump("PUMP.WORD.TOP");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "PUMP.WORD.TOP = 0x1\n");
}

TEST_F(Failing, PrintsNothingOfAChipWhoseLaterRegisterFails) {
    tool_.runs_script("case $* in *--reg=0x10*) exit 6;; esac\nprintf 'xxxx' >\"$pipe\"\n");
    const ProgramResult result = read_pump("PUMP");
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(is_one_line(result.errors)) << result.errors;
}

TEST_F(Failing, NamesTheMuxThatDoesNotAnswer) {
    tool_.runs_script("case $* in *0x71*) echo 'i2ctool: no answer' >&2; exit 5;; esac\n");
    expect(read_pump("DEEP.ID"), 6,
           "mux 2 of 2 (/dev/i2c-5 address 0x71) could not be set: i2ctool: no answer");
}

TEST_F(Failing, NamesTheToolOfTheBusThatIsMissing) {
    expect(read_pump("LPC_CHIP.ID"), 6, "LPC_CHIP.ID could not be read: lpctool is not on PATH");
    expect(read_pump("GPIO_MUX.ID"), 6,
           "mux 1 of 1 (gpio address 0x01) could not be set: gpiotool is not on PATH");
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(Failing, RefusesBusesThatNoToolReaches) {
    expect(diagctl({"read", diagctl_data("good_unreachable.txt"), "MTD_CHIP.ID"}), 5,
           "chip \"MTD_CHIP\": no tool program reaches bus mtd-1");
    expect(diagctl({"read", diagctl_data("good_unreachable.txt"), "SPI_MUX.ID"}), 5,
           "mux 1 of 1 (spi-1 address 0x70) on the way to chip \"SPI_MUX\": no tool program "
           "reaches bus spi-1");
}

TEST_F(Failing, RefusesWhatTheBusCannotCarry) {
    expect(read_pump("PUMP.FAR"), 3,
           "PUMP.FAR: offset 0x100 does not fit the chip's 8-bit register numbers");
    expect(read_pump("ODD_NUMBERS.ID"), 3,
           "chip \"ODD_NUMBERS\": its register numbers have 22 bits, only 8 and 16 will do "
           "(chip-offset-length is hexadecimal: 8 or 10)");
}

TEST_F(Failing, RefusesAFieldOfSeveralUnits) {
    EXPECT_EQ(read_pump("PUMP.TABLE.3:0").status, 2);
}

TEST_F(Failing, TellsThatThereIsNoPlaceForTheAnswer) {
    const ProgramResult result = diagctl({"read", diagctl_data("good_accesses.xml"), "PUMP.ID"},
                                         {"TMPDIR=" + temporary().file("nowhere")});
    expect(result, 6,
           "no folder for the answers of tools can be made in " + temporary().file("nowhere") +
               ": No such file or directory (TMPDIR names another place)");
}

TEST_F(Failing, VerboseShowsTheToolsCommandLineAndItsWords) {
    tool_.runs_script("echo 'i2ctool: no answer' >&2; exit 5\n");
    const ProgramResult result =
        diagctl({"-v", "read", diagctl_data("good_accesses.xml"), "PUMP.ID"});
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors.find("i2ctool_get: i2ctool --read"), std::string::npos);
    EXPECT_NE(result.errors.find("\ni2ctool: no answer\n"), std::string::npos);
}

TEST_F(Failing, DoesNotHappenToACallerThatIgnoresTheEndOfItsChildren) {
    tool_.answers("\xa5");
    const std::string command = "trap '' CHLD; exec '" + program() + "' read '" +
                                diagctl_data("good_accesses.xml") + "' PUMP.ID";
    const ProgramResult result = run_program({"sh", "-c", command});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "PUMP.ID (0x00) = 0xa5\n");
}

// ---- standard output that cannot be written ----

TEST_F(Failing, TellsThatStandardOutputIsFull) {
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full on this machine";
    }
    for (const std::string &arguments : Words{"tree '" + example() + "'", "--help"}) {
        const ProgramResult result =
            run_program({"sh", "-c", "'" + program() + "' " + arguments + " >/dev/full"});
        EXPECT_EQ(result.status, 6);
        EXPECT_EQ(result.errors,
                  "diagctl: standard output cannot be written: No space left on device\n");
    }
}

TEST_F(Failing, TellsThatStandardOutputIsClosed) {
    const std::string command = "'" + program() + "' tree '" + example() + "' >&-";
    const ProgramResult result = run_program({"sh", "-c", command});
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(result.errors, "diagctl: standard output cannot be written: Bad file descriptor\n");
}

TEST_F(Failing, TellsThatNobodyReadsStandardOutput) {
    constexpr int kShellDescriptor = 9;  // shells know descriptors of one digit
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    dup2(ends[1], kShellDescriptor);
    close(ends[1]);
    const std::string command = "'" + program() + "' tree '" + example() + "' >&9";
    const ProgramResult result = run_program({"sh", "-c", command});
    close(kShellDescriptor);
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(result.errors, "diagctl: standard output cannot be written: Broken pipe\n");
}

TEST_F(Failing, WorksWithoutStandardInputAndStandardError) {
    const std::string command =
        "'" + program() + "' tree '" + diagctl_data("good_no_chips.xml") + "' <&- 2>&-";
    const ProgramResult result = run_program({"sh", "-c", command});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "host\n");
}

}  // namespace
}  // namespace diag::test
