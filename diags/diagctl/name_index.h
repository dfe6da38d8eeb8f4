// SPDX-License-Identifier: MIT
// The names of some things, and which of the things a text means.
#ifndef DIAGS_DIAGCTL_NAME_INDEX_H
#define DIAGS_DIAGCTL_NAME_INDEX_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace diag::diagctl {

class NameIndex {
  public:
    // A thing may have several names, and several things one name. An empty name is none.
    void add(std::string name, std::size_t thing);

    // The things called `name` exactly, or else those called so without regard to letter case;
    // in order, each once.
    std::vector<std::size_t> matches(std::string_view name) const;

    const std::vector<std::string> &names() const { return names_; }

  private:
    std::vector<std::string> names_;
    std::vector<std::size_t> things_;
};

// One way to take a text apart: a name, and what follows the dot behind it.
struct NameSplit {
    std::string_view name;
    std::string_view rest;
    bool has_rest;
};

// All ways to take `text` apart, the longest name first.
std::vector<NameSplit> name_splits(std::string_view text);

// The name in `text` that comes nearest to one of `names`, to be told that it is not known.
std::string likely_name(std::string_view text, const std::vector<std::string> &names);

}  // namespace diag::diagctl

#endif
