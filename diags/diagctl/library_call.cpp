// SPDX-License-Identifier: MIT
#include "diags/diagctl/library_call.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <fmt/format.h>
#include <sstream>

#include "diags/diagctl/text.h"

namespace diag::diagctl {
namespace {

constexpr std::string_view kErrorMark = "ERROR: ";
constexpr std::string_view kDeliveredMark = " bytes read from the fifo";
constexpr std::string_view kPrintedMark = "ipmii2c_get:[";

// What stands between the library's function and the command line that it is about to run.
constexpr std::string_view kCommandMarks[] = {": ", "Calling "};

std::vector<std::string_view> lines_of(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

// "0a"; the bracket behind the last one stands on a line of its own, or right behind it.
bool is_byte(std::string_view word) {
    const std::string_view digits = word.substr(0, word.find(']'));
    return digits.size() == 2 &&
           digits.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

// pcitool_set() shows its command line alone in a dry run, the others with something in front.
std::size_t start_of_command(std::string_view line, std::string_view tool) {
    if (line.starts_with(fmt::format("{} ", tool))) {
        return 0;
    }
    for (const std::string_view mark : kCommandMarks) {
        const std::size_t found = line.rfind(fmt::format("{}{} ", mark, tool));
        if (found != std::string_view::npos) {
            return found + mark.size();
        }
    }
    return std::string_view::npos;
}

}  // namespace

void show_on_standard_error(const CapturedText &said) {
    std::fwrite(said.library.data(), 1, said.library.size(), stderr);
    std::fwrite(said.tools.data(), 1, said.tools.size(), stderr);
}

std::string library_error(std::string_view library, std::string_view otherwise) {
    const std::size_t mark = library.rfind(kErrorMark);
    if (mark != std::string_view::npos) {
        library.remove_prefix(mark + kErrorMark.size());
    }
    const std::string line = first_line(library);
    return line.empty() ? std::string(otherwise) : line;
}

std::optional<int> delivered_bytes(std::string_view library) {
    const std::size_t mark = library.rfind(kDeliveredMark);
    if (mark == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view before = library.substr(0, mark);
    const std::size_t start = before.find_last_not_of("-0123456789") + 1;
    int count = 0;
    if (std::from_chars(before.data() + start, before.data() + before.size(), count).ec !=
        std::errc()) {
        return std::nullopt;
    }
    return std::max(count, 0);
}

std::optional<int> printed_bytes(std::string_view library) {
    const std::size_t mark = library.rfind(kPrintedMark);
    if (mark == std::string_view::npos) {
        return std::nullopt;
    }
    std::istringstream answer(std::string(library.substr(mark + kPrintedMark.size())));
    int count = 0;
    for (std::string word; answer >> word && is_byte(word); ++count) {
    }
    return count;
}

std::vector<std::string> command_lines(std::string_view library, std::string_view tool) {
    std::vector<std::string> commands;
    for (const std::string_view line : lines_of(library)) {
        const std::size_t start = start_of_command(line, tool);
        if (start != std::string_view::npos) {
            commands.push_back(one_line(line.substr(start)));
        }
    }
    return commands;
}

std::vector<std::string> lines_starting(std::string_view text, std::string_view start) {
    std::vector<std::string> found;
    for (const std::string_view line : lines_of(text)) {
        if (std::string clean = one_line(line); clean.starts_with(start)) {
            found.push_back(std::move(clean));
        }
    }
    return found;
}

std::string last_line(std::string_view text) {
    std::string last;
    for (const std::string_view line : lines_of(text)) {
        if (std::string clean = one_line(line); !clean.empty()) {
            last = std::move(clean);
        }
    }
    return last;
}

std::string first_line(std::string_view text) {
    for (const std::string_view line : lines_of(text)) {
        if (std::string clean = one_line(line); !clean.empty()) {
            return clean;
        }
    }
    return {};
}

}  // namespace diag::diagctl
