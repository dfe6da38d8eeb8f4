// SPDX-License-Identifier: MIT
// What the reading calls of GPIO, LPC, PCI and memory have in common.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "diag_util.h"
#include "tool_calls.h"

#include "tests/common/library_test.h"
#include "tests/common/process_state.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/fake_tool.h"
#include "tests/support/temporary_folder.h"

using diag::test::error_text;
using diag::test::logged;
using diag::test::open_descriptors;
using diag::test::printed;

namespace {

struct Call {
    const char *name;
    const char *tool;
    uint32_t (*read)(const char *pipe, int count, uint8_t *result);
    const char *not_made;  // messages; PATH stands for the pipe's
    const char *not_opened;
    const char *failed;  // empty: not reported
    uint32_t (*status)(uint32_t wait_status);
    bool counts;  // a call that can read more than one byte
};

std::ostream &operator<<(std::ostream &stream, const Call &call) {
    return stream << call.name;
}

uint32_t same(uint32_t wait_status) {
    return wait_status;
}

constexpr Call kCalls[] = {
    {"gpiotool_get", "gpiotool",
     [](const char *pipe, int /*count*/, uint8_t *result) {
         return gpiotool_get(1, 2, pipe, result);
     },
     "Error Creating GPIO pipe\n", "Could Not open End of GPIO Pipe \n",
     "FAILED <<<---\nError Reading from GPIO\n", same, false},
    {"lpctool_get", "lpctool",
     [](const char *pipe, int count, uint8_t *result) {
         return lpctool_get(1, count, 'b', pipe, result);
     },
     "Error Creating LPC pipe\n", "Could Not open End of LPC Pipe \n",
     "FAILED <<<---\nError Reading from LPC\n",
     [](uint32_t /*wait_status*/) { return uint32_t{0x8601800D}; }, true},
    {"pcitool_get", "pcitool",
     [](const char *pipe, int count, uint8_t *result) {
         return pcitool_get(1, 2, 3, 4, result, pipe, static_cast<unsigned int>(count), 8);
     },
     "Error Creating PCI pipe PATH\n", "Could Not open End of PCI Pipe (PATH) [/]\n", "", same,
     true},
    {"memtool_get", "memtool",
     [](const char *pipe, int count, uint8_t *result) {
         return memtool_get(1, static_cast<unsigned int>(count), 8, pipe, false, result);
     },
     "Error Creating Mem pipe\n", "Could Not open End of mem Pipe \n",
     "FAILED <<<---\nError Reading from MEM\n", same, true},
};

class FifoReadingCall : public diag::test::LibraryTest, public testing::WithParamInterface<Call> {
  protected:
    uint32_t read(int count, size_t size = 8) {
        result_.assign(size, 0xEE);
        uint32_t status = 99;
        text_ = printed([&] { status = GetParam().read(pipe_.c_str(), count, result_.data()); });
        return status;
    }
    std::string bytes() const { return {result_.begin(), result_.end()}; }
    std::string error(std::string message) const {
        if (const size_t at = message.find("PATH"); at != std::string::npos) {
            message.replace(at, 4, pipe_);
        }
        return message.empty() ? "" : error_text(GetParam().name, message);
    }

