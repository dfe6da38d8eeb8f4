// SPDX-License-Identifier: MIT
// The board management controller: raw requests to the I2C buses behind it and to its own
// registers.
#ifndef DIAGS_BOARD_SIM_CONTROLLER_H
#define DIAGS_BOARD_SIM_CONTROLLER_H

#include <cstdint>

#include "diags/board/sim/state.h"

namespace diag::board::sim {

// The state's lock is held. *delay_ms is what the request takes longer than no time.
Status answer(State &state, const IpmiRequest &request, IpmiResponse *response, uint32_t *delay_ms);

}  // namespace diag::board::sim

#endif
