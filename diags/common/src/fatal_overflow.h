// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_FATAL_OVERFLOW_H
#define DIAGS_COMMON_SRC_FATAL_OVERFLOW_H

namespace diag {

// Ends the process, in every build type, naming the function whose fixed buffer would have
// overflowed: continuing with cut data would reach the wrong device or file.
[[noreturn]] void fatal_overflow(const char *function);

}  // namespace diag

#endif
