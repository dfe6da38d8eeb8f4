// SPDX-License-Identifier: MIT
// What the tools ask of the bus broker when they are told to go through it.
#include "diags/exit_status.h"
#include "tests/support/broker_double.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

// "TYPE DEVICE DATA SUPPORT INDICATION"
std::string text_of(const BrokerRequest &request) {
    return std::to_string(request.type) + " " + request.device + " " + request.data +
           request.support + " " + std::to_string(request.indication);
}

// Bytes 1, 2, 3 ... for a reading.
std::vector<std::string> count_up(const BrokerRequest &request) {
    Bytes bytes(request.type == 2 ? request.count() : 0);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(i + 1);
    }
    return {broker_answer(request, "Success", bytes)};
}

ProgramResult run_through(const BrokerDouble &broker, const std::string &line) {
    std::vector<std::string> words = split_words(line);
    const std::string tool = words.front();
    words.erase(words.begin());
    return ToolFixture::run_with(tool, words, {broker.setting(), "DIAG_BOARD="});
}

struct Row {
    const char *line;
    unsigned tool;
    const char *request;
    const char *output;
};

// How the test framework shows a row.
void PrintTo(const Row &row, std::ostream *out) {
    *out << row.line;
}

constexpr Row kRows[] = {
    {"i2ctool --read --bus=/dev/i2c-3 --addr=0x50 --count=2 --width=8 --reg=0x7 --busbroker", 1,
     "2 i2c:3:50 00000007,0002,08,1c 5", "0x01 0x02\n"},
    {"i2ctool --read --bus=18 --addr=0x0 --count=2 --reg16=0x1234 --busbroker_req", 1,
     "2 i2c:12:00 00001234,0002,08,1c,04 5", "0x01 0x02\n"},
    {"i2ctool --read --bus=3 --addr=0x50 --count=2 --reg16=0x1234 --reg_le --busbroker", 1,
     "2 i2c:3:50 00003412,0002,08,1c,04 5", "0x01 0x02\n"},
    {"i2ctool --read --bus=3 --addr=0x50 --count=2 --width=16 --reg=0x7 --busbroker", 1,
     "2 i2c:3:50 00000007,0002,08,1c 5", "0x02 0x01\n"},
    {"i2ctool --write --bus=3 --addr=0x50 --width=8 --busbroker_req --reg=0x7 --val=0x1,2", 1,
     "3 i2c:3:50 00000000,0003,08,1c,07,01,02,08 5", ""},
    {"i2ctool --write --bus=3 --addr=0x50 --busbroker_req --regblock=0x107 --val=1", 1,
     "3 i2c:3:50 00000000,0003,08,1c,01,07,01,08 5", ""},
    {"i2ctool --write --bus=3 --addr=0x50 --busbroker --reg=0x7 --val=", 1,
     "3 i2c:3:50 00000000,0001,08,1c,07,08 5", ""},
    // The library's text for a flagged write has no blank behind the option.
    {"i2ctool --write --bus=3 --addr=0x50 --width=8 --flag= --busbroker_req--reg=0x07 --val=0x01",
     1, "3 i2c:3:50 00000000,0002,08,1c,07,01,08 5", ""},
    {"i2ctool --write --bus=3 --addr=0x50 --width=8 --flag=pdc --busbroker_req--reg16=0x0007 "
     "--val=0x01 --reg_le",
     1, "3 i2c:3:50 00000000,0004,08,1c,07,00,01,ee,0a 5", ""},
    {"gpiotool --get --chip=20 --pin=0x11 --busbroker", 2, "2 gpio:14 00000011,0001,08,1c 5",
     "1\n"},
    {"gpiotool --set --chip=0 --pin=3 --val=1 --busbroker_req", 2,
     "3 gpio:0 00000003,0001,08,1c,01 5", ""},
    {"lpctool --get --addr=0x1200 --size=w --count=4 --busbroker", 3, "2 lpc 00001200,0004,10,1c 5",
     "0x01 0x02 0x03 0x04\n"},
    {"lpctool --write --addr=0xffffffff --size=b --busbroker_req --val=0x7", 3,
     "3 lpc ffffffff,0001,08,1c,07 5", ""},
    {"pcitool --get --bus=3 --dev=0x1f --func=7 --offset=0xffc --count=4 --width=32 --busbroker", 4,
     "2 pci:03:1f.7 00000ffc,0004,20,1c 5", "0x01 0x02 0x03 0x04\n"},
    {"pcitool --write --bus=0x00 --dev=0x1f --func=0x03 --offset=0x40 --busbroker_req --width=8 "
     "--val=0x77",
     4, "3 pci:00:1f.3 00000040,0001,08,1c,77 5", ""},
    {"memtool --get --addr=0x1000 --count=1 --width=64 --busbroker", 5,
     "2 mem 00001000,0008,40,1c 5", "0x0807060504030201\n"},
    {"memtool --write --busbroker --addr=0x1000 --width=16 --be --val=0x1234", 5,
     "3 mem 00001000,0002,10,1c,12,34 5", ""},
};

class BrokerAccessTest : public testing::TestWithParam<Row> {};

