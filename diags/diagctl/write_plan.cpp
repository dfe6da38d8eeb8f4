// SPDX-License-Identifier: MIT
#include "diags/diagctl/write_plan.h"

#include "diags/diagctl/access_rules.h"

namespace diag::diagctl {

WritePlan plan_write(const Target &target, std::uint32_t value) {
    const reg_def &reg = *target.reg;
    WritePlan plan{target, value, 0, 0};
    plan.compared_bits = reg.access == DIAG_ACCESS_WO ? 0 : comparable_bits(reg);
    const bool reads = target.field || plan.compared_bits != 0;
    plan.cleared_bits = reads ? cleared_by_reading(reg) : 0;
    return plan;
}

}  // namespace diag::diagctl
