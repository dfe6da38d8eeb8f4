// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_TOOLS_IPMITOOL_H
#define DIAGS_COMMON_SRC_TOOLS_IPMITOOL_H

#include <cstddef>
#include <cstdint>

#include "tool_calls.h"

namespace diag {

struct IpmiRegister {
    const char *bus_path;  // null: one of the controller's own
    unsigned int device;
    unsigned int number;
    const reg_info *info;
};

// ipmitool_get for a caller whose buffer has an end: what the tool prints beyond `room` bytes is
// dropped.
uint32_t read_ipmi_register(const IpmiRegister &reg, int count, uint8_t *result, size_t room);

}  // namespace diag

#endif
