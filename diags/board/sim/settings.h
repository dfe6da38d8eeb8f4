// SPDX-License-Identifier: MIT
// What the board file says, put into the state of a board at power-up.
#ifndef DIAGS_BOARD_SIM_SETTINGS_H
#define DIAGS_BOARD_SIM_SETTINGS_H

#include "diags/board/sim/board_file.h"
#include "diags/board/sim/builder.h"

namespace diag::board::sim {

// Throws BoardError for a chip or register that does not exist, and for values that do not fit.
void apply_settings(const BoardFile &file, Builder *builder);

}  // namespace diag::board::sim

#endif
