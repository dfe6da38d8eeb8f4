// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/memory.h"

#include <cstring>

char *diag::copy_text(const char *text) {
    const size_t size = std::strlen(text) + 1;
    auto *copy = static_cast<char *>(std::malloc(size));
    return copy != nullptr ? static_cast<char *>(std::memcpy(copy, text, size)) : nullptr;
}

bool diag::replace_text(char **slot, const char *text) {
    char *copy = copy_text(text);
    if (copy == nullptr) {
        return false;
    }
    std::free(*slot);
    *slot = copy;
    return true;
}
