// SPDX-License-Identifier: MIT
// The commands of diagctl. Each throws CliError when it fails.
#ifndef DIAGS_DIAGCTL_COMMANDS_H
#define DIAGS_DIAGCTL_COMMANDS_H

#include "diags/diagctl/options.h"

namespace diag::diagctl {

Outcome run_tree(const Options &options);
Outcome run_regs(const Options &options);
Outcome run_read(const Options &options);
Outcome run_write(const Options &options);
Outcome run_convert(const Options &options);
Outcome run_broker(const Options &options);
[[noreturn]] Outcome run_run(const Options &options);  // becomes the program

}  // namespace diag::diagctl

#endif
