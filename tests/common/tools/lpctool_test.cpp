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

using diag::test::error_in;
using diag::test::error_text;
using diag::test::logged_by;
using diag::test::Messages;
using diag::test::printed;

namespace {

constexpr uint32_t kDenied = 0x8601800D;

class Lpctool : public diag::test::LibraryTest {
  protected:
    // Writes to address 0x1234; what is printed goes to `text_`.
    uint32_t set(const std::vector<uint8_t> &data, bool busbroker = false, char size = 'b') {
        uint32_t status = 99;
        text_ = printed([&] {
            status = lpctool_set(0x1234, data.data(), static_cast<unsigned int>(data.size()), size,
                                 busbroker);
        });
        return status;
    }

    diag::test::TemporaryFolder folder_;
    diag::test::FakeTool tool_{"lpctool"};
    std::string pipe_ = folder_.file("p");
    std::string text_;
};

TEST_F(Lpctool, ReadingNamesAddressSizeAndCount) {
    struct Case {
        unsigned int address;
        int count;
        char size;
        const char *options;
    };
    constexpr Case kCases[] = {{0, 1, 'b', "--addr=0x00000000 --size=b --count=1"},
                               {0x1234, 4, 'l', "--addr=0x00001234 --size=l --count=4"},
                               {0xFEDCBA98, 2, 'w', "--addr=0xfedcba98 --size=w --count=2"},
                               {0x1234, -2, '?', "--addr=0x00001234 --size=? --count=-2"}};
    for (const Case &test : kCases) {
        uint8_t result[4];
        EXPECT_EQ(lpctool_get(test.address, test.count, test.size, pipe_.c_str(), result), 0U);
        EXPECT_EQ(tool_.calls().back(), std::string("--get ") + test.options + " --pipe=" + pipe_);
    }
}

TEST_F(Lpctool, CommandOfAReadingIsNotShown) {
    tool_.answers("a");
    uint8_t byte = 0;
    EXPECT_EQ(logged_by([&] { lpctool_get(1, 1, 'b', pipe_.c_str(), &byte); }),
              (Messages{{2, "1 bytes read from the fifo\n"}}));
    tool_.answers("", 1);
    EXPECT_EQ(logged_by([&] { lpctool_get(1, 1, 'b', pipe_.c_str(), &byte); }),
              error_in("lpctool_get", "FAILED <<<---\nError Reading from LPC\n"));
}

TEST_F(Lpctool, WritesValuesWithoutPadding) {
    EXPECT_EQ(set({0x05, 0x1A}), 0U);
    EXPECT_EQ(tool_.calls().back(), "--write --addr=0x00001234 --size=b --val=0x5,0x1a");
    EXPECT_EQ(text_, "");
    EXPECT_EQ(set({0x00}, false, 'w'), 0U);
    EXPECT_EQ(tool_.calls().back(), "--write --addr=0x00001234 --size=w --val=0x0");
    EXPECT_EQ(set({0xFF, 0x00, 0x0F}, true), 0U);
    EXPECT_EQ(tool_.calls().back(),
              "--write --addr=0x00001234 --size=b --busbroker_req --val=0xff,0x0,0xf");
}

TEST_F(Lpctool, CountsBelow1WriteNoValues) {
    for (const unsigned int count : {0U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(lpctool_set(0x1234, nullptr, count, 'b', false), 0U);
        EXPECT_EQ(tool_.calls().back(), "--write --addr=0x00001234 --size=b --val=");
    }
}

TEST_F(Lpctool, WriteIsCutAtTheEndOfItsBuffer) {
    std::string whole = "lpctool --write --addr=0x00001234 --size=b --val=0x1";
    for (int i = 1; i < 600; i++) {
        whole += ",0x1";
    }
    EXPECT_EQ(set(std::vector<uint8_t>(600, 1)), 0U);
    EXPECT_EQ("lpctool " + tool_.calls().back(), whole.substr(0, 2047));
}

TEST_F(Lpctool, WriteIsShownAtLevel1) {
    constexpr uint8_t kData[] = {5, 6};
    EXPECT_EQ(logged_by([&] { lpctool_set(0x1234, kData, 2, 'b', true); }),
              (Messages{{1,
                         "Calling lpctool --write --addr=0x00001234 --size=b "
                         "--busbroker_req  --val=0x5,0x6\n"},
                        {1, "2 bytes written to lpc\n"}}));
    tool_.answers("", 1);
    Messages expected{{1, "Calling lpctool --write --addr=0x00001234 --size=b --val=0x5\n"}};
    for (const auto &message : error_in("lpctool_set", "FAILED <<<---\nError Writing to LPC\n")) {
        expected.push_back(message);
    }
    EXPECT_EQ(logged_by([&] { lpctool_set(0x1234, kData, 1, 'b', false); }), expected);
}

TEST_F(Lpctool, WriteThatFailsIsDenied) {
    const std::string failed = error_text("lpctool_set", "FAILED <<<---\nError Writing to LPC\n");
    for (const char *script : {"exit 3\n", "kill -KILL $$\n"}) {
        tool_.runs_script(script);
        EXPECT_EQ(set({1}), kDenied);
        EXPECT_EQ(text_, failed);
    }
    tool_.is_missing();
    EXPECT_EQ(set({1}), kDenied);
    EXPECT_EQ(text_, failed);
}

TEST_F(Lpctool, WritesInADryRunAsWell) {
    set_debug_enable(1);
    EXPECT_EQ(set({1}), 0U);
    EXPECT_EQ(tool_.calls().size(), 1U);
    EXPECT_EQ(text_, "");
}

}  // namespace
