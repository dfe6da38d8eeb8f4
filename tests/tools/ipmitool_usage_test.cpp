// SPDX-License-Identifier: MIT
// Command lines that the simulated board's ipmitool cannot use: one line, and the one failure
// status of the program that it stands for.
#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

ProgramResult run_bare(const std::vector<std::string> &arguments) {
    return ToolFixture::run_with("sim/ipmitool", arguments, {"DIAG_BOARD="});
}

void expect_refusal(const std::vector<std::string> &arguments, const std::string &message) {
    const ProgramResult result = run_bare(arguments);
    EXPECT_EQ(result.status, kExitNegative) << message;
    EXPECT_EQ(result.errors, "ipmitool: " + message + "\n");
    EXPECT_EQ(result.output, "");
}

TEST(IpmiToolUsageTest, NeedsACommand) {
    expect_refusal({}, "a command is missing: raw NETFN CMD [DATA...] (see --help)");
}

TEST(IpmiToolUsageTest, KnowsOnlyRaw) {
    for (const char *command : {"sdr", "mc", "RAW", "raw0", ""}) {
        expect_refusal(
            {command, "list"},
            "'" + std::string(command) +
                "': this is the ipmitool of the simulated board, which knows only 'raw'");
    }
}

TEST(IpmiToolUsageTest, KnowsNoOptionsBeforeTheCommand) {
    for (const char *option : {"-I", "-H", "-v", "--interface", "-", "-hh"}) {
        expect_refusal({option, "open", "raw", "0x38", "2"},
                       "'" + std::string(option) +
                           "': this is the ipmitool of the simulated board, which knows only 'raw' "
                           "and no options");
    }
}

TEST(IpmiToolUsageTest, NeedsNetFunctionAndCommand) {
    const std::string message = "raw needs a net function and a command (see --help)";
    expect_refusal({"raw"}, message);
    expect_refusal({"raw", "0x38"}, message);
}

TEST(IpmiToolUsageTest, RefusesUnusableNumbers) {
    for (const std::string text : {"0x40", "64", "-1", "", "x", "0x", "app", "38h"}) {
        expect_refusal({"raw", text, "2"},
                       "'" + text + "': expected a number up to 0x3f (see --help)");
    }
    for (const std::string text : {"0x100", "256", "-1", "", "x", "1,2", "--help", "0xffffff7f"}) {
        const std::string message = "'" + text + "': expected a number up to 0xff (see --help)";
        expect_refusal({"raw", "0x38", text}, message);
        expect_refusal({"raw", "0x38", "2", "3", text}, message);
    }
}

TEST(IpmiToolUsageTest, TakesAsManyBytesAsARequestHolds) {
    std::vector<std::string> arguments(1 + 2 + 255, "0x01");
    arguments[0] = "raw";
    EXPECT_EQ(run_bare(arguments).errors.rfind("ipmitool: no board: ", 0), 0U);
    arguments.emplace_back("1");
    expect_refusal(arguments, "at most 255 data bytes (see --help)");
}

TEST(IpmiToolUsageTest, NeedsABoard) {
    const ProgramResult result = run_bare({"raw", "0x38", "0x2"});
    EXPECT_EQ(result.status, kExitNegative);
    EXPECT_EQ(result.errors,
              "ipmitool: no board: set DIAG_BOARD to a running simulated board, or use diagctl "
              "--board FILE run -- COMMAND\n");
}

TEST(IpmiToolUsageTest, HelpsOnStandardOutput) {
    for (const char *option : {"-h", "--help"}) {
        const ProgramResult help = run_bare({option});
        EXPECT_EQ(help.status, kExitDone);
        EXPECT_EQ(help.errors, "");
        for (const char *text :
             {"Usage: ipmitool raw", "simulated board", "Exit status: 0 done, 1", "Examples:"}) {
            EXPECT_NE(help.output.find(text), std::string::npos) << text;
        }
    }
}

TEST(IpmiToolUsageTest, TellsItsVersion) {
    for (const char *option : {"-V", "--version"}) {
        const ProgramResult result = run_bare({option});
        EXPECT_EQ(result.status, kExitDone);
        EXPECT_EQ(result.output.rfind("ipmitool ", 0), 0U);
    }
}

}  // namespace
}  // namespace diag::test
