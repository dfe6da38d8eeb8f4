// SPDX-License-Identifier: MIT
// The names that a mistyped one may have meant.
#ifndef DIAGS_BOARD_NEAREST_NAMES_H
#define DIAGS_BOARD_NEAREST_NAMES_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace diag::board {

// Characters to insert, delete or replace to make one text of the other; case does not count.
std::size_t edit_distance(std::string_view a, std::string_view b);

// The at most three `names` nearest to `text`, nearest first, each once.
std::vector<std::string> nearest_names(std::string_view text,
                                       const std::vector<std::string> &names);

}  // namespace diag::board

#endif
