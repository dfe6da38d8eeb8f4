// SPDX-License-Identifier: MIT
// What a write through the bus broker would ask for.
#ifndef DIAGS_DIAGCTL_BROKER_PREVIEW_H
#define DIAGS_DIAGCTL_BROKER_PREVIEW_H

#include <vector>

#include "diags/diagctl/preview.h"
#include "diags/diagctl/write_plan.h"

namespace diag::diagctl {

// Throws as the write itself does before it sends anything.
std::vector<PreviewStep> preview_broker_write(const WritePlan &plan);

}  // namespace diag::diagctl

#endif
