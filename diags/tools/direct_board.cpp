// SPDX-License-Identifier: MIT
#include "diags/tools/direct_board.h"

#include "diags/tools/broker_program.h"
#include "diags/tools/tool_board.h"

namespace diag::tools {

ExitStatus open_board(board::BoardSlot *slot) {
    const board::Status status = slot->open();
    return status == board::Status::kOk
               ? kExitDone
               : report(exit_status_of(status), "%s: %s", slot->subject(), status_text(status));
}

ExitStatus with_board(const AccessOptions &options, const BoardWork &work) {
    if (options.through_broker) {
        return become_broker_client(options.command);
    }
    board::BoardSlot slot;
    const ExitStatus status = open_board(&slot);
    return status == kExitDone ? work({slot.board()}) : status;
}

}  // namespace diag::tools
