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
using diag::test::logged_by;
using diag::test::Messages;

namespace {

class MemtoolGet : public diag::test::LibraryTest {
  protected:
    uint32_t get(unsigned int count, unsigned int width, bool big_endian = false,
                 unsigned int address = 0x1000) {
        result_.assign(40, 0xEE);
        return memtool_get(address, count, width, pipe_.c_str(), big_endian, result_.data());
    }
    size_t stored() const {
        size_t stored = 0;
        while (stored < result_.size() && result_[stored] == 'a') {
            stored++;
        }
        return stored;
    }

    diag::test::TemporaryFolder folder_;
    diag::test::FakeTool tool_{"memtool"};
    std::string pipe_ = folder_.file("p");
    std::vector<uint8_t> result_;
};

TEST_F(MemtoolGet, CommandNamesAddressCountAndWidth) {
    struct Case {
        unsigned int address;
        unsigned int count;
        unsigned int width;
        const char *options;
    };
    constexpr Case kCases[] = {
        {0, 1, 8, "--addr=0x00000000 --count=1 --width=8"},
        {0x1000, 3, 16, "--addr=0x00001000 --count=3 --width=16"},
        {0xFEDCBA98, 2, 64, "--addr=0xfedcba98 --count=2 --width=64"},
        {0x1000, 0xFFFFFFFF, 0xFFFFFFF8, "--addr=0x00001000 --count=-1 --width=-8"}};
    for (const Case &test : kCases) {
        for (const bool big_endian : {false, true}) {
            EXPECT_EQ(get(test.count, test.width, big_endian, test.address), 0U);
            EXPECT_EQ(tool_.calls().back(), std::string("--get ") + test.options +
                                                " --pipe=" + pipe_ + (big_endian ? " --be" : ""));
        }
    }
}

TEST_F(MemtoolGet, ReadsWidthTimesCountBits) {
    struct Case {
        unsigned int count;
        unsigned int width;
        size_t bytes;
    };
    constexpr Case kCases[] = {{3, 16, 6},          {1, 8, 1}, {2, 32, 8}, {4, 64, 32},
                               {3, 4, 1},           {1, 7, 0}, {0, 32, 0}, {4, 0, 0},
                               {0x80000001U, 8, 1},  // the product wraps
                               {0xFFFFFFFF, 8, 0},   // and may be negative
                               {0x20000000, 4, 0}};
    tool_.answers(std::string(40, 'a'));
    for (const Case &test : kCases) {
        EXPECT_EQ(get(test.count, test.width), 0U);
        EXPECT_EQ(stored(), test.bytes) << test.count << " of " << test.width;
    }
}

TEST_F(MemtoolGet, CommandIsShownAtLevel1) {
    const std::string command =
        "Calling memtool --get --addr=0x00001000 --count=3 --width=16 --pipe=" + pipe_ + " --be\n";
    uint8_t result[6];
    const auto read = [&] { memtool_get(0x1000, 3, 16, pipe_.c_str(), true, result); };
    tool_.answers("abcd");
    EXPECT_EQ(logged_by(read), (Messages{{1, command}, {2, "4 bytes read from the fifo\n"}}));
    tool_.answers("", 1);
    Messages expected{{1, command}};
    for (const auto &message : error_in("memtool_get", "FAILED <<<---\nError Reading from MEM\n")) {
        expected.push_back(message);
    }
    EXPECT_EQ(logged_by(read), expected);
}

}  // namespace
