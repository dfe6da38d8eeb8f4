// SPDX-License-Identifier: MIT
// The daemon as a program.
#include <array>
#include <csignal>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "diags/exit_status.h"
#include "tests/support/run_program.h"
#include "tests/tools/busbroker/daemon_process.h"

namespace diag::test {
namespace {

const std::string kBoards = DIAG_SOURCE_DIR "/examples/boards/";
const std::string kRouter = kBoards + "edge_router.xml";
const std::string kRouterBoard = kBoards + "edge_router.board";

class BusbrokerTest : public testing::Test {
  protected:
    std::vector<std::string> on_router(std::vector<std::string> options = {}) const {
        options.insert(options.end(), {"--board", kRouterBoard, kRouter});
        return options;
    }

    // Runs the program to its end.
    ProgramResult run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), kBusbroker);
        return run_program(arguments, {"DIAG_BOARD_DIR=" + folder_.path().string(), "DIAG_BOARD="});
    }

    void expect_failure(const std::vector<std::string> &arguments, int status,
                        const std::string &line) const {
        const ProgramResult result = run(arguments);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.errors, "busbroker: " + line + "\n");
        EXPECT_EQ(result.output, "");
    }

    TemporaryFolder folder_;
};

TEST_F(BusbrokerTest, ServesABoard) {
    const DaemonProcess daemon(folder_, on_router());
    DaemonClient client(daemon.port());
    EXPECT_EQ(client.ask({.type = 4}), "Success");
    EXPECT_EQ(client.ask(write_request("2", 2, {0x5A})), "00000002,0001,08,Success");
    EXPECT_EQ(client.ask(read_request("2", 2, 1)), "00000002,0001,08,1c,Success,0001,5a");
    EXPECT_EQ(client.ask(read_request("9-2.10-2.14", 0, 1)), "00000000,0001,08,1c,Success,0001,0d");
    EXPECT_EQ(client.ask(read_request("9-1.10-1.11", 0, 1)), "00000000,0001,08,1c,Success,0001,11");
    EXPECT_EQ(daemon.errors(), "");
}

TEST_F(BusbrokerTest, ServesTheCardsOfABoardWithSlots) {
    const DaemonProcess daemon(
        folder_, {"--board", kBoards + "io_carrier.board", kBoards + "io_carrier.txt"});
    DaemonClient client(daemon.port());
    for (const char *id : {"BOARD_CPLD", "DATA_FPGA", "FAN_CTRL", "RISER_TEMP", "SFP_0"}) {
        const std::string text = client.ask(read_request(id, 0, 1));
        EXPECT_EQ(text.substr(0, 33), "00000000,0001,08,1c,Success,0001,") << id;
    }
    EXPECT_EQ(nlohmann::json::parse(client.status())["devices"], 9);
}

TEST_F(BusbrokerTest, ServesSeveralClients) {
    const DaemonProcess daemon(folder_, on_router());
    DaemonClient holder(daemon.port());
    DaemonClient other(daemon.port());
    EXPECT_EQ(holder.ask({.type = 6, .data = "00,00,00,00,30,2"}), "Success");
    EXPECT_EQ(other.ask(read_request("2", 0, 1)), "00000000,0001,08,1c,Rx Ack");
    EXPECT_EQ(holder.ask({.type = 6, .data = "00,00,00,00,00,2"}), "Success");
    EXPECT_EQ(other.receive(), "00000000,0001,08,1c,Success,0001,a5");
}

TEST_F(BusbrokerTest, WakesUpWhenAHoldRunsOut) {
    const DaemonProcess daemon(folder_, on_router({"--transaction-timeout", "30"}));
    DaemonClient holder(daemon.port());
    DaemonClient other(daemon.port());
    FrameFields first = read_request("2", 0, 1);
    first.indication = 1;
    EXPECT_EQ(holder.ask(first), "00000000,0001,08,1c,Success,0001,a5");
    other.send(read_request("2", 0, 1));
    std::string text = other.receive();
    if (text == "00000000,0001,08,1c,Rx Ack") {  // a slow machine may get here too late to wait
        text = other.receive();
    }
    EXPECT_EQ(text, "00000000,0001,08,1c,Success,0001,a5");
}

