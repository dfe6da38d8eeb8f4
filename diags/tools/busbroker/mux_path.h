// SPDX-License-Identifier: MIT
// The muxes on the way to a chip.
#ifndef DIAGS_TOOLS_BUSBROKER_MUX_PATH_H
#define DIAGS_TOOLS_BUSBROKER_MUX_PATH_H

#include <cstdint>
#include <string>
#include <vector>

#include "device_tree.h"

#include "diags/board/board.h"

namespace diag::daemon {

struct MuxStep {
    // Over which bus the mux is set. kController and kMaster are two requests of the board
    // management controller for the same thing: boards know one or the other.
    enum class Kind : uint8_t { kI2c, kController, kMaster, kGpio, kMemory };

    Kind kind = Kind::kI2c;
    uint32_t bus = 0;      // I2C bus, the host's or the controller's
    uint32_t address = 0;  // of the mux, of the byte of memory; the GPIO chip
    uint32_t number = 0;   // register; GPIO line
    uint8_t mask = 0;      // bits of the byte of memory that select
    uint8_t value = 0;
};

using MuxPath = std::vector<MuxStep>;

// The steps of a chain, from the host on. With `problem` set, one of them cannot be set and the
// path is of no use.
MuxPath make_mux_path(const mux_entry *first, std::string *problem);

// Sets each mux, up to the first that fails.
board::Status set_muxes(board::Board &board, const MuxPath &path);

}  // namespace diag::daemon

#endif
