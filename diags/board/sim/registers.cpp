// SPDX-License-Identifier: MIT
#include "diags/board/sim/registers.h"

#include "diags/board/sim/range.h"

namespace diag::board::sim {

uint8_t RegisterByte::read() const {
    if (cell == nullptr) {
        return 0;
    }
    const uint32_t seen = ((cell->value & cell->readable) | cell->stuck_high) & ~cell->stuck_low;
    cell->value &= ~(cell->clear_on_read & (uint32_t{0xFF} << shift));
    return static_cast<uint8_t>(seen >> shift);
}

void RegisterByte::write(uint8_t byte) const {
    if (cell != nullptr) {
        const uint32_t lane = cell->writable & (uint32_t{0xFF} << shift);
        cell->value = (cell->value & ~lane) | ((uint32_t{byte} << shift) & lane);
    }
}

uint8_t RegisterByte::peek() const {
    return cell != nullptr ? static_cast<uint8_t>(cell->value >> shift) : uint8_t{0};
}

Registers::Registers(State &state, const Device &device)
    : state_(state), ranges_(state.ranges_of(device, &damaged_)) {}

const Range *Registers::range_at(uint32_t number) const {
    return find_range(ranges_, number);
}

RegisterByte Registers::byte_at(const Range *range, uint32_t number, uint32_t byte_in_unit) {
    if (range == nullptr) {
        return {};
    }
    if (range->unit_bytes == 0 || range->unit_bytes > kMaxUnitBytes) {
        damaged_ = true;
        return {};
    }
    const Lane lane = lane_of(*range, number, byte_in_unit);
    Cell *cell = state_.cell(lane.cell);
    damaged_ = damaged_ || cell == nullptr;
    return {cell, lane.shift};
}

}  // namespace diag::board::sim
