// SPDX-License-Identifier: MIT
#ifndef DIAGS_TOOLS_BUSBROKER_START_ERROR_H
#define DIAGS_TOOLS_BUSBROKER_START_ERROR_H

#include <stdexcept>
#include <string>

#include "diags/exit_status.h"

namespace diag::daemon {

// Why the daemon cannot start: one line for people, and the program's exit status.
class StartError : public std::runtime_error {
  public:
    StartError(ExitStatus exit_status, const std::string &line)
        : std::runtime_error(line), exit_status_(exit_status) {}

    ExitStatus exit_status() const { return exit_status_; }

  private:
    ExitStatus exit_status_;
};

}  // namespace diag::daemon

#endif
