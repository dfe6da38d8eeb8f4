// SPDX-License-Identifier: MIT
// The board that a tool makes its access on: itself, or through the bus broker.
#ifndef DIAGS_TOOLS_TOOL_BOARD_H
#define DIAGS_TOOLS_TOOL_BOARD_H

#include "diags/board/board.h"
#include "diags/tools/access_options.h"

namespace diag::tools {

// What a board knows of a failure beyond its status.
struct AccessFailure {
    ExitStatus exit_status = kExitDone;  // kExitDone: nothing
    const char *text = "";
    bool is_about_place = true;  // else it has nothing to do with what was asked for
};

struct ToolBoard {
    board::Board &buses;
    const AccessFailure *failure = nullptr;  // null for a board whose statuses say all
};

// One line about an access that failed at `place`.
ExitStatus report_failure(const ToolBoard &board, board::Status status, const char *place);

// A function object that outlives the call it is given to.
class BoardWork {
  public:
    template <class Work>
    explicit BoardWork(const Work &work)
        : work_(&work), call_([](const void *object, const ToolBoard &board) {
              return (*static_cast<const Work *>(object))(board);
          }) {}

    ExitStatus operator()(const ToolBoard &board) const { return call_(work_, board); }

  private:
    const void *work_;
    ExitStatus (*call_)(const void *work, const ToolBoard &board);
};

// Opens the board and does the work on it; reports a board that cannot be opened. Defined once for
// the tools, which open the board of the machine or, with a broker option, become the bus broker's
// client (direct_board.cpp), and once for that client (broker_client.cpp).
ExitStatus with_board(const AccessOptions &options, const BoardWork &work);

}  // namespace diag::tools

#endif