TEST_P(BrokerAccessTest, IsOneRequest) {
    const BrokerDouble broker(count_up);
    const ProgramResult result = run_through(broker, GetParam().line);
    EXPECT_EQ(result.status, kExitDone);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, GetParam().output);
    const auto requests = broker.requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(text_of(requests[0]), GetParam().request);
    EXPECT_EQ(requests[0].tool, GetParam().tool);
}

INSTANTIATE_TEST_SUITE_P(Lines, BrokerAccessTest, testing::ValuesIn(kRows));

TEST(BrokerPipeTest, GetsWhatWasRead) {
    const BrokerDouble broker(count_up);
    const TemporaryFolder folder;
    const OpenFifo fifo(folder.file("fifo"));
    const ProgramResult result = run_through(
        broker, "lpctool --get --addr=0 --count=3 --busbroker --pipe=" + folder.file("fifo"));
    EXPECT_EQ(result.status, kExitDone) << result.errors;
    EXPECT_EQ(fifo.read_all(), (Bytes{1, 2, 3}));
}

// A reading that has no taker must not clear a status register.
TEST(BrokerPipeTest, IsOpenedBeforeAnythingIsAskedFor) {
    const BrokerDouble broker(count_up);
    const ProgramResult result =
        run_through(broker, "lpctool --get --addr=0 --count=3 --busbroker --pipe=/nowhere/fifo");
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "lpctool: pipe /nowhere/fifo: No such file or directory\n");
    EXPECT_TRUE(broker.requests().empty());
}

struct Piece {
    uint32_t address;
    size_t count;
};

void expect_pieces(const BrokerDouble &broker, const std::vector<Piece> &pieces) {
    const auto requests = broker.requests();
    ASSERT_EQ(requests.size(), pieces.size());
    for (size_t i = 0; i < pieces.size(); ++i) {
        EXPECT_EQ(requests[i].address(), pieces[i].address);
        EXPECT_EQ(requests[i].count(), pieces[i].count);
        EXPECT_EQ(requests[i].indication, 5U) << "each by itself";
    }
}

TEST(BrokerPiecesTest, AreOfWholeItems) {
    const BrokerDouble broker(count_up);
    const ProgramResult result =
        run_through(broker, "memtool --get --addr=0x1000 --count=500 --width=64 --busbroker");
    EXPECT_EQ(result.status, kExitDone) << result.errors;
    expect_pieces(broker, {{0x1000, 1896}, {0x1768, 1896}, {0x1ED0, 208}});
}

TEST(BrokerPiecesTest, OfAWriteAreSmaller) {
    const BrokerDouble broker(count_up);
    std::string values = "1";
    for (int i = 1; i < 2602; ++i) {
        values += ",1";
    }
    const ProgramResult result =
        run_through(broker, "lpctool --set --addr=0x10 --size=w --busbroker --val=" + values);
    EXPECT_EQ(result.status, kExitDone) << result.errors;
    expect_pieces(broker, {{0x10, 1300}, {0x10 + 1300, 1300}, {0x10 + 2600, 2}});
}

TEST(BrokerPiecesTest, EndWithTheFirstThatFails) {
    int arrivals = 0;
    const BrokerDouble broker([&](const BrokerRequest &request) {
        return ++arrivals == 1 ? count_up(request)
                               : std::vector{broker_answer(request, "No answer")};
    });
    const ProgramResult result =
        run_through(broker, "lpctool --get --addr=0x1000 --count=6000 --busbroker");
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "lpctool: LPC address 0x1000 to 0x276f: no answer\n");
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(broker.requests().size(), 2U);
}

// One transfer on the bus is one request.
TEST(BrokerPiecesTest, AreNoneOnI2c) {
    const BrokerDouble broker(count_up);
    const std::string line = "i2ctool --read --bus=1 --addr=0x31 --reg=0 --busbroker --count=";
    EXPECT_EQ(run_through(broker, line + "1900").status, kExitDone);
    const ProgramResult result = run_through(broker, line + "1901");
    EXPECT_EQ(result.status, kExitUsage);
    EXPECT_EQ(result.errors,
              "i2ctool: /dev/i2c-1 address 0x31: one request to the bus broker carries at most "
              "1900 bytes\n");
    EXPECT_EQ(broker.requests().size(), 1U);
}

TEST(BrokerReachTest, EndsAtAddressesOf32Bits) {
    const BrokerDouble broker(count_up);
    const ProgramResult result =
        run_through(broker, "memtool --get --addr=0xffffffff --count=2 --busbroker");
    EXPECT_EQ(result.status, kExitUsage);
    EXPECT_EQ(result.errors,
              "memtool: memory address 0xffffffff to 0x100000000: requests to the bus broker carry "
              "addresses of 32 bits\n");
    EXPECT_EQ(run_through(broker, "memtool --get --addr=0xfffffffe --count=2 --busbroker").status,
              kExitDone);
    EXPECT_EQ(broker.requests().size(), 1U);
}

TEST(BrokerReachTest, EndsAtI2cAddressesOf7Bits) {
    const BrokerDouble broker(count_up);
    const ProgramResult result =
        run_through(broker, "i2ctool --read --bus=1 --addr=0x80 --reg=0 --count=1 --busbroker");
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "i2ctool: /dev/i2c-1 address 0x80: no answer\n");
    EXPECT_TRUE(broker.requests().empty());
}

}  // namespace
}  // namespace diag::test
