// SPDX-License-Identifier: MIT
#include "diags/diagctl/number.h"

#include <algorithm>
#include <charconv>

namespace diag::diagctl {
namespace {

struct Digits {
    std::string_view text;
    int base;
};

Digits split_base(std::string_view text) {
    if (text.size() > 2 && text[0] == '0') {
        if (text[1] == 'x' || text[1] == 'X') {
            return {text.substr(2), 16};
        }
        if (text[1] == 'b' || text[1] == 'B') {
            return {text.substr(2), 2};
        }
    }
    return {text, 10};
}

bool is_digit(char c, int base) {
    int value = 0;
    return std::from_chars(&c, &c + 1, value, base).ptr != &c;
}

std::optional<int> parse_bit_number(std::string_view text) {
    int value = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < 0) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

bool looks_like_number(std::string_view text) {
    const auto [digits, base] = split_base(text);
    const int digit_base = base;
    return !digits.empty() && std::all_of(digits.begin(), digits.end(), [digit_base](char c) {
        return c != '-' && is_digit(c, digit_base);
    });
}

std::optional<std::uint64_t> parse_number(std::string_view text) {
    if (!looks_like_number(text)) {
        return std::nullopt;
    }
    const auto [digits, base] = split_base(text);
    std::uint64_t value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    if (result.ec != std::errc()) {
        return std::nullopt;
    }
    return value;
}

std::optional<BitRange> parse_bit_range(std::string_view text) {
    const std::size_t colon = text.find(':');
    const auto first = parse_bit_number(text.substr(0, colon));
    const auto second =
        colon == std::string_view::npos ? first : parse_bit_number(text.substr(colon + 1));
    if (!first || !second) {
        return std::nullopt;
    }
    return BitRange{std::min(*first, *second), std::max(*first, *second)};
}

}  // namespace diag::diagctl
