// SPDX-License-Identifier: MIT
// The simulated board that --board asks for.
#ifndef DIAGS_DIAGCTL_BOARD_SESSION_H
#define DIAGS_DIAGCTL_BOARD_SESSION_H

#include "diags/diagctl/description.h"
#include "diags/diagctl/options.h"

namespace diag::diagctl {

class BoardSession {
  public:
    explicit BoardSession(const Options &options) : options_(options) {}
    BoardSession(const BoardSession &) = delete;
    BoardSession &operator=(const BoardSession &) = delete;

    // Powers the board up and sets the environment so that every tool started from here on works
    // on it. Nothing without --board, or when that has been done. Throws CliError when the board
    // cannot be had.
    void start();

  private:
    const Options &options_;
    bool is_started_ = false;
};

// Cards are looked for on the board of the session, and not at all in a dry run or where the bus
// broker has the board: the tools that look would pass it by.
ModuleSearch module_search(const Options &options, BoardSession &board);

}  // namespace diag::diagctl

#endif
