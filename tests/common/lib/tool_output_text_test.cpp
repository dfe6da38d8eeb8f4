// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "diags/common/src/lib/tool_output.h"
#include "diags/common/src/lib/unique_fd.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/temporary_folder.h"

namespace {

using diag::ToolOutput;
using diag::UniqueFd;

// Takes all of `bytes`.
void take(ToolOutput &output, const std::string &bytes) {
    const diag::test::TemporaryFolder folder;
    const UniqueFd fd(open(folder.write("bytes", bytes).c_str(), O_RDONLY | O_CLOEXEC));
    while (output.take_from(fd.get())) {
    }
}

std::string text_of(int wanted, const std::string &bytes) {
    ToolOutput output(wanted);
    take(output, bytes);
    return std::string(output.text());
}

TEST(ToolOutputText, IsWhatWasKept) {
    EXPECT_EQ(text_of(10, "abc"), "abc");
    EXPECT_EQ(text_of(2, "abc"), "ab");
    EXPECT_EQ(text_of(10, std::string("a\0b\n", 4)), std::string("a\0b\n", 4));
}

TEST(ToolOutputText, IsEmptyWhenNothingCameOrNothingIsWanted) {
    EXPECT_EQ(ToolOutput(10).text(), "");
    EXPECT_EQ(text_of(10, ""), "");
    EXPECT_EQ(text_of(0, "abc"), "");
    EXPECT_EQ(text_of(-1, "abc"), "");
}

TEST(ToolOutputText, GrowsWithWhatComes) {
    ToolOutput output(100);
    take(output, "abc");
    EXPECT_EQ(output.text(), "abc");
    take(output, "def");
    EXPECT_EQ(output.text(), "abcdef");
}

TEST(ToolOutputText, IsWholeOnTheHeapToo) {
    std::string bytes;
    for (int i = 0; i < (1 << 20); i++) {
        bytes += static_cast<char>('a' + i % 26);
    }
    for (const size_t size : {size_t{4095}, size_t{4096}, size_t{4097}, size_t{1} << 20}) {
        EXPECT_EQ(text_of(1 << 20, bytes.substr(0, size)), bytes.substr(0, size));
        EXPECT_EQ(text_of(static_cast<int>(size), bytes), bytes.substr(0, size));
    }
}

TEST(ToolOutputText, IsABeginningWhenMemoryRanOut) {
    const std::string bytes(40000, 'x');
    const int failures = diag::test::for_each_failing_allocation([&](auto &watch) {
        {
            watch.start();
            ToolOutput output(40000);
            take(output, bytes);
            const std::string text(output.text());
            EXPECT_EQ(text, bytes.substr(0, text.size()));
            EXPECT_EQ(text.size() == bytes.size(), !watch.has_failed());
        }
        watch.stop();
    });
    EXPECT_GE(failures, 1);
}

}  // namespace
