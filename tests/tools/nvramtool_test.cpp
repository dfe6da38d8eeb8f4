// SPDX-License-Identifier: MIT
#include <cstring>
#include <sys/stat.h>

#include "diag_util.h"

#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

class NvramToolTest : public ToolFixture {
  protected:
    void expect_failure(const std::vector<std::string> &arguments, int status,
                        const std::string &message) const {
        const ProgramResult result = run("nvramtool", arguments);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.errors, "nvramtool: " + message + "\n");
    }

    const std::string pipe_ = folder_.file("fifo");
};

TEST_F(NvramToolTest, HandsTheBlockToItsCaller) {
    const OpenFifo fifo(pipe_);
    const ProgramResult result = run("nvramtool", {"--query", "--pipe=" + pipe_});
    EXPECT_EQ(result.status, kExitDone) << result.errors;
    const Bytes bytes = fifo.read_all();
    nvram_record record;
    ASSERT_EQ(bytes.size(), sizeof record);
    std::memcpy(&record, bytes.data(), sizeof record);
    EXPECT_EQ(record.verb_override, 1);
    EXPECT_EQ(record.verb_level, 2);
}

TEST_F(NvramToolTest, AnswersTheBrokerToo) {
    const OpenFifo fifo(pipe_);
    const ProgramResult result = run("nvramtool", {"--query", "--pipe=" + pipe_, "--busbroker"});
    EXPECT_EQ(result.status, kExitDone) << result.errors;
    EXPECT_EQ(fifo.read_all().size(), sizeof(nvram_record));
}

TEST_F(NvramToolTest, DoesNotWaitForAReader) {
    ASSERT_EQ(mkfifo(pipe_.c_str(), 0600), 0);
    expect_failure({"--query", "--pipe=" + pipe_}, kExitAccessFailed,
                   "pipe " + pipe_ + ": nobody reads it");
}

TEST_F(NvramToolTest, NeedsABoard) {
    const ProgramResult result =
        run_with("nvramtool", {"--query", "--pipe=" + pipe_}, {"DIAG_BOARD="});
    EXPECT_EQ(result.status, kExitNoDevice);
    EXPECT_EQ(result.errors.rfind("nvramtool: no board: ", 0), 0U) << result.errors;
}

TEST_F(NvramToolTest, RefusesUnusableCommandLines) {
    expect_failure({}, kExitUsage, "--query is missing (see --help)");
    expect_failure({"--pipe=x"}, kExitUsage, "--query is missing (see --help)");
    expect_failure({"--query"}, kExitUsage, "--pipe is missing (see --help)");
    expect_failure({"--query", "--pipe"}, kExitUsage, "option '--pipe' needs a value (see --help)");
    expect_failure({"--set"}, kExitUsage, "unusable option '--set' (see --help)");
    expect_failure({"--query", "stray"}, kExitUsage, "unexpected argument 'stray' (see --help)");
}

TEST_F(NvramToolTest, HelpsAndTellsItsVersion) {
    const ProgramResult help = run("nvramtool", {"--help"});
    EXPECT_EQ(help.status, kExitDone);
    EXPECT_NE(help.output.find("Usage: nvramtool"), std::string::npos);
    EXPECT_EQ(run("nvramtool", {"--version"}).output.rfind("nvramtool ", 0), 0U);
}

}  // namespace
}  // namespace diag::test
