// SPDX-License-Identifier: MIT
// What the daemon counts.
#ifndef DIAGS_TOOLS_BUSBROKER_COUNTS_H
#define DIAGS_TOOLS_BUSBROKER_COUNTS_H

#include <array>
#include <cstdint>

#include "diags/broker/protocol.h"
#include "diags/tools/busbroker/frame.h"

namespace diag::daemon {

struct Counts {
    uint64_t received = 0;      // datagrams
    uint64_t answered = 0;      // requests, by whatever but an acknowledgement
    uint64_t performed = 0;     // accesses made on the board
    uint64_t repeated = 0;      // requests that were known already
    uint64_t acknowledged = 0;  // acknowledgements sent
    std::array<uint64_t, broker::kOutcomes> outcomes = {};  // answers by their status
    std::array<uint64_t, kProblems> dropped = {};           // datagrams by what is wrong with them
};

}  // namespace diag::daemon

#endif
