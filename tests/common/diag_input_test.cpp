// SPDX-License-Identifier: MIT
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdio_ext.h>
#include <string>
#include <string_view>
#include <termios.h>
#include <thread>
#include <unistd.h>

#include "diag_util.h"

#include "diags/common/src/lib/unique_fd.h"
#include "tests/common/library_test.h"
#include "tests/common/process_state.h"

using diag::UniqueFd;
using diag::test::error_text;
using diag::test::printed;

namespace {

using std::chrono::steady_clock;

// Standard input from another descriptor; nothing of what was buffered stays.
class StandardInput {
  public:
    explicit StandardInput(int fd) : saved_(dup(STDIN_FILENO)) { replace(fd); }
    ~StandardInput() {
        replace(saved_.get());
        if (!saved_.valid()) {
            close(STDIN_FILENO);
        }
    }
    StandardInput(const StandardInput &) = delete;
    StandardInput &operator=(const StandardInput &) = delete;

  private:
    static void replace(int fd) {
        __fpurge(stdin);
        std::clearerr(stdin);
        if (fd >= 0) {
            dup2(fd, STDIN_FILENO);
        }
    }
    UniqueFd saved_;
};

class PipeInput {
  public:
    PipeInput() : PipeInput(make_pipe()) {}

    void type(std::string_view text) {
        ASSERT_EQ(write(writer_.get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
    }
    void end() { writer_ = UniqueFd(); }

  private:
    struct Ends {
        int fd[2];
    };
    static Ends make_pipe() {
        Ends ends{};
        if (pipe2(ends.fd, O_CLOEXEC) != 0) {
            throw std::runtime_error("cannot make a pipe");
        }
        return ends;
    }
    explicit PipeInput(const Ends &ends)
        : reader_(ends.fd[0]), writer_(ends.fd[1]), input_(reader_.get()) {}

    UniqueFd reader_;
    UniqueFd writer_;
    StandardInput input_;
};

// A terminal as standard input; `keyboard` is the end at which somebody types.
class Terminal {
  public:
    Terminal()
        : keyboard_(open_keyboard()), line_(open_line(keyboard_.get())), input_(line_.get()) {}

    int keyboard() const { return keyboard_.get(); }
    void type(std::string_view text) {
        ASSERT_EQ(write(keyboard_.get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
    }
    termios settings() const {
        termios now{};
        EXPECT_EQ(tcgetattr(line_.get(), &now), 0);
        return now;
    }
    int flags() const { return fcntl(line_.get(), F_GETFL); }

  private:
    static int open_keyboard() {
        const int fd = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (fd == -1 || grantpt(fd) != 0 || unlockpt(fd) != 0) {
            throw std::runtime_error("cannot open a pseudo-terminal");
        }
        return fd;
    }
    static int open_line(int keyboard) {
        char name[64];
        if (ptsname_r(keyboard, name, sizeof name) != 0) {
            throw std::runtime_error("a pseudo-terminal without a name");
        }
        return open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    UniqueFd keyboard_;
    UniqueFd line_;
    StandardInput input_;
};

class WaitKeyPressed : public diag::test::LibraryTest {};
class GetUserInput : public diag::test::LibraryTest {};

double seconds_since(steady_clock::time_point start) {
    return std::chrono::duration<double>(steady_clock::now() - start).count();
}

TEST_F(WaitKeyPressed, AnswersACharacterThatIsThere) {
    PipeInput input;
    input.type("kl");
    EXPECT_EQ(wait_key_pressed(10), 'k');
    EXPECT_EQ(wait_key_pressed(0), 'l');
    EXPECT_EQ(wait_key_pressed(0), -1);
}

TEST_F(WaitKeyPressed, TimeOutOfZeroOrLessIsOneAttempt) {
    PipeInput input;
    for (const long seconds : {0L, -1L, -1000000L}) {
        const auto start = steady_clock::now();
        EXPECT_EQ(wait_key_pressed(seconds), -1);
        EXPECT_LT(seconds_since(start), 0.9);
        input.type("z");
        EXPECT_EQ(wait_key_pressed(seconds), 'z');
    }
}

TEST_F(WaitKeyPressed, AnswersBytesAsCharactersWithoutSign) {
    PipeInput input;
    input.type(std::string_view("\xFF\0\n", 3));
    EXPECT_EQ(wait_key_pressed(1), 0xFF);
    EXPECT_EQ(wait_key_pressed(1), 0);
    EXPECT_EQ(wait_key_pressed(1), '\n');
}

TEST_F(WaitKeyPressed, GivesUpAfterWholeSecondsWithoutSpinning) {
    PipeInput input;
    const double before = diag::test::processor_seconds();
    const auto start = steady_clock::now();
    EXPECT_EQ(wait_key_pressed(2), -1);
    // The seconds are those of the clock: the first one may be nearly over.
    EXPECT_GT(seconds_since(start), 0.9);
    EXPECT_LT(seconds_since(start), 5.0);
    EXPECT_LT(diag::test::processor_seconds() - before, 0.3);
}

TEST_F(WaitKeyPressed, WaitsOutAnInputThatHasEndedWithoutSpinning) {
    PipeInput input;
    input.end();
    const double before = diag::test::processor_seconds();
    const auto start = steady_clock::now();
    EXPECT_EQ(wait_key_pressed(2), -1);
    EXPECT_GT(seconds_since(start), 0.9);
    EXPECT_LT(diag::test::processor_seconds() - before, 0.3);
}

TEST_F(WaitKeyPressed, TakesAKeyWithoutEchoOrLineEnd) {
    Terminal terminal;
    const termios before = terminal.settings();
    const int flags = terminal.flags();
    ASSERT_NE(before.c_lflag & ICANON, 0U);
    ASSERT_NE(before.c_lflag & ECHO, 0U);
    std::atomic<int> key = -2;
    std::thread waiter([&] { key = wait_key_pressed(30); });
    while ((terminal.flags() & O_NONBLOCK) == 0 || (terminal.settings().c_lflag & ICANON) != 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(terminal.settings().c_lflag, before.c_lflag & ~static_cast<tcflag_t>(ICANON | ECHO));
    EXPECT_EQ(terminal.settings().c_iflag, before.c_iflag);
    EXPECT_EQ(terminal.flags(), flags | O_NONBLOCK);
    terminal.type("q");
    waiter.join();
    EXPECT_EQ(key, 'q');
    EXPECT_EQ(terminal.settings().c_lflag, before.c_lflag);
    EXPECT_EQ(terminal.flags(), flags);
    // Nothing was echoed to the keyboard's side.
    fcntl(terminal.keyboard(), F_SETFL, O_NONBLOCK);
    char echo = 0;
    EXPECT_EQ(read(terminal.keyboard(), &echo, 1), -1);
}

TEST_F(WaitKeyPressed, PutsTheTerminalBackWhenNoKeyCame) {
    Terminal terminal;
    const termios before = terminal.settings();
    const int flags = terminal.flags();
    EXPECT_EQ(wait_key_pressed(0), -1);
    EXPECT_EQ(terminal.settings().c_lflag, before.c_lflag);
    EXPECT_EQ(terminal.flags(), flags);
}

TEST_F(WaitKeyPressed, KeepsFlagsThatWereSetBefore) {
    PipeInput input;
    ASSERT_EQ(fcntl(STDIN_FILENO, F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(wait_key_pressed(0), -1);
    EXPECT_NE(fcntl(STDIN_FILENO, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(WaitKeyPressed, ReportsEachFailureOfFcntl) {
    const PipeInput input;
    const std::string once = error_text("wait_key_pressed", "fcntl error\n");
    int key = 0;
    EXPECT_EQ(printed([&] {
                  close(STDIN_FILENO);
                  key = wait_key_pressed(0);
              }),
              once + once + once);  // reading, setting and putting back the flags
    EXPECT_EQ(key, -1);
}

TEST_F(GetUserInput, ReadsALineWithoutItsEnd) {
    PipeInput input;
    input.type("hello world\nnext\n");
    char buffer[32] = "unset";
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), 11);
    EXPECT_STREQ(buffer, "hello world");
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), 4);
    EXPECT_STREQ(buffer, "next");
}

TEST_F(GetUserInput, DropsWhatDoesNotFit) {
    PipeInput input;
    input.type("abcdef\nabc\nnext\n");
    char buffer[4];
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), 3);
    EXPECT_STREQ(buffer, "nex");
}

TEST_F(GetUserInput, EmptyLineIsAnEmptyText) {
    PipeInput input;
    input.type("\n");
    char buffer[8] = "unset";
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "");
}

TEST_F(GetUserInput, EndOfInputEndsALine) {
    PipeInput input;
    input.type("abc");
    input.end();
    char buffer[8] = "unset";
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), 3);
    EXPECT_STREQ(buffer, "abc");
}

TEST_F(GetUserInput, EndOfInputBeforeAnyCharacterLeavesTheBuffer) {
    PipeInput input;
    input.end();
    char buffer[8] = "unset";
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "unset");
}

TEST_F(GetUserInput, ByteFFCountsAsTheEnd) {
    PipeInput input;
    input.type("ab\xFF\xFFrest\n");
    char buffer[8] = "unset";
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), 2);
    EXPECT_STREQ(buffer, "ab");
    std::strcpy(buffer, "unset");
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "unset");
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), 4);
    EXPECT_STREQ(buffer, "rest");
}

