// SPDX-License-Identifier: MIT
#include "diags/diagctl/text_fields.h"

#include <algorithm>

namespace diag::diagctl {

std::optional<std::string_view> TextFields::next() {
    const auto field = rest();
    if (!field) {
        return std::nullopt;
    }
    const std::size_t end = std::min(field->find_first_of(separators_), field->size());
    text_ = field->substr(std::min(end + 1, field->size()));
    return field->substr(0, end);
}

std::optional<std::string_view> TextFields::rest() {
    text_.remove_prefix(std::min(text_.find_first_not_of(separators_), text_.size()));
    return text_.empty() ? std::nullopt : std::optional(text_);
}

std::optional<std::string_view> TextLines::next() {
    while (!text_.empty()) {
        const std::size_t end = std::min(text_.find('\n'), text_.size());
        std::string_view line = text_.substr(0, end);
        text_.remove_prefix(std::min(end + 1, text_.size()));
        ++number_;
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (!line.empty()) {
            return line;
        }
    }
    return std::nullopt;
}

std::string_view without_blanks(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

}  // namespace diag::diagctl