TEST_F(BusbrokerTest, WakesUpWhenARequestHasWaitedTooLong) {
    const DaemonProcess daemon(folder_, on_router({"--wait", "30"}));
    DaemonClient holder(daemon.port());
    DaemonClient other(daemon.port());
    EXPECT_EQ(holder.ask({.type = 6, .data = "00,00,00,00,60,2"}), "Success");
    EXPECT_EQ(other.ask(read_request("2", 0, 1)), "00000000,0001,08,1c,Rx Ack");
    EXPECT_EQ(other.receive(), "00000000,0001,08,1c,Timed out");
}

TEST_F(BusbrokerTest, SurvivesDatagramsOfEverySize) {
    const DaemonProcess daemon(folder_, on_router());
    DaemonClient client(daemon.port());
    for (size_t size = 0; size < 9000; size += 61) {
        client.send_bytes(std::string(size, 'R'));
        client.send_bytes("RQS" + std::string(size, '0') + "RQE");
    }
    EXPECT_EQ(client.ask({.type = 4}), "Success");
    const auto status = nlohmann::json::parse(client.status());
    EXPECT_GT(status["counts"]["dropped"]["too long"], 0);
    EXPECT_GT(status["counts"]["dropped"]["too short"], 0);
}

class BusbrokerSignalTest : public BusbrokerTest, public testing::WithParamInterface<int> {};

TEST_P(BusbrokerSignalTest, EndsItAfterAllHaveBeenTold) {
    DaemonProcess daemon(folder_, on_router());
    DaemonClient holder(daemon.port());
    DaemonClient other(daemon.port());
    EXPECT_EQ(holder.ask({.type = 6, .data = "00,00,00,00,60,2"}), "Success");
    EXPECT_EQ(other.ask(read_request("2", 0, 1)), "00000000,0001,08,1c,Rx Ack");
    daemon.signal(GetParam());
    EXPECT_EQ(other.receive(), "00000000,0001,08,1c,Shutting down");
    EXPECT_EQ(daemon.wait(), kExitDone);
    EXPECT_EQ(daemon.errors(), "");
}

INSTANTIATE_TEST_SUITE_P(, BusbrokerSignalTest, testing::Values(SIGTERM, SIGINT));

TEST_F(BusbrokerTest, ReadsItsFilesAgainOnRequest) {
    const std::string path = folder_.write("d.xml", "<config><chip/></config>");
    const DaemonProcess daemon(folder_, {"--board", kRouterBoard, path});
    DaemonClient client(daemon.port());
    EXPECT_EQ(client.ask(read_request("2", 0, 1)), "00000000,0001,08,1c,Unknown device");
    EXPECT_EQ(client.ask({.type = 6, .data = "00,00,00,00,60,i2c:1:31"}), "Success");
    folder_.write("d.xml", read_file(kRouter));
    daemon.signal(SIGHUP);
    std::string text;
    for (int i = 0; i < 1000 && text.find("Success") == std::string::npos; ++i) {
        text = client.ask(read_request("2", 0, 1));
    }
    EXPECT_EQ(text, "00000000,0001,08,1c,Success,0001,a5");
    const auto status = nlohmann::json::parse(client.status());
    EXPECT_EQ(status["clients"][0]["holds"].size(), 1U) << "holds outlast it";
}

TEST_F(BusbrokerTest, KeepsWhatItHasWhenAFileHasBecomeBad) {
    const std::string path = folder_.write("d.xml", read_file(kRouter));
    const DaemonProcess daemon(folder_, {"--board", kRouterBoard, path});
    DaemonClient client(daemon.port());
    folder_.write("d.xml", "<config>\n<oops>");
    daemon.signal(SIGHUP);
    EXPECT_TRUE(daemon.wait_for_error("going on with what was there\n")) << daemon.errors();
    EXPECT_EQ(daemon.errors().rfind("busbroker: " + path + ":2: ", 0), 0U) << daemon.errors();
    EXPECT_EQ(client.ask(read_request("2", 0, 1)), "00000000,0001,08,1c,Success,0001,a5");
}

