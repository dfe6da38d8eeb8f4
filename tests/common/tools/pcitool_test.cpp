// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "diag_util.h"
#include "tool_calls.h"

#include "tests/common/library_test.h"
#include "tests/support/fake_tool.h"
#include "tests/support/logged_messages.h"
#include "tests/support/temporary_folder.h"

using diag::test::logged_by;
using diag::test::Messages;
using diag::test::printed;

namespace {

constexpr uint32_t kFailed = 0xFFFFFFFF;

class Pcitool : public diag::test::LibraryTest {
  protected:
    // Writes to offset 4 of function 1a:1f.7; what is printed goes to `text_`.
    uint32_t set(const std::vector<uint8_t> &data, bool busbroker = false, int width = 32) {
        uint32_t status = 99;
        text_ = printed([&] {
            status = pcitool_set(0x1A, 0x1F, 7, 4, data.data(), static_cast<int>(data.size()),
                                 busbroker, width);
        });
        return status;
    }
    const std::string head_ = "--write --bus=0x1a --dev=0x1f --func=0x07 --offset=0x04 ";

    diag::test::TemporaryFolder folder_;
    diag::test::FakeTool tool_{"pcitool"};
    std::string pipe_ = folder_.file("p");
    std::string text_;
};

TEST_F(Pcitool, ReadingNamesTheFunctionInDecimal) {
    struct Case {
        int bus;
        int device;
        int function;
        unsigned int offset;
        unsigned int count;
        int width;
        const char *place;
        const char *amount;
    };
    constexpr Case kCases[] = {
        {26, 31, 7, 4, 4, 32, "--bus=26 --dev=31 --func=7 --offset=0x04", "--count=4 --width=32"},
        {0, 0, 0, 0, 1, 8, "--bus=0 --dev=0 --func=0 --offset=0x00", "--count=1 --width=8"},
        {-1, -2, -3, 0xFFFFFFFF, 0xFFFFFFFF, -8, "--bus=-1 --dev=-2 --func=-3 --offset=0xffffffff",
         "--count=-1 --width=-8"},
        {1, 2, 3, 0xABC, 2, 0, "--bus=1 --dev=2 --func=3 --offset=0xabc", "--count=2 --width=0"}};
    for (const Case &test : kCases) {
        uint8_t result[4];
        EXPECT_EQ(pcitool_get(test.bus, test.device, test.function, test.offset, result,
                              pipe_.c_str(), test.count, test.width),
                  0U);
        EXPECT_EQ(tool_.calls().back(),
                  std::string("--get ") + test.place + " --pipe=" + pipe_ + " " + test.amount);
    }
}

TEST_F(Pcitool, CommandOfAReadingIsShownAtLevel1) {
    const std::string command =
        "pcitool --get --bus=1 --dev=2 --func=3 --offset=0x04 --pipe=" + pipe_ +
        " --count=1 --width=8";
    uint8_t byte = 0;
    const auto read = [&] { pcitool_get(1, 2, 3, 4, &byte, pipe_.c_str(), 1, 8); };
    tool_.answers("a");
    EXPECT_EQ(logged_by(read), (Messages{{1, "pcitool_get: " + command + "\n"},
                                         {2, "1 bytes read from the fifo\n"}}));
    tool_.answers("", 1);
    EXPECT_EQ(logged_by(read), (Messages{{1, "pcitool_get: " + command + "\n"}}))
        << "a failure is not reported";
}

TEST_F(Pcitool, WritesWithoutAWidthUnlessTheBrokerDoesIt) {
    EXPECT_EQ(set({0x12, 0x04}), 0U);
    EXPECT_EQ(tool_.calls().back(), head_ + "--val=0x12,0x04");
    EXPECT_EQ(text_, "");
    EXPECT_EQ(set({0x00}, true, 16), 0U);
    EXPECT_EQ(tool_.calls().back(), head_ + "--busbroker_req --width=16 --val=0x00");
    EXPECT_EQ(set({0xFF}, true, -1), 0U);
    EXPECT_EQ(tool_.calls().back(), head_ + "--busbroker_req --width=-1 --val=0xff");
}

TEST_F(Pcitool, WriteNamesTheFunctionInHexadecimal) {
    constexpr uint8_t kData[] = {1};
    EXPECT_EQ(pcitool_set(0xFFFFFFFF, 0x100, 0, 0xABC, kData, 1, false, 8), 0U);
    EXPECT_EQ(tool_.calls().back(),
              "--write --bus=0xffffffff --dev=0x100 --func=0x00 --offset=0xabc --val=0x01");
}

TEST_F(Pcitool, CountsBelow1WriteNoValues) {
    for (const int count : {0, -1, -2147483647 - 1}) {
        EXPECT_EQ(pcitool_set(0x1A, 0x1F, 7, 4, nullptr, count, false, 8), 0U);
        EXPECT_EQ(tool_.calls().back(), head_ + "--val=");
    }
}

TEST_F(Pcitool, WriteIsCutAtTheEndOfItsBuffer) {
    std::string whole = "pcitool " + head_ + "--val=0x01";
    for (int i = 1; i < 600; i++) {
        whole += ",0x01";
    }
    EXPECT_EQ(set(std::vector<uint8_t>(600, 1)), 0U);
    EXPECT_EQ("pcitool " + tool_.calls().back(), whole.substr(0, 2047));
}

TEST_F(Pcitool, WriteIsShownAtLevel1AndItsFailureIsNot) {
    constexpr uint8_t kData[] = {5};
    const auto write = [&] { pcitool_set(0x1A, 0x1F, 7, 4, kData, 1, true, 8); };
    const Messages expected{
        {1, "pcitool_set: pcitool " + head_ + "--busbroker_req --width=8 --val=0x05\n"}};
    EXPECT_EQ(logged_by(write), expected);
    tool_.answers("", 1);
    EXPECT_EQ(logged_by(write), expected);
}

TEST_F(Pcitool, WriteThatFailsIsAFailure) {
    for (const char *script : {"exit 3\n", "kill -KILL $$\n"}) {
        tool_.runs_script(script);
        EXPECT_EQ(set({1}), kFailed);
        EXPECT_EQ(text_, "");
    }
    tool_.is_missing();
    EXPECT_EQ(set({1}), kFailed);
    EXPECT_EQ(text_, "");
}

TEST_F(Pcitool, DryRunShowsTheWriteAtLevel0) {
    tool_.answers("", 1);
    constexpr uint8_t kData[] = {5};
    for (const int enable : {1, -1}) {
        set_debug_enable(static_cast<unsigned int>(enable));
        EXPECT_EQ(set({5}, true, 8), 0U);
        EXPECT_EQ(text_, "pcitool " + head_ + "--busbroker_req --width=8 --val=0x05\n");
    }
    EXPECT_EQ(logged_by([&] { pcitool_set(0x1A, 0x1F, 7, 4, kData, 1, false, 8); }),
              (Messages{{0, "pcitool " + head_ + "--val=0x05\n"}}));
    EXPECT_TRUE(tool_.calls().empty());
}

}  // namespace
