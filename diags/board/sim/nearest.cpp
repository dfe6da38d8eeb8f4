// SPDX-License-Identifier: MIT
#include "diags/board/sim/nearest.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace diag::board::sim {
namespace {

bool same_letter(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
}

// How many characters must be added, removed or replaced to get from one text to the other.
size_t edit_distance(const std::string &from, const std::string &to) {
    std::vector<size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < from.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < to.size(); ++j) {
            const size_t replaced = diagonal + (same_letter(from[i], to[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string nearest_hint(const std::string &name, const std::vector<std::string> &candidates) {
    const auto nearest = std::min_element(
        candidates.begin(), candidates.end(), [&name](const std::string &a, const std::string &b) {
            return edit_distance(name, a) < edit_distance(name, b);
        });
    return nearest != candidates.end() ? " (nearest: " + *nearest + ")" : "";
}

}  // namespace diag::board::sim
