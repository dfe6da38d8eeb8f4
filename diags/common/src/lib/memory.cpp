// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/memory.h"

#include <cstring>

char *diag::copy_text(const char *text) {
    const size_t length = std::strlen(text);
    auto *copy = static_cast<char *>(std::malloc(length + 1));
    if (copy == nullptr) {
        return nullptr;
    }
    // Not the end with it: where it has just been written, a wide load would wait for it.
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
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
