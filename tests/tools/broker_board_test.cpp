// SPDX-License-Identifier: MIT
// The tools through the real bus broker: on the same board they do what they do without it.

#include "tool_calls.h"

#include "diags/broker/client.h"
#include "diags/exit_status.h"
#include "tests/support/running_broker.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

class BrokerBoardTest : public ToolFixture {
  protected:
    ProgramResult through_broker(const std::string &line) const {
        return run_words(line + " --busbroker", {broker_.setting(), "DIAG_BOARD="});
    }
    ProgramResult directly(const std::string &line) const {
        return run_words(line, {"DIAG_BOARD=" + board_->path()});
    }

    RunningBroker broker_{{"--wait", "300", DIAG_SOURCE_DIR "/examples/boards/edge_router.xml"},
                          {"DIAG_BOARD=" + board_->path()}};

  private:
    static ProgramResult run_words(const std::string &line,
                                   const std::vector<std::string> &environment) {
        std::vector<std::string> words = split_words(line);
        const std::string tool = words.front();
        words.erase(words.begin());
        return run_with(tool, words, environment);
    }
};

// Reading what nothing changes, and failing.
constexpr const char *kLines[] = {
    "i2ctool --read --bus=1 --addr=0x31 --reg=0 --count=1",
    "i2ctool --read --bus=1 --addr=0x31 --reg=4 --width=16 --count=2",
    "i2ctool --read --bus=2 --addr=0x40 --reg16=0x0102 --width=16 --count=2",
    "i2ctool --read --bus=2 --addr=0x41 --reg16=0x0102 --reg_le --width=16 --count=2",
    "i2ctool --read --bus=2 --addr=0x40 --regblock=0x0200 --count=1900",
    "i2ctool --read --bus=1 --addr=0x32 --reg=0 --count=1",
    "i2ctool --write --bus=1 --addr=0x32 --reg=0 --val=1",
    "i2ctool --read --bus=7 --addr=0x31 --reg=0 --count=1",
    "gpiotool --get --chip=0 --pin=3",
    "gpiotool --get --chip=0 --pin=5",
    "lpctool --get --addr=0x1200 --count=4 --size=l",
    "lpctool --get --addr=0x20000 --count=65536",
    "lpctool --get --addr=0x9999 --count=1",
    "pcitool --get --bus=0 --dev=31 --func=3 --offset=0 --count=4 --width=32",
    "pcitool --get --bus=0 --dev=31 --func=3 --offset=8 --count=4088",
    "pcitool --get --bus=0 --dev=30 --func=3 --offset=0 --count=1",
    "memtool --get --addr=0x1000 --count=2 --width=32 --be",
    "memtool --get --addr=0xfe000000 --count=1 --width=32",
    "memtool --get --addr=0x900000 --count=1",
};

TEST_F(BrokerBoardTest, AnswersAsTheBoardItself) {
    for (const char *line : kLines) {
        const ProgramResult direct = directly(line);
        const ProgramResult brokered = through_broker(line);
        EXPECT_EQ(brokered.status, direct.status) << line;
        EXPECT_EQ(brokered.output, direct.output) << line;
        EXPECT_EQ(brokered.errors, direct.errors) << line;
    }
}

struct Writing {
    const char *write;
    const char *read;
    const char *value;
};

constexpr Writing kWritings[] = {
    {"i2ctool --write --bus=1 --addr=0x31 --reg=2 --val=0x5a",
     "i2ctool --read --bus=1 --addr=0x31 --reg=2 --count=1", "0x5a\n"},
    {"i2ctool --write --bus=1 --addr=0x31 --reg=2 --flag=pdc --val=0x5b",
     "i2ctool --read --bus=1 --addr=0x31 --reg=2 --count=1", "0x5b\n"},
    {"i2ctool --write --bus=1 --addr=0x31 --reg=4 --width=16 --val=0x34,0x12",
     "i2ctool --read --bus=1 --addr=0x31 --reg=4 --width=16 --count=2", "0x34 0x12\n"},
    {"i2ctool --write --bus=2 --addr=0x41 --reg16=0x102 --reg_le --width=16 --val=1,2",
     "i2ctool --read --bus=2 --addr=0x41 --reg16=0x102 --reg_le --width=16 --count=2",
     "0x01 0x02\n"},
    {"gpiotool --set --chip=0 --pin=4 --val=1", "gpiotool --get --chip=0 --pin=4", "1\n"},
    {"lpctool --set --addr=0x1205 --val=7", "lpctool --get --addr=0x1205 --count=1", "0x07\n"},
    {"pcitool --set --bus=0 --dev=31 --func=3 --offset=0x40 --width=32 --val=1,2,3,4",
     "pcitool --get --bus=0 --dev=31 --func=3 --offset=0x40 --count=4", "0x01 0x02 0x03 0x04\n"},
    {"memtool --set --addr=0x1008 --width=64 --be --val=0x0102030405060708",
     "memtool --get --addr=0x1008 --count=8", "0x01 0x02 0x03 0x04 0x05 0x06 0x07 0x08\n"},
};

TEST_F(BrokerBoardTest, WritesWhatTheBoardThenHas) {
    for (const Writing &writing : kWritings) {
        const ProgramResult result = through_broker(writing.write);
        EXPECT_EQ(result.status, kExitDone) << writing.write << result.errors;
        EXPECT_EQ(directly(writing.read).output, writing.value) << writing.write;
    }
}

TEST_F(BrokerBoardTest, ServesTheLibrarysWrites) {
    setenv("PATH", DIAG_TOOLS_DIR ":/usr/bin:/bin", 1);
    setenv("DIAG_BROKER", broker_.setting().substr(sizeof "DIAG_BROKER").c_str(), 1);
    const uint8_t value = 1;
    EXPECT_EQ(gpiotool_set(0, 4, &value, true), 0U);
    EXPECT_EQ(directly("gpiotool --get --chip=0 --pin=4").output, "1\n");
    const uint8_t byte = 0x66;
    EXPECT_EQ(i2ctool_set("/dev/i2c-1", 0x31, 2, &reg8_data8, &byte, 1, 1, true), 0);
    EXPECT_EQ(board_->read_byte(1, 0x31, 2), 0x66) << "a flagged write, with its option glued on";
    EXPECT_EQ(lpctool_set(0x1205, &byte, 1, 'b', true), 0U);
    EXPECT_EQ(directly("lpctool --get --addr=0x1205 --count=1").output, "0x66\n");
}

TEST_F(BrokerBoardTest, IsBusyWhileAnotherProgramHoldsTheDevice) {
    broker::Client other({.address = {"127.0.0.1", broker_.port()}, .tool = 16});
    ASSERT_TRUE(other.reserve("i2c:1:31", 30).is_done());
    const ProgramResult result =
        through_broker("i2ctool --read --bus=1 --addr=0x31 --reg=0 --count=1");
    EXPECT_EQ(result.status, kExitBusy);
    EXPECT_EQ(result.errors,
              "i2ctool: /dev/i2c-1 address 0x31: another program holds it: Timed out\n");
    EXPECT_EQ(through_broker("i2ctool --read --bus=2 --addr=0x40 --reg16=0x102 --count=1").status,
              kExitDone)
        << "another device is free";
    ASSERT_TRUE(other.reserve("i2c:1:31", 0).is_done());
    EXPECT_EQ(through_broker("i2ctool --read --bus=1 --addr=0x31 --reg=0 --count=1").output,
              "0xa5\n");
}

}  // namespace
}  // namespace diag::test
