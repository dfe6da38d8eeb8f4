// SPDX-License-Identifier: MIT
#ifndef DIAGS_TOOLS_BUSBROKER_PROGRAM_H
#define DIAGS_TOOLS_BUSBROKER_PROGRAM_H

namespace diag::daemon {

// The whole of busbroker; answers its exit status.
int run_program(int argc, const char *const *argv);

}  // namespace diag::daemon

#endif
