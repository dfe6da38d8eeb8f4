// SPDX-License-Identifier: MIT
#include "diags/common/src/tools/reg_info_checks.h"

#include "diags/common/src/log.h"

namespace diag {

bool is_given(const char *function, const reg_info *info) {
    if (info == nullptr) {
        DIAG_ERROR_IN(function, "Invalid reg_info pointer\n");
    }
    return info != nullptr;
}

bool has_valid_width(const char *function, const reg_info &info) {
    if (info.data_width > DIAG_DATA_WIDTH_BLOCK) {
        DIAG_ERROR_IN(function, "Invalid width size %d\n", static_cast<int>(info.data_width));
        return false;
    }
    return true;
}

}  // namespace diag