TEST_F(BusbrokerTest, DoesWhatTheBoardFileWantsToGoWrong) {
    const std::string board =
        folder_.write("b.board", R"({"description": ")" + kRouter +
                                     R"(", "broker": {"faults": {"refuse": 100}}})");
    const DaemonProcess daemon(folder_, {"--board", board, kRouter});
    DaemonClient client(daemon.port());
    EXPECT_EQ(client.ask(read_request("2", 0, 1)), "00000000,0001,08,1c,Refused");
}

TEST_F(BusbrokerTest, TracesToAFile) {
    const std::string path = folder_.file("trace");
    const DaemonProcess daemon(folder_, on_router({"--trace=" + path}));
    DaemonClient client(daemon.port());
    EXPECT_EQ(client.ask(read_request("2", 0, 2)), "00000000,0002,08,1c,Success,0002,a521");
    EXPECT_EQ(client.ask({.type = 4}), "Success");
    const std::string text = read_file(path);
    const auto line = nlohmann::json::parse(text.substr(0, text.find('\n')));
    EXPECT_EQ(line["device_id"], "2");
    EXPECT_EQ(line["bytes"], "a521");
}

TEST_F(BusbrokerTest, TracesToStandardError) {
    const DaemonProcess daemon(folder_, on_router({"--trace"}));
    DaemonClient client(daemon.port());
    EXPECT_EQ(client.ask({.type = 4}), "Success");
    EXPECT_TRUE(daemon.wait_for_error("\"status\":\"Success\""));
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

TEST_F(BusbrokerTest, BecomesADaemonOnceItListens) {
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

TEST_F(BusbrokerTest, TellsBeforeItBecomesADaemonThatThePortIsTaken) {
    const DaemonProcess daemon(folder_, on_router());
    const std::string port = std::to_string(daemon.port());
    expect_failure(
        on_router({"--port", port}), kExitBusy,
        "127.0.0.1:" + port + ": Address already in use: is a busbroker running already?");
}

TEST_F(BusbrokerTest, TellsBeforeItBecomesADaemonThatThereIsNoBoard) {
    expect_failure({"--port", "0", kRouter}, kExitNoDevice,
                   "no board: say --board FILE.board, or set DIAG_BOARD to the state file of a "
                   "running simulated board");
}

TEST_F(BusbrokerTest, TellsThatABoardFileIsBad) {
    const std::string board = folder_.write(
        "b.board", R"({"description": "x.xml", "broker": {"faults": {"lose": 101}}})");
    expect_failure({"--port", "0", "--board", board, kRouter}, kExitBadDescription,
                   board + ": /broker/faults/lose: out of range: 0 to 0x64");
}

TEST_F(BusbrokerTest, TellsThatAnAddressIsNotItsOwn) {
    const ProgramResult result = run(on_router({"--port", "0", "--bind", "192.0.2.1"}));
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "busbroker: 192.0.2.1:0: Cannot assign requested address\n");
}

TEST_F(BusbrokerTest, TellsThatATraceCannotBeWritten) {
    expect_failure(on_router({"--port", "0", "--trace=/nowhere/trace"}), kExitAccessFailed,
                   "/nowhere/trace: No such file or directory");
}

TEST_F(BusbrokerTest, TellsThatItsCommandLineIsUnusable) {
    EXPECT_EQ(run({}).status, kExitUsage);
    EXPECT_EQ(run({"--nonsense", kRouter}).status, kExitUsage);
    EXPECT_EQ(run({"--help"}).status, kExitDone);
    EXPECT_EQ(run({"--version"}).status, kExitDone);
}

// ---- foreign requests ----

// An IPv4 address of this machine that is not a loopback one; empty without a network.
std::string outside_address() {
    ifaddrs *list = nullptr;
    std::string found;
    if (getifaddrs(&list) != 0) {
        return found;
    }
    for (const ifaddrs *item = list; item != nullptr; item = item->ifa_next) {
        if (item->ifa_addr == nullptr || item->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        const uint32_t address =
            ntohl(reinterpret_cast<const sockaddr_in *>(item->ifa_addr)->sin_addr.s_addr);
        if (address >> 24 != IN_LOOPBACKNET) {
            found = std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 255) +
                    "." + std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255);
        }
    }
    freeifaddrs(list);
    return found;
}

