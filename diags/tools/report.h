// SPDX-License-Identifier: MIT
// What a tool tells people: one line on standard error, and help on standard output.
#ifndef DIAGS_TOOLS_REPORT_H
#define DIAGS_TOOLS_REPORT_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "diags/exit_status.h"

namespace diag::tools {

// Writes "TOOL: MESSAGE" as one line; answers `status`, for `return report(...)`.
[[gnu::format(printf, 2, 3)]] ExitStatus report(ExitStatus status, const char *format, ...);

// The same for an unusable command line, and points to --help.
[[gnu::format(printf, 1, 2)]] ExitStatus usage_error(const char *format, ...);

// For what getopt_long answers in place of an option: the last argument is unusable. Its option
// string begins with ':'.
ExitStatus refuse_option(int code, char **argv);

ExitStatus print(const char *text);
ExitStatus print_version();

// Bytes as "0x01 0x02", sixteen to a line.
ExitStatus print_hex(std::span<const uint8_t> bytes);

}  // namespace diag::tools

#endif
