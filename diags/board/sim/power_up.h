// SPDX-License-Identifier: MIT
#ifndef DIAGS_BOARD_SIM_POWER_UP_H
#define DIAGS_BOARD_SIM_POWER_UP_H

#include <string>

#include "diags/board/sim/board_error.h"

namespace diag::board::sim {

// The path of the running state file of the simulated board that `board_file` describes, for
// DIAG_BOARD. The state is built when there is none, when the board file or its description have
// changed since, or when `fresh`; else the board goes on as it is. It lives in $DIAG_BOARD_DIR,
// else in diag-board under $XDG_RUNTIME_DIR, else in /tmp/diag-board-UID, a folder of this user's
// own. Throws BoardError. While a description is loaded, the library may write messages to
// standard output.
std::string power_up(const std::string &board_file, bool fresh);

}  // namespace diag::board::sim

#endif
