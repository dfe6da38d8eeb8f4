// SPDX-License-Identifier: MIT
// The one way in which a command of diagctl fails: an exit status and one line for the user.
#ifndef DIAGS_DIAGCTL_CLI_ERROR_H
#define DIAGS_DIAGCTL_CLI_ERROR_H

#include <fmt/format.h>
#include <stdexcept>
#include <string>
#include <utility>

#include "diags/exit_status.h"

namespace diag::diagctl {

class CliError : public std::runtime_error {
  public:
    CliError(ExitStatus status, const std::string &message)
        : std::runtime_error(message), status_(status) {}

    ExitStatus status() const { return status_; }

  private:
    ExitStatus status_;
};

template <typename... Args>
[[noreturn]] void fail(ExitStatus status, fmt::format_string<Args...> format, Args &&...args) {
    throw CliError(status, fmt::format(format, std::forward<Args>(args)...));
}

}  // namespace diag::diagctl

#endif
