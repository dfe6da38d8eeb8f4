// SPDX-License-Identifier: MIT
// How a chip behaves on the wires of an I2C bus: a register pointer that the first bytes of a write
// phase set and that moves on with each data byte.
#ifndef DIAGS_BOARD_SIM_CHIP_H
#define DIAGS_BOARD_SIM_CHIP_H

#include <cstdint>
#include <span>

#include "diags/board/sim/registers.h"

namespace diag::board::sim {

// One device of a state, for the time of one transfer; the state's lock is held meanwhile.
class Chip {
  public:
    Chip(State &state, Device &device) : device_(device), registers_(state, device) {}

    Status write(std::span<const uint8_t> bytes);

    // Lines are pulled low, never high: each byte on the bus becomes its AND with the chip's.
    Status read_onto(std::span<uint8_t> bus);

  private:
    std::span<const uint8_t> take_pointer(std::span<const uint8_t> bytes);
    void advance(const Range *range);

    Device &device_;
    Registers registers_;
    uint32_t byte_in_unit_ = 0;  // where a register number stands for a whole unit
};

}  // namespace diag::board::sim

#endif
