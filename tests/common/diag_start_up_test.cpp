// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>

#include "diag_util.h"

#include "tests/common/library_test.h"
#include "tests/common/nvram_bytes.h"
#include "tests/support/fake_tool.h"
#include "tests/support/temporary_folder.h"

using diag::test::error_text;
using diag::test::FakeTool;
using diag::test::logged;
using diag::test::nvram_bytes;
using diag::test::printed;
using diag::test::read_file;
using diag::test::syslog_state;
using diag::test::SyslogEntry;
using diag::test::TemporaryFolder;

namespace {

constexpr char kAsksNobody[] = "nvramtool";  // the tool does not ask itself

class StartUp : public diag::test::LibraryTest {};

void set(const char *name, const char *value) {
    setenv(name, value, 1);
}

// The FIFO of a broker; others share one name, so the tests act as brokers where they can.
std::string broker_pipe() {
    return "/tmp/nvram_pipe_" + std::to_string(getpid());
}

TEST_F(StartUp, WithoutSettingsLevelsStayAndTheLogLevelBecomes0) {
    set_verb_level(2);
    set_debug_enable(5);
    set_config_debug_enable(1);
    set_log_level(3);
    EXPECT_EQ(printed([] { diag_system_init(kAsksNobody); }), "");
    EXPECT_EQ(get_verb_level(), 2);
    EXPECT_EQ(get_debug_enable(), 5);
    EXPECT_EQ(get_config_debug_enable(), 0);
    printed([] { diag_print(1, "not logged"); });
    EXPECT_TRUE(logged().empty());
}

TEST_F(StartUp, VerbosityIsReadFromTheEnvironment) {
    struct Case {
        const char *text;
        int level;
    };
    constexpr Case kCases[] = {{"-1", -1}, {"0", 0}, {"3", 3},  {"2 and more", 2},
                               {" 1", 1},  {"", 0},  {"x3", 0}, {"0x3", 0}};
    for (const Case &test : kCases) {
        set_verb_level(7);
        set("VERB_LEVEL", test.text);
        diag_system_init(kAsksNobody);
        EXPECT_EQ(get_verb_level(), test.level) << "'" << test.text << "'";
    }
}

TEST_F(StartUp, VerbosityOutOfRangeIsToldAtLevel1AndLeavesTheLevel) {
    struct Case {
        const char *text;
        const char *number;
    };
    constexpr Case kCases[] = {{"4", "4"},
                               {"-2", "-2"},
                               {"100", "100"},
                               {"4294967297", "2147483647"},
                               {"-99999999999999999999", "-2147483648"}};
    for (const Case &test : kCases) {
        set("VERB_LEVEL", test.text);
        set_verb_level(1);
        EXPECT_EQ(printed([] { diag_system_init(kAsksNobody); }),
                  std::string("Invalid verb level ") + test.number + " - Valid range 0..3\n");
        EXPECT_EQ(get_verb_level(), 1);
        set_verb_level(0);
        EXPECT_EQ(printed([] { diag_system_init(kAsksNobody); }), "");
        EXPECT_EQ(get_verb_level(), 0);
    }
}

TEST_F(StartUp, VerbosityOfMinus1SilencesAllButErrors) {
    set("VERB_LEVEL", "-1");
    diag_system_init(kAsksNobody);
    EXPECT_EQ(printed([] {
                  diag_print(0, "silent\n");
                  diag_print(-1, "shown\n");
              }),
              "ERROR: shown\n");
}

// The most detailed level that syslog receives; -1: errors alone.
int log_level() {
    for (int level = 3; level >= 0; level--) {
        diag::test::reset_syslog();
        printed([&] { diag_print(level, "x"); });
        if (!logged().empty()) {
            return level;
        }
    }
    return -1;
}

TEST_F(StartUp, LogLevelIsReadFromTheEnvironment) {
    struct Case {
        const char *text;
        int level;
    };
    constexpr Case kCases[] = {{"-1", -1}, {"0", 0}, {"1", 1}, {"3", 3}, {"2x", 2}, {"", 0}};
    for (const Case &test : kCases) {
        set("LOG_LEVEL", test.text);
        diag_system_init(kAsksNobody);
        EXPECT_EQ(log_level(), test.level) << "'" << test.text << "'";
    }
}

TEST_F(StartUp, LogLevelOutOfRangeIsToldAtLevel1AndBecomes0) {
    set_verb_level(1);
    for (const char *text : {"9", "4", "-2"}) {
        set("LOG_LEVEL", text);
        set_log_level(3);
        EXPECT_EQ(
            printed([] { diag_system_init(kAsksNobody); }),
            std::string("Invalid log level ") + text + " - Valid range 0..3. Defaulting to 0\n");
        EXPECT_EQ(log_level(), 0);
    }
    set_verb_level(0);
    EXPECT_EQ(printed([] { diag_system_init(kAsksNobody); }), "");
}

TEST_F(StartUp, ConfigDebugIsOnWheneverItIsSet) {
    for (const char *text : {"", "0", "1"}) {
        set("CONFIG_DEBUG", text);
        diag_system_init(kAsksNobody);
        EXPECT_EQ(get_config_debug_enable(), 1) << "'" << text << "'";
    }
    unsetenv("CONFIG_DEBUG");
    diag_system_init(kAsksNobody);
    EXPECT_EQ(get_config_debug_enable(), 0);
}

TEST_F(StartUp, DryRunIsReadFromTheEnvironment) {
    struct Case {
        const char *text;
        int enable;
    };
    constexpr Case kCases[] = {{"1", 1}, {"0", 0}, {"-3", -3}, {"12abc", 12}, {"yes", 0}, {"", 0}};
    for (const Case &test : kCases) {
        set_debug_enable(99);
        set("DIAG_DEBUG", test.text);
        diag_system_init(kAsksNobody);
        EXPECT_EQ(get_debug_enable(), test.enable) << "'" << test.text << "'";
    }
}

TEST_F(StartUp, SyslogIsOpenedWithTheProgramsName) {
    diag_system_init(kAsksNobody);
    EXPECT_EQ(syslog_state().opened, 1);
    EXPECT_EQ(syslog_state().ident, "nvramtool");
    EXPECT_EQ(syslog_state().option, LOG_NDELAY);
    EXPECT_EQ(syslog_state().facility, LOG_LOCAL1);
    diag_system_init(kAsksNobody);
    EXPECT_EQ(syslog_state().opened, 2);
}

TEST_F(StartUp, OnlyTheToolItselfDoesNotAskTheTool) {
    const FakeTool tool("nvramtool");
    diag_system_init("nvramtool");
    EXPECT_TRUE(tool.calls().empty());
    for (const char *name : {"nvramtool-busbroker", "/usr/bin/nvramtool busbroker"}) {
        diag_system_init(name);
    }
    EXPECT_EQ(tool.calls().size(), 2U);
}

TEST_F(StartUp, BrokerUsesAFifoOfItsOwn) {
    FakeTool tool("nvramtool");
    tool.runs_script("test -p \"$pipe\" || exit 1\n");
    for (const char *name : {"busbroker", "my_busbrokerd", "/usr/sbin/busbroker"}) {
        EXPECT_EQ(printed([&] { diag_system_init(name); }), "");
    }
    const std::string command = "--query --pipe=" + broker_pipe() + " --busbroker";
    EXPECT_EQ(tool.calls(), std::vector<std::string>(3, command));
    EXPECT_NE(access(broker_pipe().c_str(), F_OK), 0);
}

TEST_F(StartUp, OtherProgramsShareAFifo) {
    struct stat pipe {};
    if (lstat("/tmp/nvram_pipe", &pipe) == 0 && pipe.st_uid != geteuid() && geteuid() != 0) {
        GTEST_SKIP() << "/tmp/nvram_pipe belongs to somebody else";
    }
    FakeTool tool("nvramtool");
    for (const char *name : {"some_program", "nvramtool2", "", "Busbroker"}) {
        printed([&] { diag_system_init(name); });
    }
    EXPECT_EQ(tool.calls(), std::vector<std::string>(4, "--query --pipe=/tmp/nvram_pipe"));
    printed([] { diag_system_init(nullptr); });
    EXPECT_EQ(tool.calls().size(), 5U);
}

TEST_F(StartUp, BoardRaisesTheVerbosity) {
    struct Case {
        const char *environment;
        uint8_t override;
        int board;
        int level;
    };
    constexpr Case kCases[] = {{nullptr, 1, 2, 2}, {"3", 1, 2, 3},  {"1", 1, 2, 2},
                               {"1", 0, 3, 1},     {"-1", 1, 0, 0}, {"0", 255, 9, 9}};
    for (const Case &test : kCases) {
        FakeTool tool("nvramtool");
        tool.answers(nvram_bytes(test.override, test.board));
        set_verb_level(0);
        unsetenv("VERB_LEVEL");
        if (test.environment != nullptr) {
            set("VERB_LEVEL", test.environment);
        }
        printed([] { diag_system_init("busbroker"); });
        EXPECT_EQ(get_verb_level(), test.level);
    }
}

TEST_F(StartUp, ToolThatIsMissingOrFailsIsReportedAndPassedOver) {
    FakeTool tool("nvramtool");
    set("VERB_LEVEL", "1");
    set("LOG_LEVEL", "2");
    const std::string error =
        error_text("nvramtool_query", "FAILED <<<---\nError Reading from nvram\n");
    tool.answers(nvram_bytes(1, 3), 1);
    EXPECT_EQ(printed([] { diag_system_init("busbroker"); }), error);
    tool.is_missing();
    EXPECT_EQ(printed([] { diag_system_init("busbroker"); }), error);
    EXPECT_EQ(get_verb_level(), 1);
    EXPECT_EQ(log_level(), 2);
    EXPECT_EQ(syslog_state().ident, "busbroker");
}

TEST_F(StartUp, ToolThatAnswersNothingLeavesTheVerbosity) {
    const FakeTool tool("nvramtool");
    EXPECT_EQ(printed([] { diag_system_init("busbroker"); }), "");
    EXPECT_EQ(get_verb_level(), 0);
}

TEST_F(StartUp, BoardIsAskedAfterTheEnvironmentAndBeforeSyslogIsOpened) {
    const TemporaryFolder folder;
    const std::string started = folder.file("started");
    const std::string go_on = folder.file("go_on");
    ASSERT_EQ(mkfifo(started.c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(go_on.c_str(), 0600), 0);
    FakeTool tool("nvramtool");
    tool.runs_script("echo x >'" + started + "'\nread line <'" + go_on + "'\n");
    set("VERB_LEVEL", "1");
    set("LOG_LEVEL", "0");
    set("CONFIG_DEBUG", "");
    set("DIAG_DEBUG", "1");
    set_log_level(1);
    const std::string shown = printed([&] {
        std::thread program([] { diag_system_init("busbroker"); });
        EXPECT_EQ(read_file(started), "x\n");
        EXPECT_EQ(get_verb_level(), 1);
        EXPECT_EQ(get_config_debug_enable(), 1);
        EXPECT_EQ(get_debug_enable(), 0);
        EXPECT_EQ(syslog_state().opened, 0);
        folder.write("go_on", "x\n");
        program.join();
    });
    EXPECT_EQ(get_debug_enable(), 1);
    EXPECT_EQ(syslog_state().opened, 1);
    // The log level of the environment comes after the query too.
    const std::string message = "nvram_query read -1 bytes from the fifo\n";
    EXPECT_EQ(shown, message);
    EXPECT_EQ(logged(), (std::vector<SyslogEntry>{{LOG_INFO, message}}));
    EXPECT_EQ(log_level(), 0);
}

}  // namespace
