// SPDX-License-Identifier: MIT
#include "diags/tools/run_access.h"

#include <cinttypes>

namespace diag::tools {

using board::Status;

ExitStatus open_board(board::BoardSlot *slot) {
    const Status status = slot->open();
    return status == Status::kOk
               ? kExitDone
               : report(exit_status_of(status), "%s: %s", slot->subject(), status_text(status));
}

ExitStatus region_result(Status status, const char *kind, const Region &region, size_t size) {
    const ExitStatus exit_status = exit_status_of(status);
    switch (status) {
        case Status::kOk:
            return kExitDone;
        case Status::kNoSuchBus:  // these kinds have no buses to choose from: there is none at all
        case Status::kNotSupported:
            return report(exit_status, "%s: %s", kind, status_text(Status::kNotSupported));
        default:
            break;
    }
    if (size == 1) {
        return report(exit_status, "%s %s 0x%" PRIx64 ": %s", kind, region.noun, region.start,
                      status_text(status));
    }
    return report(exit_status, "%s %s 0x%" PRIx64 " to 0x%" PRIx64 ": %s", kind, region.noun,
                  region.start, region.start + size - 1, status_text(status));
}

}  // namespace diag::tools
