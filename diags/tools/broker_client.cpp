// SPDX-License-Identifier: MIT
// busbroker_client: what a tool becomes when it is to go through the bus broker. Its name and its
// command line are the tool's.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>

#include "diags/broker/client.h"
#include "diags/broker/farewell.h"
#include "diags/tools/broker_board.h"
#include "diags/tools/report.h"
#include "diags/tools/tools.h"

namespace diag::tools {
namespace {

constexpr struct Tool {
    std::string_view name;
    broker::ToolId id;
    ExitStatus (*run)(int argc, char **argv);
} kTools[] = {
    {"i2ctool", broker::kToolI2c, run_i2ctool},    {"gpiotool", broker::kToolGpio, run_gpiotool},
    {"lpctool", broker::kToolLpc, run_lpctool},    {"pcitool", broker::kToolPci, run_pcitool},
    {"memtool", broker::kToolMemory, run_memtool},
};

const Tool *find_tool(std::string_view name) {
    for (const Tool &tool : kTools) {
        if (tool.name == name) {
            return &tool;
        }
    }
    return nullptr;
}

// The end of a tool by a signal stays what it is.
void end_by_signal(int number) {
    broker::say_farewell();
    std::signal(number, SIG_DFL);
    raise(number);
}

void take_ending_signals() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_DFL) {
            action.sa_handler = end_by_signal;
            sigaction(number, &action, nullptr);
        }
    }
}

ExitStatus work_through_broker(const broker::ClientSettings &settings, const BoardWork &work) {
    try {
        broker::Client client(settings);
        const broker::Farewell farewell(client);
        take_ending_signals();
        BrokerBoard board(client);
        return work({board, &board.failure()});
    } catch (const std::exception &error) {
        return report(kExitAccessFailed, "%s", error.what());
    }
}

ExitStatus run(int argc, char **argv) {
    const Tool *const tool = find_tool(program_invocation_short_name);
    if (tool == nullptr) {
        return report(kExitUsage, "this program is started by tools: i2ctool --busbroker ...");
    }
    // Standard output is for what was read, and the library prints its messages there.
    if (std::FILE *const nowhere = std::fopen("/dev/null", "we"); nowhere != nullptr) {
        stdout = nowhere;
    }
    return tool->run(argc, argv);
}

}  // namespace

ExitStatus with_board(const AccessOptions &options, const BoardWork &work) {
    const auto address = broker::address_from_environment();
    if (!address) {
        return report(kExitBadDescription, "%s=%s: expected HOST:PORT, an IPv4 address and a port",
                      broker::kAddressVariable, std::getenv(broker::kAddressVariable));
    }
    return work_through_broker({.address = *address, .tool = find_tool(options.command.tool)->id},
                               work);
}

}  // namespace diag::tools

int main(int argc, char **argv) {
    return diag::tools::run(argc, argv);
}
