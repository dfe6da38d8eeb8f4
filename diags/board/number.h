// SPDX-License-Identifier: MIT
// Numbers as people and command lines write them: 0x and hexadecimal digits, or decimal digits.
#ifndef DIAGS_BOARD_NUMBER_H
#define DIAGS_BOARD_NUMBER_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace diag::board {

// Nothing but digits is accepted: no sign, no blank, no octal ("010" is ten). Empty for a text
// that is no number, or one above `max`.
std::optional<uint32_t> parse_number(std::string_view text, uint32_t max);
std::optional<uint64_t> parse_wide_number(std::string_view text, uint64_t max);
std::optional<uint32_t> parse_decimal(std::string_view text, uint32_t max);

// The number of an I2C bus, named "/dev/i2c-N", "i2c-N" or "N" with a decimal N, as the kernel
// numbers its adapters.
std::optional<unsigned> parse_i2c_bus(std::string_view text);

}  // namespace diag::board

#endif
