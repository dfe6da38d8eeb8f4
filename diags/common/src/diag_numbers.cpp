// SPDX-License-Identifier: MIT
// Reading hexadecimal text, and two's-complement numbers out of register fields.
#include <cstring>

#include "diag_util.h"

#include "diags/common/src/parse_hex.h"

namespace {

constexpr uint32_t kNotADigit = 0x86018021U;
template <typename Number>
void parse_hex_into(const char *text, void *value) {
    const Number number = diag::parse_hex<Number>(text);
    std::memcpy(value, &number, sizeof number);
}

}  // namespace

int hex_to_i(char c, uint32_t *error) {
    *error = 0;
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    // Both cases subtract the lower-case offset, so upper case answers -22 to -17; callers know.
    if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) {
        return c - 0x57;
    }
    *error = kNotADigit;
    return -1;
}

uint32_t atoh(const char *text) {
    return diag::parse_hex<uint32_t>(text);
}

int atoh_p(const char *text, void *value, int width) {
    switch (width) {
        case 8:
            parse_hex_into<uint8_t>(text, value);
            break;
        case 16:
            parse_hex_into<uint16_t>(text, value);
            break;
        case 32:
            parse_hex_into<uint32_t>(text, value);
            break;
        default:
            parse_hex_into<uint64_t>(text, value);
    }
    return 0;
}

int get_twos_complement_val(unsigned int raw, int bits, int fraction_bits, float *value) {
    const auto fraction = static_cast<unsigned int>(fraction_bits);
    if (bits < 2 || bits > 31 || static_cast<unsigned int>(bits) <= fraction) {
        return -1;
    }
    const unsigned int sign = 1U << (bits - 1);
    const int magnitude = static_cast<int>(raw & (sign - 1));
    const int number = (raw & sign) != 0 ? magnitude - static_cast<int>(sign) : magnitude;
    *value = static_cast<float>(number);
    if (fraction != 0) {
        *value /= static_cast<float>(1U << fraction);
    }
    return 0;
}
