// SPDX-License-Identifier: MIT
// The value that a user wants to have written.
#ifndef DIAGS_DIAGCTL_VALUE_NAME_H
#define DIAGS_DIAGCTL_VALUE_NAME_H

#include <cstdint>
#include <string_view>

#include "diags/diagctl/lookup.h"

namespace diag::diagctl {

// The value that `text` stands for, for the register or the field of `target`: a number, or for a
// field the name of one of its values. Throws CliError with status 2 for a value that is too wide
// and for a name that is not known or not unique.
std::uint32_t parse_value(const Target &target, std::string_view text);

}  // namespace diag::diagctl

#endif
