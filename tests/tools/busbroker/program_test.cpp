// SPDX-License-Identifier: MIT
// The daemon as a program.
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "diags/exit_status.h"
#include "diags/tools/busbroker/socket.h"
#include "tests/tools/busbroker/program_fixture.h"

namespace diag::test {
namespace {

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

TEST_F(BusbrokerTest, LeavesTheBoardAloneWhenTheDescriptionHasBecomeBad) {
    const std::string path = folder_.write("d.xml", read_file(kRouter));
    const std::string start = R"({"description": ")" + kRouter + "\"";
    const std::string board = folder_.write("b.board", start + "}");
    const DaemonProcess daemon(folder_, {"--board", board, path});
    const auto states = state_files();
    ASSERT_EQ(states.size(), 1U);
    folder_.write("d.xml", "<config>\n<oops>");
    folder_.write("b.board", start + R"(, "broker": {"faults": {"refuse": 100}}})");
    daemon.signal(SIGHUP);
    EXPECT_TRUE(daemon.wait_for_error("going on with what was there\n")) << daemon.errors();
    EXPECT_EQ(state_files(), states);
    DaemonClient client(daemon.port());
    EXPECT_EQ(client.ask(read_request("2", 0, 1)), "00000000,0001,08,1c,Success,0001,a5");
    folder_.write("d.xml", read_file(kRouter));
    daemon.signal(SIGHUP);
    std::string text;
    for (int i = 0; i < 1000 && text.find("Refused") == std::string::npos; ++i) {
        text = client.ask(read_request("2", 0, 1));
    }
    EXPECT_EQ(text, "00000000,0001,08,1c,Refused");
    EXPECT_NE(state_files(), states) << "an edited board file means a new board";
}

TEST_F(BusbrokerTest, WarnsThatAnotherAddressNeedsAnotherStart) {
    std::string text = read_file(kRouter);
    const std::string path = folder_.write("d.xml", text);
    const DaemonProcess daemon(folder_, {"--board", kRouterBoard, path});
    text.replace(text.find("<ip>127.0.0.1"), 13, "<ip>127.0.0.9");
    folder_.write("d.xml", text);
    daemon.signal(SIGHUP);
    EXPECT_TRUE(daemon.wait_for_error("\n"));
    EXPECT_EQ(daemon.errors(), "busbroker: " + path +
                                   ": <system>: 127.0.0.9:0 counts from the next start, it was "
                                   "127.0.0.1:0\n");
    DaemonClient client(daemon.port());
    EXPECT_EQ(client.ask({.type = 4}), "Success");
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

TEST_F(BusbrokerTest, GoesOnWhenNobodyReadsItsTrace) {
    const std::string path = folder_.file("trace");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    DaemonProcess daemon(folder_, on_router({"--trace=" + path}));
    DaemonClient client(daemon.port());
    for (int i = 0; i < 600; ++i) {  // more lines than a pipe has room for
        ASSERT_EQ(client.ask({.type = 4}), "Success") << i;
    }
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait(), kExitDone);
    close(reader);
}

TEST_F(BusbrokerTest, TellsHowLongItRemembersAnswers) {
    const DaemonProcess daemon(folder_, on_router());
    DaemonClient client(daemon.port());
    EXPECT_EQ(nlohmann::json::parse(client.status())["limits"]["answer_life_ms"], 60'000);
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

TEST_F(BusbrokerTest, ServesThisMachineAtAnAddressForOthers) {
    const std::string host = outside_address();
    if (host.empty()) {
        GTEST_SKIP() << "this machine has no address but loopback ones";
    }
    std::string text = read_file(kRouter);
    text.replace(text.find("<ip>127.0.0.1"), 13, "<ip>" + host);
    const DaemonProcess daemon(folder_, {"--board", kRouterBoard, folder_.write("d.xml", text)});
    DaemonClient client(daemon.port(), host);
    EXPECT_EQ(client.ask({.type = 4}), "Success");
}

TEST(ThisMachine, IsALoopbackAddressOrTheBoundOne) {
    constexpr uint32_t kOwn = 0xC0000201;
    EXPECT_TRUE(daemon::is_this_machine(INADDR_LOOPBACK, INADDR_LOOPBACK));
    EXPECT_TRUE(daemon::is_this_machine(INADDR_LOOPBACK + 5, kOwn));
    EXPECT_TRUE(daemon::is_this_machine(kOwn, kOwn));
    EXPECT_FALSE(daemon::is_this_machine(kOwn + 1, kOwn));
    EXPECT_FALSE(daemon::is_this_machine(kOwn, INADDR_LOOPBACK));
    EXPECT_FALSE(daemon::is_this_machine(kOwn, INADDR_ANY));
    EXPECT_FALSE(daemon::is_this_machine(INADDR_ANY, INADDR_ANY));
}

// ---- --check ----

TEST_F(BusbrokerTest, ChecksWithoutPoweringABoardUp) {
    EXPECT_EQ(run(on_router({"--check"})).output, "11 devices\n");
    EXPECT_TRUE(folder_.is_empty());
    const std::string board = folder_.write("b.board", R"({"description": 5})");
    EXPECT_EQ(run({"--check", "--board", board, kRouter}).status, kExitBadDescription);
}

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
