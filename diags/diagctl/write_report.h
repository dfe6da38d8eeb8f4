// SPDX-License-Identifier: MIT
// What a write command tells, for people and for programs.
#ifndef DIAGS_DIAGCTL_WRITE_REPORT_H
#define DIAGS_DIAGCTL_WRITE_REPORT_H

#include <string>

#include "diags/diagctl/options.h"
#include "diags/diagctl/write_plan.h"

namespace diag::diagctl {

// Status 1, and a remark that says what was expected and what was read, when they differ.
Outcome report_write(const WritePlan &plan, const WriteResult &result, const std::string &file,
                     bool json);

// The steps that the write would take, the way that `options` want it. Runs nothing.
Outcome report_dry_run(const WritePlan &plan, const std::string &file, const Options &options);

}  // namespace diag::diagctl

#endif
