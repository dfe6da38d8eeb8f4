// SPDX-License-Identifier: MIT
// How an access to a board ends: one text and one exit status for each outcome.
#ifndef DIAGS_BOARD_STATUS_H
#define DIAGS_BOARD_STATUS_H

#include <cstdint>

#include "diags/exit_status.h"

namespace diag::board {

enum class Status : uint8_t {
    kOk,
    kNoBoard,       // nothing says which board to use
    kNoState,       // the board's state file is not there
    kNotPermitted,  // the operating system refuses
    kUnusable,      // the operating system fails otherwise
    kNotAState,     // not a board's state file, or of another version
    kDamaged,       // a state file whose contents contradict each other
    kBusy,          // somebody holds the board for longer than an access takes
    kNotSupported,  // the back end has no bus of this kind
    kNoSuchBus,
    kNoSuchLine,  // of a GPIO chip
    kNoAnswer,
    kBadPec,  // the device found a wrong packet error code
};

const char *status_text(Status status);
ExitStatus exit_status_of(Status status);

}  // namespace diag::board

#endif
