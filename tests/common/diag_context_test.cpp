// SPDX-License-Identifier: MIT
#include <atomic>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "diag_util.h"

#include "diags/common/src/log.h"
#include "tests/common/library_test.h"
#include "tests/common/process_state.h"

using diag::test::error_text;
using diag::test::logged;
using diag::test::printed;
using diag::test::syslog_state;
using diag::test::SyslogEntry;

namespace {

class Levels : public diag::test::LibraryTest {};
class DiagPrint : public diag::test::LibraryTest {};
class Syslog : public diag::test::LibraryTest {};

using Entries = std::vector<SyslogEntry>;

TEST_F(Levels, AreStoredUnchecked) {
    struct Level {
        void (*set)(unsigned int);
        int (*get)();
    };
    constexpr Level kLevels[] = {{set_test_level, get_test_level},
                                 {set_debug_enable, get_debug_enable},
                                 {set_verb_level, get_verb_level}};
    for (const Level &level : kLevels) {
        EXPECT_EQ(level.get(), 0);
        for (const int value : {3, 1000, -1, -2147483647 - 1, 0}) {
            level.set(static_cast<unsigned int>(value));
            EXPECT_EQ(level.get(), value);
        }
    }
}

TEST_F(Levels, DoNotAffectEachOther) {
    set_test_level(1);
    set_debug_enable(2);
    set_config_debug_enable(3);
    set_verb_level(4);
    set_log_level(5);
    EXPECT_EQ(get_test_level(), 1);
    EXPECT_EQ(get_debug_enable(), 2);
    EXPECT_EQ(get_config_debug_enable(), 3);
    EXPECT_EQ(get_verb_level(), 4);
}

TEST_F(Levels, ConfigDebugKeepsItsLowByte) {
    EXPECT_EQ(get_config_debug_enable(), 0);
    for (const int value : {1, 0, 255, 7}) {
        set_config_debug_enable(value);
        EXPECT_EQ(get_config_debug_enable(), value);
    }
    set_config_debug_enable(0x1234);
    EXPECT_EQ(get_config_debug_enable(), 0x34);
    set_config_debug_enable(0x100);
    EXPECT_EQ(get_config_debug_enable(), 0);
    set_config_debug_enable(-1);
    EXPECT_EQ(get_config_debug_enable(), 255);
}

TEST_F(Levels, FeaturesAreAbsent) {
    EXPECT_EQ(is_eda_enabled(), 0);
    EXPECT_EQ(is_eda_ext_tests(), 0);
    EXPECT_EQ(is_eda_verbose(), 0);
    EXPECT_EQ(is_eda_stop_on_error(), 0);
    EXPECT_EQ(get_test_control(), 0);
}

TEST_F(Levels, ConfigDebugEchoesOnlyWhileItIsOn) {
    EXPECT_EQ(printed([] { DIAG_CONFIG_DEBUG(0, "value %d\n", 7); }), "");
    set_config_debug_enable(1);
    EXPECT_EQ(printed([] { DIAG_CONFIG_DEBUG(0, "value %d\n", 7); }), "value 7\n");
    EXPECT_EQ(printed([] { DIAG_CONFIG_DEBUG(1, "value %d\n", 7); }), "");
}

TEST_F(DiagPrint, EveryLevelGoesWhereTheLevelsLetIt) {
    for (int level = -2; level <= 4; level++) {
        for (int verb = -3; verb <= 4; verb++) {
            for (int log = -3; log <= 4; log++) {
                set_verb_level(static_cast<unsigned int>(verb));
                set_log_level(static_cast<unsigned int>(log));
                diag::test::reset_syslog();
                const std::string shown = printed([&] { diag_print(level, "%s%d\n", "x", 5); });
                const Entries entries = logged();
                const std::string context = std::to_string(level) + " with " +
                                            std::to_string(verb) + ", " + std::to_string(log);
                if (level == -1) {
                    EXPECT_EQ(shown, "ERROR: x5\n") << context;
                    EXPECT_EQ(entries, (Entries{{LOG_ERR, "ERROR: x5\n"}})) << context;
                } else {
                    EXPECT_EQ(shown, level <= verb ? "x5\n" : "") << context;
                    EXPECT_EQ(entries, log >= level ? (Entries{{LOG_INFO, "x5\n"}}) : Entries{})
                        << context;
                }
            }
        }
    }
}

TEST_F(DiagPrint, ErrorsHaveTwoPieces) {
    const auto fail = [] { DIAG_ERROR_IN("some_call", "no %s\n", "luck"); };
    EXPECT_EQ(printed(fail), error_text("some_call", "no luck\n"));
    EXPECT_EQ(logged(),
              (Entries{{LOG_ERR, "ERROR: some_call[N]: "}, {LOG_ERR, "ERROR: no luck\n"}}));
}

TEST_F(DiagPrint, AddsNoLineEnd) {
    EXPECT_EQ(printed([] {
                  diag_print(0, "a");
                  diag_print(0, "%s", "b");
              }),
              "ab");
}

TEST_F(DiagPrint, CutsAt1023Characters) {
    for (const size_t length : {size_t{1022}, size_t{1023}, size_t{1024}, size_t{1500}}) {
        const std::string text(length, 'm');
        const std::string kept(std::min(length, size_t{1023}), 'm');
        diag::test::reset_syslog();
        EXPECT_EQ(printed([&] { diag_print(0, "%s", text.c_str()); }), kept);
        EXPECT_EQ(logged(), (Entries{{LOG_INFO, kept}}));
        // The word ERROR comes on top.
        EXPECT_EQ(printed([&] { diag_print(-1, "%s", text.c_str()); }), "ERROR: " + kept);
    }
}

TEST_F(DiagPrint, TextIsNotTakenForAFormat) {
    EXPECT_EQ(printed([] { diag_print(0, "%s", "100%s%n"); }), "100%s%n");
    EXPECT_EQ(logged(), (Entries{{LOG_INFO, "100%s%n"}}));
}

TEST_F(DiagPrint, SilentMessagesAreNotFormatted) {
    // Formatting would read a page that nobody may read.
    void *page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    EXPECT_EQ(printed([&] { diag_print(1, "%s", static_cast<const char *>(page)); }), "");
    munmap(page, 4096);
}

TEST_F(DiagPrint, FlushesNothing) {
    testing::internal::CaptureStdout();
    const int captured = dup(STDOUT_FILENO);
    diag_print(0, "kept back");
    EXPECT_EQ(lseek(captured, 0, SEEK_END), 0);
    close(captured);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "kept back");
}

