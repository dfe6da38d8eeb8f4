// SPDX-License-Identifier: MIT
#include "diags/board/i2c_register.h"

#include <algorithm>
#include <array>
#include <utility>

#include "diags/board/pec.h"

namespace diag::board {
namespace {

class WireBuffer {
  public:
    void append(uint8_t byte) { bytes_[size_++] = byte; }

    void append(std::span<const uint8_t> bytes) {
        std::copy(bytes.begin(), bytes.end(), bytes_.begin() + size_);
        size_ += bytes.size();
    }

    std::span<uint8_t> tail(size_t count) { return {bytes_.data() + size_ - count, count}; }
    std::span<const uint8_t> bytes() const { return {bytes_.data(), size_}; }

  private:
    // Left unset on purpose: the first touch of a page costs more than the whole transfer.
    std::array<uint8_t, kMaxI2cMessage> bytes_;
    size_t size_ = 0;
};

bool number_is_wide(const I2cRegister &reg) {
    return reg.number_width == NumberWidth::k16 ||
           (reg.number_width == NumberWidth::kBlock && reg.number > 0xFF);
}

bool items_are_wide(const I2cRegister &reg) {
    return reg.wide_items && reg.number_width != NumberWidth::kBlock;
}

void append_number(WireBuffer &wire, const I2cRegister &reg) {
    const auto low = static_cast<uint8_t>(reg.number);
    if (!number_is_wide(reg)) {
        wire.append(low);
        return;
    }
    const auto high = static_cast<uint8_t>(reg.number >> 8);
    wire.append(reg.little_endian ? low : high);
    wire.append(reg.little_endian ? high : low);
}

// Host order to wire order and back: the same exchange.
void reorder_items(const I2cRegister &reg, std::span<uint8_t> data) {
    if (!items_are_wide(reg) || reg.little_endian) {
        return;
    }
    for (size_t i = 0; i + 1 < data.size(); i += 2) {
        std::swap(data[i], data[i + 1]);
    }
}

}  // namespace

RegisterProblem check_register(const I2cRegister &reg, size_t count) {
    const uint32_t highest = reg.number_width == NumberWidth::k8 ? 0xFF : 0xFFFF;
    if (reg.number > highest) {
        return RegisterProblem::kNumberTooLarge;
    }
    if (items_are_wide(reg) && count % 2 != 0) {
        return RegisterProblem::kOddCount;
    }
    return count > kMaxI2cData ? RegisterProblem::kTooMuchData : RegisterProblem::kNone;
}

Status read_register(Board &board, const I2cRegister &reg, std::span<uint8_t> data) {
    WireBuffer number;
    append_number(number, reg);
    const Status status = board.i2c_transfer(
        {.bus = reg.bus, .address = reg.address, .write = number.bytes(), .read = data});
    if (status == Status::kOk) {
        reorder_items(reg, data);
    }
    return status;
}

Status write_register(Board &board, const I2cRegister &reg, std::span<const uint8_t> data,
                      bool with_pec) {
    WireBuffer wire;
    append_number(wire, reg);
    wire.append(data);
    reorder_items(reg, wire.tail(data.size()));
    if (with_pec) {
        wire.append(write_pec(reg.address, wire.bytes()));
    }
    return board.i2c_transfer({.bus = reg.bus,
                               .address = reg.address,
                               .write = wire.bytes(),
                               .read = {},
                               .write_has_pec = with_pec});
}

}  // namespace diag::board
