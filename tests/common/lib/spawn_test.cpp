// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/spawn.h"

#include <atomic>
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

#include "diags/common/src/lib/fifo.h"
#include "diags/common/src/lib/tool_output.h"
#include "tests/common/process_state.h"
#include "tests/support/fake_tool.h"
#include "tests/support/temporary_folder.h"

namespace {

using diag::Fifo;
using diag::run_command;
using diag::ToolOutput;
using diag::test::contains;
using diag::test::FakeTool;
using diag::test::open_descriptors;
using diag::test::read_file;
using diag::test::signal_mask;
using diag::test::SignalAction;

constexpr int kNotFound = 127 << 8;
constexpr int kNotExecutable = 126 << 8;

class RunCommand : public testing::Test {
  protected:
    RunCommand() : tool_("tool"), pipe_(folder_.file("pipe")) {}

    std::string file(const char *name) const { return folder_.file(name); }

    // Runs the tool with a FIFO; what it wrote goes to `text_`, `count` bytes at most.
    int run_reading(int count) {
        const Fifo fifo(pipe_.c_str());
        EXPECT_EQ(fifo.state(), Fifo::State::kOpen);
        ToolOutput output(count);
        const int status = run_command(("tool --pipe=" + pipe_).c_str(), fifo.fd(), output);
        text_.assign(static_cast<size_t>(count), '\0');
        const int got = output.deliver(reinterpret_cast<uint8_t *>(text_.data()));
        text_.resize(static_cast<size_t>(std::max(got, 0)));
        return status;
    }

