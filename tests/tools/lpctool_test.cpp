// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

class LpcToolTest : public OneToolFixture {
  protected:
    LpcToolTest() : OneToolFixture("lpctool") {}

    Bytes bytes_at(uint32_t address, size_t count) {
        Bytes bytes(count);
        EXPECT_EQ(board_->board().lpc_read(address, 1, bytes), board::Status::kOk);
        return bytes;
    }
};

TEST_F(LpcToolTest, ReadsBytesIntoTheCallersFifo) {
    EXPECT_EQ(piped("--addr=0x00001200 --size=b --count=4"), (Bytes{0x78, 0x56, 0x34, 0x12}));
    EXPECT_EQ(piped("--addr=0x00001201 --size=b --count=1"), Bytes{0x56});
}

TEST_F(LpcToolTest, CountsBytesWhateverTheWidthOfAnAccess) {
    for (const char *size : {"b", "w", "l"}) {
        EXPECT_EQ(piped("--addr=0x1200 --count=4 --size=" + std::string(size)),
                  (Bytes{0x78, 0x56, 0x34, 0x12}));
    }
}

TEST_F(LpcToolTest, PrintsBytes) {
    EXPECT_EQ(printed("--read --addr=0x1200 --count=4"), "0x78 0x56 0x34 0x12\n");
    EXPECT_EQ(printed("--get --addr=4608 --count=4 --size=l"), "0x78 0x56 0x34 0x12\n");
    EXPECT_EQ(printed("--get --addr=0x20000 --count=17"),
              "0x01 0x02 0x03 0x04 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00\n"
              "0x00\n");
}

TEST_F(LpcToolTest, WritesBytes) {
    written("--addr=0x1205 --val=0x5,0x1a,255");
    EXPECT_EQ(bytes_at(0x1205, 3), (Bytes{0x05, 0x1A, 0xFF}));
    EXPECT_EQ(printed("--set --addr=0x1206 --size=w --val=1,0x02"), "");
    EXPECT_EQ(bytes_at(0x1205, 3), (Bytes{0x05, 1, 2}));
    written("--addr=0x20000 --size=l --val=9,8,7,6,5,4,3,2");
    EXPECT_EQ(bytes_at(0x20000, 9), (Bytes{9, 8, 7, 6, 5, 4, 3, 2, 0}));
}

TEST_F(LpcToolTest, TakesOneByteWithAndWithoutALeadingZero) {
    written("--addr=0x1205 --val=0x05");
    EXPECT_EQ(bytes_at(0x1205, 1), Bytes{5});
    written("--addr=0x1205 --val=0x6");
    EXPECT_EQ(bytes_at(0x1205, 1), Bytes{6});
}

TEST_F(LpcToolTest, TakesBothSpellingsOfAnOperationAtOnce) {
    EXPECT_EQ(printed("--get --read --addr=0x1201 --count=1"), "0x56\n");
    EXPECT_EQ(printed("--set --write --addr=0x1205 --val=7"), "");
    EXPECT_EQ(bytes_at(0x1205, 1), Bytes{7});
}

TEST_F(LpcToolTest, TakesTheLibrarysLines) {
    const std::string path = folder_.file("fifo");
    const OpenFifo fifo(path);
    EXPECT_EQ(printed("--get --addr=0x00001200 --size=b --count=2 --pipe=" + path), "");
    EXPECT_EQ(fifo.read_all(), (Bytes{0x78, 0x56}));
    EXPECT_EQ(printed("--write --addr=0x00001205 --size=b --val=0x5,0x1a"), "");
    EXPECT_EQ(bytes_at(0x1205, 2), (Bytes{0x05, 0x1A}));
}

TEST_F(LpcToolTest, ReachesBothEndsOfItsRanges) {
    EXPECT_EQ(printed("--get --addr=0xffffffff --count=1"), "0x00\n");
    EXPECT_EQ(piped("--addr=0x20000 --count=65536").size(), 65536U);
    expect_failure("--get --addr=0 --count=1", kExitAccessFailed, "LPC address 0x0: no answer");
}

TEST_F(LpcToolTest, ReportsAddressesThatDoNotAnswer) {
    expect_failure("--get --addr=0x11ff --count=1", kExitAccessFailed,
                   "LPC address 0x11ff: no answer");
    expect_failure("--write --addr=0x1207 --val=1,2", kExitAccessFailed,
                   "LPC address 0x1207 to 0x1208: no answer");
    EXPECT_EQ(bytes_at(0x1207, 1), Bytes{0}) << "nothing is done when a part does not answer";
}

TEST_F(LpcToolTest, ReportsABoardWithoutTheBus) {
    TreeMaker maker;
    maker.chip("A", 1, 0x31);
    board_.emplace(maker);
    expect_failure("--get --addr=0x1200 --count=1", kExitNoDevice,
                   "LPC: this board has no bus of that kind");
}

TEST_F(LpcToolTest, NeedsABoard) {
    const ProgramResult result = run_without_board("--get --addr=0x1200 --count=1");
    EXPECT_EQ(result.status, kExitNoDevice);
    EXPECT_EQ(result.errors.rfind("lpctool: no board: ", 0), 0U) << result.errors;
}

TEST_F(LpcToolTest, ClearsNothingForAReadingThatNobodyTakes) {
    const std::string path = folder_.file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expect_failure("--get --addr=0x1204 --count=1 --pipe=" + path, kExitAccessFailed,
                   "pipe " + path + ": nobody reads it");
    EXPECT_EQ(bytes_at(0x1204, 1), Bytes{0x81});
}

TEST_F(LpcToolTest, ReportsAFullDisk) {
    const ProgramResult result = run_to_full_device("--get --addr=0x1200 --count=1");
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "lpctool: standard output: No space left on device\n");
}

}  // namespace
}  // namespace diag::test
