// SPDX-License-Identifier: MIT
#include "diags/diagctl/board_session.h"

#include <cstdlib>
#include <string>

#include "diags/board/sim/board_error.h"
#include "diags/board/sim/power_up.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/library_call.h"
#include "diags/diagctl/program_path.h"

namespace diag::diagctl {
namespace {

constexpr const char kBoardVariable[] = "DIAG_BOARD";

// Loading the board's description makes the library talk, as ours does.
std::string power_up(const Options &options) {
    std::string state_file;
    try {
        call_library(options.verbosity, options.verbosity,
                     [&] { state_file = board::sim::power_up(options.board, options.fresh); });
        return state_file;
    } catch (const board::sim::BoardError &error) {
        throw CliError(error.exit_status(), error.what());
    }
}

}  // namespace

void BoardSession::start() {
    if (options_.board.empty() || is_started_) {
        return;
    }
    setenv(kBoardVariable, power_up(options_).c_str(), 1);
    put_board_folders_on_path();
    is_started_ = true;
}

ModuleSearch module_search(const Options &options, BoardSession &board) {
    if (!options.broker.empty()) {
        return {false, {}, "through the bus broker"};
    }
    return {!options.dry_run, [&board] { board.start(); }};
}

}  // namespace diag::diagctl
