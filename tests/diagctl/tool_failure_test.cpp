// SPDX-License-Identifier: MIT
#include "diags/diagctl/tool_failure.h"

#include <csignal>

#include "diag_types.h"

#include "tests/diagctl/diagctl_test.h"
#include "tests/support/fake_tool.h"

namespace diag::diagctl {
namespace {

std::uint32_t exited(int status) {
    return static_cast<std::uint32_t>(status) << 8;
}

TEST(ReadFailure, IsTheToolsOwnLineWithItsStatus) {
    const ToolFailure failure =
        read_failure("i2ctool", exited(5), {"ERROR: x", "i2ctool: no answer\nmore\n"});
    EXPECT_EQ(failure.status, kExitNoDevice);
    EXPECT_EQ(failure.reason, "i2ctool: no answer");
}

TEST(ReadFailure, HandsOnTheStatusesThatMeanTheSame) {
    for (const int status : {3, 4, 5, 6, 7, 8, 130}) {
        EXPECT_EQ(read_failure("t", exited(status), {"", "t: no"}).status, status);
    }
}

TEST(ReadFailure, CountsAnyOtherStatusAsAFailedAccess) {
    for (const int status : {1, 2, 9, 126, 127, 255}) {
        EXPECT_EQ(read_failure("t", exited(status), {"", "t: no"}).status, kExitAccessFailed);
    }
}

TEST(ReadFailure, TellsWhatItCanOfAToolThatSaysNothing) {
    EXPECT_EQ(read_failure("sh", exited(9), {"", ""}).reason,
              "sh ended with status 9 and said nothing");
    EXPECT_EQ(read_failure("no-such-tool", exited(127), {"", ""}).reason,
              "no-such-tool is not on PATH");
    EXPECT_EQ(read_failure("sh", exited(127), {"", ""}).reason,
              "sh ended with status 127 and said nothing");
    const test::TemporaryFolder folder;
    folder.write("some-tool", "not a program");
    const test::EnvironmentSetting setting("PATH", folder.path().c_str());
    EXPECT_EQ(read_failure("some-tool", exited(126), {"", ""}).reason,
              "some-tool cannot be executed");
    EXPECT_EQ(read_failure("no-such-tool", exited(126), {"", ""}).reason,
              "no-such-tool is not on PATH");
    EXPECT_EQ(write_failure("some-tool", {"", ""}).reason, "some-tool cannot be executed");
}

TEST(ReadFailure, TellsTheSignalThatEndedTheTool) {
    const ToolFailure killed = read_failure("i2ctool", SIGKILL, {"", ""});
    EXPECT_EQ(killed.status, kExitAccessFailed);
    EXPECT_EQ(killed.reason, "i2ctool was ended by signal 9 (Killed)");
    EXPECT_EQ(read_failure("i2ctool", SIGINT, {"", ""}).status, kExitInterrupted);
}

TEST(ReadFailure, IsTheLibrarysWhenNoToolWasRun) {
    const CapturedText said{"ERROR: i2ctool_get[1]: ERROR: Error Creating I2C pipe /x\n", ""};
    for (const std::uint32_t status : {DIAG_E_FAIL, DIAG_E_NOMEM, 0xFFFFFFFFU}) {
        const ToolFailure failure = read_failure("i2ctool", status, said);
        EXPECT_EQ(failure.status, kExitAccessFailed);
        EXPECT_EQ(failure.reason, "Error Creating I2C pipe /x");
    }
}

TEST(SilentReadFailure, IsTheToolsOwnLineOrTheLibrarysWhereItRanNone) {
    const ToolFailure failure = silent_read_failure("sh", LPC_E_ACCES, {"", "sh: no\n"});
    EXPECT_EQ(failure.status, kExitAccessFailed);
    EXPECT_EQ(failure.reason, "sh: no");
    EXPECT_EQ(silent_read_failure("no-such-tool", LPC_E_ACCES, {"", ""}).reason,
              "no-such-tool is not on PATH");
    EXPECT_EQ(silent_read_failure("sh", DIAG_E_FAIL, {"ERROR: x[1]: ERROR: no pipe\n", ""}).reason,
              "no pipe");
}

TEST(SilentReadFailure, ShowsHowToSeeAMessageThatTheLibraryHides) {
    EXPECT_EQ(
        silent_read_failure("sh", 0xFFFFFFFFU, {"ipmii2c_get: sh raw 0x3a  2>/dev/null\n", ""})
            .reason,
        "sh failed, and its message is hidden; it was run as sh raw 0x3a");
    EXPECT_EQ(silent_read_failure("sh", 0xFFFFFFFFU, {"x: sh raw 0x3a > /dev/null\n", ""}).reason,
              "sh failed and said nothing");
}

TEST(WriteFailure, IsTheToolsOwnLine) {
    const ToolFailure failure = write_failure("sh", {"", "sh: no\n"});
    EXPECT_EQ(failure.status, kExitAccessFailed);
    EXPECT_EQ(failure.reason, "sh: no");
}

TEST(WriteFailure, LooksForAToolThatSaysNothing) {
    EXPECT_EQ(write_failure("no-such-tool", {"", ""}).reason, "no-such-tool is not on PATH");
    EXPECT_EQ(write_failure("sh", {"", ""}).reason, "sh failed and said nothing");
}

}  // namespace
}  // namespace diag::diagctl
