// SPDX-License-Identifier: MIT
// The simulated board's ipmitool: answers byte for byte as callers parse them.
#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

class IpmiToolTest : public OneToolFixture {
  protected:
    IpmiToolTest() : OneToolFixture("sim/ipmitool") {}

    // Puts 1, 2, 3 and so on into the EEPROM behind the controller.
    void fill_eeprom() {
        for (int i = 0; i < 40; ++i) {
            EXPECT_EQ(
                printed("raw 0x38 0x03 3 0x50 " + std::to_string(i) + " " + std::to_string(i + 1)),
                "\n");
        }
    }

    // A refusal: one line in the words of the program that this one stands for.
    void expect_refusal(const std::string &numbers, const std::string &line) {
        const ProgramResult result = run_line("raw " + numbers);
        EXPECT_EQ(result.status, kExitNegative) << numbers;
        EXPECT_EQ(result.errors, "Unable to send RAW command (" + line + "\n") << numbers;
        EXPECT_EQ(result.output, "") << numbers;
    }
};

TEST_F(IpmiToolTest, PrintsAnAnswerWithoutDataAsALineFeed) {
    EXPECT_EQ(printed("raw 0x38 0x2 0x3 0x50 0x10 0x0"), "\n");
    EXPECT_EQ(printed("raw 0x38 0x3 0x3 0x50 0x10 0x1"), "\n");
}

TEST_F(IpmiToolTest, PrintsOneByte) {
    fill_eeprom();
    EXPECT_EQ(printed("raw 0x38 0x2 0x3 0x50 0x9 0x1"), " 0a\n");
}

constexpr const char *kFirstLine = " 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10";
constexpr const char *kSecondLine = " 11 12 13 14 15 16 17 18 19 1a 1b 1c 1d 1e 1f 20";

TEST_F(IpmiToolTest, PrintsSixteenBytesToALine) {
    fill_eeprom();
    const std::string first = kFirstLine;
    const std::string second = kSecondLine;
    EXPECT_EQ(printed("raw 0x38 0x2 0x3 0x50 0 15"), first.substr(0, 45) + "\n");
    EXPECT_EQ(printed("raw 0x38 0x2 0x3 0x50 0 16"), first + "\n");
    EXPECT_EQ(printed("raw 0x38 0x2 0x3 0x50 0 17"), first + "\n 11\n");
    EXPECT_EQ(printed("raw 0x38 0x2 0x3 0x50 0 32"), first + "\n" + second + "\n");
    EXPECT_EQ(printed("raw 0x38 0x2 0x3 0x50 0 33"), first + "\n" + second + "\n 21\n");
}

TEST_F(IpmiToolTest, PrintsTheLongestAnswer) {
    const std::string answer = printed("raw 0x38 0x2 0x3 0x50 0 255");
    EXPECT_EQ(answer.size(), 255U * 3 + 16);
}

TEST_F(IpmiToolTest, TakesTheLibrarysLines) {
    EXPECT_EQ(printed("raw 0x38 0x3 0x3 0x50 0x10 0xa"), "\n");
    EXPECT_EQ(printed("raw 0x38 0x7 0x3 0x50 0x11 0x1b"), "\n");
    EXPECT_EQ(printed("raw 0x38 0x2 0x3 0x50 0x10 0x2"), " 0a 1b\n");
    EXPECT_EQ(printed("raw 0x38 0x4 0x3 0x50 0x12 0x2c 0x3d"), "\n");
    EXPECT_EQ(printed("raw 0x38 0x8 0x3 0x50 0x14 0x4e 0x5f"), "\n");
    EXPECT_EQ(printed("raw 0x3a 0x01 0x03 0x50 0x06  0x10"), " 0a 1b 2c 3d 4e 5f\n");
    EXPECT_EQ(printed("raw 0x3a 0x01 0x03 0x50 0x00 0x20 0x77"), "\n");
    EXPECT_EQ(printed("raw 0x38 0x2 0x3 0x50 0x20 0x1"), " 77\n");
    EXPECT_EQ(printed("raw 0x3c 0x18 0x12 0x34"), " 01 02 03 04\n");
    EXPECT_EQ(printed("raw 0x3c 0x19 0x12 0x34 0x5 0x6 0x7 0x8"), "\n");
    EXPECT_EQ(printed("raw 0x3c 0x18 0x12 0x34"), " 05 06 07 08\n");
}

TEST_F(IpmiToolTest, TakesDecimalNumbers) {
    EXPECT_EQ(printed("raw 60 24 18 52"), " 01 02 03 04\n");
}

TEST_F(IpmiToolTest, TellsRefusalsByTheirCompletionCodes) {
    expect_refusal("0x38 0x1", "channel=0x0 netfn=0x38 lun=0x0 cmd=0x1 rsp=0xc1): Invalid command");
    expect_refusal("0x06 0x01", "channel=0x0 netfn=0x6 lun=0x0 cmd=0x1 rsp=0xc1): Invalid command");
    expect_refusal("0x38 0x2 0x3 0x50",
                   "channel=0x0 netfn=0x38 lun=0x0 cmd=0x2 rsp=0xc7): Request data length invalid");
    expect_refusal("0x38 0x2 0x3 0x51 0 1",
                   "channel=0x0 netfn=0x38 lun=0x0 cmd=0x2 rsp=0xd3): Destination unavailable");
    expect_refusal(
        "0x3c 0x18 0x12 0x35",
        "channel=0x0 netfn=0x3c lun=0x0 cmd=0x18 rsp=0xcc): Invalid data field in request");
}

TEST_F(IpmiToolTest, FailsWithItsOneStatusOnADamagedBoard) {
    const std::string path = folder_.write("state", read_file(board_->path()).substr(0, 2000));
    const ProgramResult result =
        run_with("sim/ipmitool", split_words("raw 0x3c 0x18 0x12 0x34"), {"DIAG_BOARD=" + path});
    EXPECT_EQ(result.status, kExitNegative);
    EXPECT_EQ(result.errors, "ipmitool: " + path +
                                 ": the state file is damaged; start the simulated board again\n");
    EXPECT_EQ(result.output, "");
}

TEST_F(IpmiToolTest, FailsWithItsOneStatusOnAFullDisk) {
    for (const char *line : {"raw 0x3c 0x18 0x12 0x34", "--help", "--version"}) {
        const ProgramResult result = run_to_full_device(line);
        EXPECT_EQ(result.status, kExitNegative) << line;
        EXPECT_EQ(result.errors, "ipmitool: standard output: No space left on device\n") << line;
    }
}

}  // namespace
}  // namespace diag::test
