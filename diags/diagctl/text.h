// SPDX-License-Identifier: MIT
// Text as diagctl shows and compares it.
#ifndef DIAGS_DIAGCTL_TEXT_H
#define DIAGS_DIAGCTL_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace diag::diagctl {

// `text` on one line: white space at both ends is dropped, runs of it and of control characters
// inside become one blank. Null gives the empty text.
std::string one_line(const char *text);
std::string one_line(std::string_view text);

std::string to_lower(std::string_view text);
bool equal_ignoring_case(std::string_view a, std::string_view b);

// Columns that UTF-8 text takes on a terminal, counted as one for each code point.
std::size_t display_width(std::string_view text);

std::string join(const std::vector<std::string> &parts, std::string_view separator);

// Left-aligned columns as wide as their widest cell, two blanks apart; nothing behind the last
// one. Each row is one line.
class TextTable {
  public:
    void add_row(std::vector<std::string> cells);
    // A line that stands below the row added last, outside the columns.
    void add_line(std::string line);
    std::string str() const;

  private:
    struct Row {
        std::vector<std::string> cells;
        bool free_line = false;
    };
    std::vector<Row> rows_;
};

}  // namespace diag::diagctl

#endif