    diag::test::TemporaryFolder folder_;
    FakeTool tool_;
    std::string pipe_;
    std::string text_;
};

TEST_F(RunCommand, SplitsAtBlanks) {
    EXPECT_EQ(run_command("tool --read  --bus=3   --reg=0x07 "), 0);
    EXPECT_EQ(run_command("  tool"), 0);
    EXPECT_EQ(tool_.calls(), (std::vector<std::string>{"--read --bus=3 --reg=0x07", ""}));
}

TEST_F(RunCommand, UsesNoShell) {
    const std::string made = file("made");
    const std::string text = "$(touch " + made + ") ;touch " + made + " `id` * '\"' $HOME #";
    EXPECT_EQ(run_command(("tool " + text).c_str()), 0);
    EXPECT_EQ(tool_.calls(), std::vector<std::string>{text});
    EXPECT_FALSE(std::filesystem::exists(made));
}

TEST_F(RunCommand, TakesAsManyWordsAsACommandHolds) {
    const FakeTool shortest("t");
    std::string command = "t";
    while (command.size() + 2 <= 2047) {
        command += " a";
    }
    EXPECT_EQ(run_command(command.c_str()), 0);
    EXPECT_EQ(shortest.calls(), std::vector<std::string>{command.substr(2)});
}

TEST_F(RunCommand, AnswersTheWaitStatus) {
    struct Case {
        const char *script;
        int status;
    };
    constexpr Case kCases[] = {{"exit 0\n", 0},
                               {"exit 3\n", 3 << 8},
                               {"exit 255\n", 255 << 8},
                               {"kill -KILL $$\n", SIGKILL},
                               {"kill -TERM $$\n", SIGTERM}};
    for (const Case &test : kCases) {
        tool_.runs_script(test.script);
        EXPECT_EQ(run_command("tool"), test.status) << test.script;
        EXPECT_EQ(run_reading(4), test.status) << test.script;
    }
}

TEST_F(RunCommand, AnswersAsAShellWhenTheProgramCannotBeStarted) {
    EXPECT_EQ(run_command("no-such-program --read"), kNotFound);
    EXPECT_EQ(run_command(file("no-such-file").c_str()), kNotFound);
    EXPECT_EQ(run_command((folder_.write("file", "") + "/below").c_str()), kNotFound);
    EXPECT_EQ(run_command(file("file").c_str()), kNotExecutable);
    EXPECT_EQ(run_command(folder_.path().c_str()), kNotExecutable);
    EXPECT_EQ(run_command(""), kNotFound);
    EXPECT_EQ(run_command("   "), kNotFound);
    tool_.is_missing();
    EXPECT_EQ(run_reading(4), kNotFound);
}

TEST_F(RunCommand, TakesWhatTheProgramWrites) {
    tool_.answers(std::string_view("a\0b\xFF", 4));
    EXPECT_EQ(run_reading(4), 0);
    EXPECT_EQ(text_, std::string("a\0b\xFF", 4));
    EXPECT_EQ(run_reading(2), 0);
    EXPECT_EQ(text_, std::string("a\0", 2));
}

TEST_F(RunCommand, ProgramThatWritesMoreThanAPipeHoldsEnds) {
    tool_.runs_script("head -c 200000 /dev/zero | tr '\\0' a >\"$pipe\"\n");
    EXPECT_EQ(run_reading(4), 0);
    EXPECT_EQ(text_, "aaaa");
    EXPECT_EQ(run_reading(0), 0);
    EXPECT_EQ(run_reading(200000), 0);
    EXPECT_EQ(text_, std::string(200000, 'a'));
}

TEST_F(RunCommand, ProgramThatWritesNothingIsNotWaitedFor) {
    tool_.answers("");
    EXPECT_EQ(run_reading(4), 0);
    EXPECT_EQ(text_, "");
}

TEST_F(RunCommand, WriterThatOutlivesTheProgramIsNotWaitedFor) {
    // It ends with the FIFO, which nobody reads any more then.
    tool_.runs_script("exec 3>\"$pipe\"\nyes >&3 3>&- 2>/dev/null &\nexec 3>&-\necho >\"$pipe\"\n");
    EXPECT_EQ(run_reading(1), 0);
    EXPECT_EQ(text_.size(), 1U);
}

// Holds up whoever is interrupted by SIGUSR1 until somebody writes to the FIFO `release`.
int held_up;
int release;
void hold_up(int /*signal*/) {
    char c = '\n';
    static_cast<void>(write(held_up, &c, 1) + read(release, &c, 1));
}

TEST_F(RunCommand, TakesAllThatIsThereWhenTheProgramHasEnded) {
    const Fifo held_up_fifo(file("held_up").c_str());
    const Fifo release_fifo(file("release").c_str());
    fcntl(release_fifo.fd(), F_SETFL, 0);
    held_up = held_up_fifo.fd();
    release = release_fifo.fd();
    const SignalAction action(SIGUSR1, hold_up);
    tool_.runs_script("kill -USR1 $PPID\nread -r line <'" + file("held_up") +
                      "'\nhead -c 40000 /dev/zero >\"$pipe\"\n"
                      "(until grep -q 'State:.Z' /proc/$$/status; do :; done\necho >'" +
                      file("release") + "') &\n");
    EXPECT_EQ(run_reading(40000), 0);
    EXPECT_EQ(text_, std::string(40000, '\0'));
}

TEST_F(RunCommand, WorksWithoutADescriptorForTheProcess) {
    folder_.write("data", "some text");
    const int reserve = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const Fifo fifo(pipe_.c_str());
    ToolOutput output(9);
    {
        const diag::test::NoMoreDescriptors limit;
        const std::string command =
            "dd if=" + file("data") + " of=" + pipe_ + " conv=notrunc status=none";
        EXPECT_EQ(run_command(command.c_str(), fifo.fd(), output), 0);
        EXPECT_EQ(run_command("true", fifo.fd(), output), 0);
    }
    close(reserve);
    uint8_t result[10] = "";
    EXPECT_EQ(output.deliver(result), 9);
    EXPECT_STREQ(reinterpret_cast<char *>(result), "some text");
}

TEST_F(RunCommand, LeavesNoDescriptorOpenAndHandsNoneOn) {
    const auto before = open_descriptors();
    tool_.runs_script("ls -l /proc/$$/fd >'" + file("descriptors") + "'\n");
    EXPECT_EQ(run_reading(4), 0);
    EXPECT_EQ(open_descriptors(), before);
    const std::string inherited = read_file(file("descriptors"));
    EXPECT_EQ(inherited.find(pipe_), std::string::npos) << inherited;
    EXPECT_EQ(inherited.find("pidfd"), std::string::npos) << inherited;
}

TEST_F(RunCommand, IsNotDisturbedBySignals) {
    const SignalAction action(SIGALRM, diag::test::count_signal);
    diag::test::signals_counted = 0;
    const itimerval often{{0, 1000}, {0, 1000}};
    const itimerval never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    for (int i = 0; i < 10; i++) {
        tool_.answers("abcd", 5);
        EXPECT_EQ(run_command("tool"), 5 << 8);
        EXPECT_EQ(run_reading(4), 5 << 8);
        EXPECT_EQ(text_, "abcd");
    }
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GT(diag::test::signals_counted, 0);
}

// A tool that notes how it and the process that runs it take signals.
class ToolSignals {
  public:
    explicit ToolSignals(FakeTool &tool) {
        const std::string caller = "/proc/" + std::to_string(gettid()) + "/status";
        // Reading is left to the shell itself: it blocks signals while a program of its own runs.
        // The caller has all signals blocked until it waits for the tool, and sleeps.
        tool.runs_script("while read -r line; do echo \"$line\"; done </proc/$$/status >'" +
                         folder_.file("tool") + "'\nuntil grep -q 'State:.S' " + caller +
                         "; do :; done\ncat " + caller + " >'" + folder_.file("caller") + "'\n");
    }
    bool tool(const char *mask, int signal) const { return has("tool", mask, signal); }
    bool caller(const char *mask, int signal) const { return has("caller", mask, signal); }

