// SPDX-License-Identifier: MIT
#include "diags/diagctl/board_session.h"
#include "diags/diagctl/commands.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/json_view.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/tree_picture.h"

namespace diag::diagctl {
namespace {

std::string tree_json(const Description &description) {
    Json document = json_document("tree");
    document["file"] = description.path();
    document["chips"] = Json::array();
    for (const Chip &chip : description.chips()) {
        Json json = json_of(chip);
        json["registers"] = registers_of(*chip.node).size();
        document["chips"].push_back(std::move(json));
    }
    return json_text(document);
}

}  // namespace

Outcome run_tree(const Options &options) {
    BoardSession board(options);
    const Description description(options.file, options.verbosity, module_search(options, board));
    Outcome outcome;
    outcome.remarks = description.remarks();
    outcome.data = options.json ? tree_json(description)
                                : draw_tree(chip_tree(description.chips()), line_style_of_locale());
    return outcome;
}

}  // namespace diag::diagctl
