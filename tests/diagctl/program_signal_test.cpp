// SPDX-License-Identifier: MIT
// Signals that arrive while a tool runs.
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "diags/description/shared_pipes.h"
#include "tests/diagctl/diagctl_test.h"
#include "tests/support/fake_tool.h"

namespace diag::test {
namespace {

// diagctl in a process group of its own, as a shell starts it, with a tool that tells when it runs
// and then waits for its end.
class Interrupting : public DiagctlTest {
  protected:
    Interrupting() {
        mkfifo(scratch_.file("started").c_str(), 0600);
        let_wait(tool_);
    }
    ~Interrupting() override {
        if (pid_ > 0) {
            kill(-pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    void start(
        const Words &arguments, void (*prepare)() = [] {}) {
        pid_ = fork();
        ASSERT_NE(pid_, -1);
        if (pid_ == 0) {
            setpgid(0, 0);
            prepare();
            become(arguments);
        }
        setpgid(pid_, pid_);
        std::ifstream started(scratch_.file("started"));
        ASSERT_TRUE(started >> tool_pid_);
    }

    int wait_for_end() {
        int status = 0;
        waitpid(pid_, &status, 0);
        // A tool may outlive a diagctl that was told to end.
        kill(-pid_, SIGKILL);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    void let_wait(FakeTool &tool) const {
        tool.runs_script("echo $$ >'" + scratch_.file("started") + "'\nexec sleep 50\n");
    }

    std::string errors() const { return read_file(scratch_.file("errors")); }

    const std::string file_ = diagctl_data("good_accesses.xml");
    TemporaryFolder scratch_;
    FakeTool tool_{"i2ctool"};
    pid_t pid_ = -1;
    pid_t tool_pid_ = -1;

  private:
    [[noreturn]] void become(const Words &arguments) const {
        setenv("TMPDIR", temporary().path().c_str(), 1);
        const int file = open(scratch_.file("errors").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(file, STDERR_FILENO);
        std::vector<std::string> words{program()};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char *> pointers;
        pointers.reserve(words.size() + 1);
        for (std::string &word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        execv(pointers[0], pointers.data());
        _exit(127);
    }
};

TEST_F(Interrupting, FromTheKeyboardEndsAReadingWithStatus130) {
    start({"read", file_, "PUMP.ID"});
    EXPECT_FALSE(left_nothing_behind()) << "the FIFO is there while the tool runs";
    kill(-pid_, SIGINT);
    EXPECT_EQ(wait_for_end(), 130);
    EXPECT_EQ(errors(), "diagctl: interrupted\n");
    EXPECT_TRUE(left_nothing_behind());
}

TEST_F(Interrupting, FromTheKeyboardEndsAWritingWithStatus130) {
    start({"write", file_, "PUMP.MODE", "1"});
    kill(-pid_, SIGINT);
    EXPECT_EQ(wait_for_end(), 130);
    EXPECT_EQ(errors(), "diagctl: interrupted\n");
    EXPECT_TRUE(left_nothing_behind());
}

TEST_F(Interrupting, FromTheKeyboardEndsTheSettingOfAMuxWithStatus130) {
    start({"read", file_, "DEEP.ID"});
    kill(-pid_, SIGINT);
    EXPECT_EQ(wait_for_end(), 130);
    EXPECT_TRUE(left_nothing_behind());
}

TEST_F(Interrupting, ByATerminationOrAHangUpLeavesNothingBehind) {
    for (const int number : {SIGTERM, SIGHUP}) {
        start({"read", file_, "PUMP.ID"});
        kill(pid_, number);
        EXPECT_EQ(wait_for_end(), 130);
        EXPECT_EQ(errors(), "diagctl: interrupted\n");
        EXPECT_TRUE(left_nothing_behind());
    }
}

TEST_F(Interrupting, FromTheKeyboardEndsTheSearchForModulesWithStatus130) {
    FakeTool lpctool("lpctool");
    let_wait(lpctool);
    start({"tree", diagctl_data("good_modules.txt")});
    kill(-pid_, SIGINT);
    EXPECT_EQ(wait_for_end(), 130);
    EXPECT_EQ(errors(), "diagctl: interrupted\n");
}

TEST_F(Interrupting, ByATerminationLeavesNoneOfTheLibrarysPipesBehind) {
    FakeTool lpctool("lpctool");
    let_wait(lpctool);
    start({"tree", diagctl_data("good_modules.txt")});
    EXPECT_TRUE(std::filesystem::exists("/tmp/pl_lpc_pipe"));
    kill(pid_, SIGTERM);
    EXPECT_EQ(wait_for_end(), 130);
    const description::SharedPipesTurn turn;  // else the pipe of another test may be there
    EXPECT_FALSE(std::filesystem::exists("/tmp/pl_lpc_pipe"));
}

TEST_F(Interrupting, IsLeftOutForASignalThatTheCallerIgnores) {
    start({"read", file_, "PUMP.ID"}, [] { signal(SIGHUP, SIG_IGN); });
    kill(pid_, SIGHUP);
    kill(tool_pid_, SIGKILL);
    EXPECT_EQ(wait_for_end(), 6);
    EXPECT_EQ(errors(),
              "diagctl: PUMP.ID could not be read: i2ctool was ended by signal 9 (Killed)\n");
}

TEST_F(Interrupting, OfTheToolAloneIsToldApartFromItsFailing) {
    start({"write", file_, "PUMP.MODE", "1"});
    kill(tool_pid_, SIGKILL);
    EXPECT_EQ(wait_for_end(), 6);
}

TEST_F(Interrupting, ByAnAbortShowsWhatTheLibraryHasSaid) {
    start({"read", file_, "PUMP.ID"});
    kill(pid_, SIGABRT);
    EXPECT_EQ(wait_for_end(), 128 + SIGABRT);
    EXPECT_NE(errors().find("i2ctool_get: i2ctool --read"), std::string::npos) << errors();
    EXPECT_TRUE(left_nothing_behind());
}

}  // namespace
}  // namespace diag::test
