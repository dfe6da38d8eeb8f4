// SPDX-License-Identifier: MIT
// A file that a command writes.
#ifndef DIAGS_DIAGCTL_OUTPUT_FILE_H
#define DIAGS_DIAGCTL_OUTPUT_FILE_H

#include <string>
#include <string_view>

namespace diag::diagctl {

// Writes `data` to the file at `path`: all of it, or nothing and the file that was there stays as
// it was. It is written beside the file and takes its place; a link to a file stays one. What is no
// regular file, a device say, is written directly. Throws CliError with status 6.
void write_output_file(const std::string &path, std::string_view data);

}  // namespace diag::diagctl

#endif
