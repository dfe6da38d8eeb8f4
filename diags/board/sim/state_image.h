// SPDX-License-Identifier: MIT
// A state file before it is written.
#ifndef DIAGS_BOARD_SIM_STATE_IMAGE_H
#define DIAGS_BOARD_SIM_STATE_IMAGE_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "diags/board/sim/layout.h"

namespace diag::board::sim {

struct StateImage {
    std::vector<Device> devices;
    std::vector<Condition> conditions;
    std::vector<Range> ranges;
    std::vector<Cell> cells;
    std::vector<Line> lines;
    std::vector<OemRegister> oem_registers;
    std::array<uint8_t, kNvramSize> nvram = {};
    uint64_t fingerprint = 0;

    // Writes the file at `path`, readable and writable by its owner alone. Throws BoardError.
    void write_to(const std::string &path) const;
};

}  // namespace diag::board::sim

#endif
