// SPDX-License-Identifier: MIT
#include "diags/board/number.h"

namespace diag::board {
namespace {

constexpr uint32_t kMaxBus = 0xFFFF;
constexpr unsigned kNoDigit = 0xFF;

unsigned digit_value(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<unsigned>(c - 'a') + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return static_cast<unsigned>(c - 'A') + 10;
    }
    return kNoDigit;
}

std::optional<uint64_t> parse_digits(std::string_view text, unsigned base, uint64_t max) {
    if (text.empty()) {
        return std::nullopt;
    }
    uint64_t value = 0;
    for (char c : text) {
        const unsigned digit = digit_value(c);
        if (digit >= base || digit > max || value > (max - digit) / base) {
            return std::nullopt;
        }
        value = value * base + digit;
    }
    return value;
}

std::optional<uint32_t> narrowed(std::optional<uint64_t> number) {
    return number ? std::optional(static_cast<uint32_t>(*number)) : std::nullopt;
}

}  // namespace

std::optional<uint64_t> parse_wide_number(std::string_view text, uint64_t max) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        return parse_digits(text, 16, max);
    }
    return parse_digits(text, 10, max);
}

std::optional<uint32_t> parse_number(std::string_view text, uint32_t max) {
    return narrowed(parse_wide_number(text, max));
}

std::optional<uint32_t> parse_decimal(std::string_view text, uint32_t max) {
    return narrowed(parse_digits(text, 10, max));
}

std::optional<unsigned> parse_i2c_bus(std::string_view text) {
    for (std::string_view prefix : {"/dev/i2c-", "i2c-"}) {
        if (text.starts_with(prefix)) {
            text.remove_prefix(prefix.size());
            break;
        }
    }
    return parse_decimal(text, kMaxBus);
}

}  // namespace diag::board