TEST_F(GetUserInput, SmallestBuffersHoldNothing) {
    PipeInput input;
    input.type("abc\ndef\nlast");
    input.end();
    char buffer[2] = {'x', 'y'};
    EXPECT_EQ(get_user_input(buffer, 1), 0);
    EXPECT_EQ(buffer[0], '\0');
    buffer[0] = 'x';
    EXPECT_EQ(get_user_input(buffer, 0), 0);
    EXPECT_EQ(buffer[0], 'x');
    EXPECT_EQ(get_user_input(buffer, 1), -1);  // nothing stored when the input ended
    EXPECT_EQ(buffer[0], 'x');
    EXPECT_EQ(buffer[1], 'y');
}

TEST_F(GetUserInput, ReadsOnAfterASignal) {
    const diag::test::SignalAction action(SIGUSR1, diag::test::count_signal);
    PipeInput input;
    std::atomic<pid_t> id = 0;
    char buffer[8] = "unset";
    int length = 0;
    std::thread reader([&] {
        id = gettid();
        length = get_user_input(buffer, sizeof buffer);
    });
    while (id == 0) {
        std::this_thread::yield();
    }
    for (int sent = 0; sent < 3; sent++) {
        EXPECT_TRUE(diag::test::falls_asleep(id));
        pthread_kill(reader.native_handle(), SIGUSR1);
        while (diag::test::is_pending(id, SIGUSR1)) {
            std::this_thread::yield();
        }
    }
    EXPECT_TRUE(diag::test::falls_asleep(id));
    input.type("abc\n");
    reader.join();
    EXPECT_EQ(length, 3);
    EXPECT_STREQ(buffer, "abc");
}

TEST_F(GetUserInput, GetsWhatFollowsAKey) {
    PipeInput input;
    input.type("xabc\n");
    char buffer[8];
    EXPECT_EQ(wait_key_pressed(1), 'x');
    EXPECT_EQ(get_user_input(buffer, sizeof buffer), 3);
    EXPECT_STREQ(buffer, "abc");
}

}  // namespace
