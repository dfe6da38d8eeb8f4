// SPDX-License-Identifier: MIT
#ifndef DIAGS_BOARD_SIM_NEAREST_H
#define DIAGS_BOARD_SIM_NEAREST_H

#include <string>
#include <vector>

namespace diag::board::sim {

// " (nearest: NAME)" for the candidate that is most like `name`, empty when there is none.
std::string nearest_hint(const std::string &name, const std::vector<std::string> &candidates);

}  // namespace diag::board::sim

#endif
