// SPDX-License-Identifier: MIT
// The FIFO through which a tool hands its result to the program that started it.
#ifndef DIAGS_TOOLS_RESULT_PIPE_H
#define DIAGS_TOOLS_RESULT_PIPE_H

#include <cstdint>
#include <span>

#include "diags/exit_status.h"
#include "diags/tools/descriptor.h"

namespace diag::tools {

class ResultPipe {
  public:
    // A FIFO that nobody reads is an error at once, not a wait. Errors are reported. To be opened
    // before the access: a reading that has no taker must not clear a status register.
    ExitStatus open(const char *path);
    ExitStatus write(std::span<const uint8_t> bytes);

  private:
    const char *path_ = "";
    Descriptor descriptor_;
};

}  // namespace diag::tools

#endif
