// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include "diags/diagctl/board_session.h"
#include "diags/diagctl/commands.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/json_view.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/text.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

std::string size_text(const reg_def &reg) {
    return reg.length == 1 ? fmt::format("{}", reg.size)
                           : fmt::format("{} x {}", reg.length, reg.size);
}

std::string role_text(const device_node &node, const reg_def &reg) {
    std::vector<std::string> labels;
    for (const TestRole &role : test_roles(node, reg)) {
        labels.emplace_back(role.label);
    }
    return labels.empty() ? "-" : join(labels, "; ");
}

void add_fields(TextTable &table, const reg_def &reg) {
    for (const Field &field : sorted_fields(reg)) {
        const bit_def &bit = *field.definition;
        const auto bits = static_cast<unsigned>(field.high - field.low + 1);
        table.add_line(fmt::format("      {:>5}  {}  {}  default {}",
                                   range_text(field.low, field.high), field.name,
                                   access_name(bit.access), hex(bit.def_val, bits)));
        for (const bit_info *info = bit.infos; info != nullptr; info = info->next) {
            table.add_line(fmt::format("               {} = {}", hex(info->value, bits),
                                       one_line(info->desc)));
        }
    }
}

std::string regs_text(const Chip &chip, bool with_bits) {
    const device_node &node = *chip.node;
    TextTable table;
    table.add_row({"OFFSET", "NAME", "BITS", "ACCESS", "DEFAULT", "MASK", "TEST"});
    for (const reg_def *reg : registers_of(node)) {
        table.add_row({hex(reg->offset, offset_bits(node)), one_line(reg->name), size_text(*reg),
                       access_name(reg->access), hex(reg->def_val, reg->size),
                       hex(reg->mask, reg->size), role_text(node, *reg)});
        if (with_bits) {
            add_fields(table, *reg);
        }
    }
    return table.str();
}

std::string regs_json(const Description &description, const Chip &chip) {
    Json document = json_document("regs");
    document["file"] = description.path();
    document["chip"] = json_of(chip);
    document["registers"] = Json::array();
    for (const reg_def *reg : registers_of(*chip.node)) {
        document["registers"].push_back(json_of(*chip.node, *reg));
    }
    return json_text(document);
}

}  // namespace

Outcome run_regs(const Options &options) {
    BoardSession board(options);
    const Description description(options.file, options.verbosity, module_search(options, board));
    const Chip &chip = find_chip(description, options.target);
    Outcome outcome;
    outcome.remarks = description.remarks();
    outcome.data = options.json ? regs_json(description, chip) : regs_text(chip, options.bits);
    return outcome;
}

}  // namespace diag::diagctl
