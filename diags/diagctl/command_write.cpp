// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include "diags/diagctl/access_rules.h"
#include "diags/diagctl/board_session.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/commands.h"
#include "diags/diagctl/decode.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/register_access.h"
#include "diags/diagctl/value_name.h"
#include "diags/diagctl/write_plan.h"
#include "diags/diagctl/write_report.h"

namespace diag::diagctl {
namespace {

void require_writable(const Target &target) {
    if (target.reg == nullptr) {
        fail(kExitUsage, "{} is a chip: name the register to write, as CHIP.REG", target.name());
    }
    if (const std::string refusal = write_refusal(target); !refusal.empty()) {
        fail(kExitNotPermitted, "{}", refusal);
    }
    if (target.reg->length != 1) {
        fail(kExitUsage, "{} has {} units: only registers of one unit can be written",
             target.name(), target.reg->length);
    }
}

std::uint32_t read_value(RegisterAccess &access, const Target &target) {
    const bool little_endian = target.chip->node->reg_le != 0;
    return value_of_bytes(*target.reg, little_endian, access.read(*target.chip, *target.reg));
}

WriteResult carry_out(const WritePlan &plan, int verbosity) {
    const Target &target = plan.target;
    RegisterAccess access(verbosity);
    access.select(*target.chip);
    WriteResult result;
    result.written = target.field ? modified_value(*target.reg, *target.field,
                                                   read_value(access, target), plan.value)
                                  : plan.value;
    access.write(*target.chip, *target.reg, result.written);
    if (plan.compared_bits != 0) {
        result.read_back = read_value(access, target);
    }
    return result;
}

}  // namespace

Outcome run_write(const Options &options) {
    const Description description(options.file, options.verbosity);
    const Target target = find_target(description, options.target);
    require_writable(target);
    const WritePlan plan = plan_write(target, parse_value(target, options.value));
    if (options.dry_run) {
        return report_dry_run(plan, description.path(), options.json);
    }
    start_board(options);
    return report_write(plan, carry_out(plan, options.verbosity), description.path(), options.json);
}

}  // namespace diag::diagctl
