// SPDX-License-Identifier: MIT
#include "diags/board/sim/i2c_bus.h"

#include <algorithm>

#include "diags/board/pec.h"
#include "diags/board/sim/chip.h"
#include "diags/board/sim/reach.h"

namespace diag::board::sim {
namespace {

constexpr uint8_t kIdleBus = 0xFF;  // what a bus reads when nobody pulls it low

// A device that checks packet error codes takes nothing from a transfer whose code is wrong.
Status check_pec(const I2cTransfer &transfer, std::span<const uint8_t> *payload) {
    *payload = transfer.write;
    if (!transfer.write_has_pec) {
        return Status::kOk;
    }
    if (transfer.write.empty()) {
        return Status::kBadPec;
    }
    *payload = transfer.write.first(transfer.write.size() - 1);
    const uint8_t expected = write_pec(transfer.address, *payload);
    return expected == transfer.write.back() ? Status::kOk : Status::kBadPec;
}

}  // namespace

Status transfer(State &state, BusKind kind, const I2cTransfer &transfer, uint32_t *delay_ms) {
    bool has_bus = false;
    const std::span<Device> candidates =
        devices_at(state, kind, transfer.bus, transfer.address, &has_bus);
    if (!has_bus) {
        return Status::kNoSuchBus;
    }
    Listeners listeners;
    if (const Status status = select(state, candidates, &listeners); status != Status::kOk) {
        return status;
    }
    if (listeners.count == 0) {
        return Status::kNoAnswer;
    }
    *delay_ms = listeners.delay_ms;
    std::span<const uint8_t> payload;
    if (const Status status = check_pec(transfer, &payload); status != Status::kOk) {
        return status;
    }
    std::fill(transfer.read.begin(), transfer.read.end(), kIdleBus);
    for (Device &device : candidates) {
        if (device.selected == 0) {
            continue;
        }
        Chip chip(state, device);
        Status status = chip.write(payload);
        if (status == Status::kOk) {
            status = chip.read_onto(transfer.read);
        }
        if (status != Status::kOk) {
            return status;
        }
    }
    return Status::kOk;
}

}  // namespace diag::board::sim
