// SPDX-License-Identifier: MIT
// Reading what the daemon works on: description, board file, board.
#ifndef DIAGS_TOOLS_BUSBROKER_GROUND_H
#define DIAGS_TOOLS_BUSBROKER_GROUND_H

#include <optional>
#include <string>

#include "diags/tools/busbroker/options.h"
#include "diags/tools/busbroker/service.h"

namespace diag::daemon {

// Names the folder for the states of simulated boards.
inline constexpr const char *kBoardFolderVariable = "DIAG_BOARD_DIR";

struct LoadedGround {
    Ground ground;
    std::optional<broker::Address> address;  // where the description wants the daemon to be
};

// Both throw StartError, and set PATH so that the tools which read a description's slots are found.

// Reads all files and builds the simulated board that the options name where nobody sees it: a
// board that is running stays as it is. There may be no board. What it brings has none.
LoadedGround check_ground(const Options &options);

// Checks, then powers the simulated board up and sets DIAG_BOARD.
LoadedGround load_ground(const Options &options);

}  // namespace diag::daemon

#endif
