// SPDX-License-Identifier: MIT
#ifndef DIAGS_BOARD_SIM_BOARD_ERROR_H
#define DIAGS_BOARD_SIM_BOARD_ERROR_H

#include <stdexcept>
#include <string>

#include "diags/exit_status.h"

namespace diag::board::sim {

// Why a simulated board cannot be powered up: one line for people, and the program's exit status.
class BoardError : public std::runtime_error {
  public:
    BoardError(ExitStatus exit_status, const std::string &line)
        : std::runtime_error(line), exit_status_(exit_status) {}

    ExitStatus exit_status() const { return exit_status_; }

  private:
    ExitStatus exit_status_;
};

}  // namespace diag::board::sim

#endif
