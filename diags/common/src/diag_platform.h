// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_DIAG_PLATFORM_H
#define DIAGS_COMMON_SRC_DIAG_PLATFORM_H

#include <cstdint>

namespace diag {

// get_cpu_arch for a machine name as uname gives it. A name of 10 characters or more ends the
// process.
uint32_t arch_of_machine(const char *machine, unsigned int *arch);

}  // namespace diag

#endif
