// SPDX-License-Identifier: MIT
// Splitting a line into its fields, in place: separators after a field become its end. Inline, as a
// description has millions of them.
#ifndef DIAGS_COMMON_SRC_LIB_FIELDS_H
#define DIAGS_COMMON_SRC_LIB_FIELDS_H

#include <cstring>
#include <string_view>

namespace diag {

class Fields {
  public:
    // Runs of separators count as one, leading ones are passed over. The text must outlive the
    // fields.
    Fields(char *text, char separator) : at_(text), separator_(separator) {}

    // The next field, or null when nothing is left.
    char *next() {
        char *field = rest();
        if (field == nullptr) {
            return nullptr;
        }
        at_ = end_ = strchrnul(field, separator_);
        if (*at_ != '\0') {
            *at_++ = '\0';
        }
        return field;
    }

    // The next field without the blanks around it (trim_spaces), or null.
    char *next_trimmed();

    // All that is left, separators included, from the next field on; null when nothing is left.
    char *rest() {
        while (*at_ == separator_) {
            at_++;
        }
        return *at_ != '\0' ? at_ : nullptr;
    }

  private:
    char *at_;
    char *end_ = nullptr;  // of the field handed out last
    char separator_;
};

inline bool starts_with(const char *text, std::string_view word) {
    for (const char wanted : word) {
        if (*text++ != wanted) {
            return false;
        }
    }
    return true;
}

// Ends `line` at its line feed, if it has one.
void cut_line_end(char *line);

}  // namespace diag

#endif