    diag::test::TemporaryFolder folder_;
    diag::test::FakeTool tool_{GetParam().tool};
    std::string pipe_ = folder_.file("p");
    std::vector<uint8_t> result_;
    std::string text_;
};

INSTANTIATE_TEST_SUITE_P(Calls, FifoReadingCall, testing::ValuesIn(kCalls),
                         [](const auto &call) { return call.param.name; });

TEST_P(FifoReadingCall, StoresWhatTheToolRead) {
    const auto before = open_descriptors();
    const std::string sent =
        GetParam().counts ? std::string("\x01\0\xFF", 3) : std::string("\0", 1);
    tool_.answers(sent);
    EXPECT_EQ(read(3), 0U);
    EXPECT_EQ(bytes(), sent + std::string(8 - sent.size(), '\xEE'));
    EXPECT_EQ(text_, "");
    EXPECT_TRUE(folder_.is_empty());
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(FifoReadingCall, DryRunAnswersADummyByteAndDoesNothing) {
    set_verb_level(3);
    for (const int enable : {1, -1}) {
        set_debug_enable(static_cast<unsigned int>(enable));
        for (const int count : {3, 0, -1}) {
            EXPECT_EQ(read(count), 0U);
            EXPECT_EQ(bytes(), "\x1A" + std::string(7, '\xEE'));
            EXPECT_EQ(text_, "");
        }
    }
    pipe_ = "/nowhere/at/all";
    EXPECT_EQ(read(3), 0U);
    EXPECT_TRUE(tool_.calls().empty());
    EXPECT_TRUE(folder_.is_empty());
    EXPECT_TRUE(logged().empty());
}

TEST_P(FifoReadingCall, FifoThatCannotBeMadeIsReported) {
    std::filesystem::create_directory(folder_.file("full"));
    folder_.write("full/kept", "");
    for (const char *name : {"missing/pipe", "full"}) {
        pipe_ = folder_.file(name);
        EXPECT_EQ(read(3), DIAG_E_FAIL);
        EXPECT_EQ(text_, error(GetParam().not_made));
    }
    EXPECT_TRUE(std::filesystem::exists(folder_.file("full/kept")));
    EXPECT_TRUE(tool_.calls().empty());
    EXPECT_EQ(bytes(), std::string(8, '\xEE'));
}

TEST_P(FifoReadingCall, FifoThatCannotBeOpenedIsReportedAndStays) {
    uint8_t result = 0xEE;
    uint32_t status = 0;
    EXPECT_EQ(printed([&] {
                  const diag::test::NoMoreDescriptors limit;
                  status = GetParam().read(pipe_.c_str(), 1, &result);
              }),
              error(GetParam().not_opened));
    EXPECT_EQ(status, DIAG_E_FAIL);
    EXPECT_EQ(result, 0xEE);
    EXPECT_TRUE(std::filesystem::is_fifo(pipe_));
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_P(FifoReadingCall, FileInTheWayIsReplaced) {
    folder_.write("p", "left behind");
    tool_.answers("a");
    EXPECT_EQ(read(1), 0U);
    EXPECT_EQ(bytes()[0], 'a');
    EXPECT_TRUE(folder_.is_empty());
}

TEST_P(FifoReadingCall, ToolThatFailsStoresNothing) {
    struct Case {
        const char *script;
        uint32_t status;
    };
    constexpr Case kCases[] = {{"printf ab >\"$pipe\"\nexit 3\n", 3 << 8},
                               {"exit 255\n", 255 << 8},
                               {"kill -KILL $$\n", SIGKILL}};
    const auto before = open_descriptors();
    for (const Case &test : kCases) {
        tool_.runs_script(test.script);
        EXPECT_EQ(read(3), GetParam().status(test.status));
        EXPECT_EQ(text_, error(GetParam().failed));
        EXPECT_EQ(bytes(), std::string(8, '\xEE'));
    }
    tool_.is_missing();
    EXPECT_EQ(read(3), GetParam().status(127U << 8));
    EXPECT_EQ(text_, error(GetParam().failed));
    EXPECT_TRUE(folder_.is_empty());
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(FifoReadingCall, StatusIsLostInAProcessThatIgnoresItsChildren) {
    const diag::test::SignalAction ignored(SIGCHLD, SIG_IGN);
    tool_.answers("a");
    EXPECT_EQ(read(1), GetParam().status(0xFFFFFFFF));
    EXPECT_EQ(bytes(), std::string(8, '\xEE'));
    EXPECT_EQ(text_, error(GetParam().failed));
}

TEST_P(FifoReadingCall, NumberOfBytesIsShownAtLevel2) {
    struct Case {
        const char *sent;
        int count;
        int shown;
    };
    constexpr Case kCases[] = {{"abcd", 4, 4}, {"abcd", 2, 2}, {"ab", 4, 2}, {"", 4, -1}};
    for (const Case &test : kCases) {
        tool_.answers(test.sent);
        const int shown = GetParam().counts ? test.shown : std::min(test.shown, 1);
        set_verb_level(2);
        EXPECT_EQ(read(test.count), 0U) << "a short answer is no failure";
        const std::string message = std::to_string(shown) + " bytes read from the fifo\n";
        EXPECT_TRUE(text_.ends_with(message)) << text_;
        const std::string expected =
            std::string(test.sent).substr(0, static_cast<size_t>(std::max(shown, 0)));
        EXPECT_EQ(bytes(), expected + std::string(8 - expected.size(), '\xEE'));
        set_verb_level(1);
        EXPECT_EQ(read(test.count), 0U);
        EXPECT_EQ(text_.find("bytes read"), std::string::npos) << text_;
    }
}

// Those calls that are asked for a number of bytes: all but the first.
using FifoReadingCount = FifoReadingCall;

INSTANTIATE_TEST_SUITE_P(Calls, FifoReadingCount,
                         testing::ValuesIn(std::begin(kCalls) + 1, std::end(kCalls)),
                         [](const auto &call) { return call.param.name; });

TEST_P(FifoReadingCount, CountsBelow1ReadNothing) {
    set_verb_level(2);
    tool_.answers("abcd");
    for (const int count : {0, -1, -100}) {
        EXPECT_EQ(read(count), 0U);
        EXPECT_EQ(bytes(), std::string(8, '\xEE'));
        EXPECT_TRUE(text_.ends_with("0 bytes read from the fifo\n")) << text_;
        EXPECT_NE(tool_.calls().back().find("--count=" + std::to_string(count)), std::string::npos);
    }
}

TEST_P(FifoReadingCall, LongAnswersAreCutAndDoNotBlockTheTool) {
    tool_.runs_script("yes | head -c 1000000 >\"$pipe\"\n");
    EXPECT_EQ(read(1), 0U);
    EXPECT_EQ(bytes(), "y" + std::string(7, '\xEE'));
    if (GetParam().counts) {
        EXPECT_EQ(read(1000000, 1000000), 0U);
        EXPECT_EQ(bytes().substr(999990), "y\ny\ny\ny\ny\n");
    }
}

TEST_P(FifoReadingCount, AnswerThatMemoryCannotHoldIsReported) {
    tool_.runs_script("head -c 5000 /dev/zero >\"$pipe\"\n");
    const int failures = diag::test::for_each_failing_allocation([this](auto &watch) {
        uint32_t status = 0;
        std::vector<uint8_t> result(5000, 0xEE);
        const std::string text = printed([&] {
            watch.start();
            status = GetParam().read(pipe_.c_str(), 5000, result.data());
            watch.stop();
        });
        EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0U);
        EXPECT_EQ(result, std::vector<uint8_t>(5000, watch.has_failed() ? 0xEE : 0));
        EXPECT_EQ(text,
                  watch.has_failed() ? error("No memory for 5000 bytes from the fifo\n") : "");
        EXPECT_TRUE(folder_.is_empty());
    });
    EXPECT_EQ(failures, 1);
}

TEST_P(FifoReadingCall, PipePathIsNoCommand) {
    pipe_ = folder_.file("p;touch$(id)");
    tool_.answers("a");
    EXPECT_EQ(read(1), 0U);
    EXPECT_EQ(bytes()[0], 'a');
    EXPECT_TRUE(folder_.is_empty());
}

}  // namespace
