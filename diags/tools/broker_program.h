// SPDX-License-Identifier: MIT
// The way of a tool to the bus broker. The tools are small and static, since they start for every
// access; the broker's client is the library's, and so a program of its own.
#ifndef DIAGS_TOOLS_BROKER_PROGRAM_H
#define DIAGS_TOOLS_BROKER_PROGRAM_H

#include "diags/exit_status.h"
#include "diags/tools/access_options.h"

namespace diag::tools {

// Puts the client in place of this process, with the same command line. Comes back, and reports
// why, only when the client cannot be started.
ExitStatus become_broker_client(const ToolCommand &command);

}  // namespace diag::tools

#endif
