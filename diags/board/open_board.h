// SPDX-License-Identifier: MIT
// The board that this process is to use.
#ifndef DIAGS_BOARD_OPEN_BOARD_H
#define DIAGS_BOARD_OPEN_BOARD_H

#include "diags/board/board.h"
#include "diags/board/sim/sim_board.h"

namespace diag::board {

inline constexpr const char *kBoardVariable = "DIAG_BOARD";

// Owns one of the back ends, without the heap: this is part of the start of every tool.
class BoardSlot {
  public:
    // Picks the back end: $DIAG_BOARD is the state file of a running simulated board.
    Status open();

    // What an error of open() is about, a path or "no board".
    const char *subject() const { return subject_; }

    Board &board() { return board_; }

  private:
    sim::SimBoard board_;
    const char *subject_ = "";
};

}  // namespace diag::board

#endif
