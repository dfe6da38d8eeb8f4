// SPDX-License-Identifier: MIT
// diagctl as a whole: from the command line to the exit status.
#ifndef DIAGS_DIAGCTL_PROGRAM_H
#define DIAGS_DIAGCTL_PROGRAM_H

namespace diag::diagctl {

int run_program(int argc, char **argv);

}  // namespace diag::diagctl

#endif