// Standard output without a buffer, into a pipe that is full: whoever prints waits for `drain`.
class BlockedOutput {
  public:
    BlockedOutput() {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        if (pipe2(pipe_, O_CLOEXEC) != 0 || dup2(pipe_[1], STDOUT_FILENO) == -1) {
            throw std::runtime_error("cannot redirect standard output");
        }
        std::setvbuf(stdout, nullptr, _IONBF, 0);
        fcntl(pipe_[1], F_SETFL, O_NONBLOCK);
        const std::vector<char> filling(4096, '.');
        while (write(pipe_[1], filling.data(), filling.size()) > 0) {
        }
        fcntl(pipe_[1], F_SETFL, 0);
    }
    ~BlockedOutput() {
        dup2(saved_, STDOUT_FILENO);
        static char buffer[BUFSIZ];
        std::setvbuf(stdout, buffer, _IOLBF, sizeof buffer);
        for (const int fd : {saved_, pipe_[0], pipe_[1]}) {
            close(fd);
        }
    }
    BlockedOutput(const BlockedOutput &) = delete;
    BlockedOutput &operator=(const BlockedOutput &) = delete;

    void drain() {
        std::vector<char> out(1 << 20);
        EXPECT_GT(read(pipe_[0], out.data(), out.size()), 0);
    }

  private:
    int saved_;
    int pipe_[2];
};

TEST_F(DiagPrint, ShowsBeforeItLogs) {
    for (const int level : {-1, 0}) {
        diag::test::reset_syslog();
        BlockedOutput output;
        std::atomic<pid_t> printer = 0;
        std::thread thread([&] {
            printer = gettid();
            diag_print(level, "x\n");
        });
        while (printer == 0) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(diag::test::falls_asleep(printer));
        EXPECT_TRUE(logged().empty());
        output.drain();
        thread.join();
        EXPECT_EQ(logged().size(), 1U);
    }
}

