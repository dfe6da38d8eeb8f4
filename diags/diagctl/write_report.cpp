// SPDX-License-Identifier: MIT
#include "diags/diagctl/write_report.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <vector>

#include "diags/diagctl/access_rules.h"
#include "diags/diagctl/broker_preview.h"
#include "diags/diagctl/decode.h"
#include "diags/diagctl/json_view.h"
#include "diags/diagctl/preview.h"
#include "diags/diagctl/register_route.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

std::string register_hex(const WritePlan &plan, std::uint32_t value) {
    return hex(value, plan.target.reg->size);
}

std::string value_text(const WritePlan &plan) {
    if (!plan.target.field) {
        return register_hex(plan, plan.value);
    }
    const Field &field = *plan.target.field;
    const std::string meaning = decode_field(field, insert(field, 0, plan.value)).meaning;
    const std::string number = hex(plan.value, static_cast<unsigned>(field.high - field.low + 1));
    return meaning.empty() ? number : fmt::format("{} ({})", number, meaning);
}

std::string why_not_compared(const WritePlan &plan) {
    return plan.target.reg->access == DIAG_ACCESS_WO
               ? "not read back: the register is write-only"
               : "not read back: no implemented bit of the register can be compared";
}

std::vector<std::string> remarks_on_clearing(const WritePlan &plan) {
    std::vector<std::string> remarks;
    for (const Field &field : sorted_fields(*plan.target.reg)) {
        if ((field_mask(field) & plan.cleared_bits) != 0) {
            remarks.push_back(fmt::format("reading {}.{} for this clears its field {}",
                                          plan.target.chip->label, register_name(*plan.target.reg),
                                          field.name));
        }
    }
    return remarks;
}

std::string difference_text(const WritePlan &plan, const WriteResult &result) {
    const std::uint32_t bits = plan.compared_bits;
    return fmt::format("{}: expected {}, read back {} (compared bits {}, different {})",
                       plan.target.name(), register_hex(plan, result.written & bits),
                       register_hex(plan, *result.read_back & bits), register_hex(plan, bits),
                       register_hex(plan, (result.written ^ *result.read_back) & bits));
}

std::string success_text(const WritePlan &plan, const WriteResult &result) {
    std::string text = fmt::format("{} = {}", plan.target.name(), value_text(plan));
    if (plan.target.field) {
        text += fmt::format(", register {}", register_hex(plan, result.written));
    }
    text += result.read_back ? fmt::format("; read back and compared, bits {}",
                                           register_hex(plan, plan.compared_bits))
                             : "; " + why_not_compared(plan);
    return text + "\n";
}

Json write_document(const WritePlan &plan, const std::string &file, bool dry_run) {
    Json document = json_document("write");
    document["file"] = file;
    document["target"] = plan.target.name();
    document["chip"] = plan.target.chip->label;
    document["register"] = json_reference(*plan.target.reg);
    document["field"] = plan.target.field ? Json(plan.target.field->name) : Json(nullptr);
    document["dry_run"] = dry_run;
    document["value"] = plan.value;
    document["hex"] = hex(plan.value);
    return document;
}

std::string write_json(const WritePlan &plan, const WriteResult &result, const std::string &file) {
    Json document = write_document(plan, file, false);
    const unsigned bits = plan.target.reg->size;
    put_value(document["written"], result.written, bits);
    if (!result.read_back) {
        document["read_back"] = nullptr;
        return json_text(document);
    }
    Json &read_back = document["read_back"];
    put_value(read_back, *result.read_back, bits);
    read_back["compared_bits"] = plan.compared_bits;
    read_back["compared_bits_hex"] = hex(plan.compared_bits, bits);
    read_back["equal"] = result.is_as_written(plan);
    return json_text(document);
}

// ---- dry run ----

void append(std::vector<PreviewStep> &steps, std::vector<PreviewStep> more) {
    std::move(more.begin(), more.end(), std::back_inserter(steps));
}

std::vector<PreviewStep> dry_run_steps(const WritePlan &plan) {
    const Target &target = plan.target;
    const std::string what = make_route(*target.chip, *target.reg)->text();
    std::vector<PreviewStep> steps = preview_select(*target.chip);
    if (target.field) {
        const std::uint32_t mask = field_mask(*target.field);
        steps.push_back({"read", what, false});
        steps.push_back(
            {"write",
             fmt::format("that value with bits {} changed to {}", register_hex(plan, mask),
                         register_hex(plan, insert(*target.field, 0, plan.value))),
             false});
    } else {
        append(steps, preview_write(*target.chip, *target.reg, plan.value));
    }
    if (plan.compared_bits != 0) {
        steps.push_back({"compare",
                         fmt::format("{}, bits {}", what, register_hex(plan, plan.compared_bits)),
                         false});
    }
    return steps;
}

std::string dry_run_json(const WritePlan &plan, const std::vector<PreviewStep> &steps,
                         const std::string &file) {
    Json document = write_document(plan, file, true);
    document["steps"] = Json::array();
    for (const PreviewStep &step : steps) {
        Json json;
        json["action"] = step.action;
        json[step.is_command ? "command_line" : "text"] = step.text;
        document["steps"].push_back(std::move(json));
    }
    return json_text(document);
}

std::string dry_run_text(const std::vector<PreviewStep> &steps) {
    std::string text;
    for (const PreviewStep &step : steps) {
        text += step.is_command ? fmt::format("would run {}\n", step.text)
                                : fmt::format("would {} {}\n", step.action, step.text);
    }
    return text;
}

}  // namespace

Outcome report_write(const WritePlan &plan, const WriteResult &result, const std::string &file,
                     bool json) {
    Outcome outcome;
    outcome.remarks = remarks_on_clearing(plan);
    const bool is_as_written = result.is_as_written(plan);
    if (json) {
        outcome.data = write_json(plan, result, file);
    } else if (is_as_written) {
        outcome.data = success_text(plan, result);
    }
    if (!is_as_written) {
        outcome.status = kExitNegative;
        outcome.remarks.push_back(difference_text(plan, result));
    }
    return outcome;
}

Outcome report_dry_run(const WritePlan &plan, const std::string &file, const Options &options) {
    const std::vector<PreviewStep> steps =
        options.broker.empty() ? dry_run_steps(plan) : preview_broker_write(plan);
    Outcome outcome;
    outcome.data = options.json ? dry_run_json(plan, steps, file) : dry_run_text(steps);
    return outcome;
}

}  // namespace diag::diagctl
