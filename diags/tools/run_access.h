// SPDX-License-Identifier: MIT
// The course of a tool's access, once its command line is known to be usable.
#ifndef DIAGS_TOOLS_RUN_ACCESS_H
#define DIAGS_TOOLS_RUN_ACCESS_H

#include <cstdint>
#include <span>

#include "diags/board/open_board.h"
#include "diags/tools/access_options.h"
#include "diags/tools/result_pipe.h"

namespace diag::tools {

// Reports a board that cannot be opened.
ExitStatus open_board(board::BoardSlot *slot);

// The end of an access to bytes at ascending addresses: reports a failure with the place. `kind`
// says what the addresses are of.
ExitStatus region_result(board::Status status, const char *kind, const Region &region, size_t size);

// `access(Board &)` makes the access and reports its failure; `result` is what it reads, and
// `print(result)` prints that when there is no pipe. The pipe is opened first: a reading that has
// no taker must not clear a status register.
template <class Access, class Print>
ExitStatus run_access(const AccessOptions &options, std::span<const uint8_t> result, Access access,
                      Print print) {
    if (options.broker_option != nullptr) {
        return report(kExitNoDevice, "no bus broker is set up: leave %s out",
                      options.broker_option);
    }
    board::BoardSlot slot;
    if (const ExitStatus status = open_board(&slot); status != kExitDone) {
        return status;
    }
    ResultPipe pipe;
    if (options.pipe_path != nullptr) {
        if (const ExitStatus status = pipe.open(options.pipe_path); status != kExitDone) {
            return status;
        }
    }
    if (const ExitStatus status = access(slot.board()); status != kExitDone || options.write) {
        return status;
    }
    return options.pipe_path != nullptr ? pipe.write(result) : print(result);
}

// The same for bytes at ascending addresses: `transfer(Board &)` answers the status of the access.
// `printed_bytes` is the width of what is printed.
template <class Transfer>
ExitStatus run_region_access(const DataOptions &options, const char *kind, const Region &region,
                             unsigned printed_bytes, Transfer transfer) {
    return run_access(
        options, options.data(),
        [&](board::Board &board) {
            return region_result(transfer(board), kind, region, options.size);
        },
        [&](std::span<const uint8_t> bytes) { return print_hex(bytes, printed_bytes); });
}

}  // namespace diag::tools

#endif
