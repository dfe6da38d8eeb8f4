// SPDX-License-Identifier: MIT
// The muxes on the way to a chip, one at a time.
#ifndef DIAGS_DIAGCTL_MUX_STEPS_H
#define DIAGS_DIAGCTL_MUX_STEPS_H

#include <string>
#include <string_view>
#include <vector>

#include "device_tree.h"

#include "diags/diagctl/description.h"

namespace diag::diagctl {

struct MuxKind {
    std::string_view word;  // what a bus text of this kind contains
    const char *tool;
    int message_level;  // level of the library's messages at which they show the command line
    // Memory alone: the other bits of the byte are read first, so the command line is not known
    // beforehand, and the library does not tell when that reading fails.
    bool modifies;
    // Why the mux cannot be set, said so that it can follow "mux 1 of 2 ...: "; empty when it can.
    std::string (*complaint)(const mux_entry &mux);
};

// One mux, alone and with its bus.
struct MuxStep {
    mux_entry entry;    // next is null
    std::string place;  // "mux 1 of 2 (/dev/i2c-1 address 0x70)"
    const MuxKind *kind;
};

// The muxes of the chip from the host side on. Throws CliError: status 5 for a bus that no tool
// program reaches, 3 for numbers that cannot be meant.
std::vector<MuxStep> mux_steps(const Chip &chip);

}  // namespace diag::diagctl

#endif
