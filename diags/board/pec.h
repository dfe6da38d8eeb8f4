// SPDX-License-Identifier: MIT
// The packet error code of SMBus: CRC-8 with the polynomial x^8 + x^2 + x + 1.
#ifndef DIAGS_BOARD_PEC_H
#define DIAGS_BOARD_PEC_H

#include <cstdint>
#include <span>

namespace diag::board {

constexpr uint8_t pec_step(uint8_t crc, uint8_t byte) {
    uint8_t value = crc ^ byte;
    for (int bit = 0; bit < 8; ++bit) {
        const bool carry = (value & 0x80) != 0;
        value = static_cast<uint8_t>(value << 1);
        if (carry) {
            value ^= 0x07;
        }
    }
    return value;
}

// The code over a write phase: the address byte as it goes over the wire, then the bytes.
constexpr uint8_t write_pec(uint8_t address, std::span<const uint8_t> bytes) {
    uint8_t crc = pec_step(0, static_cast<uint8_t>(address << 1));
    for (uint8_t byte : bytes) {
        crc = pec_step(crc, byte);
    }
    return crc;
}

}  // namespace diag::board

#endif
