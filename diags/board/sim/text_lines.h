// SPDX-License-Identifier: MIT
// The lines and fields of a description in the text form.
#ifndef DIAGS_BOARD_SIM_TEXT_LINES_H
#define DIAGS_BOARD_SIM_TEXT_LINES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace diag::board::sim {

struct TextLine {
    size_t number;  // from 1
    std::string_view text;

    bool is_delimiter() const { return text.starts_with("====="); }
};

// Without empty lines, which count nowhere.
std::vector<TextLine> lines_of(std::string_view text);

std::string_view trimmed(std::string_view text);

// Trimmed; runs of separators count as one.
std::vector<std::string_view> fields_of(std::string_view text, char separator);

// Hexadecimal digits, with or without 0x in front.
std::optional<uint32_t> parse_hexadecimal(std::string_view text);

}  // namespace diag::board::sim

#endif
