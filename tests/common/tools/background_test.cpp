// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "diag_util.h"
#include "tool_calls.h"

#include "tests/common/library_test.h"
#include "tests/common/no_more_processes.h"
#include "tests/support/logged_messages.h"
#include "tests/support/temporary_folder.h"

using diag::test::error_in;
using diag::test::error_text;
using diag::test::kChildCannot;
using diag::test::kChildPassed;
using diag::test::logged;
using diag::test::logged_by;
using diag::test::printed;
using diag::test::read_file;

namespace {

// Two calls that differ in one word.
struct Call {
    const char *name;
    decltype(&epoll_generic_get) start;
    const char *action;
    const char *before_second;  // what stands before the second argument
};

std::ostream &operator<<(std::ostream &stream, const Call &call) {
    return stream << call.name;
}

constexpr Call kCalls[] = {{"epoll_generic_get", epoll_generic_get, "--get", "--pipe="},
                           {"epoll_generic_set", epoll_generic_set, "--set", ""}};

constexpr int kCameBack = 42;    // a child that the call came back in, with DIAG_E_FAIL
constexpr int kCameBackOk = 43;  // with something else

class Background : public diag::test::LibraryTest, public testing::WithParamInterface<Call> {
  protected:
    // A program that notes its arguments, one per line, and then does as `script` says.
    std::string program(const std::string &script = "") const {
        std::string path =
            folder_.write("program", "#!/bin/sh\nfor word; do echo \"$word\" >>'" +
                                         folder_.file("arguments") + "'; done\n" + script);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }

    // Calls it as its users do: a child that it comes back in ends at once.
    uint32_t start(const char *path, const char *second, const char *extra) const {
        std::fflush(stdout);
        const pid_t self = getpid();
        const uint32_t status = GetParam().start(path, second, extra);
        if (getpid() != self) {
            std::fflush(stdout);
            _exit(status == DIAG_E_FAIL ? kCameBack : kCameBackOk);
        }
        return status;
    }

    // The exit status of the child, which the call has left to us.
    static int reap() {
        int status = 0;
        if (waitpid(-1, &status, 0) <= 0 || !WIFEXITED(status)) {
            return -1;
        }
        return WEXITSTATUS(status);
    }

    // The arguments that the program received.
    std::string run(const char *second, const char *extra) const {
        std::filesystem::remove(folder_.file("arguments"));
        EXPECT_EQ(start(program().c_str(), second, extra), 0U);
        EXPECT_EQ(reap(), 0);
        return read_file(folder_.file("arguments"));
    }

