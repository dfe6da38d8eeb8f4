// SPDX-License-Identifier: MIT
// Transfers on the I2C buses of the host and of the board management controller.
#ifndef DIAGS_BOARD_SIM_I2C_BUS_H
#define DIAGS_BOARD_SIM_I2C_BUS_H

#include <cstdint>

#include "diags/board/sim/state.h"

namespace diag::board::sim {

// The state's lock is held. `kind` is kI2c or kBmc. *delay_ms is what the transfer takes longer
// than no time, whatever its outcome.
Status transfer(State &state, BusKind kind, const I2cTransfer &transfer, uint32_t *delay_ms);

}  // namespace diag::board::sim

#endif
