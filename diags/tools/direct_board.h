// SPDX-License-Identifier: MIT
// The machine's own board.
#ifndef DIAGS_TOOLS_DIRECT_BOARD_H
#define DIAGS_TOOLS_DIRECT_BOARD_H

#include "diags/board/open_board.h"
#include "diags/exit_status.h"

namespace diag::tools {

// Reports a board that cannot be opened.
ExitStatus open_board(board::BoardSlot *slot);

}  // namespace diag::tools

#endif
