// SPDX-License-Identifier: MIT
// Which devices of a running state an access gets to: where they are, and how the muxes stand.
#ifndef DIAGS_BOARD_SIM_REACH_H
#define DIAGS_BOARD_SIM_REACH_H

#include <cstdint>
#include <span>

#include "diags/board/sim/state.h"

namespace diag::board::sim {

// The devices of a bus, in the order of their first addresses.
std::span<Device> devices_on(State &state, BusKind kind, uint32_t bus);

// Those with that first address. Empty with *has_bus false when the bus has no devices at all.
std::span<Device> devices_at(State &state, BusKind kind, uint32_t bus, uint64_t first,
                             bool *has_bus);

struct Listeners {
    uint32_t count = 0;
    uint32_t delay_ms = 0;  // of the slowest
};

// Selects those of the candidates that answer. Who listens is settled before the first byte: what
// an access writes may move a mux.
Status select(State &state, std::span<Device> candidates, Listeners *listeners);

}  // namespace diag::board::sim

#endif
