// SPDX-License-Identifier: MIT
// i2ctool on a simulated board: what it reads, writes and reports.
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>

#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

class I2cToolTest : public OneToolFixture {
  protected:
    I2cToolTest() : OneToolFixture("i2ctool") {}
};

TEST_F(I2cToolTest, ReadsIntoTheCallersFifo) {
    EXPECT_EQ(piped("--bus=/dev/i2c-1 --addr=0x31 --count=1 --width=8 --reg=0x00"), Bytes{0xA5});
}

TEST_F(I2cToolTest, PrintsHexadecimalTextWithoutAFifo) {
    EXPECT_EQ(printed("--read --bus=1 --addr=0x31 --count=3 --reg=0"), "0xa5 0x00 0x00\n");
    EXPECT_EQ(printed("--read --bus=1 --addr=0x31 --count=17 --reg=0x10"),
              "0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00\n"
              "0x00\n");
}

TEST_F(I2cToolTest, TakesEverySpellingOfABus) {
    for (const char *bus : {"/dev/i2c-1", "i2c-1", "1"}) {
        EXPECT_EQ(printed("--read --count=1 --reg=0 --addr=49 --bus=" + std::string(bus)),
                  "0xa5\n");
    }
}

TEST_F(I2cToolTest, WritesAndReadsBack) {
    written("--bus=/dev/i2c-1 --addr=0x31 --width=8 --reg=0x02 --val=0x5a");
    EXPECT_EQ(board_->read_byte(1, 0x31, 2), 0x5A);
    EXPECT_EQ(piped("--bus=/dev/i2c-1 --addr=0x31 --count=1 --width=8 --reg=0x02"), Bytes{0x5A});
}

TEST_F(I2cToolTest, TakesTheSpellingsOfTheOtherTools) {
    EXPECT_EQ(printed("--set --bus=1 --addr=0x31 --reg=2 --val=0x5a"), "");
    EXPECT_EQ(printed("--get --bus=1 --addr=0x31 --reg=2 --count=1"), "0x5a\n");
}

TEST_F(I2cToolTest, TakesOptionsInAnyOrder) {
    written("--val=0x5a --reg=0x02 --width=8 --addr=0x31 --bus=1");
    EXPECT_EQ(board_->read_byte(1, 0x31, 2), 0x5A);
}

TEST_F(I2cToolTest, WritesSeveralBytes) {
    written("--bus=1 --addr=0x31 --width=8 --reg=0x10 --val=1,0x02,3");
    EXPECT_EQ(board_->read(1, 0x31, {0x10}, 4), (Bytes{1, 2, 3, 0}));
}

TEST_F(I2cToolTest, SetsOnlyTheRegisterPointerWithoutData) {
    written("--bus=1 --addr=0x31 --width=8 --reg=0x04 --val=");
    EXPECT_EQ(board_->read(1, 0x31, {}, 2), (Bytes{0x12, 0x34}));
}

TEST_F(I2cToolTest, SwapsWideItemsToHostOrder) {
    EXPECT_EQ(piped("--bus=1 --addr=0x31 --count=2 --width=16 --reg=0x04"), (Bytes{0x34, 0x12}));
    written("--bus=1 --addr=0x31 --width=16 --reg=0x04 --val=0xcd,0xab");
    EXPECT_EQ(board_->read(1, 0x31, {4}, 2), (Bytes{0xAB, 0xCD}));
}

TEST_F(I2cToolTest, SendsWideNumbersHighByteFirst) {
    EXPECT_EQ(piped("--bus=2 --addr=0x40 --count=2 --width=16 --reg16=0x0102"),
              (Bytes{0xEF, 0xBE}));
}

TEST_F(I2cToolTest, SendsWideNumbersAndItemsLowByteFirstOnRequest) {
    EXPECT_EQ(piped("--bus=2 --addr=0x41 --count=2 --width=16 --reg16=0x0102 --reg_le"),
              (Bytes{0xFE, 0xCA}));
    written("--bus=2 --addr=0x41 --width=16 --reg16=0x0102 --val=0x34,0x12 --reg_le");
    EXPECT_EQ(board_->read(2, 0x41, {0x02, 0x01}, 2), (Bytes{0x34, 0x12}));
}

TEST_F(I2cToolTest, MissesTheRegisterInTheWrongOrder) {
    EXPECT_EQ(piped("--bus=2 --addr=0x40 --count=1 --width=8 --reg16=0x0102 --reg_le"), Bytes{0});
}

TEST_F(I2cToolTest, WritesTheSecondByteOfAWideNumberIntoANarrowChip) {
    written("--bus=1 --addr=0x31 --width=8 --reg16=0x0277 --val=");
    EXPECT_EQ(board_->read_byte(1, 0x31, 2), 0x77);
}

TEST_F(I2cToolTest, SendsBlockNumbersInAsManyBytesAsTheyNeed) {
    written("--bus=1 --addr=0x31 --width=8 --regblock=0x0010 --val=1,2,3");
    EXPECT_EQ(piped("--bus=1 --addr=0x31 --count=3 --width=8 --regblock=0x10"), (Bytes{1, 2, 3}));
    written("--bus=2 --addr=0x40 --width=8 --regblock=0x0200 --val=4,5");
    EXPECT_EQ(piped("--bus=2 --addr=0x40 --count=2 --width=8 --regblock=0x200"), (Bytes{4, 5}));
}

TEST_F(I2cToolTest, ReadsBlocksOfThousandsOfBytes) {
    EXPECT_EQ(piped("--bus=2 --addr=0x40 --count=8189 --width=8 --reg16=0x0200").size(), 8189U);
}

