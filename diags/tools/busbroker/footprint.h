// SPDX-License-Identifier: MIT
// What an access may touch, so that accesses of several clients can be held apart.
#ifndef DIAGS_TOOLS_BUSBROKER_FOOTPRINT_H
#define DIAGS_TOOLS_BUSBROKER_FOOTPRINT_H

#include <algorithm>
#include <cstdint>

namespace diag::daemon {

enum class BusKind : uint8_t { kI2c, kBmc, kLpc, kMemory, kPci, kGpio };

// Places `begin` to `end` - 1 of one bus: device addresses on I2C, bytes on LPC and in memory,
// lines of a GPIO chip. A PCI function counts as a bus of its own.
struct Footprint {
    BusKind kind = BusKind::kI2c;
    uint32_t bus = 0;
    uint64_t begin = 0;
    uint64_t end = 0;

    bool operator==(const Footprint &) const = default;

    bool is_on_bus_of(const Footprint &other) const {
        return kind == other.kind && bus == other.bus;
    }
    bool overlaps(const Footprint &other) const {
        return is_on_bus_of(other) && begin < other.end && other.begin < end;
    }
    // For footprints on the same bus.
    Footprint joined(const Footprint &other) const {
        return {kind, bus, std::min(begin, other.begin), std::max(end, other.end)};
    }
};

inline constexpr uint64_t kEndOfBus = UINT64_MAX;

}  // namespace diag::daemon

#endif
