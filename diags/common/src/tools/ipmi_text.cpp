// SPDX-License-Identifier: MIT
#include "diags/common/src/tools/ipmi_text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace diag {

std::optional<int> bus_behind_dash(const char *bus_path) {
    const char *dash = std::strchr(bus_path, '-');
    if (dash == nullptr || dash[1] == '\0' || dash[1] == '-') {
        return std::nullopt;
    }
    return static_cast<int>(std::strtol(dash + 1, nullptr, 10));
}

PrintedText::PrintedText(std::string_view printed, size_t most) {
    const std::string_view kept = printed.substr(0, std::min(most, kMost));
    std::copy(kept.begin(), kept.end(), text_.begin());
}

unsigned PrintedText::pair_at(size_t position) const {
    const char digits[] = {at(position), at(position + 1), '\0'};
    return static_cast<unsigned>(std::strtol(digits, nullptr, 16));
}

unsigned PrintedText::pairs_at(size_t first, size_t second) const {
    const char digits[] = {at(first), at(first + 1), at(second), at(second + 1), '\0'};
    return static_cast<unsigned>(std::strtol(digits, nullptr, 16));
}

}  // namespace diag
