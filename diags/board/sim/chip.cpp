// SPDX-License-Identifier: MIT
#include "diags/board/sim/chip.h"

#include <algorithm>

#include "diags/board/sim/range.h"

namespace diag::board::sim {
namespace {

uint8_t read_lane(Cell &cell, unsigned shift) {
    const uint32_t seen = ((cell.value & cell.readable) | cell.stuck_high) & ~cell.stuck_low;
    cell.value &= ~(cell.clear_on_read & (uint32_t{0xFF} << shift));
    return static_cast<uint8_t>(seen >> shift);
}

void write_lane(Cell &cell, unsigned shift, uint8_t byte) {
    const uint32_t lane = cell.writable & (uint32_t{0xFF} << shift);
    cell.value = (cell.value & ~lane) | ((uint32_t{byte} << shift) & lane);
}

}  // namespace

Chip::Chip(State &state, Device &device)
    : state_(state), device_(device), ranges_(state.ranges_of(device, &damaged_)) {}

Status Chip::write(std::span<const uint8_t> bytes) {
    for (uint8_t byte : take_pointer(bytes)) {
        const Range *range = find_range(ranges_, device_.pointer);
        const Target target = target_at(range, device_.pointer);
        if (target.cell != nullptr) {
            write_lane(*target.cell, target.shift, byte);
        }
        advance(range);
    }
    return damaged_ ? Status::kDamaged : Status::kOk;
}

Status Chip::read_onto(std::span<uint8_t> bus) {
    byte_in_unit_ = 0;
    for (uint8_t &byte : bus) {
        const Range *range = find_range(ranges_, device_.pointer);
        const Target target = target_at(range, device_.pointer);
        byte &= target.cell != nullptr ? read_lane(*target.cell, target.shift) : uint8_t{0};
        advance(range);
    }
    return damaged_ ? Status::kDamaged : Status::kOk;
}

Status Chip::peek(uint32_t number, uint8_t *byte) {
    byte_in_unit_ = 0;
    number &= highest_number();
    const Target target = target_at(find_range(ranges_, number), number);
    *byte = target.cell != nullptr ? static_cast<uint8_t>(target.cell->value >> target.shift)
                                   : uint8_t{0};
    return damaged_ ? Status::kDamaged : Status::kOk;
}

// A write phase without bytes only asks whether the chip is there.
std::span<const uint8_t> Chip::take_pointer(std::span<const uint8_t> bytes) {
    if (bytes.empty()) {
        return bytes;
    }
    byte_in_unit_ = 0;
    if (device_.pointer_bytes <= 1) {
        device_.pointer = bytes[0];
        return bytes.subspan(1);
    }
    const uint32_t first = bytes[0];
    const uint32_t second = bytes.size() > 1 ? bytes[1] : 0;
    device_.pointer = device_.little_endian != 0 ? first | second << 8 : first << 8 | second;
    return bytes.subspan(std::min<size_t>(bytes.size(), 2));
}

Chip::Target Chip::target_at(const Range *range, uint32_t number) {
    if (range == nullptr) {
        return {};
    }
    if (range->unit_bytes == 0 || range->unit_bytes > kMaxUnitBytes) {
        damaged_ = true;
        return {};
    }
    const Lane lane = lane_of(*range, number, byte_in_unit_);
    Cell *cell = state_.cell(lane.cell);
    damaged_ = damaged_ || cell == nullptr;
    return {cell, lane.shift};
}

void Chip::advance(const Range *range) {
    uint32_t next = device_.pointer + 1;
    if (range != nullptr && (range->flags & kRangeByUnit) != 0) {
        if (++byte_in_unit_ < range->unit_bytes) {
            return;
        }
        byte_in_unit_ = 0;
        if (next - range->first >= range->count) {
            next = range->next;
        }
    }
    device_.pointer = next & highest_number();
}

}  // namespace diag::board::sim