TEST_F(I2cToolTest, NeedsNoControlOfTheBus) {
    EXPECT_EQ(piped("--bus=1 --addr=0x31 --count=1 --width=8 --no_control --reg=0x00"),
              Bytes{0xA5});
    written("--bus=1 --addr=0x31 --width=8 --no_control --reg=0x02 --val=0x01");
}

TEST_F(I2cToolTest, AppendsThePacketErrorCodeAndTheDeviceChecksIt) {
    written("--bus=1 --addr=0x31 --width=8 --flag=pdc --reg=0x02 --val=0x5a");
    EXPECT_EQ(board_->read(1, 0x31, {2}, 1), Bytes{0x5A});
    EXPECT_EQ(board_->read(1, 0x31, {4}, 2), (Bytes{0x12, 0x34})) << "the code is no data";
}

TEST_F(I2cToolTest, TakesAnEmptyFlag) {
    written("--bus=1 --addr=0x31 --width=8 --flag= --reg=0x02 --val=0x5a");
    EXPECT_EQ(board_->read_byte(1, 0x31, 2), 0x5A);
}

TEST_F(I2cToolTest, ReportsADeviceThatDoesNotAnswer) {
    expect_failure("--read --bus=1 --addr=0x32 --count=1 --reg=0", kExitAccessFailed,
                   "/dev/i2c-1 address 0x32: no answer");
    expect_failure("--write --bus=i2c-1 --addr=50 --reg=0 --val=1", kExitAccessFailed,
                   "/dev/i2c-1 address 0x32: no answer");
}

TEST_F(I2cToolTest, ReportsABusThatIsNotThere) {
    expect_failure("--read --bus=7 --addr=0x31 --count=1 --reg=0", kExitNoDevice,
                   "/dev/i2c-7: no such bus");
}

TEST_F(I2cToolTest, ReportsThatNoBoardIsSetUp) {
    const std::vector<std::string> arguments = {"--read", "--bus=1", "--addr=1", "--reg=0",
                                                "--count=1"};
    const ProgramResult result = run_with("i2ctool", arguments, {"DIAG_BOARD="});
    EXPECT_EQ(result.status, kExitNoDevice);
    EXPECT_EQ(result.errors,
              "i2ctool: no board: set DIAG_BOARD to a running simulated board, or use diagctl "
              "--board FILE run -- COMMAND\n");
    const std::string path = folder_.file("absent");
    const ProgramResult absent = run_with("i2ctool", arguments, {"DIAG_BOARD=" + path});
    EXPECT_EQ(absent.status, kExitNoDevice);
    EXPECT_EQ(absent.errors,
              "i2ctool: " + path + ": no such file; the simulated board is not running\n");
}

TEST_F(I2cToolTest, ReportsADamagedBoard) {
    const std::string path = folder_.write("state", read_file(board_->path()).substr(0, 2000));
    const ProgramResult result =
        run_with("i2ctool", {"--read", "--bus=1", "--addr=1", "--reg=0", "--count=1"},
                 {"DIAG_BOARD=" + path});
    EXPECT_EQ(result.status, kExitBadDescription);
    EXPECT_EQ(result.errors, "i2ctool: " + path +
                                 ": the state file is damaged; start the simulated board again\n");
}

TEST_F(I2cToolTest, DoesNotWaitForAReaderOfItsFifo) {
    const std::string path = folder_.file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expect_failure("--read --bus=1 --addr=0x31 --count=1 --reg=0x03 --pipe=" + path,
                   kExitAccessFailed, "pipe " + path + ": nobody reads it");
    EXPECT_EQ(board_->read_byte(1, 0x31, 3), 0x81)
        << "a status register is not cleared for a reading that nobody takes";
}

TEST_F(I2cToolTest, ReportsAPipeThatIsNone) {
    const std::string absent = folder_.file("absent");
    expect_failure("--read --bus=1 --addr=0x31 --count=1 --reg=0 --pipe=" + absent,
                   kExitAccessFailed, "pipe " + absent + ": No such file or directory");
    const std::string file = folder_.write("file", "precious");
    expect_failure("--read --bus=1 --addr=0x31 --count=1 --reg=0 --pipe=" + file, kExitAccessFailed,
                   "pipe " + file + ": an ordinary file, not a pipe");
    EXPECT_EQ(read_file(file), "precious");
}

TEST_F(I2cToolTest, GivesUpOnAReaderThatTakesNothing) {
    const std::string path = folder_.file("fifo");
    const OpenFifo fifo(path);
    fifo.fill_up();
    expect_failure("--read --bus=1 --addr=0x31 --count=1 --reg=0 --pipe=" + path, kExitTimedOut,
                   "pipe " + path + ": its reader takes nothing");
}

TEST_F(I2cToolTest, WritesNothingIntoTheFifoWhenTheAccessFails) {
    const std::string path = folder_.file("fifo");
    const OpenFifo fifo(path);
    expect_failure("--read --bus=1 --addr=0x32 --count=1 --reg=0 --pipe=" + path, kExitAccessFailed,
                   "/dev/i2c-1 address 0x32: no answer");
    EXPECT_TRUE(fifo.read_all().empty());
}

TEST_F(I2cToolTest, ReportsAFullDisk) {
    const ProgramResult result = run_to_full_device("--read --bus=1 --addr=0x31 --count=1 --reg=0");
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "i2ctool: standard output: No space left on device\n");
}

}  // namespace
}  // namespace diag::test
