// SPDX-License-Identifier: MIT
#include "diags/board/sim/chip.h"

#include <algorithm>

namespace diag::board::sim {

Status Chip::write(std::span<const uint8_t> bytes) {
    for (uint8_t byte : take_pointer(bytes)) {
        const Range *range = registers_.range_at(device_.pointer);
        registers_.byte_at(range, device_.pointer, byte_in_unit_).write(byte);
        advance(range);
    }
    return registers_.status();
}

Status Chip::read_onto(std::span<uint8_t> bus) {
    byte_in_unit_ = 0;
    for (uint8_t &byte : bus) {
        const Range *range = registers_.range_at(device_.pointer);
        byte &= registers_.byte_at(range, device_.pointer, byte_in_unit_).read();
        advance(range);
    }
    return registers_.status();
}

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
    device_.pointer = next & (device_.pointer_bytes > 1 ? 0xFFFF : 0xFF);
}

}  // namespace diag::board::sim
