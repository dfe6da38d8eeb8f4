// SPDX-License-Identifier: MIT
#include "diags/board/sim/reach.h"

#include <algorithm>

#include "diags/board/sim/registers.h"

namespace diag::board::sim {
namespace {

// Kind and number of a bus in one key.
constexpr uint64_t bus_key(BusKind kind, uint32_t bus) {
    return uint64_t{static_cast<uint8_t>(kind)} << 32 | bus;
}

struct ByBus {
    static uint64_t key(const Device &device) { return bus_key(device.kind, device.bus); }
    bool operator()(const Device &a, uint64_t bus) const { return key(a) < bus; }
    bool operator()(uint64_t bus, const Device &b) const { return bus < key(b); }
};

// A mux that does not answer passes nothing on.
Status look_at_register(State &state, const Condition &condition, bool *passes, uint8_t *held) {
    const Device *mux = state.device(condition.target);
    if (mux == nullptr) {
        return Status::kDamaged;
    }
    Registers registers(state, *mux);
    *held = registers.byte_at(condition.number).peek();
    *passes = mux->no_answer == 0;
    return registers.status();
}

Status look_at_line(const State &state, const Condition &condition, bool *passes, uint8_t *held) {
    const Line *line = state.line(condition.target);
    if (line == nullptr) {
        return Status::kDamaged;
    }
    *held = line->is_high != 0 ? 1 : 0;
    *passes = true;
    return Status::kOk;
}

// The muxes in front of this one have conditions of their own further up the same list.
Status is_satisfied(State &state, const Condition &condition, bool *satisfied) {
    bool passes = false;
    uint8_t held = 0;
    Status status = Status::kDamaged;
    switch (condition.kind) {
        case ConditionKind::kRegister:
            status = look_at_register(state, condition, &passes, &held);
            break;
        case ConditionKind::kLine:
            status = look_at_line(state, condition, &passes, &held);
            break;
    }
    *satisfied = passes && (held & condition.mask) == (condition.value & condition.mask);
    return status;
}

Status is_reachable(State &state, const Device &device, bool *reachable) {
    *reachable = false;
    if (device.no_answer != 0) {
        return Status::kOk;
    }
    bool damaged = false;
    for (const Condition &condition : state.conditions_of(device, &damaged)) {
        bool satisfied = false;
        const Status status = is_satisfied(state, condition, &satisfied);
        if (status != Status::kOk || !satisfied) {
            return status;
        }
    }
    *reachable = !damaged;
    return damaged ? Status::kDamaged : Status::kOk;
}

}  // namespace

std::span<Device> devices_on(State &state, BusKind kind, uint32_t bus) {
    const auto all = state.devices();
    const auto found = std::equal_range(all.begin(), all.end(), bus_key(kind, bus), ByBus());
    return {found.first, found.second};
}

// One search: every I2C transfer begins with it.
std::span<Device> devices_at(State &state, BusKind kind, uint32_t bus, uint64_t first,
                             bool *has_bus) {
    const uint64_t key = bus_key(kind, bus);
    const auto all = state.devices();
    const auto start = std::partition_point(all.begin(), all.end(), [&](const Device &device) {
        const uint64_t its_key = ByBus::key(device);
        return its_key < key || (its_key == key && device.first < first);
    });
    const auto is_on_bus = [key](const Device &device) { return ByBus::key(device) == key; };
    auto end = start;
    while (end != all.end() && is_on_bus(*end) && end->first == first) {
        ++end;
    }
    *has_bus = (start != all.end() && is_on_bus(*start)) ||
               (start != all.begin() && is_on_bus(*(start - 1)));
    return {start, end};
}

Status select(State &state, std::span<Device> candidates, Listeners *listeners) {
    for (Device &device : candidates) {
        bool reachable = false;
        if (const Status status = is_reachable(state, device, &reachable); status != Status::kOk) {
            return status;
        }
        device.selected = reachable ? 1 : 0;
        if (reachable) {
            ++listeners->count;
            listeners->delay_ms = std::max(listeners->delay_ms, device.delay_ms);
        }
    }
    return Status::kOk;
}

}  // namespace diag::board::sim
