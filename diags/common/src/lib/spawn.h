// SPDX-License-Identifier: MIT
// Running a tool program, without a shell: nothing in a description or an argument can run a
// command of its own.
#ifndef DIAGS_COMMON_SRC_LIB_SPAWN_H
#define DIAGS_COMMON_SRC_LIB_SPAWN_H

#include "diags/common/src/lib/tool_output.h"

namespace diag {

// Splits `command` at blanks, finds its program through PATH, runs it and waits for its end. The
// redirections to /dev/null that command texts end in (> /dev/null, 1>/dev/null, 2>/dev/null) are
// carried out; anything else is an argument.
// Answers what `system` would: the wait status; 127 << 8 for a program that is not found, 126 << 8
// for one that cannot be executed; -1 when no process could be made. As with `system`, SIGINT and
// SIGQUIT are ignored meanwhile and SIGCHLD is blocked in the calling thread.
int run_command(const char *command);

// The same, and `output` takes what the program writes to `fd`, which is read without blocking.
int run_command(const char *command, int fd, ToolOutput &output);

// The same, and `output` takes what the program writes to its standard output. False when no
// process or pipe could be made; how the program ended is not told.
bool run_reading_output(const char *command, ToolOutput &output);

}  // namespace diag

#endif
