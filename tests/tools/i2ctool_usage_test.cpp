// SPDX-License-Identifier: MIT
// Unusable command lines: one line that says what, exit status 2, and nothing done.
#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

class I2cToolUsageTest : public ToolFixture {
  protected:
    static ProgramResult run_bare(const std::vector<std::string> &arguments) {
        return run_with("i2ctool", arguments, {"DIAG_BOARD="});
    }

    // A usage error is found before a board is looked for.
    static void expect_refusal(const std::vector<std::string> &arguments,
                               const std::string &message) {
        const ProgramResult result = run_bare(arguments);
        EXPECT_EQ(result.status, kExitUsage) << message;
        EXPECT_EQ(result.errors, "i2ctool: " + message + " (see --help)\n");
        EXPECT_EQ(result.output, "");
    }

    // A complete reading or writing with one more argument.
    static std::vector<std::string> read_with(const std::string &argument) {
        return {"--read", "--bus=1", "--addr=0x31", "--reg=0", "--count=2", argument};
    }
    static std::vector<std::string> write_with(const std::string &argument) {
        return {"--write", "--bus=1", "--addr=0x31", "--reg=0", "--val=1", argument};
    }
};

TEST_F(I2cToolUsageTest, NeedsOneOperation) {
    expect_refusal({}, "one of --read and --write is needed");
    expect_refusal(read_with("--write"), "one of --read and --write is needed");
}

TEST_F(I2cToolUsageTest, NeedsToKnowWhere) {
    expect_refusal({"--read", "--addr=1", "--reg=0", "--count=1"}, "--bus is missing");
    expect_refusal({"--read", "--bus=1", "--reg=0", "--count=1"}, "--addr is missing");
    expect_refusal({"--read", "--bus=1", "--addr=1", "--count=1"},
                   "one of --reg, --reg16 and --regblock is needed");
    expect_refusal(read_with("--reg16=0"), "--reg, --reg16 and --regblock exclude each other");
    expect_refusal(read_with("--reg=1"), "--reg, --reg16 and --regblock exclude each other");
}

TEST_F(I2cToolUsageTest, NeedsACountOrData) {
    expect_refusal({"--read", "--bus=1", "--addr=1", "--reg=0"}, "--count is missing");
    expect_refusal({"--write", "--bus=1", "--addr=1", "--reg=0"}, "--val is missing");
}

TEST_F(I2cToolUsageTest, RefusesOptionsOfTheOtherOperation) {
    expect_refusal(read_with("--val=1"), "--val goes with --write");
    expect_refusal(read_with("--flag=pdc"), "--flag goes with --write");
    expect_refusal(write_with("--count=1"), "--count goes with --read");
    expect_refusal(write_with("--pipe=/tmp/x"), "--pipe goes with --read");
}

TEST_F(I2cToolUsageTest, RefusesUnusableValues) {
    const std::string bus = ": expected /dev/i2c-N, i2c-N or N";
    expect_refusal(read_with("--bus=/dev/spi-1"), "--bus=/dev/spi-1" + bus);
    expect_refusal(read_with("--bus="), "--bus=" + bus);
    const std::string address = ": expected an address up to 0xff";
    expect_refusal(read_with("--addr=0x100"), "--addr=0x100" + address);
    expect_refusal(read_with("--addr=31h"), "--addr=31h" + address);
    const std::string count = ": expected 1 to 8189 bytes";
    for (const char *text : {"0", "8190", "-1", "", "two"}) {
        expect_refusal(read_with(std::string("--count=") + text),
                       std::string("--count=") + text + count);
    }
    for (const char *text : {"9", "32", "0x8", ""}) {
        expect_refusal(read_with(std::string("--width=") + text),
                       std::string("--width=") + text + ": expected 8 or 16");
    }
    expect_refusal(read_with("--reg=x"), "--reg=x: expected a register number");
    expect_refusal(write_with("--flag=p"), "--flag=p: expected pdc or nothing");
    expect_refusal(read_with("--pipe="), "--pipe=: expected a path");
}

TEST_F(I2cToolUsageTest, RefusesUnusableData) {
    for (const char *text : {"0x100", "1,,2", ",1", "1,", ",", "1;2", "1, 2", "-1"}) {
        expect_refusal(
            write_with(std::string("--val=") + text),
            std::string("--val=") + text + ": expected up to 8189 bytes, separated by commas");
    }
}

TEST_F(I2cToolUsageTest, RefusesRegisterNumbersThatDoNotFit) {
    expect_refusal({"--read", "--bus=1", "--addr=1", "--reg=0x1ff", "--count=1"},
                   "register number 0x1ff does not fit: at most 0xff");
    expect_refusal({"--read", "--bus=1", "--addr=1", "--reg16=0x10000", "--count=1"},
                   "register number 0x10000 does not fit: at most 0xffff");
    expect_refusal({"--read", "--bus=1", "--addr=1", "--regblock=65536", "--count=1"},
                   "register number 0x10000 does not fit: at most 0xffff");
}

TEST_F(I2cToolUsageTest, RefusesHalfAWideItem) {
    expect_refusal({"--read", "--bus=1", "--addr=1", "--reg=0", "--width=16", "--count=3"},
                   "3 bytes are no whole number of 16-bit items");
    expect_refusal(write_with("--width=16"), "1 bytes are no whole number of 16-bit items");
}

TEST_F(I2cToolUsageTest, RefusesWhatItDoesNotKnow) {
    expect_refusal(read_with("--turbo"), "unusable option '--turbo'");
    expect_refusal(read_with("-x"), "unusable option '-x'");
    expect_refusal(read_with("--read=yes"), "unusable option '--read=yes'");
    expect_refusal(read_with("--pipe"), "option '--pipe' needs a value");
    expect_refusal(read_with("stray"), "unexpected argument 'stray'");
    expect_refusal(write_with("--busbroker_reqx"), "unusable option '--busbroker_reqx'");
    expect_refusal(write_with("--busbroker_req--"), "unusable option '--busbroker_req--'");
}

TEST_F(I2cToolUsageTest, CutsAnEndlessComplaintToOneLine) {
    const ProgramResult result = run_bare(read_with("--" + std::string(5000, 'x')));
    EXPECT_EQ(result.status, kExitUsage);
    EXPECT_LT(result.errors.size(), 1100U);
    EXPECT_EQ(result.errors.substr(result.errors.size() - 14), " (see --help)\n");
}

TEST_F(I2cToolUsageTest, HelpsOnStandardOutput) {
    const ProgramResult help = run_bare({"--help"});
    EXPECT_EQ(help.status, kExitDone);
    EXPECT_EQ(help.errors, "");
    for (const char *text : {"Usage:", "--regblock", "Exit status:", "Examples:"}) {
        EXPECT_NE(help.output.find(text), std::string::npos) << text;
    }
}

TEST_F(I2cToolUsageTest, TellsItsVersion) {
    const ProgramResult result = run_bare({"--version"});
    EXPECT_EQ(result.status, kExitDone);
    EXPECT_EQ(result.output.rfind("i2ctool ", 0), 0U);
    EXPECT_EQ(result.output.back(), '\n');
}

}  // namespace
}  // namespace diag::test
