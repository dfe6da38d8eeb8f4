// SPDX-License-Identifier: MIT
// The chips of a board as a tree: host, bus, the muxes on the way, chip.
#ifndef DIAGS_DIAGCTL_TREE_PICTURE_H
#define DIAGS_DIAGCTL_TREE_PICTURE_H

#include <string>
#include <vector>

#include "diags/diagctl/description.h"

namespace diag::diagctl {

struct Branch {
    std::string label;
    std::vector<Branch> branches;
};

// A mux that several chips lie behind appears once. "[0x01]" in front of what lies behind a mux is
// the value that selects the way to it.
Branch chip_tree(const std::vector<Chip> &chips);

enum class LineStyle { kAscii, kUnicode };
LineStyle line_style_of_locale();
std::string draw_tree(const Branch &root, LineStyle style);

}  // namespace diag::diagctl

#endif
