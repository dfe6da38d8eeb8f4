// SPDX-License-Identifier: MIT
// Reading what the daemon works on: description, board file, board.
#ifndef DIAGS_TOOLS_BUSBROKER_GROUND_H
#define DIAGS_TOOLS_BUSBROKER_GROUND_H

#include <optional>
#include <string>

#include "diags/tools/busbroker/options.h"
#include "diags/tools/busbroker/service.h"

namespace diag::daemon {

struct LoadedGround {
    Ground ground;
    std::optional<broker::Address> address;  // where the description wants the daemon to be
};

// Throws StartError. Powers the simulated board up that the options name and sets DIAG_BOARD and
// PATH, so that the tools which read a description's slots work on it. Without `needs_board` there
// may be no board, for a check.
LoadedGround load_ground(const Options &options, bool needs_board);

}  // namespace diag::daemon

#endif
