// SPDX-License-Identifier: MIT
#include "diags/diagctl/text.h"

#include <algorithm>
#include <cctype>

namespace diag::diagctl {
namespace {

bool is_gap(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F;
}

bool continues_code_point(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

char lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

}  // namespace

std::string one_line(std::string_view text) {
    std::string line;
    bool gap = false;
    for (const char c : text) {
        if (is_gap(c)) {
            gap = true;
            continue;
        }
        if (gap && !line.empty()) {
            line += ' ';
        }
        gap = false;
        line += c;
    }
    return line;
}

std::string one_line(const char *text) {
    return text == nullptr ? std::string() : one_line(std::string_view(text));
}

std::string to_lower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), lower);
    return result;
}

bool equal_ignoring_case(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

std::size_t display_width(std::string_view text) {
    return text.size() -
           static_cast<std::size_t>(std::count_if(text.begin(), text.end(), continues_code_point));
}

std::string join(const std::vector<std::string> &parts, std::string_view separator) {
    std::string text;
    for (const std::string &part : parts) {
        if (!text.empty()) {
            text += separator;
        }
        text += part;
    }
    return text;
}

void TextTable::add_row(std::vector<std::string> cells) {
    rows_.push_back({std::move(cells)});
}

void TextTable::add_line(std::string line) {
    rows_.push_back({{std::move(line)}, true});
}

std::string TextTable::str() const {
    std::vector<std::size_t> widths;
    for (const Row &row : rows_) {
        if (row.free_line) {
            continue;
        }
        widths.resize(std::max(widths.size(), row.cells.size()));
        for (std::size_t i = 0; i < row.cells.size(); ++i) {
            widths[i] = std::max(widths[i], display_width(row.cells[i]));
        }
    }
    std::string text;
    for (const Row &row : rows_) {
        std::string line;
        for (std::size_t i = 0; i < row.cells.size(); ++i) {
            line += row.cells[i];
            if (i + 1 < row.cells.size()) {
                line.append(widths[i] - display_width(row.cells[i]) + 2, ' ');
            }
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    }
    return text;
}

}  // namespace diag::diagctl
