// SPDX-License-Identifier: MIT
#include "diags/board/sim/sim_board.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "diags/board/sim/controller.h"
#include "diags/board/sim/gpio.h"
#include "diags/board/sim/i2c_bus.h"

namespace diag::board::sim {
namespace {

void sleep_ms(uint32_t milliseconds) {
    timespec left = {.tv_sec = static_cast<time_t>(milliseconds / 1000),
                     .tv_nsec = static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

// Nothing stands at the key of a function that cannot be.
BytePlace place_of(const PciFunction &function, uint32_t offset) {
    const bool can_be = function.bus <= 0xFF && function.device <= 31 && function.function <= 7;
    return {BusKind::kPci,
            can_be ? pci_bus_key(function.bus, function.device, function.function) : UINT32_MAX,
            offset};
}

}  // namespace

template <typename Work>
Status SimBoard::access(Work work) {
    uint32_t delay_ms = 0;
    Status status = Status::kOk;
    {
        const State::Lock lock(state_);
        status = lock.status() == Status::kOk ? work(&delay_ms) : lock.status();
    }
    if (delay_ms != 0) {
        sleep_ms(delay_ms);  // here, not under the lock: a slow device delays only who asks it
    }
    return status;
}

Status SimBoard::i2c_transfer(const I2cTransfer &transfer) {
    return access([&](uint32_t *delay_ms) {
        return sim::transfer(state_, BusKind::kI2c, transfer, delay_ms);
    });
}

// The width of the items makes no difference here: an access takes place as a whole or not at all.
Status SimBoard::read(const BytePlace &place, std::span<uint8_t> data) {
    return access([&](uint32_t *delay_ms) { return read_bytes(state_, place, data, delay_ms); });
}

Status SimBoard::write(const BytePlace &place, std::span<const uint8_t> data) {
    return access([&](uint32_t *delay_ms) { return write_bytes(state_, place, data, delay_ms); });
}

Status SimBoard::lpc_read(uint32_t address, unsigned /*item_bytes*/, std::span<uint8_t> data) {
    return read({BusKind::kLpc, 0, address}, data);
}

Status SimBoard::lpc_write(uint32_t address, unsigned /*item_bytes*/,
                           std::span<const uint8_t> data) {
    return write({BusKind::kLpc, 0, address}, data);
}

Status SimBoard::pci_read(const PciFunction &function, uint32_t offset, unsigned /*item_bytes*/,
                          std::span<uint8_t> data) {
    return read(place_of(function, offset), data);
}

Status SimBoard::pci_write(const PciFunction &function, uint32_t offset, unsigned /*item_bytes*/,
                           std::span<const uint8_t> data) {
    return write(place_of(function, offset), data);
}

Status SimBoard::memory_read(uint64_t address, unsigned /*item_bytes*/, std::span<uint8_t> data) {
    return read({BusKind::kMemory, 0, address}, data);
}

Status SimBoard::memory_write(uint64_t address, unsigned /*item_bytes*/,
                              std::span<const uint8_t> data) {
    return write({BusKind::kMemory, 0, address}, data);
}

Status SimBoard::gpio_read(unsigned chip, unsigned line, bool *is_high) {
    return access([&](uint32_t * /*delay_ms*/) {
        Line *found = nullptr;
        const Status status = find_line(state_, chip, line, &found);
        if (status == Status::kOk) {
            *is_high = found->is_high != 0;
        }
        return status;
    });
}

Status SimBoard::gpio_write(unsigned chip, unsigned line, bool is_high) {
    return access([&](uint32_t * /*delay_ms*/) {
        Line *found = nullptr;
        const Status status = find_line(state_, chip, line, &found);
        if (status == Status::kOk) {
            found->is_high = is_high ? 1 : 0;
        }
        return status;
    });
}

Status SimBoard::ipmi_raw(const IpmiRequest &request, IpmiResponse *response) {
    return access([&](uint32_t *delay_ms) { return answer(state_, request, response, delay_ms); });
}

Status SimBoard::nvram_read(std::span<uint8_t, kNvramSize> block) {
    return access([&](uint32_t * /*delay_ms*/) {
        std::copy(state_.nvram().begin(), state_.nvram().end(), block.begin());
        return Status::kOk;
    });
}

}  // namespace diag::board::sim
