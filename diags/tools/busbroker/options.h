// SPDX-License-Identifier: MIT
// The command line of busbroker.
#ifndef DIAGS_TOOLS_BUSBROKER_OPTIONS_H
#define DIAGS_TOOLS_BUSBROKER_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

#include "diags/tools/busbroker/scheduler.h"

namespace diag::daemon {

struct Options {
    std::string description;
    bool check = false;
    bool foreground = false;
    std::optional<uint16_t> port;
    std::optional<std::string> bind;
    bool trace = false;
    std::string trace_file;  // empty: standard error
    std::string board;       // a board file; empty: $DIAG_BOARD
    Scheduler::Times times;
};

struct ParsedOptions {
    Options options;
    std::string text;  // what --help and --version print; empty when there is work to do
};

// Throws StartError with the status of an unusable command line.
ParsedOptions parse_options(int argc, const char *const *argv);

}  // namespace diag::daemon

#endif