TEST_F(BusbrokerTest, ServesOtherMachinesOnlyWhenAskedTo) {
    const std::string host = outside_address();
    if (host.empty()) {
        GTEST_SKIP() << "this machine has no address but loopback ones";
    }
    std::string text = read_file(kRouter);
    text.replace(text.find("<ip>127.0.0.1"), 13, "<ip>0.0.0.0");
    const std::string path = folder_.write("d.xml", text);
    {
        const DaemonProcess daemon(folder_, {"--board", kRouterBoard, path});
        const DaemonClient stranger(daemon.port(), host);
        stranger.send_bytes(request_frame({.type = 4}));
        DaemonClient client(daemon.port());
        EXPECT_EQ(client.ask({.type = 4}), "Success");
        EXPECT_EQ(stranger.receive(0), "") << "it came first and has no answer";
        const auto status = nlohmann::json::parse(client.status());
        EXPECT_EQ(status["counts"]["dropped"]["foreign source"], 1);
    }
    const DaemonProcess daemon(folder_, on_router({"--bind", "0.0.0.0"}));
    DaemonClient stranger(daemon.port(), host);
    EXPECT_EQ(stranger.ask({.type = 4}), "Success");
}

// ---- --check ----

TEST_F(BusbrokerTest, CountsTheDevicesOfAGoodDescription) {
    const ProgramResult result = run({"--check", kRouter});
    EXPECT_EQ(result.status, kExitDone);
    EXPECT_EQ(result.output, "11 devices\n");
    EXPECT_EQ(result.errors, "");
}

TEST_F(BusbrokerTest, ReportsWhatIsWrongWithADescription) {
    const std::string chip =
        "<chip><chip-type>CPLD</chip-type><chip-name>A</chip-name>"
        "<chip-bus>/dev/i2c-1</chip-bus><chip-address>31</chip-address>";
    const std::string path = folder_.write(
        "d.xml", "<config>" + chip + "<chip-dev-id>2</chip-dev-id></chip>" + chip +
                     "<chip-dev-id>2</chip-dev-id></chip>" + chip + "<chip-dev-id>" +
                     std::string(40, 'x') + "</chip-dev-id></chip>" +
                     "<chip><chip-type>CPLD</chip-type><chip-name>B</chip-name>"
                     "<chip-bus>mtd-1</chip-bus><chip-address>0</chip-address></chip>" +
                     chip + "<chip-dev-id>3</chip-dev-id></chip></config>");
    const ProgramResult result = run({"--check", path});
    EXPECT_EQ(result.status, kExitBadDescription);
    EXPECT_EQ(result.output, "1 device\n");
    const std::string start = "busbroker: " + path + ": ";
    EXPECT_EQ(result.errors,
              start + "chip \"A\": its id has 40 characters, a request has room for 32\n" + start +
                  "chip \"B\": it is on a bus that is not served (i2c, bmc, lpc, pci and mem "
                  "are)\n" +
                  start + "id \"2\": several chips have it\n");
}

TEST_F(BusbrokerTest, ReportsADescriptionThatCannotBeRead) {
    expect_failure({"--check", "/nowhere/d.xml"}, kExitBadDescription,
                   "/nowhere/d.xml: No such file or directory");
}

TEST_F(BusbrokerTest, ChecksADescriptionWhoseCardsABoardHas) {
    EXPECT_EQ(run({"--check", "--board", kBoards + "io_carrier.board", kBoards + "io_carrier.txt"})
                  .output,
              "9 devices\n");
    const ProgramResult result = run({"--check", kBoards + "io_carrier.txt"});
    EXPECT_EQ(result.status, kExitBadDescription);
    EXPECT_NE(result.errors.find("lpctool: no board"), std::string::npos) << result.errors;
}

}  // namespace
}  // namespace diag::test
