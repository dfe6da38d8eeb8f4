// SPDX-License-Identifier: MIT
#include "diags/diagctl/captured_output.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/interruption.h"

namespace diag::diagctl {
namespace {

TEST(CapturedOutput, HoldsBackWhatTheProcessPrints) {
    CapturedOutput capture;
    std::printf("to output\n");
    std::fprintf(stderr, "to error\n");
    const CapturedText text = capture.finish();
    EXPECT_EQ(text.library, "to output\n");
    EXPECT_EQ(text.tools, "to error\n");
}

TEST(CapturedOutput, HoldsBackWhatAStartedProgramPrints) {
    CapturedOutput capture;
    ASSERT_EQ(std::system("echo out; echo err >&2"), 0);
    const CapturedText text = capture.finish();
    EXPECT_EQ(text.library, "out\n");
    EXPECT_EQ(text.tools, "err\n");
}

TEST(CapturedOutput, LeavesTextFromBeforeAndAfterWhereItBelongs) {
    ::testing::internal::CaptureStdout();
    std::printf("before ");
    {
        const CapturedOutput capture;
        std::printf("within ");
    }
    std::printf("after");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "before after");
}

TEST(CapturedOutput, TakesMoreThanAPipeHolds) {
    CapturedOutput capture;
    const std::string line(1000, 'x');
    for (int i = 0; i < 300; ++i) {
        std::printf("%s", line.c_str());
    }
    EXPECT_EQ(capture.finish().library.size(), 300000U);
}

TEST(CapturedOutput, CanBeRepeatedWithoutUsingUpDescriptors) {
    const int before = open("/dev/null", O_RDONLY);
    for (int i = 0; i < 10; ++i) {
        const CapturedOutput capture;
    }
    const int after = open("/dev/null", O_RDONLY);
    EXPECT_EQ(after, before + 1);
    close(before);
    close(after);
}

TEST(CapturedOutput, RefusesWithoutDescriptorsAndLeavesTheStreamsAlone) {
    struct rlimit usual {};
    getrlimit(RLIMIT_NOFILE, &usual);
    const int next = open("/dev/null", O_RDONLY);
    close(next);
    struct rlimit tight = usual;
    tight.rlim_cur = static_cast<rlim_t>(next) + 1;
    setrlimit(RLIMIT_NOFILE, &tight);
    EXPECT_THROW(const CapturedOutput capture, CliError);
    setrlimit(RLIMIT_NOFILE, &usual);
    ::testing::internal::CaptureStdout();
    std::printf("seen");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "seen");
}

TEST(CapturedOutputDeathTest, ReachesStandardErrorWhenTheProcessAborts) {
    EXPECT_EXIT(
        {
            install_signal_handlers();
            const CapturedOutput capture;
            std::printf("last message of the library\n");
            std::fflush(stdout);  // diagctl itself has its standard output go line by line
            std::fprintf(stderr, "last word of a tool\n");
            std::abort();
        },
        ::testing::KilledBySignal(SIGABRT), "last message of the library\nlast word of a tool");
}

}  // namespace
}  // namespace diag::diagctl
