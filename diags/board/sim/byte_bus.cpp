// SPDX-License-Identifier: MIT
#include "diags/board/sim/byte_bus.h"

#include <algorithm>

#include "diags/board/sim/reach.h"
#include "diags/board/sim/registers.h"

namespace diag::board::sim {
namespace {

// Addresses from `first` up to, not including, `end`.
struct Span {
    uint64_t first;
    uint64_t end;
};

// The stretch of the table that holds every device with a byte of the access; others may stand
// among them.
std::span<Device> devices_around(std::span<Device> on_bus, const Span &access) {
    const auto behind =
        std::partition_point(on_bus.begin(), on_bus.end(),
                             [&](const Device &device) { return device.first < access.end; });
    auto start = behind;
    while (start != on_bus.begin() && (start - 1)->reach > access.first) {
        --start;
    }
    return {start, behind};
}

bool overlaps(const Device &device, const Span &access) {
    return device.first < access.end && device.end > access.first;
}

// The candidates stand in the order of their first addresses.
bool answer_everywhere(std::span<const Device> candidates, const Span &access) {
    uint64_t covered = access.first;
    for (const Device &device : candidates) {
        if (device.selected != 0 && device.first <= covered) {
            covered = std::max(covered, device.end);
        }
    }
    return covered >= access.end;
}

// Selects the devices that take part in the access.
Status begin(State &state, const BytePlace &place, uint64_t size, std::span<Device> *candidates,
             uint32_t *delay_ms) {
    const std::span<Device> on_bus = devices_on(state, place.kind, place.bus);
    if (on_bus.empty()) {
        return place.kind == BusKind::kPci ? Status::kNoAnswer : Status::kNoSuchBus;
    }
    const Span access = {place.address, place.address + size};
    if (access.end < access.first) {
        return Status::kNoAnswer;
    }
    *candidates = devices_around(on_bus, access);
    Listeners listeners;
    for (Device &device : *candidates) {
        device.selected = 0;
        if (!overlaps(device, access)) {
            continue;
        }
        if (const Status status = select(state, {&device, 1}, &listeners); status != Status::kOk) {
            return status;
        }
    }
    if (!answer_everywhere(*candidates, access)) {
        return Status::kNoAnswer;
    }
    *delay_ms = listeners.delay_ms;
    return Status::kOk;
}

// The part of the access that a device answers, without what lies below its register number 0 and
// above the last one that there can be.
Span part_of(const Device &device, const BytePlace &place, uint64_t size) {
    const uint64_t first = std::max({place.address, device.first, device.base});
    const uint64_t end = std::min(place.address + size, device.end);
    const bool has_numbers = first < end && end - 1 - device.base <= UINT32_MAX;
    return has_numbers ? Span{first, end} : Span{0, 0};
}

// Calls `visit` with each byte of the access that is a register of the device, and its place in the
// data.
template <typename Visit>
Status each_register_byte(State &state, const Device &device, const BytePlace &place, uint64_t size,
                          Visit visit) {
    Registers registers(state, device);
    const Span part = part_of(device, place, size);
    for (uint64_t address = part.first; address < part.end; ++address) {
        const auto number = static_cast<uint32_t>(address - device.base);
        const RegisterByte byte = registers.byte_at(number);
        if (byte.cell != nullptr) {
            visit(byte, static_cast<size_t>(address - place.address));
        }
    }
    return registers.status();
}

// Where several devices have a register, the data is the AND of them, as lines are pulled low. Who
// has none at an address leaves it to those that have one; a byte that nobody drives is 0.
Status read_chunk(State &state, std::span<const Device> candidates, const BytePlace &place,
                  std::span<uint8_t> data) {
    uint64_t driven = 0;
    std::fill(data.begin(), data.end(), uint8_t{0xFF});
    for (const Device &device : candidates) {
        if (device.selected == 0) {
            continue;
        }
        const Status status = each_register_byte(state, device, place, data.size(),
                                                 [&](const RegisterByte &byte, size_t at) {
                                                     data[at] &= byte.read();
                                                     driven |= uint64_t{1} << at;
                                                 });
        if (status != Status::kOk) {
            return status;
        }
    }
    for (size_t at = 0; at < data.size(); ++at) {
        if ((driven >> at & 1) == 0) {
            data[at] = 0;
        }
    }
    return Status::kOk;
}

}  // namespace

Status read_bytes(State &state, const BytePlace &place, std::span<uint8_t> data,
                  uint32_t *delay_ms) {
    constexpr size_t kChunk = 64;  // bytes whose drivers fit into one word
    std::span<Device> candidates;
    Status status = begin(state, place, data.size(), &candidates, delay_ms);
    for (size_t at = 0; status == Status::kOk && at < data.size(); at += kChunk) {
        status = read_chunk(state, candidates, {place.kind, place.bus, place.address + at},
                            data.subspan(at, std::min(kChunk, data.size() - at)));
    }
    return status;
}

Status write_bytes(State &state, const BytePlace &place, std::span<const uint8_t> data,
                   uint32_t *delay_ms) {
    std::span<Device> candidates;
    if (const Status status = begin(state, place, data.size(), &candidates, delay_ms);
        status != Status::kOk) {
        return status;
    }
    for (const Device &device : candidates) {
        if (device.selected == 0) {
            continue;
        }
        const Status status = each_register_byte(
            state, device, place, data.size(),
            [data](const RegisterByte &byte, size_t at) { byte.write(data[at]); });
        if (status != Status::kOk) {
            return status;
        }
    }
    return Status::kOk;
}

}  // namespace diag::board::sim
