// SPDX-License-Identifier: MIT
// What a tool tells people: one line on standard error, and help on standard output.
#ifndef DIAGS_TOOLS_REPORT_H
#define DIAGS_TOOLS_REPORT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "diags/exit_status.h"

namespace diag::tools {

// Writes "TOOL: MESSAGE" as one line; answers `status`, for `return report(...)`.
[[gnu::format(printf, 2, 3)]] ExitStatus report(ExitStatus status, const char *format, ...);

// The same for an unusable command line, and points to --help.
[[gnu::format(printf, 1, 2)]] ExitStatus usage_error(const char *format, ...);

// For what getopt_long answers in place of an option: the last argument is unusable. Its option
// string begins with ':'.
ExitStatus refuse_option(int code, char **argv);

// For an option whose value is not `expected`. Of a long value only the start is shown.
ExitStatus refuse_value(const char *option, std::string_view value, const char *expected);

ExitStatus print(std::string_view text);

// The parts of a help text, in order: what several tools say stands once.
using HelpText = std::span<const char *const>;
ExitStatus print_help(HelpText help);
ExitStatus print_version();

// Items of 1, 2, 4 or 8 bytes, least significant byte first in `bytes`, as "0x01 0x02"; sixteen
// bytes to a line.
ExitStatus print_hex(std::span<const uint8_t> bytes, size_t item_bytes = 1);

}  // namespace diag::tools

#endif
