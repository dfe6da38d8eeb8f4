// SPDX-License-Identifier: MIT
// The simulated board that --board asks for.
#ifndef DIAGS_DIAGCTL_BOARD_SESSION_H
#define DIAGS_DIAGCTL_BOARD_SESSION_H

#include "diags/diagctl/options.h"

namespace diag::diagctl {

// Powers the board up and sets the environment so that every tool started from here on works on
// it. Nothing without --board. Throws CliError when the board cannot be had.
void start_board(const Options &options);

}  // namespace diag::diagctl

#endif
