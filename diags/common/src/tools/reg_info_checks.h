// SPDX-License-Identifier: MIT
// What the calls check of the descriptor that they are given. A refusal is reported for `function`.
#ifndef DIAGS_COMMON_SRC_TOOLS_REG_INFO_CHECKS_H
#define DIAGS_COMMON_SRC_TOOLS_REG_INFO_CHECKS_H

#include "tool_calls.h"

namespace diag {

bool is_given(const char *function, const reg_info *info);

// 8 bits, 16 bits or a block.
bool has_valid_width(const char *function, const reg_info &info);

}  // namespace diag

#endif
