// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/execution.h"

#include <algorithm>
#include <optional>

#include "diags/tools/busbroker/controller.h"

namespace diag::daemon {
namespace {

using board::Status;
using broker::Outcome;

constexpr uint64_t kEndOfLpc = uint64_t{1} << 32;
constexpr uint64_t kEndOfConfigurationSpace = 4096;
constexpr uint32_t kWidths[] = {8, 16, 32, 64};

// The register number and what follows it, as they go over the wire.
class WireBytes {
  public:
    void append(uint32_t byte) { bytes_[size_++] = static_cast<uint8_t>(byte); }
    void append(std::span<const uint8_t> bytes) {
        std::ranges::copy(bytes, bytes_.begin() + static_cast<std::ptrdiff_t>(size_));
        size_ += bytes.size();
    }
    std::span<const uint8_t> bytes() const { return {bytes_.data(), size_}; }

  private:
    std::array<uint8_t, broker::kMaxWriteBytes + 2> bytes_;  // left unset: every access makes one
    size_t size_ = 0;
};

unsigned register_bits(const Device &device, const Access &access) {
    if (access.has(broker::kNoRegister)) {
        return 0;
    }
    return access.has(broker::kRegister16) ? 16 : device.register_bits;
}

WireBytes wire_bytes(const Device &device, const Access &access) {
    WireBytes wire;
    if (access.has(broker::kNoData)) {
        return wire;
    }
    const unsigned bits = register_bits(device, access);
    if (bits == 8) {
        wire.append(access.address);
    } else if (bits == 16) {
        wire.append(device.low_byte_first ? access.address : access.address >> 8);
        wire.append(device.low_byte_first ? access.address >> 8 : access.address);
    }
    wire.append(access.data);
    return wire;
}

Outcome check_options(const Access &access) {
    using namespace broker;
    const bool contradicts = access.has(kRegister16) && access.has(kNoRegister);
    const bool is_address_alone = access.has(kNoData) && access.options != kNoData;
    const bool reads = !access.is_write && (access.has(kNoData) || access.has(kPec));
    const bool lacks_pec = access.has(kPec) && access.data.empty();
    return contradicts || is_address_alone || reads || lacks_pec ? Outcome::kInvalidRequest
                                                                 : Outcome::kSuccess;
}

Outcome check_pointer_access(const Device &device, const Access &access) {
    if (const Outcome outcome = check_options(access); outcome != Outcome::kSuccess) {
        return outcome;
    }
    if (!access.is_write && access.count == 0) {
        return Outcome::kInvalidRequest;
    }
    const unsigned bits = register_bits(device, access);
    const bool needs_number = bits != 0 && !access.has(broker::kNoData);
    return needs_number && access.address >> bits != 0 ? Outcome::kInvalidRequest
                                                       : Outcome::kSuccess;
}

Outcome check_controller_access(const Device &device, const Access &access) {
    if (const Outcome outcome = check_pointer_access(device, access);
        outcome != Outcome::kSuccess) {
        return outcome;
    }
    const size_t written = device.register_bits / 8 + access.data.size();
    const size_t read = access.is_write ? 0 : access.count;
    return written > kMaxControllerWrite || read > kMaxControllerRead ? Outcome::kTooLong
                                                                      : Outcome::kSuccess;
}

// A space of bytes that ends at `end`.
Outcome check_bytes(const Device &device, const Access &access, std::optional<uint64_t> end) {
    const uint64_t first = device.base + access.address;
    const uint32_t item = access.width / 8;
    if (access.count == 0 || access.count % item != 0 || first % item != 0) {
        return Outcome::kInvalidRequest;
    }
    return end && first + access.count > *end ? Outcome::kInvalidRequest : Outcome::kSuccess;
}

Outcome check_gpio_access(const Access &access) {
    const bool is_level = !access.is_write || (!access.data.empty() && access.data[0] <= 1);
    return access.count == 1 && is_level ? Outcome::kSuccess : Outcome::kInvalidRequest;
}

uint32_t widest(BusKind kind) {
    switch (kind) {
        case BusKind::kMemory:
            return 64;
        case BusKind::kGpio:
            return 8;
        default:
            return 32;
    }
}

Outcome check_kind(const Device &device, const Access &access) {
    switch (device.kind) {
        case BusKind::kI2c:
            return check_pointer_access(device, access);
        case BusKind::kBmc:
            return check_controller_access(device, access);
        case BusKind::kLpc:
            return check_bytes(device, access, kEndOfLpc);
        case BusKind::kMemory:
            return check_bytes(device, access, std::nullopt);
        case BusKind::kPci:
            return check_bytes(device, access, kEndOfConfigurationSpace);
        case BusKind::kGpio:
            return check_gpio_access(access);
    }
    return Outcome::kNotSupported;
}

Outcome outcome_of(Status status) {
    switch (status) {
        case Status::kOk:
            return Outcome::kSuccess;
        case Status::kNoAnswer:
            return Outcome::kNoAnswer;
        case Status::kNotSupported:
            return Outcome::kNotSupported;
        case Status::kNoSuchBus:
        case Status::kNoSuchLine:
            return Outcome::kUnknownDevice;
        default:
            return Outcome::kAccessFailed;
    }
}

Status access_gpio(board::Board &board, const Device &device, const Access &access,
                   std::span<uint8_t> read) {
    if (access.is_write) {
        return board.gpio_write(device.bus, access.address, access.data[0] != 0);
    }
    bool is_high = false;
    const Status status = board.gpio_read(device.bus, access.address, &is_high);
    read[0] = is_high ? 1 : 0;
    return status;
}

Status access_bytes(board::Board &board, const Device &device, const Access &access,
                    std::span<uint8_t> read) {
    const uint64_t address = device.base + access.address;
    const auto low = static_cast<uint32_t>(address);
    const unsigned item = access.width / 8;
    switch (device.kind) {
        case BusKind::kLpc:
            return access.is_write ? board.lpc_write(low, item, access.data)
                                   : board.lpc_read(low, item, read);
        case BusKind::kPci:
            return access.is_write ? board.pci_write(device.function, low, item, access.data)
                                   : board.pci_read(device.function, low, item, read);
        default:
            return access.is_write ? board.memory_write(address, item, access.data)
                                   : board.memory_read(address, item, read);
    }
}

Status access_device(board::Board &board, const Device &device, const Access &access,
                     std::span<uint8_t> read) {
    switch (device.kind) {
        case BusKind::kI2c: {
            const WireBytes wire = wire_bytes(device, access);
            return board.i2c_transfer({.bus = device.bus,
                                       .address = device.address,
                                       .write = wire.bytes(),
                                       .read = read,
                                       .write_has_pec = access.has(broker::kPec)});
        }
        case BusKind::kBmc: {
            const WireBytes wire = wire_bytes(device, access);
            return transfer_behind_controller(board, device.bus, device.address, wire.bytes(),
                                              read);
        }
        case BusKind::kGpio:
            return access_gpio(board, device, access, read);
        default:
            return access_bytes(board, device, access, read);
    }
}

}  // namespace

Outcome check_access(const Device &device, const Access &access) {
    if (access.count > (access.is_write ? broker::kMaxWriteBytes : broker::kMaxReadBytes)) {
        return Outcome::kTooLong;
    }
    if (access.options != 0 && device.kind != BusKind::kI2c) {
        return Outcome::kNotSupported;
    }
    const bool has_items = !access.has(broker::kNoData);
    if (has_items && std::ranges::find(kWidths, access.width) == std::end(kWidths)) {
        return Outcome::kInvalidRequest;
    }
    if (has_items && access.width > widest(device.kind)) {
        return Outcome::kNotSupported;
    }
    return check_kind(device, access);
}

Outcome execute(board::Board &board, const Device &device, const Access &access,
                ReadBuffer *buffer) {
    if (const Status status = set_muxes(board, device.muxes); status != Status::kOk) {
        return outcome_of(status);
    }
    const auto read = std::span(*buffer).first(access.is_write ? 0 : access.count);
    return outcome_of(access_device(board, device, access, read));
}

}  // namespace diag::daemon
