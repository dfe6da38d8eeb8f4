// SPDX-License-Identifier: MIT
// Buses on which every byte has an address of its own: LPC, PCI configuration space, memory.
#ifndef DIAGS_BOARD_SIM_BYTE_BUS_H
#define DIAGS_BOARD_SIM_BYTE_BUS_H

#include <cstdint>
#include <span>

#include "diags/board/sim/state.h"

namespace diag::board::sim {

struct BytePlace {
    BusKind kind;
    uint32_t bus;  // pci_bus_key(), else 0
    uint64_t address;
};

// The state's lock is held. Nothing is done unless every byte of the access has a device that
// answers. *delay_ms is what the access takes longer than no time, whatever its outcome.
Status read_bytes(State &state, const BytePlace &place, std::span<uint8_t> data,
                  uint32_t *delay_ms);
Status write_bytes(State &state, const BytePlace &place, std::span<const uint8_t> data,
                   uint32_t *delay_ms);

}  // namespace diag::board::sim

#endif