TEST_F(DiagPrint, ThreadsDoNotGarbleEachOther) {
    constexpr int kMessages = 300;
    const std::string text = printed([] {
        std::vector<std::thread> threads;
        for (const char c : {'a', 'b', 'c', 'd'}) {
            threads.emplace_back([c] {
                const std::string message(500, c);
                for (int i = 0; i < kMessages; i++) {
                    diag_print(i % 2 == 0 ? -1 : 0, "%s\n", message.c_str());
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    });
    const auto is_whole = [](std::string line) {
        if (line.starts_with("ERROR: ")) {
            line.erase(0, 7);
        }
        return line.size() == 500 && line.find_first_not_of(line[0]) == std::string::npos;
    };
    std::istringstream lines(text);
    int count = 0;
    for (std::string line; std::getline(lines, line); count++) {
        ASSERT_TRUE(is_whole(line)) << line;
    }
    EXPECT_EQ(count, 4 * kMessages);
    const Entries entries = logged();
    EXPECT_EQ(entries.size(), size_t{4 * kMessages});
    for (const SyslogEntry &entry : entries) {
        ASSERT_TRUE(is_whole(entry.text.substr(0, entry.text.size() - 1))) << entry.text;
    }
}

TEST_F(DiagPrint, LevelsMayBeSetMeanwhile) {
    std::atomic<bool> done = false;
    std::thread setter([&] {
        for (unsigned int i = 0; !done; i++) {
            set_verb_level(i % 2);
            set_log_level(i % 2);
            set_config_debug_enable(static_cast<int>(i));
        }
    });
    const std::string text = printed([] {
        for (int i = 0; i < 2000; i++) {
            diag_print(1, "x\n");
        }
    });
    done = true;
    setter.join();
    EXPECT_EQ(text.find_first_not_of("x\n"), std::string::npos);
}

TEST_F(Syslog, IsOpenedWithTheProgramsName) {
    diag_syslog_init("some_program");
    const auto state = syslog_state();
    EXPECT_EQ(state.opened, 1);
    EXPECT_EQ(state.ident, "some_program");
    EXPECT_EQ(state.option, LOG_NDELAY);
    EXPECT_EQ(state.facility, LOG_LOCAL1);
}

TEST_F(Syslog, KeepsTheNameOfACallerWhoseTextIsGone) {
    std::string name = "some_program";
    diag_syslog_init(name.c_str());
    name.assign(name.size(), '?');
    EXPECT_EQ(syslog_state().ident, "some_program");
    diag_syslog_init("another");
    EXPECT_EQ(syslog_state().ident, "another");
    EXPECT_EQ(syslog_state().opened, 2);
}

TEST_F(Syslog, WithoutANameUsesTheSystemsOwn) {
    diag_syslog_init(nullptr);
    EXPECT_EQ(syslog_state().opened, 1);
    EXPECT_EQ(syslog_state().ident, "");
}

TEST_F(Syslog, IsClosed) {
    diag_syslog_init("some_program");
    diag_syslog_close();
    EXPECT_EQ(syslog_state().closed, 1);
    diag_syslog_close();  // once more does no harm
    EXPECT_EQ(syslog_state().closed, 2);
}

TEST_F(Syslog, ReceivesMessagesBeforeItIsOpened) {
    printed([] { diag_print(0, "early\n"); });
    EXPECT_EQ(logged(), (Entries{{LOG_INFO, "early\n"}}));
    EXPECT_EQ(syslog_state().opened, 0);
}

TEST_F(DiagPrint, TestResultIsABanner) {
    EXPECT_EQ(printed([] { print_test_result("fan", 0); }),
              "fan: Overall test results------------------ >>>> PASSED\n");
    for (const int failed : {1, -1, 1000}) {
        EXPECT_EQ(printed([&] { print_test_result("fan", failed); }),
                  "fan: Overall test results------------------ FAILED <<<<\n");
    }
    EXPECT_EQ(logged()[0].priority, LOG_INFO);
    set_verb_level(static_cast<unsigned int>(-1));
    EXPECT_EQ(printed([] { print_test_result("fan", 1); }), "");
}

}  // namespace
