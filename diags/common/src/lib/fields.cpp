// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/fields.h"

#include <cstring>

#include "diags/common/src/trim.h"

namespace diag {

char *Fields::next_trimmed() {
    char *field = next();
    if (field != nullptr) {
        trim_spaces(field, static_cast<size_t>(end_ - field));
    }
    return field;
}

void cut_line_end(char *line) {
    if (char *end = std::strchr(line, '\n'); end != nullptr) {
        *end = '\0';
    }
}

}  // namespace diag
