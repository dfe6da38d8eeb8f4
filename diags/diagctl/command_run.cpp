// SPDX-License-Identifier: MIT
#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "diags/diagctl/board_session.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/commands.h"
#include "diags/diagctl/program_path.h"

namespace diag::diagctl {

// The program takes the place of this one, so its exit status and the signals that it gets are its
// own.
Outcome run_run(const Options &options) {
    BoardSession(options).start();
    std::vector<std::string> words = options.program;
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
    const int error = errno;
    const std::string &program = options.program.front();
    // A folder of PATH that may not be looked into is no reason, if there is nothing anywhere.
    const bool is_missing =
        program.find('/') == std::string::npos && find_program(program) == ProgramSearch::kMissing;
    fail(kExitUsage, "{} cannot be run: {}", program, std::strerror(is_missing ? ENOENT : error));
}

}  // namespace diag::diagctl
