// SPDX-License-Identifier: MIT
// The tools as functions: each is the whole of its program, and all but the last two are what the
// bus broker's client does as well.
#ifndef DIAGS_TOOLS_TOOLS_H
#define DIAGS_TOOLS_TOOLS_H

#include "diags/exit_status.h"

namespace diag::tools {

ExitStatus run_gpiotool(int argc, char **argv);
ExitStatus run_i2ctool(int argc, char **argv);
ExitStatus run_lpctool(int argc, char **argv);
ExitStatus run_memtool(int argc, char **argv);
ExitStatus run_pcitool(int argc, char **argv);
ExitStatus run_ipmitool(int argc, char **argv);
ExitStatus run_nvramtool(int argc, char **argv);

}  // namespace diag::tools

#endif
