// SPDX-License-Identifier: MIT
// Where programs are.
#ifndef DIAGS_DIAGCTL_PROGRAM_PATH_H
#define DIAGS_DIAGCTL_PROGRAM_PATH_H

#include <string>
#include <string_view>

namespace diag::diagctl {

// What looking for a program of this name through PATH leads to.
enum class ProgramSearch { kMissing, kNotExecutable, kFound };
ProgramSearch find_program(std::string_view program);

// Puts the folder that this program runs from in front of PATH, as the tools lie beside it, and
// behind it the folder of those tools that have the name of a distribution's program and so must
// not be found by everybody.
void put_board_folders_on_path();

}  // namespace diag::diagctl

#endif
