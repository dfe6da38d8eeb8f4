// SPDX-License-Identifier: MIT
#include "diags/board/sim/text_lines.h"

#include <algorithm>
#include <charconv>

namespace diag::board::sim {

std::vector<TextLine> lines_of(std::string_view text) {
    std::vector<TextLine> lines;
    for (size_t number = 1; !text.empty(); ++number) {
        const size_t length = std::min(text.find('\n'), text.size());
        if (length > 0) {
            lines.push_back({number, text.substr(0, length)});
        }
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return lines;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string_view> fields_of(std::string_view text, char separator) {
    std::vector<std::string_view> fields;
    while (!text.empty()) {
        const size_t length = std::min(text.find(separator), text.size());
        if (length > 0) {
            fields.push_back(trimmed(text.substr(0, length)));
        }
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return fields;
}

std::optional<uint32_t> parse_hexadecimal(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    uint32_t value = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, 16);
    return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

}  // namespace diag::board::sim
