// SPDX-License-Identifier: MIT
#include "diags/board/sim/sim_board.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

#include "diags/board/pec.h"
#include "diags/board/sim/chip.h"

namespace diag::board::sim {
namespace {

constexpr uint8_t kIdleBus = 0xFF;  // what a bus reads when nobody pulls it low

void sleep_ms(uint32_t milliseconds) {
    timespec left = {.tv_sec = static_cast<time_t>(milliseconds / 1000),
                     .tv_nsec = static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

using BusAddress = std::pair<uint32_t, uint32_t>;

struct ByBusAndAddress {
    static BusAddress key(const Device &device) { return {device.bus, device.address}; }
    bool operator()(const Device &a, BusAddress b) const { return key(a) < b; }
    bool operator()(BusAddress a, const Device &b) const { return a < key(b); }
};

struct ByBus {
    bool operator()(const Device &a, uint32_t bus) const { return a.bus < bus; }
    bool operator()(uint32_t bus, const Device &b) const { return bus < b.bus; }
};

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

Status SimBoard::i2c_transfer(const I2cTransfer &transfer) {
    uint32_t delay_ms = 0;
    const Status status = run(transfer, &delay_ms);
    if (delay_ms != 0) {
        sleep_ms(delay_ms);  // here, not under the lock: a slow device delays only who asks it
    }
    return status;
}

Status SimBoard::run(const I2cTransfer &transfer, uint32_t *delay_ms) {
    const State::Lock lock(state_);
    if (lock.status() != Status::kOk) {
        return lock.status();
    }
    Listeners listeners;
    if (const Status status = select(transfer, &listeners); status != Status::kOk) {
        return status;
    }
    *delay_ms = listeners.delay_ms;
    std::span<const uint8_t> payload;
    if (const Status status = check_pec(transfer, &payload); status != Status::kOk) {
        return status;
    }
    std::fill(transfer.read.begin(), transfer.read.end(), kIdleBus);
    for (Device &device : listeners.candidates) {
        if (device.selected == 0) {
            continue;
        }
        Chip chip(state_, device);
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

// Who listens is settled before the first byte: what the transfer writes may move a mux.
Status SimBoard::select(const I2cTransfer &transfer, Listeners *listeners) {
    const auto all = state_.devices();
    const auto on_bus = std::equal_range(all.begin(), all.end(), transfer.bus, ByBus());
    if (on_bus.first == on_bus.second) {
        return Status::kNoSuchBus;
    }
    const auto found = std::equal_range(
        on_bus.first, on_bus.second, BusAddress(transfer.bus, transfer.address), ByBusAndAddress());
    listeners->candidates = {found.first, found.second};
    for (Device &device : listeners->candidates) {
        bool reachable = false;
        if (const Status status = is_reachable(device, &reachable); status != Status::kOk) {
            return status;
        }
        device.selected = reachable ? 1 : 0;
        if (reachable) {
            ++listeners->count;
            listeners->delay_ms = std::max(listeners->delay_ms, device.delay_ms);
        }
    }
    return listeners->count != 0 ? Status::kOk : Status::kNoAnswer;
}

Status SimBoard::is_reachable(const Device &device, bool *reachable) {
    *reachable = false;
    if (device.no_answer != 0) {
        return Status::kOk;
    }
    bool damaged = false;
    for (const Condition &condition : state_.conditions_of(device, &damaged)) {
        bool satisfied = false;
        const Status status = is_satisfied(condition, &satisfied);
        if (status != Status::kOk || !satisfied) {
            return status;
        }
    }
    *reachable = !damaged;
    return damaged ? Status::kDamaged : Status::kOk;
}

// A mux that does not answer passes nothing on. The muxes in front of it have conditions of their
// own further up the same list.
Status SimBoard::is_satisfied(const Condition &condition, bool *satisfied) {
    Device *mux = state_.device(condition.device);
    if (mux == nullptr) {
        return Status::kDamaged;
    }
    uint8_t byte = 0;
    const Status status = Chip(state_, *mux).peek(condition.number, &byte);
    *satisfied =
        mux->no_answer == 0 && (byte & condition.mask) == (condition.value & condition.mask);
    return status;
}

Status SimBoard::nvram_read(std::span<uint8_t, kNvramSize> block) {
    const State::Lock lock(state_);
    if (lock.status() == Status::kOk) {
        std::copy(state_.nvram().begin(), state_.nvram().end(), block.begin());
    }
    return lock.status();
}

}  // namespace diag::board::sim
