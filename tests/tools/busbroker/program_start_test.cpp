// SPDX-License-Identifier: MIT
// The daemon's start, and how it leaves its terminal.
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "diags/exit_status.h"
#include "tests/tools/busbroker/program_fixture.h"

namespace diag::test {
namespace {

class BusbrokerStartTest : public BusbrokerTest {};

// ---- signals during the start ----

// A check that waits for somebody to write into its description, and meanwhile gets a signal.
class SignalledStart {
  public:
    SignalledStart(const TemporaryFolder &folder, int signal) {
        const std::string path = folder.file("d.xml");
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        pid_ = fork();
        if (pid_ == 0) {
            execl(kBusbroker, kBusbroker, "--check", path.c_str(), nullptr);
            _exit(127);
        }
        const int writer = open(path.c_str(), O_WRONLY | O_CLOEXEC);  // it has begun to read
        kill(pid_, signal);
        // A signal that ends it does so before this.
        siginfo_t ended = {};
        if (signal == SIGTERM) {
            waitid(P_PID, static_cast<id_t>(pid_), &ended, WEXITED | WNOWAIT);
        }
        close(writer);
    }

    int wait() const {
        int status = 0;
        waitpid(pid_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    pid_t pid_ = -1;
};

TEST_F(BusbrokerStartTest, IsNotEndedByARequestToReloadDuringItsStart) {
    EXPECT_EQ(SignalledStart(folder_, SIGHUP).wait(), kExitBadDescription) << "the file is empty";
}

TEST_F(BusbrokerStartTest, CanBeEndedDuringAStartThatHangs) {
    EXPECT_EQ(SignalledStart(folder_, SIGTERM).wait(), 128 + SIGTERM);
}

// ---- becoming a daemon ----

// Ends a process that is not this one's child.
class Stranger {
  public:
    explicit Stranger(pid_t pid) : descriptor_(static_cast<int>(syscall(SYS_pidfd_open, pid, 0))) {}
    ~Stranger() {
        syscall(SYS_pidfd_send_signal, descriptor_, SIGKILL, nullptr, 0);
        close(descriptor_);
    }
    Stranger(const Stranger &) = delete;
    Stranger &operator=(const Stranger &) = delete;

    bool ends_after(int signal) const {
        syscall(SYS_pidfd_send_signal, descriptor_, signal, nullptr, 0);
        pollfd event = {descriptor_, POLLIN, 0};
        return poll(&event, 1, 20'000) == 1;
    }

  private:
    int descriptor_;
};

TEST_F(BusbrokerStartTest, BecomesADaemonOnceItListens) {
    const ProgramResult result = run(on_router({"--port", "0"}));
    ASSERT_EQ(result.status, kExitDone) << result.errors;
    EXPECT_EQ(result.errors, "");
    const uint16_t port = listening_port(result.output);
    ASSERT_NE(port, 0) << result.output;
    DaemonClient client(port);
    const auto status = nlohmann::json::parse(client.status());
    const pid_t pid = status["pid"];
    const Stranger daemon(pid);
    EXPECT_EQ(client.ask(read_request("2", 0, 1)), "00000000,0001,08,1c,Success,0001,a5");
    EXPECT_NE(getsid(pid), getsid(0)) << "a session of its own";
    EXPECT_NE(getsid(pid), pid) << "which it does not lead";
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/cwd"), "/");
    for (const char *descriptor : {"0", "1", "2"}) {
        EXPECT_EQ(
            std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/fd/" + descriptor),
            "/dev/null");
    }
    EXPECT_TRUE(daemon.ends_after(SIGTERM));
}

TEST_F(BusbrokerStartTest, FindsTheFolderOfItsBoardsAsADaemonToo) {
    const std::string faults = R"({"description": ")" + kRouter + R"(", "broker": {"faults": )";
    folder_.write("b.board", faults + "{}}}");
    const ProgramResult result =
        run_program({"/bin/sh", "-c", R"(cd "$0" && exec "$@")", folder_.path(), kBusbroker,
                     "--port", "0", "--board", "b.board", kRouter},
                    {"DIAG_BOARD_DIR=states", "DIAG_BOARD="});
    ASSERT_EQ(result.status, kExitDone) << result.errors;
    DaemonClient client(listening_port(result.output));
    const pid_t pid = nlohmann::json::parse(client.status())["pid"];
    const Stranger daemon(pid);
    folder_.write("b.board", faults + R"({"refuse": 100}}})");
    kill(pid, SIGHUP);
    std::string text;
    for (int i = 0; i < 1000 && text.find("Refused") == std::string::npos; ++i) {
        text = client.ask(read_request("2", 0, 1));
    }
    EXPECT_EQ(text, "00000000,0001,08,1c,Refused");
    const std::string maps = read_file("/proc/" + std::to_string(pid) + "/maps");
    EXPECT_NE(maps.find(folder_.file("states/b-")), std::string::npos) << maps;
    EXPECT_EQ(maps.find(".state (deleted)"), std::string::npos) << maps;
}

TEST_F(BusbrokerStartTest, NeedsNoStandardDescriptors) {
    const ProgramResult result = run_program(
        {"/bin/sh", "-c", R"(exec "$0" --check "$1" <&- >&- 2>&-)", kBusbroker, kRouter});
    EXPECT_EQ(result.status, kExitDone);
}

TEST_F(BusbrokerStartTest, TellsBeforeItBecomesADaemonThatThePortIsTaken) {
    const DaemonProcess daemon(folder_, on_router());
    const std::string port = std::to_string(daemon.port());
    expect_failure(
        on_router({"--port", port}), kExitBusy,
        "127.0.0.1:" + port + ": Address already in use: is a busbroker running already?");
}

TEST_F(BusbrokerStartTest, TellsBeforeItBecomesADaemonThatThereIsNoBoard) {
    expect_failure({"--port", "0", kRouter}, kExitNoDevice,
                   "no board: say --board FILE.board, or set DIAG_BOARD to the state file of a "
                   "running simulated board");
}

TEST_F(BusbrokerStartTest, TellsThatABoardFileIsBad) {
    const std::string board = folder_.write(
        "b.board", R"({"description": "x.xml", "broker": {"faults": {"lose": 101}}})");
    expect_failure({"--port", "0", "--board", board, kRouter}, kExitBadDescription,
                   board + ": /broker/faults/lose: out of range: 0 to 0x64");
}

TEST_F(BusbrokerStartTest, TellsThatAnAddressIsNotItsOwn) {
    const ProgramResult result = run(on_router({"--port", "0", "--bind", "192.0.2.1"}));
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "busbroker: 192.0.2.1:0: Cannot assign requested address\n");
}

TEST_F(BusbrokerStartTest, TellsThatATraceCannotBeWritten) {
    expect_failure(on_router({"--port", "0", "--trace=/nowhere/trace"}), kExitAccessFailed,
                   "/nowhere/trace: No such file or directory");
}

TEST_F(BusbrokerStartTest, TellsThatItsCommandLineIsUnusable) {
    EXPECT_EQ(run({}).status, kExitUsage);
    EXPECT_EQ(run({"--nonsense", kRouter}).status, kExitUsage);
    EXPECT_EQ(run({"--help"}).status, kExitDone);
    EXPECT_EQ(run({"--version"}).status, kExitDone);
}

}  // namespace
}  // namespace diag::test
