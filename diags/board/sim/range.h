// SPDX-License-Identifier: MIT
// From a register number to the byte that it stands for.
#ifndef DIAGS_BOARD_SIM_RANGE_H
#define DIAGS_BOARD_SIM_RANGE_H

#include <cstdint>
#include <span>

#include "diags/board/sim/layout.h"

namespace diag::board::sim {

inline constexpr uint32_t kMaxUnitBytes = 4;

// One byte of a cell.
struct Lane {
    uint64_t cell;
    unsigned shift;
};

// The range that contains a register number, null when the chip has no such register.
const Range *find_range(std::span<const Range> ranges, uint32_t number);

// `byte_in_unit` counts where a register number stands for a whole unit.
Lane lane_of(const Range &range, uint32_t number, uint32_t byte_in_unit);

}  // namespace diag::board::sim

#endif
