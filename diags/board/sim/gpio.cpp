// SPDX-License-Identifier: MIT
#include "diags/board/sim/gpio.h"

#include <algorithm>

namespace diag::board::sim {

Status find_line(State &state, uint32_t chip, uint32_t number, Line **found) {
    const std::span<Line> all = state.lines();
    const auto start = std::partition_point(all.begin(), all.end(), [&](const Line &line) {
        return line.chip < chip || (line.chip == chip && line.number < number);
    });
    if (start != all.end() && start->chip == chip && start->number == number) {
        *found = &*start;
        return Status::kOk;
    }
    const bool has_chip = (start != all.end() && start->chip == chip) ||
                          (start != all.begin() && (start - 1)->chip == chip);
    return has_chip ? Status::kNoSuchLine : Status::kNoSuchBus;
}

}  // namespace diag::board::sim
