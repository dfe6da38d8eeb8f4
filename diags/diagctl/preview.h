// SPDX-License-Identifier: MIT
// What an access would do, without doing any of it.
#ifndef DIAGS_DIAGCTL_PREVIEW_H
#define DIAGS_DIAGCTL_PREVIEW_H

#include <cstdint>
#include <string>
#include <vector>

#include "device_tree.h"

#include "diags/diagctl/description.h"

namespace diag::diagctl {

struct PreviewStep {
    const char *action;  // "select", "read", "write", "compare"
    std::string text;
    bool is_command;  // the text is the exact command line of a tool
};

// What selecting the chip, or writing the value, would run. Both throw as RegisterAccess does
// before it runs a tool.
std::vector<PreviewStep> preview_select(const Chip &chip);
std::vector<PreviewStep> preview_write(const Chip &chip, const reg_def &reg, std::uint32_t value);

}  // namespace diag::diagctl

#endif
