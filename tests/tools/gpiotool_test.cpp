// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

class GpioToolTest : public OneToolFixture {
  protected:
    GpioToolTest() : OneToolFixture("gpiotool") {}

    bool level(unsigned chip, unsigned line) {
        bool is_high = false;
        EXPECT_EQ(board_->board().gpio_read(chip, line, &is_high), board::Status::kOk);
        return is_high;
    }
};

TEST_F(GpioToolTest, ReadsALevelAsOneByte) {
    EXPECT_EQ(piped("--chip=0 --pin=3"), Bytes{1});
    EXPECT_EQ(piped("--chip=0 --pin=4"), Bytes{0});
}

TEST_F(GpioToolTest, PrintsALevelAsADigit) {
    EXPECT_EQ(printed("--read --chip=0 --pin=3"), "1\n");
    EXPECT_EQ(printed("--get --chip=0x0 --pin=0x4"), "0\n");
}

TEST_F(GpioToolTest, SetsALevel) {
    EXPECT_EQ(printed("--set --chip=0 --pin=4 --val=1"), "");
    EXPECT_TRUE(level(0, 4));
    written("--chip=0 --pin=4 --val=0");
    EXPECT_FALSE(level(0, 4));
    EXPECT_TRUE(level(0, 3)) << "another line keeps its level";
}

TEST_F(GpioToolTest, TakesTheLibrarysLines) {
    const std::string path = folder_.file("fifo");
    const OpenFifo fifo(path);
    EXPECT_EQ(printed("--get --chip=0 --pin=3 --pipe=" + path), "");
    EXPECT_EQ(fifo.read_all(), Bytes{1});
    EXPECT_EQ(printed("--set --chip=0 --pin=3 --val=0"), "");
    EXPECT_FALSE(level(0, 3));
}

TEST_F(GpioToolTest, ReportsWhatIsNotThere) {
    expect_failure("--get --chip=7 --pin=3", kExitNoDevice, "GPIO chip 7: no such chip");
    expect_failure("--get --chip=0 --pin=5", kExitNoDevice, "GPIO chip 0 line 5: no such line");
    expect_failure("--set --chip=4294967295 --pin=3 --val=1", kExitNoDevice,
                   "GPIO chip 4294967295: no such chip");
}

TEST_F(GpioToolTest, NeedsABoard) {
    const ProgramResult result = run_without_board("--get --chip=0 --pin=3");
    EXPECT_EQ(result.status, kExitNoDevice);
    EXPECT_EQ(result.errors.rfind("gpiotool: no board: ", 0), 0U) << result.errors;
}

TEST_F(GpioToolTest, DoesNotWaitForAReaderOfItsFifo) {
    const std::string path = folder_.file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expect_failure("--get --chip=0 --pin=3 --pipe=" + path, kExitAccessFailed,
                   "pipe " + path + ": nobody reads it");
}

TEST_F(GpioToolTest, WritesNothingIntoTheFifoWhenTheAccessFails) {
    const std::string path = folder_.file("fifo");
    const OpenFifo fifo(path);
    expect_failure("--get --chip=0 --pin=5 --pipe=" + path, kExitNoDevice,
                   "GPIO chip 0 line 5: no such line");
    EXPECT_TRUE(fifo.read_all().empty());
}

TEST_F(GpioToolTest, ReportsAFullDisk) {
    const ProgramResult result = run_to_full_device("--get --chip=0 --pin=3");
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "gpiotool: standard output: No space left on device\n");
}

}  // namespace
}  // namespace diag::test
