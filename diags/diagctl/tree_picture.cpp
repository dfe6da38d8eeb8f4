// SPDX-License-Identifier: MIT
#include "diags/diagctl/tree_picture.h"

#include <algorithm>
#include <fmt/format.h>
#include <langinfo.h>
#include <string_view>

#include "diags/diagctl/text.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

// What goes in front of a branch and of all that hangs below it.
struct LineSet {
    std::string_view branch;
    std::string_view last_branch;
    std::string_view below;
    std::string_view below_last;
};

constexpr LineSet kLineSets[] = {
    {"|-- ", "`-- ", "|   ", "    "},
    {"├── ", "└── ", "│   ", "    "},
};

Branch &branch_called(Branch &parent, const std::string &label) {
    const auto found = std::find_if(parent.branches.begin(), parent.branches.end(),
                                    [&label](const Branch &b) { return b.label == label; });
    if (found != parent.branches.end()) {
        return *found;
    }
    return parent.branches.emplace_back(Branch{label, {}});
}

std::string place_on(const std::string &bus, const std::string &bus_above) {
    return bus == bus_above ? std::string() : bus + " ";
}

void add_chip(Branch &host, const Chip &chip) {
    const device_node &node = *chip.node;
    const mux_entry *const first = node.mux_list;
    const std::string chip_bus = bus_name(node);
    const std::string first_bus = first != nullptr ? one_line(first->bus) : chip_bus;
    std::string bus_above = first_bus;
    std::string way;
    Branch *above = &branch_called(host, first_bus);
    for (const mux_entry *mux = first; mux != nullptr; mux = mux->next) {
        const std::string bus = mux->bus != nullptr ? one_line(mux->bus) : first_bus;
        above = &branch_called(*above,
                               fmt::format("{}{}mux {}, register {}", way, place_on(bus, bus_above),
                                           hex(mux->addr), hex(mux->reg)));
        way = fmt::format("[{}] ", hex(mux->val));
        bus_above = bus;
    }
    above->branches.push_back(
        {fmt::format("{}{}{}  {} ({})", way, place_on(chip_bus, bus_above), hex(node.address),
                     chip.label, chip_type_name(node.chip_type)),
         {}});
}

void draw_below(const Branch &parent, const LineSet &lines, const std::string &indent,
                std::string &text) {
    for (const Branch &branch : parent.branches) {
        const bool is_last = &branch == &parent.branches.back();
        text += indent;
        text += is_last ? lines.last_branch : lines.branch;
        text += branch.label + "\n";
        draw_below(branch, lines, indent + std::string(is_last ? lines.below_last : lines.below),
                   text);
    }
}

}  // namespace

Branch chip_tree(const std::vector<Chip> &chips) {
    Branch host{"host", {}};
    for (const Chip &chip : chips) {
        add_chip(host, chip);
    }
    return host;
}

LineStyle line_style_of_locale() {
    return std::string_view(nl_langinfo(CODESET)) == "UTF-8" ? LineStyle::kUnicode
                                                             : LineStyle::kAscii;
}

std::string draw_tree(const Branch &root, LineStyle style) {
    std::string text = root.label + "\n";
    draw_below(root, kLineSets[static_cast<int>(style)], {}, text);
    return text;
}

}  // namespace diag::diagctl
