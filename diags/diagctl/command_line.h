// SPDX-License-Identifier: MIT
// The command line of diagctl.
#ifndef DIAGS_DIAGCTL_COMMAND_LINE_H
#define DIAGS_DIAGCTL_COMMAND_LINE_H

#include <string>

#include "diags/diagctl/options.h"

namespace diag::diagctl {

struct CommandLine {
    Options options;
    std::string command;                               // name of the command, as far as it is known
    Outcome (*run)(const Options &options) = nullptr;  // null: `help` is all that is wanted
    std::string help;                                  // text for --help or --version
};

// Throws CliError with status 2 when the arguments cannot be used. `json` and `command` of `line`
// are set even then, as far as they can be told: the failure itself is to be told in JSON.
void parse_command_line(int argc, char **argv, CommandLine &line);

}  // namespace diag::diagctl

#endif
