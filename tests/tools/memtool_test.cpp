// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

class MemToolTest : public OneToolFixture {
  protected:
    MemToolTest() : OneToolFixture("memtool") {}

    Bytes bytes_at(uint64_t address, size_t count) {
        Bytes bytes(count);
        EXPECT_EQ(board_->board().memory_read(address, 1, bytes), board::Status::kOk);
        return bytes;
    }
};

// The memory at 0x1000 holds 1, 2, 3 and so on up to 10, then zeros.
TEST_F(MemToolTest, ReadsItemsIntoTheCallersFifo) {
    EXPECT_EQ(piped("--addr=0x00001000 --count=3 --width=8"), (Bytes{1, 2, 3}));
    EXPECT_EQ(piped("--addr=0x00001000 --count=3 --width=16"), (Bytes{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(piped("--addr=0x00001004 --count=1 --width=32"), (Bytes{5, 6, 7, 8}));
    EXPECT_EQ(piped("--addr=0x00001000 --count=1 --width=64"), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(MemToolTest, TurnsItemsThatMemoryHoldsMostSignificantByteFirst) {
    EXPECT_EQ(piped("--addr=0x1000 --count=3 --width=8 --be"), (Bytes{1, 2, 3}));
    EXPECT_EQ(piped("--addr=0x1000 --count=2 --width=16 --be"), (Bytes{2, 1, 4, 3}));
    EXPECT_EQ(piped("--addr=0x1000 --count=2 --width=32 --be"), (Bytes{4, 3, 2, 1, 8, 7, 6, 5}));
    EXPECT_EQ(piped("--be --addr=0x1000 --count=1 --width=64"), (Bytes{8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST_F(MemToolTest, PrintsItemsOfItsWidth) {
    EXPECT_EQ(printed("--read --addr=0x1000 --count=3"), "0x01 0x02 0x03\n");
    EXPECT_EQ(printed("--get --addr=0x1000 --count=2 --width=16"), "0x0201 0x0403\n");
    EXPECT_EQ(printed("--get --addr=0x1000 --count=5 --width=32"),
              "0x04030201 0x08070605 0x00000a09 0x00000000\n0x00000000\n");
    EXPECT_EQ(printed("--get --addr=0x1000 --count=3 --width=64"),
              "0x0807060504030201 0x0000000000000a09\n0x0000000000000000\n");
    EXPECT_EQ(printed("--get --addr=0x1000 --count=1 --width=64 --be"), "0x0102030405060708\n");
}

TEST_F(MemToolTest, WritesItems) {
    written("--addr=0x1010 --width=8 --val=0x5,6");
    EXPECT_EQ(bytes_at(0x1010, 3), (Bytes{5, 6, 0}));
    written("--addr=0x1010 --width=16 --val=0x1234,5");
    EXPECT_EQ(bytes_at(0x1010, 4), (Bytes{0x34, 0x12, 5, 0}));
    written("--addr=0x1018 --width=64 --val=0x0102030405060708,18446744073709551615");
    EXPECT_EQ(bytes_at(0x1018, 8), (Bytes{8, 7, 6, 5, 4, 3, 2, 1}));
    EXPECT_EQ(bytes_at(0x1020, 8), Bytes(8, 0xFF));
}

TEST_F(MemToolTest, WritesItemsMostSignificantByteFirstOnRequest) {
    EXPECT_EQ(printed("--set --be --addr=0x1010 --width=32 --val=0x01020304,5"), "");
    EXPECT_EQ(bytes_at(0x1010, 8), (Bytes{1, 2, 3, 4, 0, 0, 0, 5}));
    written("--addr=0x1018 --width=64 --be --val=0x0102030405060708");
    EXPECT_EQ(bytes_at(0x1018, 8), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(MemToolTest, TakesTheWidthBehindTheItems) {
    written("--val=0xdeadbeef --addr=0x1010 --width=32");
    EXPECT_EQ(bytes_at(0x1010, 4), (Bytes{0xEF, 0xBE, 0xAD, 0xDE}));
    EXPECT_EQ(printed("--get --count=1 --addr=0x1010 --width=32"), "0xdeadbeef\n");
}

TEST_F(MemToolTest, TakesTheLibrarysLines) {
    const std::string path = folder_.file("fifo");
    const OpenFifo fifo(path);
    EXPECT_EQ(printed("--get --addr=0x00001000 --count=1 --width=32 --pipe=" + path + " --be"), "");
    EXPECT_EQ(fifo.read_all(), (Bytes{4, 3, 2, 1}));
    EXPECT_EQ(printed("--get --addr=0xfe000000 --count=1 --width=32 --pipe=" + path), "");
    EXPECT_EQ(fifo.read_all(), (Bytes{0xEF, 0xBE, 0xAD, 0xDE}));
    EXPECT_EQ(printed("--write --addr=0x00001000 --width=32 --val=0x1,0xdeadbeef"), "");
    EXPECT_EQ(bytes_at(0x1000, 8), (Bytes{1, 0, 0, 0, 0xEF, 0xBE, 0xAD, 0xDE}));
}

TEST_F(MemToolTest, ReachesAddressesBeyond32Bits) {
    written("--addr=0x123456789abc0 --width=64 --val=0x1122334455667788");
    EXPECT_EQ(printed("--get --addr=0x123456789abc0 --width=64 --count=1"), "0x1122334455667788\n");
    EXPECT_EQ(piped("--addr=0x123456789abc0 --width=64 --count=8192").size(), 65536U);
}

TEST_F(MemToolTest, ReportsAddressesThatDoNotAnswer) {
    expect_failure("--get --addr=0xffffffffffffffff --count=1", kExitAccessFailed,
                   "memory address 0xffffffffffffffff: no answer");
    expect_failure("--set --addr=0x103f --val=1,2", kExitAccessFailed,
                   "memory address 0x103f to 0x1040: no answer");
    EXPECT_EQ(bytes_at(0x103F, 1), Bytes{0}) << "nothing is done when a part does not answer";
}

TEST_F(MemToolTest, ReportsABoardWithoutMemory) {
    TreeMaker maker;
    maker.chip("A", 1, 0x31);
    board_.emplace(maker);
    expect_failure("--get --addr=0x1000 --count=1", kExitNoDevice,
                   "memory: this board has no bus of that kind");
}

TEST_F(MemToolTest, NeedsABoard) {
    const ProgramResult result = run_without_board("--get --addr=0x1000 --count=1");
    EXPECT_EQ(result.status, kExitNoDevice);
    EXPECT_EQ(result.errors.rfind("memtool: no board: ", 0), 0U) << result.errors;
}

TEST_F(MemToolTest, ClearsNothingForAReadingThatNobodyTakes) {
    const std::string path = folder_.file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expect_failure("--get --addr=0xfe000004 --count=1 --pipe=" + path, kExitAccessFailed,
                   "pipe " + path + ": nobody reads it");
    EXPECT_EQ(bytes_at(0xFE000004, 1), Bytes{0x81});
}

TEST_F(MemToolTest, ReportsAFullDisk) {
    const ProgramResult result = run_to_full_device("--get --addr=0x1000 --count=1");
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "memtool: standard output: No space left on device\n");
}

}  // namespace
}  // namespace diag::test
