// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/tool_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "diags/common/src/lib/unique_fd.h"
#include "tests/support/failing_allocations.h"

namespace {

using diag::ToolOutput;
using diag::UniqueFd;

class Pipe {
  public:
    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
            throw std::runtime_error("cannot make a pipe");
        }
        reader_ = UniqueFd(ends[0]);
        writer_ = UniqueFd(ends[1]);
    }

    void fill(const std::string &bytes) {
        ASSERT_EQ(write(writer_.get(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    void end() { writer_ = UniqueFd(); }
    int fd() const { return reader_.get(); }

  private:
    UniqueFd reader_;
    UniqueFd writer_;
};

std::string pattern(size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; i++) {
        bytes[i] = static_cast<char>(i * 31 + (i >> 8));
    }
    return bytes;
}

void take_all(ToolOutput &output, int fd) {
    while (output.take_from(fd)) {
    }
}

// What is delivered into a buffer of `size` that held 0xEE.
std::string delivered(const ToolOutput &output, size_t size, int expected) {
    std::vector<uint8_t> result(size, 0xEE);
    EXPECT_EQ(output.deliver(result.data()), expected);
    return {result.begin(), result.end()};
}

TEST(ToolOutput, KeepsWhatWasWanted) {
    for (const size_t size : {1U, 4U, 4095U, 4096U, 4097U, 9000U, 40000U}) {
        Pipe pipe;
        pipe.fill(pattern(size));
        ToolOutput output(static_cast<int>(size));
        EXPECT_FALSE(output.is_full());
        take_all(output, pipe.fd());
        EXPECT_TRUE(output.is_full());
        EXPECT_TRUE(output.is_complete());
        EXPECT_EQ(delivered(output, size, static_cast<int>(size)), pattern(size)) << size;
    }
}

TEST(ToolOutput, DropsWhatIsTooMuch) {
    Pipe pipe;
    pipe.fill(pattern(30000));
    ToolOutput output(5);
    take_all(output, pipe.fd());
    EXPECT_EQ(delivered(output, 6, 5), pattern(5) + "\xEE");
    EXPECT_FALSE(output.take_from(pipe.fd())) << "the pipe is to be empty";
}

TEST(ToolOutput, LeavesTheRestOfTheBufferWhenThereIsTooLittle) {
    Pipe pipe;
    pipe.fill("ab");
    ToolOutput output(4);
    take_all(output, pipe.fd());
    EXPECT_FALSE(output.is_full());
    EXPECT_EQ(delivered(output, 4, 2), "ab\xEE\xEE");
}

TEST(ToolOutput, JoinsPieces) {
    Pipe pipe;
    ToolOutput output(10000);
    std::string all;
    for (int i = 0; i < 10; i++) {
        pipe.fill(pattern(900));
        all += pattern(900);
        take_all(output, pipe.fd());
    }
    EXPECT_EQ(delivered(output, 9000, 9000), all);
}

TEST(ToolOutput, AnswersMinus1WhenNothingCame) {
    const Pipe pipe;
    ToolOutput output(4);
    EXPECT_FALSE(output.take_from(pipe.fd()));
    EXPECT_TRUE(output.is_complete());
    EXPECT_EQ(delivered(output, 1, -1), "\xEE");
}

TEST(ToolOutput, KeepsNothingForCountsBelow1) {
    for (const int count : {0, -1, -2147483647 - 1}) {
        Pipe pipe;
        pipe.fill("abc");
        ToolOutput output(count);
        EXPECT_TRUE(output.is_full());
        take_all(output, pipe.fd());
        EXPECT_EQ(delivered(output, 1, 0), "\xEE");
    }
}

TEST(ToolOutput, HugeCountsCostOnlyWhatComes) {
    Pipe pipe;
    pipe.fill("abc");
    ToolOutput output(2147483647);
    take_all(output, pipe.fd());
    EXPECT_EQ(delivered(output, 3, 3), "abc");
}

TEST(ToolOutput, EndOfInputTakesNothing) {
    Pipe pipe;
    pipe.end();
    ToolOutput output(4);
    EXPECT_FALSE(output.take_from(pipe.fd()));
    EXPECT_FALSE(output.take_from(-1));
}

TEST(ToolOutput, TellsWhenMemoryRanOut) {
    const int failures = diag::test::for_each_failing_allocation([](auto &watch) {
        Pipe pipe;
        pipe.fill(pattern(40000));
        {
            watch.start();
            ToolOutput output(40000);
            take_all(output, pipe.fd());
            EXPECT_NE(output.is_complete(), watch.has_failed());
            EXPECT_TRUE(output.is_full());
            EXPECT_FALSE(output.take_from(pipe.fd())) << "the rest is to be dropped";
            if (output.is_complete()) {
                EXPECT_EQ(delivered(output, 40000, 40000), pattern(40000));
            }
        }
        watch.stop();
    });
    EXPECT_GE(failures, 2);
}

}  // namespace
