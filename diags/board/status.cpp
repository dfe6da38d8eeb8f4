// SPDX-License-Identifier: MIT
#include "diags/board/status.h"

#include <cstddef>
#include <iterator>

namespace diag::board {
namespace {

struct StatusRow {
    Status status;
    ExitStatus exit_status;
    const char *text;
};

constexpr StatusRow kRows[] = {
    {Status::kOk, kExitDone, "done"},
    {Status::kNoBoard, kExitNoDevice,
     "set DIAG_BOARD to a running simulated board, or use diagctl --board FILE run -- COMMAND"},
    {Status::kNoState, kExitNoDevice, "no such file; the simulated board is not running"},
    {Status::kNotPermitted, kExitNotPermitted, "permission denied"},
    {Status::kUnusable, kExitNoDevice, "cannot be opened"},
    {Status::kNotAState, kExitBadDescription,
     "not a running board of this version; start the simulated board again"},
    {Status::kDamaged, kExitBadDescription,
     "the state file is damaged; start the simulated board again"},
    {Status::kBusy, kExitBusy, "another program holds the board"},
    {Status::kNotSupported, kExitNoDevice, "this board has no bus of that kind"},
    {Status::kNoSuchBus, kExitNoDevice, "no such bus"},
    {Status::kNoSuchLine, kExitNoDevice, "no such line"},
    {Status::kNoAnswer, kExitAccessFailed, "no answer"},
    {Status::kBadPec, kExitAccessFailed, "the device found a wrong packet error code"},
};

constexpr bool rows_are_in_order() {
    for (size_t i = 0; i < std::size(kRows); ++i) {
        if (static_cast<size_t>(kRows[i].status) != i) {
            return false;
        }
    }
    return true;
}
static_assert(rows_are_in_order(), "the table is indexed by status");

const StatusRow &row(Status status) {
    return kRows[static_cast<size_t>(status)];
}

}  // namespace

const char *status_text(Status status) {
    return row(status).text;
}

ExitStatus exit_status_of(Status status) {
    return row(status).exit_status;
}

}  // namespace diag::board
