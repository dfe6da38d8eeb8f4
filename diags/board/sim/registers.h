// SPDX-License-Identifier: MIT
// The registers of one device, byte by byte: access rights and faults as they are seen from
// outside.
#ifndef DIAGS_BOARD_SIM_REGISTERS_H
#define DIAGS_BOARD_SIM_REGISTERS_H

#include <cstdint>
#include <span>

#include "diags/board/sim/state.h"

namespace diag::board::sim {

// One byte of a cell; no cell where the device has no register.
struct RegisterByte {
    Cell *cell = nullptr;
    unsigned shift = 0;

    uint8_t read() const;
    void write(uint8_t byte) const;

    // Looked at from inside: access rights and faults do not count.
    uint8_t peek() const;
};

// For the time of one access; the state's lock is held meanwhile.
class Registers {
  public:
    Registers(State &state, const Device &device);

    // Null where the device has no register of that number.
    const Range *range_at(uint32_t number) const;

    // `byte_in_unit` counts where a register number stands for a whole unit.
    RegisterByte byte_at(const Range *range, uint32_t number, uint32_t byte_in_unit);
    RegisterByte byte_at(uint32_t number) { return byte_at(range_at(number), number, 0); }

    // Whether one of the indices so far has led nowhere.
    Status status() const { return damaged_ ? Status::kDamaged : Status::kOk; }

  private:
    State &state_;
    bool damaged_ = false;
    std::span<const Range> ranges_;
};

}  // namespace diag::board::sim

#endif
