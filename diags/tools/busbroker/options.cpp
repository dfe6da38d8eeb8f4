// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/options.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "diags/broker/protocol.h"
#include "diags/tools/busbroker/clients.h"
#include "diags/tools/busbroker/start_error.h"

namespace diag::daemon {
namespace {

constexpr int kMaxMilliseconds = 3'600'000;

std::string footer() {
    return fmt::format(
        "Limits: {} clients, {} waiting requests and {} holds of each, {} waiting requests in all,"
        "\n{} answers of each client kept for repeated requests, for {} s, clients forgotten after"
        "\n{} s, {} bytes of a read, {} of a write.\n\n"
        "Exit status: 0 done, 2 unusable command line, 3 bad description or board file, or "
        "--check\n"
        "found devices that cannot be served, 4 not permitted, 5 no board, 6 the system failed,\n"
        "7 the port is in use.\n\n"
        "Examples:\n"
        "  busbroker --check edge_router.xml\n"
        "  busbroker --foreground --trace --board edge_router.board edge_router.xml",
        kMaxClients, kMaxWaitingPerClient, kMaxHoldsPerClient, kMaxWaiting, kRememberedAnswers,
        kAnswerLife.count(), kClientSilence.count(), broker::kMaxReadBytes, broker::kMaxWriteBytes);
}

struct Milliseconds {
    int64_t transaction = std::chrono::milliseconds(std::chrono::seconds(2)).count();
    int64_t wait = std::chrono::milliseconds(std::chrono::seconds(10)).count();
};

void describe(CLI::App &app, Options &options, Milliseconds &times) {
    app.footer(footer());
    app.set_version_flag("-V,--version", "busbroker " BUSBROKER_VERSION);
    app.add_option("DESCRIPTION", options.description, "The board's device description")
        ->type_name("FILE")
        ->required();
    app.add_flag("--check", options.check,
                 "Check the description, the board file and the options, and say how many devices "
                 "there are; changes nothing");
    app.add_flag("--foreground", options.foreground, "Do not become a daemon");
    app.add_option("--port", options.port, "UDP port; 0 picks a free one (7811)")
        ->type_name("N")
        ->check(CLI::Range(0, 65535));
    app.add_option("--bind", options.bind,
                   "IPv4 address to listen on (127.0.0.1). Unless it is one of 127.0.0.0/8, "
                   "requests from other machines are served")
        ->type_name("ADDR");
    app.add_flag("--trace", options.trace_file,
                 "Write a line of JSON for each request to standard error, or with --trace=FILE "
                 "to the end of a file")
        ->default_str("-");
    app.add_option("--transaction-timeout", times.transaction,
                   "End a transaction so many milliseconds after its latest request (2000)")
        ->type_name("MS")
        ->check(CLI::Range(1, kMaxMilliseconds));
    app.add_option("--wait", times.wait, "Let a request wait for at most so long (10000)")
        ->type_name("MS")
        ->check(CLI::Range(1, kMaxMilliseconds));
    app.add_option("--board", options.board,
                   "Power up the simulated board of this board file; else DIAG_BOARD names the "
                   "state file of a running one")
        ->type_name("FILE.board");
}

void check(const CLI::App &app, Options *options) {
    options->trace = app.count("--trace") != 0;
    if (options->trace && (options->trace_file == "true" || options->trace_file == "-")) {
        options->trace_file.clear();
    }
    if (options->bind && !broker::is_ipv4(*options->bind)) {
        throw StartError(kExitUsage, "--bind: \"" + *options->bind + "\" is no IPv4 address");
    }
    if (options->trace && options->trace_file.empty() && !options->foreground && !options->check) {
        throw StartError(kExitUsage,
                         "a daemon has no standard error: say --trace=FILE or --foreground");
    }
}

}  // namespace

ParsedOptions parse_options(int argc, const char *const *argv) {
    ParsedOptions parsed;
    Milliseconds times;
    CLI::App app("Shares the buses and devices of a board among the programs that work on it.",
                 "busbroker");
    describe(app, parsed.options, times);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        parsed.text = app.help();
        return parsed;
    } catch (const CLI::CallForVersion &) {
        parsed.text = app.version() + "\n";
        return parsed;
    } catch (const CLI::ParseError &error) {
        std::string line = error.what();
        line = line.substr(0, line.find('\n'));
        throw StartError(kExitUsage, line + " (see --help)");
    }
    check(app, &parsed.options);
    parsed.options.times = {std::chrono::milliseconds(times.transaction),
                            std::chrono::milliseconds(times.wait)};
    return parsed;
}

}  // namespace diag::daemon
