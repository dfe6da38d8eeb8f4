// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <memory>

#include "diags/diagctl/access_rules.h"
#include "diags/diagctl/board_session.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/commands.h"
#include "diags/diagctl/decode.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/register_port.h"
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

// The register's whole new value. For a field that takes a reading, which is the first half of the
// write.
std::uint32_t value_to_write(RegisterPort &port, const WritePlan &plan) {
    const Target &target = plan.target;
    if (!target.field) {
        return plan.value;
    }
    const std::uint32_t old = value_of_bytes(port.read_to_modify(*target.chip, *target.reg));
    return modified_value(*target.reg, *target.field, old, plan.value);
}

WriteResult carry_out(const WritePlan &plan, const Options &options) {
    const Target &target = plan.target;
    const std::unique_ptr<RegisterPort> port = make_port(options);
    port->select(*target.chip);
    WriteResult result;
    result.written = value_to_write(*port, plan);
    port->write(*target.chip, *target.reg, result.written);
    if (plan.compared_bits != 0) {
        result.read_back = value_of_bytes(port->read(*target.chip, *target.reg));
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
        outcome = report_dry_run(plan, description.path(), options);
    } else {
        board.start();
        outcome = report_write(plan, carry_out(plan, options), description.path(), options.json);
    }
    outcome.remarks.insert(outcome.remarks.begin(), description.remarks().begin(),
                           description.remarks().end());
    return outcome;
}

}  // namespace diag::diagctl
