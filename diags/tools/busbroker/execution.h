// SPDX-License-Identifier: MIT
// Making an access on the board.
#ifndef DIAGS_TOOLS_BUSBROKER_EXECUTION_H
#define DIAGS_TOOLS_BUSBROKER_EXECUTION_H

#include <array>
#include <cstdint>
#include <span>

#include "diags/board/board.h"
#include "diags/tools/busbroker/device.h"
#include "diags/tools/busbroker/request_text.h"

namespace diag::daemon {

using ReadBuffer = std::array<uint8_t, broker::kMaxReadBytes>;

// Whether the device can do what is asked for, as far as that can be told beforehand: kSuccess,
// or how the request is refused. execute() requires it.
broker::Outcome check_access(const Device &device, const Access &access);

// Sets the muxes on the way and makes the access. What a read brings are the first `access.count`
// bytes of `buffer`.
broker::Outcome execute(board::Board &board, const Device &device, const Access &access,
                        ReadBuffer *buffer);

}  // namespace diag::daemon

#endif
