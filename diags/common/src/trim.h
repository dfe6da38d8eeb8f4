// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_TRIM_H
#define DIAGS_COMMON_SRC_TRIM_H

#include <cstddef>

namespace diag {

// trim_spaces() for a caller who knows the length of the text.
void trim_spaces(char *text, size_t length);

}  // namespace diag

#endif