  private:
    bool has(const char *who, const char *mask, int signal) const {
        return contains(signal_mask(read_file(folder_.file(who)), mask), signal);
    }
    diag::test::TemporaryFolder folder_;
};

void (*handler_of(int signal))(int) {
    struct sigaction now {};
    sigaction(signal, nullptr, &now);
    return now.sa_handler;
}

bool is_blocked(int signal) {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
}

TEST_F(RunCommand, KeyboardSignalsAreIgnoredMeanwhileAndPutBack) {
    const SignalAction interrupt(SIGINT, diag::test::count_signal);
    const SignalAction quit(SIGQUIT, SIG_DFL);
    const ToolSignals signals(tool_);
    for (const bool reading : {false, true}) {
        EXPECT_EQ(reading ? run_reading(1) : run_command("tool"), 0);
        for (const int signal : {SIGINT, SIGQUIT}) {
            EXPECT_TRUE(signals.caller("SigIgn", signal));
            EXPECT_FALSE(signals.tool("SigIgn", signal));
        }
        EXPECT_EQ(handler_of(SIGINT), diag::test::count_signal);
        EXPECT_EQ(handler_of(SIGQUIT), SIG_DFL);
    }
}

TEST_F(RunCommand, KeyboardSignalsThatTheProcessIgnoresStayIgnoredInTheTool) {
    const SignalAction interrupt(SIGINT, SIG_IGN);
    const SignalAction quit(SIGQUIT, SIG_DFL);
    const ToolSignals signals(tool_);
    EXPECT_EQ(run_command("tool"), 0);
    EXPECT_TRUE(signals.tool("SigIgn", SIGINT));
    EXPECT_FALSE(signals.tool("SigIgn", SIGQUIT));
    EXPECT_EQ(handler_of(SIGINT), SIG_IGN);
}

TEST_F(RunCommand, KeyboardSignalsArePutBackWhenTheProgramIsMissing) {
    const SignalAction interrupt(SIGINT, diag::test::count_signal);
    EXPECT_EQ(run_command("no-such-program"), kNotFound);
    EXPECT_EQ(handler_of(SIGINT), diag::test::count_signal);
    EXPECT_FALSE(is_blocked(SIGCHLD));
}

TEST_F(RunCommand, ChildSignalIsBlockedInTheCallerAloneAndPutBack) {
    const ToolSignals signals(tool_);
    EXPECT_EQ(run_command("tool"), 0);
    EXPECT_TRUE(signals.caller("SigBlk", SIGCHLD));
    EXPECT_FALSE(signals.tool("SigBlk", SIGCHLD));
    EXPECT_FALSE(is_blocked(SIGCHLD));
}

TEST_F(RunCommand, ToolInheritsTheCallersMask) {
    sigset_t blocked;
    sigset_t saved;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGCHLD);
    sigaddset(&blocked, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &blocked, &saved);
    const ToolSignals signals(tool_);
    EXPECT_EQ(run_command("tool"), 0);
    EXPECT_TRUE(signals.tool("SigBlk", SIGUSR2));
    EXPECT_TRUE(is_blocked(SIGCHLD));
    EXPECT_TRUE(is_blocked(SIGUSR2));
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
}

