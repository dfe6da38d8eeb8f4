// SPDX-License-Identifier: MIT
#include "diags/common/src/fatal_overflow.h"

#include <cstdio>
#include <cstdlib>

void diag::fatal_overflow(const char *function) {
    std::fprintf(stderr, "%s: text does not fit its buffer, ending the program\n", function);
    std::abort();
}
