// SPDX-License-Identifier: MIT
// What diagctl asks of the bus broker, request by request, and how it ends when that goes wrong.
#include <chrono>
#include <csignal>
#include <future>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "tests/diagctl/diagctl_test.h"
#include "tests/support/broker_double.h"

namespace diag::test {
namespace {

using Json = nlohmann::json;
using Datagrams = std::vector<std::string>;

// Every register has this value.
Datagrams answer_all(const BrokerRequest &request) {
    std::vector<uint8_t> bytes(request.type == 2 ? request.count() : 0, 0x21);
    return {broker_answer(request, "Success", bytes)};
}

// "TYPE DEVICE DATA INDICATION" of each request.
std::vector<std::string> requests_of(const BrokerDouble &broker) {
    std::vector<std::string> texts;
    for (const BrokerRequest &request : broker.requests()) {
        texts.push_back(std::to_string(request.type) + " " + request.device + " " + request.data +
                        " " + std::to_string(request.indication));
    }
    return texts;
}

class BrokerRequests : public DiagctlTest {
  protected:
    ProgramResult ask(const BrokerDouble &broker, const Words &arguments) const {
        Words all{"--broker"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return diagctl(all, {broker.setting()});
    }
};

TEST_F(BrokerRequests, OfAFieldsWriteAreOneTransactionAndAComparison) {
    const BrokerDouble broker([](const BrokerRequest &request) {
        static uint8_t value = 0x21;
        if (request.type == 3) {
            value = request.bytes().at(0);
        }
        return Datagrams{broker_answer(request, "Success", {value})};
    });
    const ProgramResult result =
        ask(broker, {"write", example(), "SYS_CPLD.LED_CTRL.FAN_LED", "green"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(requests_of(broker),
              (Words{"2 2 00000030,0001,08,1c 1", "3 2 00000030,0001,08,1c,11 5",
                     "2 2 00000030,0001,08,1c 5"}));
    for (const BrokerRequest &request : broker.requests()) {
        EXPECT_EQ(request.tool, 6U);
        EXPECT_EQ(request.support, "");
    }
}

TEST_F(BrokerRequests, OfARegistersWriteStandAlone) {
    const BrokerDouble broker(answer_all);
    EXPECT_EQ(ask(broker, {"write", example(), "SYS_CPLD.LED_CTRL", "0x21"}).status, 0);
    EXPECT_EQ(requests_of(broker),
              (Words{"3 2 00000030,0001,08,1c,21 5", "2 2 00000030,0001,08,1c 5"}));
}

TEST_F(BrokerRequests, SetNoMuxes) {
    const BrokerDouble broker(answer_all);
    EXPECT_EQ(ask(broker, {"read", example(), "QSFP 1.TEMPERATURE"}).status, 0);
    EXPECT_EQ(requests_of(broker), Words{"2 9-1.10-1.11 00000016,0002,08,1c 5"});
    EXPECT_TRUE(left_nothing_behind()) << "no pipes";
}

struct Row {
    const char *target;
    const char *request;
};

// Of chips without a device id: the name is it.
constexpr Row kRows[] = {
    {"LPC_CHIP.WORD", "2 LPC_CHIP "},
    {"MEM_CHIP.WORD", "2 MEM_CHIP "},
    {"BMC_CHIP.WORD", "2 BMC_CHIP "},
};

TEST_F(BrokerRequests, NameAChipWithoutIdByItsName) {
    for (const Row &row : kRows) {
        const BrokerDouble broker(answer_all);
        const ProgramResult result =
            ask(broker, {"read", diagctl_data("good_bus_kinds.txt"), row.target});
        EXPECT_EQ(result.status, 0) << row.target << result.errors;
        EXPECT_EQ(requests_of(broker).at(0).rfind(row.request, 0), 0U) << requests_of(broker)[0];
    }
}

TEST_F(BrokerRequests, AreShownByADryRunAndNotSent) {
    const BrokerDouble broker(answer_all);
    const ProgramResult field =
        ask(broker, {"write", "-n", example(), "SYS_CPLD.LED_CTRL.FAN_LED", "amber"});
    EXPECT_EQ(field.status, 0) << field.errors;
    EXPECT_EQ(field.output,
              "would read 1 byte of register 0x30 of device \"2\" through the bus broker (request "
              "type 2, width 8, indication 1)\n"
              "would write 1 byte of register 0x30 of device \"2\" through the bus broker (request "
              "type 3, width 8, indication 5): that value with bits 0x30 changed to 0x20\n"
              "would compare 1 byte of register 0x30 of device \"2\" through the bus broker "
              "(request type 2, width 8, indication 5), bits 0xff\n");
    const ProgramResult whole =
        ask(broker, {"write", "-n", "--json", example(), "SYS_CPLD.LED_CTRL", "0x12"});
    const Json steps = Json::parse(whole.output)["steps"];
    ASSERT_EQ(steps.size(), 2U);
    EXPECT_EQ(steps[0]["action"], "write");
    EXPECT_EQ(steps[0]["text"],
              "1 byte of register 0x30 of device \"2\" through the bus broker (request type 3, "
              "width 8, indication 5): 12");
    EXPECT_TRUE(broker.requests().empty());
}

// ---- failures ----

class BrokerFailures : public BrokerRequests {
  protected:
    ProgramResult read_refused_with(const std::string &text) const {
        const BrokerDouble broker(
            [&](const BrokerRequest &request) { return Datagrams{broker_answer(request, text)}; });
        return ask(broker, {"read", example(), "SYS_CPLD.BOARD_ID"});
    }
};

TEST_F(BrokerFailures, HaveAStatusAndALineForEachRefusal) {
    const struct {
        const char *text;
        int status;
        const char *reason;
    } kRefusals[] = {
        {"Unknown device", 5, "the bus broker does not know the device"},
        {"Not supported", 5, "the bus broker's board has no bus of that kind"},
        {"No answer", 6, "no answer"},
        {"Queue full", 7, "the bus broker has too much to do"},
        {"Busy", 7, "the bus broker has too many clients"},
        {"Transaction expired", 6, "the bus broker refuses: Transaction expired"},
        {"Some other text", 6, "the bus broker refuses: Some other text"},
    };
    for (const auto &refusal : kRefusals) {
        const ProgramResult result = read_refused_with(refusal.text);
        EXPECT_EQ(result.status, refusal.status) << refusal.text;
        EXPECT_EQ(result.errors, std::string("diagctl: SYS_CPLD.BOARD_ID could not be read: ") +
                                     refusal.reason + "\n");
        EXPECT_EQ(result.output, "");
    }
}

// The status of the broker names nobody: what is known is told.
TEST_F(BrokerFailures, TellOfAHeldDeviceWithoutItsHolder) {
    const BrokerDouble broker([](const BrokerRequest &request) {
        if (request.device != "busbroker") {
            return Datagrams{broker_answer(request, "Timed out")};
        }
        const std::string status = R"({"clients": [{"holds": [{"footprint": "i2c 1 0x77"}]}]})";
        return Datagrams{broker_answer(request, "Success", {status.begin(), status.end()})};
    });
    const ProgramResult result = ask(broker, {"read", example(), "SYS_CPLD.BOARD_ID"});
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.errors,
              "diagctl: SYS_CPLD.BOARD_ID could not be read: another program holds the device\n");
}

TEST_F(BrokerFailures, OfAnAbsentBrokerHaveStatus8) {
    const std::string address = "127.0.0.1:" + std::to_string(unused_port());
    const std::string line =
        "diagctl: no answer from the bus broker at " + address + ": is busbroker running?\n";
    const std::vector<Words> commands = {{"--broker=" + address, "broker", "ping"},
                                         {"broker", "status", "--broker=" + address},
                                         {"--broker=" + address, "read", example(), "SYS_CPLD"}};
    for (const Words &command : commands) {
        const ProgramResult result = diagctl(command);
        EXPECT_EQ(result.status, 8);
        EXPECT_EQ(result.errors, line);
        EXPECT_EQ(result.output, "");
    }
    const ProgramResult json = diagctl({"--json", "--broker=" + address, "broker", "ping"});
    EXPECT_EQ(Json::parse(json.output)["error"]["status"], 8);
}

TEST_F(BrokerFailures, OfAStatusThatIsNoDocumentHaveStatus6) {
    for (const std::string text : {"", "{", "[1]", "\xff"}) {
        const BrokerDouble broker([&](const BrokerRequest &request) {
            return Datagrams{broker_answer(request, "Success", {text.begin(), text.end()})};
        });
        const ProgramResult result = ask(broker, {"broker", "status"});
        EXPECT_EQ(result.status, 6) << text;
        EXPECT_EQ(result.errors, "diagctl: the status of the bus broker is no JSON document\n");
    }
}

// The request waits in the broker when the user has had enough.
TEST_F(BrokerFailures, OfAnInterruptedCommandTellTheBrokerToForgetIt) {
    std::promise<void> is_waiting;
    std::promise<void> is_given_up;
    bool has_come = false;  // and is sent again until the signal does its work
    const BrokerDouble broker([&](const BrokerRequest &request) {
        if (request.type == 1) {
            is_given_up.set_value();
        } else if (request.type == 3 && !std::exchange(has_come, true)) {
            is_waiting.set_value();
        }
        return Datagrams{broker_answer(request, "Rx Ack")};
    });
    const pid_t pid = fork();
    ASSERT_NE(pid, -1);
    if (pid == 0) {
        const std::string address = "--broker=127.0.0.1:" + std::to_string(broker.port());
        execl(program().c_str(), "diagctl", address.c_str(), "write", example().c_str(),
              "SYS_CPLD.LED_CTRL", "0", nullptr);
        _exit(127);
    }
    ASSERT_EQ(is_waiting.get_future().wait_for(std::chrono::seconds(30)),
              std::future_status::ready);
    kill(pid, SIGINT);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 130);
    EXPECT_EQ(is_given_up.get_future().wait_for(std::chrono::seconds(30)),
              std::future_status::ready);
}

// What the library says about bad frames must not be among the data.
TEST_F(BrokerFailures, LeaveStandardOutputClean) {
    const BrokerDouble broker([](const BrokerRequest &request) {
        std::string cut = broker_answer(request, "Success", {1});
        cut.resize(40);
        return Datagrams{"RPSzzzzzzzz", cut, broker_frame(request, request.data + ",Success,zz"),
                         broker_answer(request, "Success", {0xA5})};
    });
    const ProgramResult result = ask(broker, {"--json", "read", example(), "SYS_CPLD.BOARD_ID"});
    EXPECT_TRUE(Json::accept(result.output)) << result.output;
}

TEST_F(BrokerFailures, OfTheCommandLineHaveStatus2) {
    const std::vector<Words> lines = {
        {"--broker", "--board", "b", "read", "a", "b"},
        {"--broker=nowhere", "broker", "ping"},
        {"--broker=127.0.0.1:0", "broker", "ping"},
        {"--broker=127.0.0.1:65536", "broker", "ping"},
        {"broker"},
        {"broker", "frobnicate"},
        {"broker", "ping", "--count", "0"},
        {"broker", "ping", "--count", "many"},
        {"--board", "b", "broker", "ping"},
    };
    for (const Words &line : lines) {
        const ProgramResult result = diagctl(line);
        EXPECT_EQ(result.status, 2) << result.errors;
        EXPECT_TRUE(is_one_line(result.errors)) << result.errors;
        EXPECT_EQ(result.output, "");
    }
}

TEST_F(BrokerFailures, OfTheEnvironmentHaveStatus3) {
    const ProgramResult result = diagctl({"broker", "ping"}, {"DIAG_BROKER=nowhere"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.errors,
              "diagctl: DIAG_BROKER=nowhere: expected HOST:PORT, an IPv4 address and a port\n");
}

}  // namespace
}  // namespace diag::test
