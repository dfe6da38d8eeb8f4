// SPDX-License-Identifier: MIT
// The error convention: an error site says where it is, then what happened, both at level -1.
#ifndef DIAGS_COMMON_SRC_LOG_H
#define DIAGS_COMMON_SRC_LOG_H

#include "diag_util.h"

namespace diag {

constexpr int kErrorLevel = -1;

}  // namespace diag

// For code that several exported calls share: `function` is the name of the call being served.
#define DIAG_LOG_SITE(level, function) diag_print((level), "%s[%d]: ", (function), __LINE__)

#define DIAG_ERROR_IN(function, ...)                    \
    do {                                                \
        DIAG_LOG_SITE(::diag::kErrorLevel, (function)); \
        diag_print(::diag::kErrorLevel, __VA_ARGS__);   \
    } while (false)

#define DIAG_ERROR(...) DIAG_ERROR_IN(__func__, __VA_ARGS__)

// Echoes of parsed values that only the configuration-debug switch lets through.
#define DIAG_CONFIG_DEBUG(level, ...)         \
    do {                                      \
        if (get_config_debug_enable() != 0) { \
            diag_print((level), __VA_ARGS__); \
        }                                     \
    } while (false)

#endif
