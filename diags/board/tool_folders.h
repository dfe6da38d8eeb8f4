// SPDX-License-Identifier: MIT
// Where the tools are that make their accesses on the board of a program.
#ifndef DIAGS_BOARD_TOOL_FOLDERS_H
#define DIAGS_BOARD_TOOL_FOLDERS_H

#include <string>

namespace diag::board {

// `path` with the folder of this program and that of the tools for simulated boards in front.
// Throws std::filesystem::filesystem_error when this program's folder cannot be found.
std::string with_tool_folders(const std::string &path);

}  // namespace diag::board

#endif
