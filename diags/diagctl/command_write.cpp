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
    return value_of_bytes(access.read(*target.chip, *target.reg));
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
    BoardSession board(options);
    const Description description(options.file, options.verbosity, module_search(options, board));
    const Target target = find_target(description, options.target);
    require_writable(target);
    const WritePlan plan = plan_write(target, parse_value(target, options.value));
    Outcome outcome;
    if (options.dry_run) {
        outcome = report_dry_run(plan, description.path(), options.json);
    } else {
        board.start();
        outcome = report_write(plan, carry_out(plan, options.verbosity), description.path(),
                               options.json);
    }
    outcome.remarks.insert(outcome.remarks.begin(), description.remarks().begin(),
                           description.remarks().end());
    return outcome;
}

}  // namespace diag::diagctl
