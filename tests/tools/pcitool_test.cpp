// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

constexpr board::PciFunction kFunction = {.bus = 0, .device = 31, .function = 3};

class PciToolTest : public OneToolFixture {
  protected:
    PciToolTest() : OneToolFixture("pcitool") {}

    Bytes bytes_at(uint32_t offset, size_t count) {
        Bytes bytes(count);
        EXPECT_EQ(board_->board().pci_read(kFunction, offset, 1, bytes), board::Status::kOk);
        return bytes;
    }

    // The arguments that name the fixture's function, and more.
    static std::string here(const std::string &arguments) {
        return "--bus=0 --dev=31 --func=3 " + arguments;
    }
};

TEST_F(PciToolTest, ReadsBytesIntoTheCallersFifo) {
    EXPECT_EQ(piped(here("--offset=0x00 --count=4 --width=8")), (Bytes{0x86, 0x80, 0x10, 0x8C}));
    EXPECT_EQ(piped(here("--offset=0x02 --count=1")), Bytes{0x10});
}

TEST_F(PciToolTest, CountsBytesWhateverTheWidthOfAnAccess) {
    for (const char *width : {"8", "16", "32"}) {
        EXPECT_EQ(piped(here("--offset=0 --count=4 --width=" + std::string(width))),
                  (Bytes{0x86, 0x80, 0x10, 0x8C}));
    }
}

TEST_F(PciToolTest, PrintsBytes) {
    EXPECT_EQ(printed(here("--get --offset=0 --count=4 --width=32")), "0x86 0x80 0x10 0x8c\n");
    EXPECT_EQ(printed(here("--read --offset=4095 --count=1")), "0x00\n");
}

TEST_F(PciToolTest, WritesBytes) {
    written(here("--offset=0x41 --val=0x12,0x3,4"));
    EXPECT_EQ(bytes_at(0x40, 5), (Bytes{0, 0x12, 0x03, 4, 0}));
    EXPECT_EQ(printed(here("--set --offset=0x44 --width=32 --val=1,2,3,4")), "");
    EXPECT_EQ(bytes_at(0x44, 4), (Bytes{1, 2, 3, 4}));
}

TEST_F(PciToolTest, TakesTheLibrarysLines) {
    const std::string path = folder_.file("fifo");
    const OpenFifo fifo(path);
    EXPECT_EQ(printed("--get --bus=0 --dev=31 --func=3 --offset=0x00 --pipe=" + path +
                      " --count=2 --width=16"),
              "");
    EXPECT_EQ(fifo.read_all(), (Bytes{0x86, 0x80}));
    EXPECT_EQ(printed("--write --bus=0x00 --dev=0x1f --func=0x03 --offset=0x40 --val=0x12,0x34"),
              "");
    EXPECT_EQ(bytes_at(0x40, 2), (Bytes{0x12, 0x34}));
}

TEST_F(PciToolTest, ReadsAWholeConfigurationSpace) {
    EXPECT_EQ(piped(here("--offset=0 --count=4096 --width=32")).size(), 4096U);
}

TEST_F(PciToolTest, ReportsAFunctionThatDoesNotAnswer) {
    expect_failure("--get --bus=255 --dev=31 --func=7 --offset=0x10 --count=1", kExitAccessFailed,
                   "PCI ff:1f.7 offset 0x10: no answer");
    expect_failure("--set --bus=0 --dev=31 --func=0 --offset=0x10 --val=1,2", kExitAccessFailed,
                   "PCI 00:1f.0 offset 0x10 to 0x11: no answer");
}

TEST_F(PciToolTest, NeedsABoard) {
    const ProgramResult result = run_without_board(here("--get --offset=0 --count=1"));
    EXPECT_EQ(result.status, kExitNoDevice);
    EXPECT_EQ(result.errors.rfind("pcitool: no board: ", 0), 0U) << result.errors;
}

TEST_F(PciToolTest, ClearsNothingForAReadingThatNobodyTakes) {
    const std::string path = folder_.file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expect_failure(here("--get --offset=6 --count=1 --pipe=" + path), kExitAccessFailed,
                   "pipe " + path + ": nobody reads it");
    EXPECT_EQ(bytes_at(6, 1), Bytes{0x10});
}

TEST_F(PciToolTest, ReportsAFullDisk) {
    const ProgramResult result = run_to_full_device(here("--get --offset=0 --count=1"));
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "pcitool: standard output: No space left on device\n");
}

}  // namespace
}  // namespace diag::test