    diag::test::TemporaryFolder folder_;
    const std::string name_ = GetParam().name;
};

INSTANTIATE_TEST_SUITE_P(Calls, Background, testing::ValuesIn(kCalls),
                         [](const auto &call) { return call.param.name; });

TEST_P(Background, ProgramReceivesWhatIsGiven) {
    const std::string action = std::string(GetParam().action) + "\n";
    const std::string second = std::string(GetParam().before_second) + "/tmp/x\n";
    EXPECT_EQ(run("/tmp/x", nullptr), action + second);
    EXPECT_EQ(run("/tmp/x", "--extra=1"), action + second + "--extra=1\n");
    EXPECT_EQ(run(nullptr, "--extra=1"), action + "--extra=1\n");
    EXPECT_EQ(run(nullptr, nullptr), action);
}

TEST_P(Background, ArgumentsAreHandedOnAsTheyAre) {
    const std::string odd = "a  b ;$(id) '\" > /dev/null";
    EXPECT_EQ(
        run(odd.c_str(), odd.c_str()),
        std::string(GetParam().action) + "\n" + GetParam().before_second + odd + "\n" + odd + "\n");
    EXPECT_EQ(run("", ""),
              std::string(GetParam().action) + "\n" + GetParam().before_second + "\n\n");
}

TEST_P(Background, LongPipePathIsCutAndALongValueIsNot) {
    const std::string text(3000, 'p');
    const std::string whole = GetParam().before_second + text;
    const bool is_reading = name_ == "epoll_generic_get";
    EXPECT_EQ(run(text.c_str(), text.c_str()), std::string(GetParam().action) + "\n" +
                                                   (is_reading ? whole.substr(0, 2047) : whole) +
                                                   "\n" + text + "\n");
}

TEST_P(Background, ProgramIsCalledByItsPath) {
    // It names itself in its complaint about the option.
    const std::string path = folder_.file("some_name");
    std::filesystem::create_symlink("/bin/cat", path);
    testing::internal::CaptureStderr();
    EXPECT_EQ(start(path.c_str(), nullptr, nullptr), 0U);
    EXPECT_NE(reap(), 0);
    const std::string complaint = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(complaint.starts_with(path + ": ")) << complaint;
}

TEST_P(Background, ProgramInheritsTheEnvironment) {
    setenv("DIAG_TEST_VALUE", "some value", 1);
    const std::string path =
        program("echo \"$DIAG_TEST_VALUE\" >'" + folder_.file("value") + "'\n");
    EXPECT_EQ(start(path.c_str(), nullptr, nullptr), 0U);
    EXPECT_EQ(reap(), 0);
    EXPECT_EQ(read_file(folder_.file("value")), "some value\n");
    unsetenv("DIAG_TEST_VALUE");
}

TEST_P(Background, CallerDoesNotWaitForTheProgram) {
    ASSERT_EQ(mkfifo(folder_.file("go_on").c_str(), 0600), 0);
    const std::string path = program("read -r line <'" + folder_.file("go_on") + "'\nexit 5\n");
    EXPECT_EQ(start(path.c_str(), "x", nullptr), 0U);
    int status = 0;
    EXPECT_EQ(waitpid(-1, &status, WNOHANG), 0) << "it runs, and nobody has reaped it";
    folder_.write("go_on", "\n");
    EXPECT_EQ(reap(), 5);
}

TEST_P(Background, NothingIsLogged) {
    set_verb_level(3);
    set_log_level(3);
    const std::string path = program();
    EXPECT_EQ(printed([&] { EXPECT_EQ(start(path.c_str(), "x", "y"), 0U); }), "");
    EXPECT_EQ(reap(), 0);
    EXPECT_TRUE(logged().empty());
}

TEST_P(Background, StartsInADryRunAsWell) {
    set_debug_enable(1);
    EXPECT_EQ(run(nullptr, nullptr), std::string(GetParam().action) + "\n");
}

TEST_P(Background, MissingProgramPathIsRefused) {
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(start(nullptr, "x", "y"), DIAG_E_FAIL); }),
              error_in(name_, "Rx NULL pointers\n"));
    EXPECT_EQ(waitpid(-1, nullptr, 0), -1) << "there is no child";
}

// ---- programs that cannot be executed ----

TEST_P(Background, CallComesBackInTheChildWhenTheProgramCannotBeExecuted) {
    const std::string plain = folder_.write("plain", "no program");
    const std::string no_format = folder_.write("no_format", "no program");
    std::filesystem::permissions(no_format, std::filesystem::perms::owner_all);
    struct Case {
        std::string path;
        int error;
    };
    const Case cases[] = {{folder_.file("missing"), ENOENT},
                          {"", ENOENT},
                          {plain + "/below", ENOTDIR},
                          {plain, EACCES},
                          {folder_.path(), EACCES},
                          {no_format, ENOEXEC},
                          {"sh", ENOENT}};  // PATH is not searched
    for (const Case &test : cases) {
        int status = -1;
        const std::string text = printed([&] {
            EXPECT_EQ(start(test.path.c_str(), "x", "y"), 0U) << "the parent sees no failure";
            status = reap();
        });
        EXPECT_EQ(status, kCameBack) << test.path;
        EXPECT_EQ(text, error_text(name_, "Error while execve. Error code " +
                                              std::to_string(test.error) + "\n"));
    }
}

TEST_P(Background, MissingProcessIsReported) {
    const std::string path = program();
    int child = -1;
    const std::string text = printed([&] {
        child = diag::test::run_without_processes(
            [&] { return GetParam().start(path.c_str(), "x", "y") == DIAG_E_FAIL; });
    });
    if (child == kChildCannot) {
        GTEST_SKIP() << "the kernel does not let a process be kept from making others";
    }
    EXPECT_EQ(child, kChildPassed);
    EXPECT_EQ(text, error_text(name_, "Couldn't fork\n"));
    EXPECT_FALSE(std::filesystem::exists(folder_.file("arguments")));
}

}  // namespace
