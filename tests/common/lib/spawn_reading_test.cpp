// SPDX-License-Identifier: MIT
// Programs whose standard output is read, and what command texts say of outputs.
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/lib/tool_output.h"
#include "tests/common/no_more_processes.h"
#include "tests/common/process_state.h"
#include "tests/support/fake_tool.h"
#include "tests/support/temporary_folder.h"

namespace {

using diag::run_command;
using diag::run_reading_output;
using diag::ToolOutput;
using diag::test::kChildCannot;
using diag::test::kChildFailed;
using diag::test::kChildPassed;
using diag::test::open_descriptors;
using diag::test::read_file;
using diag::test::SignalAction;

constexpr int kMegabyte = 1 << 20;

class RunReadingOutput : public testing::Test {
  protected:
    // Runs a command; what it wrote goes to `text_`, `most` bytes at most.
    bool run(const std::string &command = "tool", int most = 100) {
        ToolOutput output(most);
        const bool ran = run_reading_output(command.c_str(), output);
        text_ = output.text();
        return ran;
    }
    std::string file(const char *name) const { return folder_.file(name); }

    diag::test::TemporaryFolder folder_;
    diag::test::FakeTool tool_{"tool"};
    std::string text_;
};

TEST_F(RunReadingOutput, TakesWhatTheProgramPrints) {
    const auto before = open_descriptors();
    tool_.runs_script("printf 'a\\000b\\377\\n c'\n");
    EXPECT_TRUE(run("tool  --some  words "));
    EXPECT_EQ(text_, std::string("a\0b\xFF\n c", 7));
    EXPECT_EQ(tool_.calls(), std::vector<std::string>{"--some words"});
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(RunReadingOutput, ProgramThatPrintsNothingIsNoFailure) {
    for (const char *script : {"", "exit 3\n", "kill -KILL $$\n"}) {
        tool_.runs_script(script);
        EXPECT_TRUE(run());
        EXPECT_EQ(text_, "");
    }
}

TEST_F(RunReadingOutput, ProgramThatCannotBeExecutedPrintsNothing) {
    EXPECT_TRUE(run("no-such-program"));
    EXPECT_EQ(text_, "");
    EXPECT_TRUE(run(folder_.write("file", "no program")));
    EXPECT_EQ(text_, "");
    EXPECT_TRUE(run(""));
    EXPECT_EQ(text_, "");
}

TEST_F(RunReadingOutput, MegabyteIsTakenWhole) {
    tool_.runs_script("yes | head -c 1048576\n");
    EXPECT_TRUE(run("tool", kMegabyte));
    EXPECT_EQ(text_.size(), size_t{kMegabyte});
    EXPECT_EQ(text_.find_first_not_of("y\n"), std::string::npos);
}

TEST_F(RunReadingOutput, WhatIsNotWantedIsDroppedAndTheProgramEndsAsItWould) {
    tool_.runs_script("yes | head -c 1048576\necho $? >'" + file("ended") + "'\n");
    for (const int most : {5, 0, -1}) {
        EXPECT_TRUE(run("tool", most));
        EXPECT_EQ(text_, most > 0 ? "y\ny\ny" : "");
        EXPECT_EQ(read_file(file("ended")), "0\n");
        std::filesystem::remove(file("ended"));
    }
}

TEST_F(RunReadingOutput, PiecesAreJoined) {
    tool_.runs_script("for i in 1 2 3 4 5 6 7 8; do echo $i; done\n");
    EXPECT_TRUE(run());
    EXPECT_EQ(text_, "1\n2\n3\n4\n5\n6\n7\n8\n");
}

TEST_F(RunReadingOutput, ErrorsAreNotPartOfTheOutput) {
    tool_.runs_script("echo wrong >&2\necho right\n");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(run());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "wrong\n");
    EXPECT_EQ(text_, "right\n");
}

// ---- outputs that end earlier or later than the program ----

// Watching a closed pipe would keep the caller awake.
TEST_F(RunReadingOutput, ProgramThatClosesItsOutputAndGoesOnIsWaitedForAsleep) {
    ASSERT_EQ(mkfifo(file("release").c_str(), 0600), 0);
    tool_.runs_script("echo first\nexec >&-\nread -r line <'" + file("release") + "'\necho >'" +
                      file("ended") + "'\n");
    const pid_t caller = gettid();
    std::thread releasing([&] {
        // Opened as soon as the tool reads from it, with its output closed.
        const int fd = open(file("release").c_str(), O_WRONLY | O_CLOEXEC);
        EXPECT_TRUE(diag::test::falls_asleep(caller));
        EXPECT_EQ(write(fd, "\n", 1), 1);
        close(fd);
    });
    EXPECT_TRUE(run());
    EXPECT_EQ(text_, "first\n");
    EXPECT_TRUE(std::filesystem::exists(file("ended")));
    releasing.join();
}

TEST_F(RunReadingOutput, QuietChildThatKeepsTheOutputOpenIsNotWaitedFor) {
    ASSERT_EQ(mkfifo(file("release").c_str(), 0600), 0);
    tool_.runs_script("(read -r line <'" + file("release") + "') &\necho done\n");
    EXPECT_TRUE(run());
    EXPECT_EQ(text_, "done\n");
    folder_.write("release", "\n");
}

TEST_F(RunReadingOutput, WritingChildThatOutlivesTheProgramIsNotWaitedFor) {
    const auto before = open_descriptors();
    tool_.runs_script("echo first\nyes 2>/dev/null &\n");  // it ends with its reader
    for (const int most : {6, 100000, kMegabyte}) {
        EXPECT_TRUE(run("tool", most));
        EXPECT_TRUE(text_.starts_with("first\n"));
        EXPECT_LE(text_.size(), static_cast<size_t>(most));
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(RunReadingOutput, AllThatWasPrintedIsThereWhenTheProgramHasEnded) {
    tool_.runs_script("head -c 60000 /dev/zero\n");
    for (int i = 0; i < 20; i++) {
        EXPECT_TRUE(run("tool", 60000));
        ASSERT_EQ(text_.size(), 60000U);
    }
}

// ---- descriptors, signals, threads ----

TEST_F(RunReadingOutput, ProgramInheritsNothingElse) {
    tool_.runs_script("exec ls -l /proc/self/fd\n");
    EXPECT_TRUE(run("tool", 4000));
    EXPECT_EQ(text_.find("pidfd"), std::string::npos) << text_;
    const size_t pipe = text_.find("pipe:");
    ASSERT_NE(pipe, std::string::npos) << text_;
    const std::string name = text_.substr(pipe, text_.find('\n', pipe) - pipe);
    EXPECT_EQ(text_.find(name, pipe + 1), std::string::npos) << text_;
}

TEST_F(RunReadingOutput, MissingDescriptorsAreAFailure) {
    const diag::test::NoMoreDescriptors limit;
    ToolOutput output(10);
    EXPECT_FALSE(run_reading_output("tool", output));
    EXPECT_EQ(output.text(), "");
}

TEST_F(RunReadingOutput, MissingProcessIsAFailure) {
    const auto before = open_descriptors();
    const int child = diag::test::run_without_processes([&] {
        ToolOutput output(10);
        return !run_reading_output("tool", output) && run_command("tool") == -1 &&
               open_descriptors() == before;
    });
    if (child == kChildCannot) {
        GTEST_SKIP() << "the kernel does not let a process be kept from making others";
    }
    EXPECT_EQ(child, kChildPassed);
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(RunReadingOutput, HowTheProgramEndedIsNotNeededInAProcessThatIgnoresItsChildren) {
    const SignalAction ignored(SIGCHLD, SIG_IGN);
    tool_.runs_script("echo right\n");
    EXPECT_TRUE(run());
    EXPECT_EQ(text_, "right\n");
}

// A process that has been started without some of its standard descriptors opens others there.
TEST_F(RunReadingOutput, OutputIsReadWhicheverStandardDescriptorsAreClosed) {
    tool_.runs_script("echo right\n");
    const std::vector<std::vector<int>> closed_sets = {{0},    {1},    {2},      {0, 1},
                                                       {0, 2}, {1, 2}, {0, 1, 2}};
    for (const char *command : {"tool", "tool 2>/dev/null"}) {
        for (const std::vector<int> &closed : closed_sets) {
            const int child = diag::test::run_in_child([&] {
                for (const int fd : closed) {
                    close(fd);
                }
                ToolOutput output(100);
                const bool ran = run_reading_output(command, output);
                return ran && output.text() == "right\n" ? kChildPassed : kChildFailed;
            });
            EXPECT_EQ(child, kChildPassed)
                << command << " without " << testing::PrintToString(closed);
        }
    }
}

TEST_F(RunReadingOutput, IsNotDisturbedBySignals) {
    const SignalAction action(SIGALRM, diag::test::count_signal);
    diag::test::signals_counted = 0;
    const itimerval often{{0, 1000}, {0, 1000}};
    const itimerval never{};
    tool_.runs_script("head -c 200000 /dev/zero\n");
    setitimer(ITIMER_REAL, &often, nullptr);
    for (int i = 0; i < 10; i++) {
        EXPECT_TRUE(run("tool", 200000));
        EXPECT_EQ(text_.size(), 200000U);
    }
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GT(diag::test::signals_counted, 0);
}

TEST_F(RunReadingOutput, SeveralThreadsReadAtOnce) {
    tool_.runs_script("echo \"$1\"\nhead -c 100000 /dev/zero\n");
    const auto before = open_descriptors();
    std::vector<std::thread> threads;
    for (char c = 'a'; c < 'e'; c++) {
        threads.emplace_back([c] {
            for (int i = 0; i < 5; i++) {
                ToolOutput output(2);
                EXPECT_TRUE(run_reading_output((std::string("tool ") + c).c_str(), output));
                EXPECT_EQ(output.text(), std::string(1, c) + "\n");
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(open_descriptors(), before);
}

// ---- redirections ----

struct RedirectionCase {
    const char *command;
    const char *arguments;
    const char *output;
    const char *errors;
};

constexpr RedirectionCase kRedirectionCases[] = {
    {"tool a b > /dev/null", "a b", "", "err\n"},
    {"tool a b 1>/dev/null", "a b", "", "err\n"},
    {"tool a b 2>/dev/null", "a b", "out\n", ""},
    {"tool a  2>/dev/null", "a", "out\n", ""},
    {"tool > /dev/null", "", "", "err\n"},
    // all else is an argument
    {"tool >/dev/null", ">/dev/null", "out\n", "err\n"},
    {"tool 1> /dev/null", "1> /dev/null", "out\n", "err\n"},
    {"tool a2>/dev/null", "a2>/dev/null", "out\n", "err\n"},
    {"tool > /dev/null a", "> /dev/null a", "out\n", "err\n"},
    {"tool 2>/dev/null ", "2>/dev/null", "out\n", "err\n"},
    {"tool > /dev/zero", "> /dev/zero", "out\n", "err\n"},
    {"tool < /dev/null", "< /dev/null", "out\n", "err\n"},
    {"tool a | cat", "a | cat", "out\n", "err\n"},
    {"tool 2>&1", "2>&1", "out\n", "err\n"},
};

TEST_F(RunReadingOutput, RedirectionsThatCommandsEndInAreCarriedOut) {
    tool_.runs_script("echo out\necho err >&2\n");
    for (const RedirectionCase &test : kRedirectionCases) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(run_command(test.command), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), test.output) << test.command;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), test.errors) << test.command;
        EXPECT_EQ(tool_.calls().back(), test.arguments);
    }
}

TEST_F(RunReadingOutput, ErrorsCanBeHiddenFromAReading) {
    tool_.runs_script("echo out\necho err >&2\n");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(run("tool  2>/dev/null"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(text_, "out\n");
    EXPECT_EQ(tool_.calls().back(), "");
}

TEST_F(RunReadingOutput, HiddenOutputIsTheToolsAlone) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(run_command("tool > /dev/null"), 0);
    EXPECT_EQ(run_command("echo seen"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "seen\n");
}

}  // namespace
