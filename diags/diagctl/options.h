// SPDX-License-Identifier: MIT
// What the command line asks for.
#ifndef DIAGS_DIAGCTL_OPTIONS_H
#define DIAGS_DIAGCTL_OPTIONS_H

#include <string>
#include <vector>

#include "diags/exit_status.h"

namespace diag::diagctl {

struct Options {
    std::string board;  // simulated board to run against; empty: the machine's own tools
    bool fresh = false;
    std::string broker;  // bus broker to go through, HOST:PORT or kUsualBroker; empty: none
    int verbosity = 0;
    bool json = false;

    std::string file;    // device description
    std::string target;  // CHIP, CHIP.REG or CHIP.REG.BIT
    std::string value;   // write
    bool bits = false;   // regs
    bool dry_run = false;
    std::string form;                  // convert: what to convert to
    std::string output;                // convert: file to write; empty: standard output
    std::vector<std::string> program;  // run
    std::string broker_action;         // broker: "ping" or "status"
    unsigned count = 1;                // broker ping
};

// How a command ends when it does not fail: with data for standard output and remarks for
// standard error.
struct Outcome {
    ExitStatus status = kExitDone;
    std::string data;
    std::vector<std::string> remarks;
};

}  // namespace diag::diagctl

#endif
