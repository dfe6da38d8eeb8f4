// SPDX-License-Identifier: MIT
#ifndef DIAGS_BOARD_SIM_GPIO_H
#define DIAGS_BOARD_SIM_GPIO_H

#include <cstdint>

#include "diags/board/sim/state.h"

namespace diag::board::sim {

// kNoSuchBus for a chip without lines, kNoSuchLine for a line that the chip lacks. The state's lock
// is held.
Status find_line(State &state, uint32_t chip, uint32_t number, Line **found);

}  // namespace diag::board::sim

#endif
