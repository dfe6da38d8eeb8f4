// SPDX-License-Identifier: MIT
#include "diags/tools/run_access.h"

#include <cinttypes>
#include <cstdio>

namespace diag::tools {

using board::Status;

namespace {
constexpr size_t kPlaceSize = 96;
}

ExitStatus report_failure(const ToolBoard &board, Status status, const char *place) {
    const AccessFailure *const failure = board.failure;
    if (failure == nullptr || failure->exit_status == kExitDone) {
        return report(exit_status_of(status), "%s: %s", place, status_text(status));
    }
    return failure->is_about_place ? report(failure->exit_status, "%s: %s", place, failure->text)
                                   : report(failure->exit_status, "%s", failure->text);
}

ExitStatus region_result(const ToolBoard &board, Status status, const char *kind,
                         const Region &region, size_t size) {
    if (status == Status::kOk) {
        return kExitDone;
    }
    // These kinds have no buses to choose from: there is none at all.
    if (status == Status::kNoSuchBus || status == Status::kNotSupported) {
        return report_failure(board, Status::kNotSupported, kind);
    }
    char place[kPlaceSize];
    if (size == 1) {
        std::snprintf(place, sizeof place, "%s %s 0x%" PRIx64, kind, region.noun, region.start);
    } else {
        std::snprintf(place, sizeof place, "%s %s 0x%" PRIx64 " to 0x%" PRIx64, kind, region.noun,
                      region.start, region.start + size - 1);
    }
    return report_failure(board, status, place);
}

}  // namespace diag::tools
