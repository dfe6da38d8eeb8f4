// SPDX-License-Identifier: MIT
#include "diags/diagctl/library_call.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "diags/diagctl/text.h"

namespace diag::diagctl {
namespace {

constexpr std::string_view kErrorMark = "ERROR: ";
constexpr std::string_view kDeliveredMark = " bytes read from the fifo";

std::vector<std::string_view> lines_of(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
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

std::vector<std::string> dry_run_commands(std::string_view library, std::string_view tool) {
    std::vector<std::string> commands;
    const std::string start = std::string(kErrorMark) + std::string(tool) + " ";
    for (const std::string_view line : lines_of(library)) {
        const std::size_t found = line.rfind(start);
        if (found != std::string_view::npos) {
            commands.push_back(one_line(line.substr(found + kErrorMark.size())));
        }
    }
    return commands;
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
