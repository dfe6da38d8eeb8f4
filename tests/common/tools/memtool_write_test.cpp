// SPDX-License-Identifier: MIT
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "diag_util.h"
#include "tool_calls.h"

#include "tests/common/library_test.h"
#include "tests/common/process_state.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/fake_tool.h"
#include "tests/support/logged_messages.h"

using diag::test::error_in;
using diag::test::error_text;
using diag::test::logged_by;
using diag::test::Messages;
using diag::test::open_descriptors;
using diag::test::printed;

namespace {

constexpr uint32_t kRefused = 0xFFFFFFFF;
constexpr char kFunction[] = "memtool_set";
constexpr char kHead[] = "--write --addr=0x00001000 --width=";
constexpr char kTooLong[] = "The length of command is longer than SYS_CMD_MAX_SIZE\n";
constexpr char kWidthMessage[] = "Invalid width. Only 8, 16, 32 and 64 are supported widths.\n";
constexpr char kNoMemory[] = "Could not allocate space for params of memtool\n";

class MemtoolSet : public diag::test::LibraryTest {
  protected:
    // Writes `count` items to address 0x1000; what is printed goes to `text_`.
    uint32_t set(int width, const void *data, unsigned int count, bool busbroker = false) {
        uint32_t status = 99;
        text_ = printed([&] { status = memtool_set(0x1000, width, data, count, busbroker); });
        return status;
    }
    std::string last_call() const { return tool_.calls().back(); }

