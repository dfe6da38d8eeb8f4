// SPDX-License-Identifier: MIT
#include "diags/board/nearest_names.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <unordered_set>

namespace diag::board {
namespace {

constexpr std::size_t kMostCandidates = 3;

bool same_letter(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
}

}  // namespace

std::size_t edit_distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (same_letter(from[i], to[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::vector<std::string> nearest_names(std::string_view text,
                                       const std::vector<std::string> &names) {
    struct Rated {
        std::size_t distance;
        std::string name;
    };
    std::vector<Rated> rated;
    std::unordered_set<std::string_view> seen;
    for (const std::string &name : names) {
        if (!name.empty() && seen.insert(name).second) {
            rated.push_back({edit_distance(text, name), name});
        }
    }
    std::stable_sort(rated.begin(), rated.end(),
                     [](const Rated &a, const Rated &b) { return a.distance < b.distance; });
    std::vector<std::string> nearest;
    for (std::size_t i = 0; i < std::min(rated.size(), kMostCandidates); ++i) {
        nearest.push_back(std::move(rated[i].name));
    }
    return nearest;
}

}  // namespace diag::board
