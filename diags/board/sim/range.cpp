// SPDX-License-Identifier: MIT
#include "diags/board/sim/range.h"

#include <algorithm>

namespace diag::board::sim {

const Range *find_range(std::span<const Range> ranges, uint32_t number) {
    const auto after =
        std::upper_bound(ranges.begin(), ranges.end(), number,
                         [](uint32_t value, const Range &range) { return value < range.first; });
    if (after == ranges.begin()) {
        return nullptr;
    }
    const Range &range = *(after - 1);
    return number - range.first < range.count ? &range : nullptr;
}

Lane lane_of(const Range &range, uint32_t number, uint32_t byte_in_unit) {
    const uint64_t width = range.unit_bytes;
    const uint64_t index = number - range.first;
    const bool by_unit = (range.flags & kRangeByUnit) != 0;
    const uint64_t byte = by_unit ? index * width + byte_in_unit : index + range.skip;
    const auto at = static_cast<unsigned>(byte % width);
    const bool little_endian = (range.flags & kRangeLittleEndian) != 0;
    return {range.cell + byte / width,
            8 * (little_endian ? at : static_cast<unsigned>(width) - 1 - at)};
}

}  // namespace diag::board::sim
