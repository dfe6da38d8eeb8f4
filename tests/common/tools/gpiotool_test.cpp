// SPDX-License-Identifier: MIT
#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "diag_util.h"
#include "tool_calls.h"

#include "tests/common/library_test.h"
#include "tests/common/process_state.h"
#include "tests/support/fake_tool.h"
#include "tests/support/logged_messages.h"
#include "tests/support/temporary_folder.h"

using diag::test::error_in;
using diag::test::error_text;
using diag::test::logged_by;
using diag::test::Messages;
using diag::test::printed;

namespace {

constexpr int kLowest = -2147483647 - 1;

class Gpiotool : public diag::test::LibraryTest {
  protected:
    // Sets line 7 of chip 3; what is printed goes to `text_`.
    uint32_t set(uint8_t value, bool busbroker = false) {
        uint32_t status = 99;
        text_ = printed([&] { status = gpiotool_set(3, 7, &value, busbroker); });
        return status;
    }

    diag::test::TemporaryFolder folder_;
    diag::test::FakeTool tool_{"gpiotool"};
    std::string pipe_ = folder_.file("p");
    std::string text_;
};

TEST_F(Gpiotool, ReadingNamesChipAndLine) {
    struct Case {
        int chip;
        int pin;
        const char *numbers;
    };
    constexpr Case kCases[] = {{0, 0, "--chip=0 --pin=0"},
                               {3, 17, "--chip=3 --pin=17"},
                               {-1, kLowest, "--chip=-1 --pin=-2147483648"}};
    tool_.answers("\x01");
    for (const Case &test : kCases) {
        uint8_t level = 0xEE;
        EXPECT_EQ(gpiotool_get(test.chip, test.pin, pipe_.c_str(), &level), 0U);
        EXPECT_EQ(level, 1);
        EXPECT_EQ(tool_.calls().back(), std::string("--get ") + test.numbers + " --pipe=" + pipe_);
    }
}

TEST_F(Gpiotool, ReadingTakesOneByte) {
    tool_.answers("ab");
    uint8_t result[2] = {0xEE, 0xEE};
    EXPECT_EQ(gpiotool_get(1, 2, pipe_.c_str(), result), 0U);
    EXPECT_EQ(result[0], 'a');
    EXPECT_EQ(result[1], 0xEE);
}

TEST_F(Gpiotool, CommandOfAReadingIsNotShown) {
    tool_.answers("a");
    uint8_t level = 0;
    EXPECT_EQ(logged_by([&] { gpiotool_get(1, 2, pipe_.c_str(), &level); }),
              (Messages{{2, "1 bytes read from the fifo\n"}}));
    tool_.answers("", 1);
    EXPECT_EQ(logged_by([&] { gpiotool_get(1, 2, pipe_.c_str(), &level); }),
              error_in("gpiotool_get", "FAILED <<<---\nError Reading from GPIO\n"));
}

TEST_F(Gpiotool, WritingNamesChipLineAndDecimalValue) {
    struct Case {
        uint8_t value;
        bool busbroker;
        const char *call;
    };
    constexpr Case kCases[] = {{0, false, "--set --chip=3 --pin=7 --val=0"},
                               {1, false, "--set --chip=3 --pin=7 --val=1"},
                               {255, false, "--set --chip=3 --pin=7 --val=255"},
                               {1, true, "--set --chip=3 --pin=7 --val=1 --busbroker_req"}};
    for (const Case &test : kCases) {
        EXPECT_EQ(set(test.value, test.busbroker), 0U);
        EXPECT_EQ(tool_.calls().back(), test.call);
        EXPECT_EQ(text_, "");
    }
}

TEST_F(Gpiotool, LongestWriteIsWhole) {
    const uint8_t value = 255;
    EXPECT_EQ(gpiotool_set(static_cast<unsigned int>(kLowest), static_cast<unsigned int>(kLowest),
                           &value, true),
              0U);
    EXPECT_EQ(tool_.calls().back(),
              "--set --chip=-2147483648 --pin=-2147483648 --val=255 --busbroker_req");
}

TEST_F(Gpiotool, WriteIsShownAtLevel1) {
    const uint8_t value = 1;
    EXPECT_EQ(logged_by([&] { gpiotool_set(3, 7, &value, true); }),
              (Messages{{1, "Calling gpiotool --set --chip=3 --pin=7 --val=1 --busbroker_req\n"},
                        {1, "byte written to GPIO\n"}}));
    tool_.answers("", 1);
    Messages expected{{1, "Calling gpiotool --set --chip=3 --pin=7 --val=1\n"}};
    for (const auto &message : error_in("gpiotool_set", "FAILED <<<---\nError Writing to GPIO\n")) {
        expected.push_back(message);
    }
    EXPECT_EQ(logged_by([&] { gpiotool_set(3, 7, &value, false); }), expected);
}

TEST_F(Gpiotool, WriteThatFailsAnswersTheWaitStatus) {
    const std::string failed = error_text("gpiotool_set", "FAILED <<<---\nError Writing to GPIO\n");
    tool_.runs_script("exit 3\n");
    EXPECT_EQ(set(1), 3U << 8);
    EXPECT_EQ(text_, failed);
    tool_.runs_script("kill -KILL $$\n");
    EXPECT_EQ(set(1), unsigned{SIGKILL});
    EXPECT_EQ(text_, failed);
    tool_.is_missing();
    EXPECT_EQ(set(1), 127U << 8);
    EXPECT_EQ(text_, failed);
}

TEST_F(Gpiotool, WritesInADryRunAsWell) {
    set_debug_enable(1);
    EXPECT_EQ(set(1), 0U);
    EXPECT_EQ(tool_.calls().size(), 1U);
    EXPECT_EQ(text_, "");
}

}  // namespace
