// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/fields.h"

#include <cstring>

#include "diag_util.h"

namespace diag {

char *Fields::next() {
    char *field = rest();
    if (field != nullptr) {
        at_ = field + std::strcspn(field, separators_);
        if (*at_ != '\0') {
            *at_++ = '\0';
        }
    }
    return field;
}

char *Fields::next_trimmed() {
    char *field = next();
    if (field != nullptr) {
        trim_spaces(field);
    }
    return field;
}

char *Fields::rest() {
    at_ += std::strspn(at_, separators_);
    return *at_ != '\0' ? at_ : nullptr;
}

bool starts_with(const char *text, const char *word) {
    return std::strncmp(text, word, std::strlen(word)) == 0;
}

void cut_line_end(char *line) {
    line[std::strcspn(line, "\n")] = '\0';
}

}  // namespace diag
