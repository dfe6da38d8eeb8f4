// SPDX-License-Identifier: MIT
// Hexadecimal text as atoh() reads it; inline, as a description has millions of numbers.
#ifndef DIAGS_COMMON_SRC_PARSE_HEX_H
#define DIAGS_COMMON_SRC_PARSE_HEX_H

#include <array>
#include <cstdint>

namespace diag {

// Marks among the values of digits.
inline constexpr int16_t kEndOfNumber = -1;
inline constexpr int16_t kPassedOver = -2;

// The value of each character as a digit, or one of the two marks above.
inline constexpr std::array<int16_t, 256> kHexDigits = [] {
    std::array<int16_t, 256> digits{};
    digits.fill(kEndOfNumber);
    for (int i = 0; i < 10; i++) {
        digits['0' + i] = static_cast<int16_t>(i);
    }
    for (int i = 0; i < 6; i++) {
        digits['a' + i] = digits['A' + i] = static_cast<int16_t>(10 + i);
    }
    digits['x'] = digits[' '] = kPassedOver;
    return digits;
}();

// Digits that exceed the width fall off the top.
template <typename Number>
Number parse_hex(const char *text) {
    Number number = 0;
    for (;; text++) {
        const int digit = kHexDigits[static_cast<unsigned char>(*text)];
        if (digit == kEndOfNumber) {  // the end of the text is one as well
            return number;
        }
        if (digit != kPassedOver) {
            number = static_cast<Number>(number << 4 | static_cast<Number>(digit));
        }
    }
}

}  // namespace diag

#endif
