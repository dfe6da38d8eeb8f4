// SPDX-License-Identifier: MIT
#include "diags/tools/options.h"

namespace diag::tools {

std::optional<ExitStatus> check_rules(std::initializer_list<Rule> rules) {
    for (const Rule &rule : rules) {
        if (rule.broken) {
            return usage_error("%s", rule.text);
        }
    }
    return std::nullopt;
}

}  // namespace diag::tools