TEST_F(RunCommand, StatusIsLostInAProcessThatIgnoresItsChildren) {
    const SignalAction ignored(SIGCHLD, SIG_IGN);
    tool_.answers("abcd");
    EXPECT_EQ(run_command("tool"), -1);
    EXPECT_EQ(run_reading(4), -1);
    EXPECT_EQ(tool_.calls().size(), 2U);
}

TEST_F(RunCommand, OverlappingToolsKeepKeyboardSignalsIgnoredUntilTheLastEnds) {
    const SignalAction interrupt(SIGINT, diag::test::count_signal);
    const char *const fifos[] = {"started1", "started2", "go_on1", "go_on2"};
    for (const char *name : fifos) {
        ASSERT_EQ(mkfifo(file(name).c_str(), 0600), 0);
    }
    tool_.runs_script("echo >'" + file("started") + "'$1\nread line <'" + file("go_on") + "'$1\n");
    std::thread first([] { EXPECT_EQ(run_command("tool 1"), 0); });
    read_file(file("started1"));
    std::thread second([] { EXPECT_EQ(run_command("tool 2"), 0); });
    read_file(file("started2"));
    EXPECT_EQ(handler_of(SIGINT), SIG_IGN);
    folder_.write("go_on1", "\n");
    first.join();
    EXPECT_EQ(handler_of(SIGINT), SIG_IGN);
    folder_.write("go_on2", "\n");
    second.join();
    EXPECT_EQ(handler_of(SIGINT), diag::test::count_signal);
}

TEST_F(RunCommand, RunsInSeveralThreadsAtOnce) {
    constexpr int kThreads = 6;
    tool_.runs_script("test -n \"$pipe\" || exit 2\nprintf %s \"${pipe##*/}\" >\"$pipe\"\n");
    const auto before = open_descriptors();
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; i++) {
        threads.emplace_back([this, name = "pipe" + std::to_string(i)] {
            const std::string path = folder_.file(name);
            for (int round = 0; round < 5; round++) {
                const Fifo fifo(path.c_str());
                ToolOutput output(8);
                EXPECT_EQ(run_command(("tool --pipe=" + path).c_str(), fifo.fd(), output), 0);
                uint8_t result[9] = "";
                EXPECT_EQ(output.deliver(result), 5);
                EXPECT_EQ(reinterpret_cast<char *>(result), name);
                EXPECT_EQ(run_command("tool"), 2 << 8);  // no FIFO to write to
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(tool_.calls().size(), size_t{kThreads * 10});
    EXPECT_EQ(handler_of(SIGINT), SIG_DFL);
}

class HugeEnvironment : public RunCommand {
  protected:
    HugeEnvironment() { setenv("DIAG_TEST_HUGE", std::string(300000, 'x').c_str(), 1); }
    ~HugeEnvironment() override { unsetenv("DIAG_TEST_HUGE"); }
};

TEST_F(HugeEnvironment, ThatNoProgramTakesCannotBeExecuted) {
    EXPECT_EQ(run_command("tool"), kNotExecutable);
    EXPECT_TRUE(tool_.calls().empty());
}

}  // namespace
