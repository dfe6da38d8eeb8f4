// SPDX-License-Identifier: MIT
// The lines and fields of a text description, split as the library splits them.
#ifndef DIAGS_DIAGCTL_TEXT_FIELDS_H
#define DIAGS_DIAGCTL_TEXT_FIELDS_H

#include <optional>
#include <string_view>

namespace diag::diagctl {

// Fields between any of the characters of `separators`; runs of separators count as one.
class TextFields {
  public:
    TextFields(std::string_view text, std::string_view separators)
        : text_(text), separators_(separators) {}

    std::optional<std::string_view> next();

    // All that is left, from the next field on.
    std::optional<std::string_view> rest();

  private:
    std::string_view text_;
    std::string_view separators_;
};

// The lines that are not empty, without their ends, which may have a carriage return.
class TextLines {
  public:
    explicit TextLines(std::string_view text) : text_(text) {}

    std::optional<std::string_view> next();
    long number() const { return number_; }  // of the line last answered, or of the last one

  private:
    std::string_view text_;
    long number_ = 0;
};

std::string_view without_blanks(std::string_view text);  // around it

}  // namespace diag::diagctl

#endif
