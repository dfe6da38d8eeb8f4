// SPDX-License-Identifier: MIT
#include "diags/diagctl/candidates.h"

#include "diags/board/nearest_names.h"
#include "diags/diagctl/text.h"

namespace diag::diagctl {

std::string nearest_hint(std::string_view text, const std::vector<std::string> &names) {
    const std::vector<std::string> nearest = board::nearest_names(text, names);
    return nearest.empty() ? std::string() : "; nearest: " + join(nearest, ", ");
}

}  // namespace diag::diagctl
