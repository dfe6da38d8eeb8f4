// SPDX-License-Identifier: MIT
// What the parts of the device-id tree share.
#ifndef DIAGS_COMMON_SRC_BUSBROKER_DEVICE_ID_TREE_H
#define DIAGS_COMMON_SRC_BUSBROKER_DEVICE_ID_TREE_H

#include <cstdio>
#include <cstring>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/lib/append.h"
#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"

namespace diag {

// Names of muxes, and ids as names, count up to this length; what is behind it is cut.
inline constexpr size_t kLongestId = sizeof(mux_tree_node::name) - 1;

using IdText = char[kLongestId + 1];

inline void copy_id(IdText &copy, const char *text) {
    std::snprintf(copy, sizeof copy, "%s", text);
}

inline bool is_same_name(const char *left, const char *right) {
    return std::strncmp(left, right, kLongestId) == 0;
}

inline bool contains(const char *text, const char *part) {
    return std::strstr(text, part) != nullptr;
}

// Lists a plain device. 0, or DIAG_E_NOMEM after a message of `function`.
inline uint32_t append_device(if_slot &slot, devid_record *record, const char *function) {
    auto *element = allocate<devid_list>();
    if (element == nullptr) {
        DIAG_ERROR_IN(function, "Couldn't allocate memory\n");
        return DIAG_E_NOMEM;
    }
    element->dev = record;
    append(slot.devices, element);
    return 0;
}

}  // namespace diag

#endif
