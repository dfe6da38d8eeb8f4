// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <memory>
#include <vector>

#include "diags/diagctl/access_rules.h"
#include "diags/diagctl/board_session.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/commands.h"
#include "diags/diagctl/decode.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/json_view.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/register_port.h"
#include "diags/diagctl/register_text.h"

namespace diag::diagctl {
namespace {

struct Skipped {
    const reg_def *reg;
    std::string reason;
};

struct ReadPlan {
    std::vector<const reg_def *> registers;
    std::vector<Skipped> skipped;
};

// A register that is asked for by name is read whatever reading does to it.
ReadPlan plan_reading(const Target &target) {
    ReadPlan plan;
    if (target.reg != nullptr) {
        plan.registers.push_back(target.reg);
        return plan;
    }
    for (const reg_def *reg : registers_of(*target.chip->node)) {
        std::string reason = skip_reason(*reg);
        if (reason.empty()) {
            plan.registers.push_back(reg);
        } else {
            plan.skipped.push_back({reg, std::move(reason)});
        }
    }
    return plan;
}

void require_fields(const Target &target) {
    if (target.field && target.reg->length != 1) {
        fail(kExitUsage, "{}: a register of {} units has no fields to read, read it as a whole",
             target.name(), target.reg->length);
    }
}

bool is_write_only(const Target &target) {
    const bit_def *field = target.field ? target.field->definition : nullptr;
    return target.reg != nullptr && (target.reg->access == DIAG_ACCESS_WO ||
                                     (field != nullptr && field->access == DIAG_ACCESS_WO));
}

std::vector<std::string> remarks_on(const Target &target, const ReadPlan &plan) {
    std::vector<std::string> remarks;
    for (const Skipped &skipped : plan.skipped) {
        remarks.push_back(fmt::format("{}.{} passed over, {}: read it by name", target.chip->label,
                                      register_name(*skipped.reg), skipped.reason));
    }
    if (is_write_only(target)) {
        remarks.push_back(
            fmt::format("{} is write-only (WO): what it answers has no meaning", target.name()));
    }
    return remarks;
}

std::vector<RegisterReading> read_all(const Chip &chip, const ReadPlan &plan,
                                      const Options &options) {
    std::vector<RegisterReading> readings;
    if (plan.registers.empty()) {
        return readings;
    }
    const std::unique_ptr<RegisterPort> port = make_port(options);
    port->select(chip);
    for (const reg_def *reg : plan.registers) {
        readings.emplace_back(*reg, port->read(chip, *reg));
    }
    return readings;
}

std::string read_text(const Target &target, const std::vector<RegisterReading> &readings) {
    std::string text;
    for (const RegisterReading &reading : readings) {
        text += target.field ? field_text(target, reading) : register_text(*target.chip, reading);
    }
    return text;
}

std::string read_json(const Target &target, const std::string &file,
                      const std::vector<RegisterReading> &readings, const ReadPlan &plan) {
    Json document = json_document("read");
    document["file"] = file;
    document["target"] = target.name();
    document["chip"] = target.chip->label;
    document["registers"] = Json::array();
    for (const RegisterReading &reading : readings) {
        document["registers"].push_back(
            register_json(reading, target.field ? &*target.field : nullptr));
    }
    document["skipped"] = Json::array();
    for (const Skipped &skipped : plan.skipped) {
        Json json = json_reference(*skipped.reg);
        json["reason"] = skipped.reason;
        document["skipped"].push_back(std::move(json));
    }
    return json_text(document);
}

}  // namespace

Outcome run_read(const Options &options) {
    BoardSession board(options);
    const Description description(options.file, options.verbosity, module_search(options, board));
    const Target target = find_target(description, options.target);
    require_fields(target);
    const ReadPlan plan = plan_reading(target);
    if (plan.registers.empty() && plan.skipped.empty()) {
        fail(kExitNoDevice, "chip \"{}\" has no registers in its description", target.chip->label);
    }
    board.start();
    const auto readings = read_all(*target.chip, plan, options);
    Outcome outcome;
    outcome.data = options.json ? read_json(target, description.path(), readings, plan)
                                : read_text(target, readings);
    outcome.remarks = description.remarks();
    for (std::string &remark : remarks_on(target, plan)) {
        outcome.remarks.push_back(std::move(remark));
    }
    return outcome;
}

}  // namespace diag::diagctl
