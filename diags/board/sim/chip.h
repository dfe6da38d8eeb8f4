// SPDX-License-Identifier: MIT
// How a chip behaves on the wire: a register pointer that the first bytes of a write phase set and
// that moves on with each data byte.
#ifndef DIAGS_BOARD_SIM_CHIP_H
#define DIAGS_BOARD_SIM_CHIP_H

#include <cstdint>
#include <span>

#include "diags/board/sim/state.h"

namespace diag::board::sim {

// One device of a state, for the time of one transfer; the state's lock is held meanwhile.
class Chip {
  public:
    Chip(State &state, Device &device);

    Status write(std::span<const uint8_t> bytes);

    // Lines are pulled low, never high: each byte on the bus becomes its AND with the chip's.
    Status read_onto(std::span<uint8_t> bus);

    // What a register's byte holds, looked at from inside: access rights and faults do not count.
    Status peek(uint32_t number, uint8_t *byte);

  private:
    // The byte of a cell that a register number leads to; no cell where the chip has no register.
    struct Target {
        Cell *cell = nullptr;
        unsigned shift = 0;
    };

    std::span<const uint8_t> take_pointer(std::span<const uint8_t> bytes);
    Target target_at(const Range *range, uint32_t number);
    void advance(const Range *range);
    uint32_t highest_number() const { return device_.pointer_bytes > 1 ? 0xFFFF : 0xFF; }

    State &state_;
    Device &device_;
    bool damaged_ = false;
    std::span<const Range> ranges_;
    uint32_t byte_in_unit_ = 0;  // where a register number stands for a whole unit
};

}  // namespace diag::board::sim

#endif
