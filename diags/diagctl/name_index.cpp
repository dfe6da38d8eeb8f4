// SPDX-License-Identifier: MIT
#include "diags/diagctl/name_index.h"

#include <algorithm>

#include "diags/board/nearest_names.h"
#include "diags/diagctl/text.h"

namespace diag::diagctl {

void NameIndex::add(std::string name, std::size_t thing) {
    if (!name.empty()) {
        names_.push_back(std::move(name));
        things_.push_back(thing);
    }
}

std::vector<std::size_t> NameIndex::matches(std::string_view name) const {
    const std::string wanted = one_line(name);
    std::vector<std::size_t> exact;
    std::vector<std::size_t> alike;
    for (std::size_t i = 0; i < names_.size(); ++i) {
        if (names_[i] == wanted) {
            exact.push_back(things_[i]);
        } else if (equal_ignoring_case(names_[i], wanted)) {
            alike.push_back(things_[i]);
        }
    }
    std::vector<std::size_t> &found = exact.empty() ? alike : exact;
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

std::vector<NameSplit> name_splits(std::string_view text) {
    std::vector<NameSplit> splits{{text, {}, false}};
    for (std::size_t dot = text.rfind('.'); dot != std::string_view::npos;
         dot = dot == 0 ? std::string_view::npos : text.rfind('.', dot - 1)) {
        splits.push_back({text.substr(0, dot), text.substr(dot + 1), true});
    }
    return splits;
}

std::string likely_name(std::string_view text, const std::vector<std::string> &names) {
    // Without a near name, what stands before the first dot.
    std::string_view likely = text.substr(0, text.find('.'));
    std::size_t least = std::string_view::npos;
    for (const NameSplit &split : name_splits(text)) {
        for (const std::string &name : names) {
            const std::size_t distance = board::edit_distance(one_line(split.name), name);
            if (distance < least) {
                least = distance;
                likely = split.name;
            }
        }
    }
    return one_line(likely);
}

}  // namespace diag::diagctl
