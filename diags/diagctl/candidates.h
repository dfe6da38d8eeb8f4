// SPDX-License-Identifier: MIT
#ifndef DIAGS_DIAGCTL_CANDIDATES_H
#define DIAGS_DIAGCTL_CANDIDATES_H

#include <string>
#include <string_view>
#include <vector>

namespace diag::diagctl {

// "; nearest: A, B, C", what a mistyped `text` may have meant, or nothing when there are no names.
std::string nearest_hint(std::string_view text, const std::vector<std::string> &names);

}  // namespace diag::diagctl

#endif
