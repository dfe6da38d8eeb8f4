// SPDX-License-Identifier: MIT
#include "diags/board/open_board.h"

#include <cstdlib>

namespace diag::board {

Status BoardSlot::open() {
    const char *path = std::getenv(kBoardVariable);
    if (path == nullptr || *path == '\0') {
        subject_ = "no board";
        return Status::kNoBoard;
    }
    subject_ = path;
    return board_.open(path);
}

}  // namespace diag::board
