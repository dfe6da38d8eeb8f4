// SPDX-License-Identifier: MIT
// The course of a tool's access, once its command line is known to be usable.
#ifndef DIAGS_TOOLS_RUN_ACCESS_H
#define DIAGS_TOOLS_RUN_ACCESS_H

#include <cstdint>
#include <span>

#include "diags/tools/access_options.h"
#include "diags/tools/result_pipe.h"
#include "diags/tools/tool_board.h"

namespace diag::tools {

// The end of an access to bytes at ascending addresses: reports a failure with the place. `kind`
// says what the addresses are of.
ExitStatus region_result(const ToolBoard &board, board::Status status, const char *kind,
                         const Region &region, size_t size);

// `access(const ToolBoard &)` makes the access and reports its failure; `result` is what it reads,
// and `print(result)` prints that when there is no pipe. The pipe is opened first: a reading that
// has no taker must not clear a status register.
template <class Access, class Print>
ExitStatus run_access(const AccessOptions &options, std::span<const uint8_t> result, Access access,
                      Print print) {
    const auto work = [&](const ToolBoard &board) {
        ResultPipe pipe;
        if (options.pipe_path != nullptr) {
            if (const ExitStatus status = pipe.open(options.pipe_path); status != kExitDone) {
                return status;
            }
        }
        if (const ExitStatus status = access(board); status != kExitDone || options.write) {
            return status;
        }
        return options.pipe_path != nullptr ? pipe.write(result) : print(result);
    };
    return with_board(options, BoardWork(work));
}

// The same for bytes at ascending addresses: `transfer(Board &)` answers the status of the access.
// `printed_bytes` is the width of what is printed.
template <class Transfer>
ExitStatus run_region_access(const DataOptions &options, const char *kind, const Region &region,
                             unsigned printed_bytes, Transfer transfer) {
    return run_access(
        options, options.data(),
        [&](const ToolBoard &board) {
            return region_result(board, transfer(board.buses), kind, region, options.size);
        },
        [&](std::span<const uint8_t> bytes) { return print_hex(bytes, printed_bytes); });
}

}  // namespace diag::tools

#endif
