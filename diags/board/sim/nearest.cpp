// SPDX-License-Identifier: MIT
#include "diags/board/sim/nearest.h"

#include "diags/board/nearest_names.h"

namespace diag::board::sim {

std::string nearest_hint(const std::string &name, const std::vector<std::string> &candidates) {
    const std::vector<std::string> nearest = nearest_names(name, candidates);
    return nearest.empty() ? std::string() : " (nearest: " + nearest.front() + ")";
}

}  // namespace diag::board::sim
