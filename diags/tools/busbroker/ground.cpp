// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/ground.h"

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "diags/board/open_board.h"
#include "diags/board/sim/board_error.h"
#include "diags/board/sim/power_up.h"
#include "diags/board/tool_folders.h"
#include "diags/tools/busbroker/captured_output.h"
#include "diags/tools/busbroker/description.h"
#include "diags/tools/busbroker/start_error.h"

namespace diag::daemon {
namespace {

BrokerFaults faults_of(const std::string &board_path) {
    const std::ifstream file(board_path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return board::sim::parse_board_file(board_path, text.str()).broker_faults;
}

// Powering up loads a description, during which the library talks.
BrokerFaults power_up(const std::string &board_path) {
    try {
        std::string state_path;
        {
            const CapturedOutput capture;
            state_path = board::sim::power_up(board_path, false);
        }
        setenv(board::kBoardVariable, state_path.c_str(), 1);
        return faults_of(board_path);
    } catch (const board::sim::BoardError &error) {
        throw StartError(error.exit_status(), error.what());
    }
}

std::shared_ptr<board::Board> open_board() {
    const auto slot = std::make_shared<board::BoardSlot>();
    const board::Status status = slot->open();
    if (status == board::Status::kNoBoard) {
        throw StartError(exit_status_of(status),
                         "no board: say --board FILE.board, or set DIAG_BOARD to the state file of "
                         "a running simulated board");
    }
    if (status != board::Status::kOk) {
        throw StartError(exit_status_of(status),
                         std::string(slot->subject()) + ": " + status_text(status));
    }
    return {slot, &slot->board()};
}

// Once: a reload finds them there.
void put_tool_folders_on_path() {
    static const std::string path = [] {
        const char *usual = std::getenv("PATH");
        return board::with_tool_folders(usual != nullptr ? usual : "/bin:/usr/bin");
    }();
    setenv("PATH", path.c_str(), 1);
}

std::string board_name(const Options &options) {
    if (!options.board.empty()) {
        return options.board;
    }
    const char *path = std::getenv(board::kBoardVariable);
    return path != nullptr ? path : "";
}

}  // namespace

LoadedGround load_ground(const Options &options, bool needs_board) {
    LoadedGround loaded;
    Ground &ground = loaded.ground;
    put_tool_folders_on_path();
    if (!options.board.empty()) {
        ground.faults = power_up(options.board);
    }
    ground.identity = {options.description, board_name(options)};
    if (needs_board) {
        ground.board = open_board();
    }
    const Description description(options.description);
    ground.directory = std::make_shared<const Directory>(description.tree());
    loaded.address = description.address();
    return loaded;
}

}  // namespace diag::daemon
