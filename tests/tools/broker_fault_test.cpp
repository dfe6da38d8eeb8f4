// SPDX-License-Identifier: MIT
// How the tools end when the bus broker refuses, is away, or cannot be reached at all.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <future>
#include <utility>

#include "diags/exit_status.h"
#include "tests/support/broker_double.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

ProgramResult read_lpc(const std::string &setting) {
    return ToolFixture::run_with("lpctool", {"--get", "--addr=0x10", "--count=1", "--busbroker"},
                                 {setting, "DIAG_BOARD="});
}

struct Refusal {
    const char *text;
    int status;
    const char *message;
};

constexpr Refusal kRefusals[] = {
    {"Unknown device", kExitNoDevice, "LPC: this board has no bus of that kind"},
    {"Not supported", kExitNoDevice, "LPC: this board has no bus of that kind"},
    {"No answer", kExitAccessFailed, "LPC address 0x10: no answer"},
    {"Timed out", kExitBusy, "LPC address 0x10: another program holds it: Timed out"},
    {"Queue full", kExitBusy, "LPC address 0x10: the bus broker has too much to do: Queue full"},
    {"Busy", kExitBusy, "LPC address 0x10: the bus broker has too many clients: Busy"},
    {"Access failed", kExitAccessFailed, "LPC address 0x10: the bus broker refuses: Access failed"},
    {"Shutting down", kExitAccessFailed, "LPC address 0x10: the bus broker refuses: Shutting down"},
    {"Whatever else", kExitAccessFailed, "LPC address 0x10: the bus broker refuses: Whatever else"},
};

TEST(BrokerFaultTest, TellsWhyARequestWasRefused) {
    for (const Refusal &refusal : kRefusals) {
        const BrokerDouble broker([&](const BrokerRequest &request) {
            return std::vector{broker_answer(request, refusal.text)};
        });
        const ProgramResult result = read_lpc(broker.setting());
        EXPECT_EQ(result.status, refusal.status) << refusal.text;
        EXPECT_EQ(result.errors, std::string("lpctool: ") + refusal.message + "\n");
        EXPECT_EQ(result.output, "");
    }
}

TEST(BrokerFaultTest, TellsOfI2cAndGpioAsWithoutTheBroker) {
    const BrokerDouble broker([](const BrokerRequest &request) {
        return std::vector{broker_answer(request, "Unknown device")};
    });
    const auto errors = [&](const std::string &tool, const std::string &line) {
        return ToolFixture::run_with(tool, split_words(line + " --busbroker"), {broker.setting()})
            .errors;
    };
    EXPECT_EQ(errors("i2ctool", "--read --bus=7 --addr=0x31 --count=1 --reg=0"),
              "i2ctool: /dev/i2c-7: no such bus\n");
    EXPECT_EQ(errors("gpiotool", "--get --chip=7 --pin=0"),
              "gpiotool: GPIO chip 7 line 0: no such line\n");
}

TEST(BrokerFaultTest, SaysWhereNobodyAnswers) {
    const std::string address = "127.0.0.1:" + std::to_string(unused_port());
    const ProgramResult result = read_lpc("DIAG_BROKER=" + address);
    EXPECT_EQ(result.status, kExitTimedOut);
    EXPECT_EQ(result.errors,
              "lpctool: no answer from the bus broker at " + address + ": is busbroker running?\n");
    EXPECT_EQ(result.output, "");
}

TEST(BrokerFaultTest, KeepsWhatTheLibrarySaysOutOfTheResult) {
    const BrokerDouble broker([](const BrokerRequest &request) {
        return std::vector{broker_frame(request, request.data + ",Success,zz"),
                           broker_answer(request, "Success", {0x5A})};
    });
    const ProgramResult result = read_lpc(broker.setting());
    EXPECT_TRUE(result.output.empty() || result.output == "0x5a\n") << result.output;
}

TEST(BrokerFaultTest, RefusesAnAddressThatIsNone) {
    const ProgramResult result = read_lpc("DIAG_BROKER=broker.example:1");
    EXPECT_EQ(result.status, kExitBadDescription);
    EXPECT_EQ(result.errors,
              "lpctool: DIAG_BROKER=broker.example:1: expected HOST:PORT, an IPv4 address and a "
              "port\n");
}

TEST(BrokerFaultTest, ChecksTheCommandLineFirst) {
    const BrokerDouble broker([](const BrokerRequest &) { return std::vector<std::string>{}; });
    const ProgramResult result =
        ToolFixture::run_with("lpctool", {"--busbroker", "--get"}, {broker.setting()});
    EXPECT_EQ(result.status, kExitUsage);
    EXPECT_EQ(result.errors, "lpctool: --addr is missing (see --help)\n");
}

// A tool somewhere else, without what it becomes.
TEST(BrokerFaultTest, SaysThatItsWayToTheBrokerIsMissing) {
    const TemporaryFolder folder;
    const std::string copy = folder.file("gpiotool");
    std::filesystem::copy_file(DIAG_TOOLS_DIR "/gpiotool", copy);
    const ProgramResult result =
        run_program({copy, "--get", "--chip=0", "--pin=0", "--busbroker"}, {});
    EXPECT_EQ(result.status, kExitNoDevice);
    EXPECT_EQ(result.errors,
              "gpiotool: busbroker_client, the way to the bus broker, cannot be "
              "started: No such file or directory\n");
}

// Under another name it still knows what it is.
TEST(BrokerFaultTest, IsTheSameToolUnderAnotherName) {
    const BrokerDouble broker([](const BrokerRequest &request) {
        return std::vector{broker_answer(request, "Success", {1})};
    });
    const TemporaryFolder folder;
    const std::string link = folder.file("my-gpio");
    std::filesystem::create_symlink(DIAG_TOOLS_DIR "/gpiotool", link);
    const ProgramResult result =
        run_program({link, "--get", "--chip=0", "--pin=0", "--busbroker"}, {broker.setting()});
    EXPECT_EQ(result.status, kExitDone) << result.errors;
    EXPECT_EQ(result.output, "1\n");
}

// The library ignores the interrupt, and learns of it by how the tool ends.
TEST(BrokerFaultTest, GivesUpWhenASignalEndsIt) {
    std::promise<pid_t> is_waiting;
    std::promise<void> is_given_up;
    bool has_come = false;  // and is sent again until the signal does its work
    const BrokerDouble broker([&](const BrokerRequest &request) {
        if (request.type == 1) {
            is_given_up.set_value();
        } else if (request.type == 3 && !std::exchange(has_come, true)) {
            is_waiting.set_value(static_cast<pid_t>(request.instance));
        }
        return std::vector{broker_answer(request, "Rx Ack")};
    });
    auto tool = std::async(std::launch::async, [&] {
        return ToolFixture::run_with("gpiotool",
                                     {"--set", "--chip=0", "--pin=1", "--val=1", "--busbroker"},
                                     {broker.setting()});
    });
    kill(is_waiting.get_future().get(), SIGINT);
    EXPECT_EQ(tool.get().status, 128 + SIGINT);
    EXPECT_EQ(is_given_up.get_future().wait_for(std::chrono::seconds(30)),
              std::future_status::ready);
}

TEST(BrokerFaultTest, IsNoProgramForPeople) {
    const ProgramResult result =
        run_program({DIAG_TOOLS_DIR "/broker/busbroker_client", "--get"}, {});
    EXPECT_EQ(result.status, kExitUsage);
    EXPECT_EQ(result.errors,
              "busbroker_client: this program is started by tools: i2ctool "
              "--busbroker ...\n");
}

}  // namespace
}  // namespace diag::test