    diag::test::FakeTool tool_{"memtool"};
    std::string text_;
};

TEST_F(MemtoolSet, WritesItemsOfEachWidth) {
    constexpr uint8_t kBytes[] = {0x01, 0x00, 0xFF};
    constexpr uint16_t kHalves[] = {0x0001, 0xABCD};
    constexpr uint32_t kWords[] = {0x1, 0xDEADBEEF};
    constexpr uint64_t kLongs[] = {0x1, 0xFEDCBA9876543210, 0};
    EXPECT_EQ(set(8, kBytes, 3), 0U);
    EXPECT_EQ(last_call(), std::string(kHead) + "8 --val=0x1,0x0,0xff");
    EXPECT_EQ(set(16, kHalves, 2), 0U);
    EXPECT_EQ(last_call(), std::string(kHead) + "16 --val=0x1,0xabcd");
    EXPECT_EQ(set(32, kWords, 2), 0U);
    EXPECT_EQ(last_call(), std::string(kHead) + "32 --val=0x1,0xdeadbeef");
    EXPECT_EQ(set(64, kLongs, 3), 0U);
    EXPECT_EQ(last_call(), std::string(kHead) + "64 --val=0x1,0xfedcba9876543210,0x0");
    EXPECT_EQ(text_, "");
}

TEST_F(MemtoolSet, ItemsNeedNoAlignment) {
    char buffer[17];
    const uint64_t value = 0x1122334455667788;
    std::memcpy(buffer + 1, &value, sizeof value);
    EXPECT_EQ(set(64, buffer + 1, 1), 0U);
    EXPECT_EQ(last_call(), std::string(kHead) + "64 --val=0x1122334455667788");
    EXPECT_EQ(set(32, buffer + 1, 2), 0U);
    EXPECT_EQ(last_call(), std::string(kHead) + "32 --val=0x55667788,0x11223344");
    EXPECT_EQ(set(16, buffer + 1, 1), 0U);
    EXPECT_EQ(last_call(), std::string(kHead) + "16 --val=0x7788");
}

TEST_F(MemtoolSet, BrokerHasAnOptionOfItsOwnNameInFrontOfTheAddress) {
    constexpr uint32_t kWord = 5;
    EXPECT_EQ(memtool_set(0xFEDCBA98, 32, &kWord, 1, true), 0U);
    EXPECT_EQ(last_call(), "--write --busbroker --addr=0xfedcba98 --width=32 --val=0x5");
}

// ---- refusals ----

TEST_F(MemtoolSet, OtherWidthsAreRefused) {
    constexpr uint8_t kBytes[32] = {};
    for (const int width : {-16, 24, 0, 1, 7, 9, 128, -8}) {
        EXPECT_EQ(set(width, kBytes, 1), DIAG_E_FAIL) << width;
        EXPECT_EQ(text_, error_text(kFunction, kWidthMessage));
    }
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(MemtoolSet, NothingToWriteIsAFailureWithoutAMessage) {
    for (const int width : {8, 64, -16, 24, 0, -8}) {
        EXPECT_EQ(set(width, nullptr, 0), DIAG_E_FAIL) << width;
        EXPECT_EQ(text_, "");
    }
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(MemtoolSet, ItemsThatNoMemoryCouldHoldAreRefused) {
    for (const unsigned int count : {0xFFFFFFFFU, 0x80000000U, 0x20000000U}) {
        EXPECT_EQ(set(8, nullptr, count), kRefused) << count;
        EXPECT_EQ(text_, error_text(kFunction, kNoMemory));
    }
    EXPECT_EQ(set(-32, nullptr, 1), kRefused);
    EXPECT_EQ(text_, error_text(kFunction, kNoMemory));
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(MemtoolSet, MissingMemoryIsReported) {
    const int failures = diag::test::for_each_failing_allocation([this](auto &watch) {
        constexpr uint8_t kBytes[] = {1, 2};
        uint32_t status = 99;
        const std::string text = printed([&] {
            watch.start();
            status = memtool_set(0x1000, 8, kBytes, 2, false);
            watch.stop();
        });
        EXPECT_EQ(status, watch.has_failed() ? kRefused : 0U);
        EXPECT_EQ(text, watch.has_failed() ? error_text(kFunction, kNoMemory) : "");
        EXPECT_EQ(tool_.calls().size(), watch.has_failed() ? 0U : 1U);
    });
    EXPECT_EQ(failures, 1);
}

TEST_F(MemtoolSet, NothingIsLostOnAnyWayOut) {
    tool_.answers("", 1);
    diag::test::for_each_failing_allocation([](auto &watch) {
        const std::vector<uint8_t> bytes(1000, 1);
        printed([&] {
            watch.start();
            memtool_set(0x1000, 8, bytes.data(), 1000, false);  // too long
            memtool_set(0x1000, 24, bytes.data(), 1, false);
            memtool_set(0x1000, 8, bytes.data(), 0, false);
            memtool_set(0x1000, 8, bytes.data(), 1, false);  // the tool fails
            watch.stop();
        });
    });
}

// ---- the length of the command ----

// "0x1," by the count, so that the whole command without its last comma has `length` characters.
class MemtoolSetLength : public MemtoolSet {
  protected:
    static constexpr size_t kHeadLength =
        sizeof "memtool --write --addr=0x00001000 --width=8 --val=" - 1;

    uint32_t set_with_length(size_t length) {
        data_ = data_of(length);
        return set(8, data_.data(), static_cast<unsigned int>(data_.size()));
    }
    // Values of one digit take four characters with their comma; of two digits, five.
    static std::vector<uint8_t> data_of(size_t length) {
        const size_t values = length - kHeadLength + 1;
        const size_t wide = values % 4;
        std::vector<uint8_t> data((values - 5 * wide) / 4, 0x1);
        data.insert(data.end(), wide, 0x12);
        return data;
    }

    std::vector<uint8_t> data_;
};

TEST_F(MemtoolSetLength, CommandOf2047CharactersIsSentWhole) {
    EXPECT_EQ(set_with_length(2047), 0U);
    const std::string command = "memtool " + last_call();
    EXPECT_EQ(command.size(), 2047U);
    EXPECT_TRUE(command.ends_with(data_.back() == 0x12 ? ",0x12" : ",0x1"));
}

TEST_F(MemtoolSetLength, CommandOfMoreThan2048CharactersIsRefused) {
    for (const size_t length : {2049U, 2050U, 2051U, 2052U, 100000U}) {
        EXPECT_EQ(set_with_length(length), kRefused) << length;
        EXPECT_EQ(text_, error_text(kFunction, kTooLong));
    }
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(MemtoolSetLength, RefusedCommandIsShownAtLevel1) {
    // The text of the data is cut as every message is.
    const std::vector<uint8_t> data = data_of(2049);
    const std::string head = "memtool --write --addr=0x00001000 --width=8 --val=";
    std::string values;
    for (const uint8_t value : data) {
        values += value == 1 ? "0x1," : "0x12,";
    }
    values.pop_back();
    EXPECT_EQ(head.size() + values.size(), 2049U);
    const std::string shown =
        "The length of data: " + std::to_string(values.size()) + "\ndata:\n" + values + "\n";
    Messages expected = error_in(kFunction, kTooLong);
    expected.push_back(
        {1, "The length of sys_cmd: " + std::to_string(head.size()) + "\nsys_cmd:" + head + "\n"});
    expected.push_back({1, shown.substr(0, 1023)});
    EXPECT_EQ(logged_by([&] {
                  memtool_set(0x1000, 8, data.data(), static_cast<unsigned int>(data.size()),
                              false);
              }),
              expected);
}

using MemtoolSetLengthDeathTest = MemtoolSetLength;

TEST_F(MemtoolSetLengthDeathTest, CommandOf2048CharactersEndsTheProcess) {
    const std::vector<uint8_t> data = data_of(2048);
    EXPECT_EXIT(memtool_set(0x1000, 8, data.data(), static_cast<unsigned int>(data.size()), false),
                testing::KilledBySignal(SIGABRT), "memtool_set: text does not fit its buffer");
    EXPECT_TRUE(tool_.calls().empty());
}

// ---- running ----

TEST_F(MemtoolSet, WriteIsShownAtLevel1WithItsNumberOfItems) {
    constexpr uint32_t kWords[] = {0x1, 0xDEADBEEF};
    EXPECT_EQ(logged_by([&] { memtool_set(0x1000, 32, kWords, 2, true); }),
              (Messages{{1,
                         "Calling memtool --write --busbroker --addr=0x00001000 --width=32 "
                         "--val=0x1,0xdeadbeef\n"},
                        {1, "2 bytes written to memory\n"}}));
    tool_.answers("", 1);
    Messages expected{{1, "Calling memtool --write --addr=0x00001000 --width=32 --val=0x1\n"}};
    for (const auto &message : error_in(kFunction, "FAILED <<<---\nError Writing to  MEM\n")) {
        expected.push_back(message);
    }
    EXPECT_EQ(logged_by([&] { memtool_set(0x1000, 32, kWords, 1, false); }), expected);
}

TEST_F(MemtoolSet, ToolThatFailsAnswersItsWaitStatus) {
    constexpr uint8_t kByte = 1;
    const std::string failed = error_text(kFunction, "FAILED <<<---\nError Writing to  MEM\n");
    const auto before = open_descriptors();
    tool_.runs_script("exit 3\n");
    EXPECT_EQ(set(8, &kByte, 1), 3U << 8);
    EXPECT_EQ(text_, failed);
    tool_.runs_script("kill -KILL $$\n");
    EXPECT_EQ(set(8, &kByte, 1), unsigned{SIGKILL});
    EXPECT_EQ(text_, failed);
    tool_.is_missing();
    EXPECT_EQ(set(8, &kByte, 1), 127U << 8);
    EXPECT_EQ(text_, failed);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(MemtoolSet, WritesInADryRunAsWell) {
    constexpr uint8_t kByte = 1;
    set_debug_enable(1);
    EXPECT_EQ(set(8, &kByte, 1), 0U);
    EXPECT_EQ(tool_.calls().size(), 1U);
    EXPECT_EQ(text_, "");
}

}  // namespace
