// SPDX-License-Identifier: MIT
// What the access kinds of a register and its bit fields allow.
#ifndef DIAGS_DIAGCTL_ACCESS_RULES_H
#define DIAGS_DIAGCTL_ACCESS_RULES_H

#include <cstdint>
#include <string>

#include "device_tree.h"

#include "diags/diagctl/lookup.h"

namespace diag::diagctl {

// Why the target cannot be written; empty when it can.
std::string write_refusal(const Target &target);

// Why a register is passed over when a whole chip is read; empty when it is not.
std::string skip_reason(const reg_def &reg);

// Bits whose reading clears them: those of RC fields, or all of an RC register.
std::uint32_t cleared_by_reading(const reg_def &reg);

// Implemented bits that can be written and then read back.
std::uint32_t comparable_bits(const reg_def &reg);

// The register's value with `field` changed, as it is to be written: bits that cannot be read take
// their default instead of what reading gave.
std::uint32_t modified_value(const reg_def &reg, const Field &field, std::uint32_t read_value,
                             std::uint32_t field_value);

}  // namespace diag::diagctl

#endif
