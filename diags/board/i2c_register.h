// SPDX-License-Identifier: MIT
// Registers of I2C devices: how register numbers and data items become bytes on the wire. Data is
// in host order on this side: an item of 16 bits is two bytes, low byte first.
#ifndef DIAGS_BOARD_I2C_REGISTER_H
#define DIAGS_BOARD_I2C_REGISTER_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "diags/board/board.h"

namespace diag::board {

// The kernel takes messages of this size and no longer ones.
inline constexpr size_t kMaxI2cMessage = 8192;
// What is left for data beside a register number and a packet error code.
inline constexpr size_t kMaxI2cData = kMaxI2cMessage - 3;

enum class NumberWidth : uint8_t {
    k8,
    k16,
    kBlock,  // one byte as long as the number fits, else two; the data is bytes
};

struct I2cRegister {
    unsigned bus = 0;
    uint8_t address = 0;
    uint32_t number = 0;
    NumberWidth number_width = NumberWidth::k8;
    bool wide_items = false;     // data items of 16 bits; a block has none
    bool little_endian = false;  // 16-bit numbers and items go low byte first, else high byte first
};

enum class RegisterProblem : uint8_t { kNone, kNumberTooLarge, kOddCount, kTooMuchData };

// Whether `count` bytes of the register can be put on the wire. The calls below require it.
RegisterProblem check_register(const I2cRegister &reg, size_t count);

Status read_register(Board &board, const I2cRegister &reg, std::span<uint8_t> data);

// `with_pec`: a packet error code follows the data. No data sets the device's register pointer.
Status write_register(Board &board, const I2cRegister &reg, std::span<const uint8_t> data,
                      bool with_pec);

}  // namespace diag::board

#endif
