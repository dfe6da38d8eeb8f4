// SPDX-License-Identifier: MIT
// What a write command is going to do, and what came of it.
#ifndef DIAGS_DIAGCTL_WRITE_PLAN_H
#define DIAGS_DIAGCTL_WRITE_PLAN_H

#include <cstdint>
#include <optional>

#include "diags/diagctl/lookup.h"

namespace diag::diagctl {

struct WritePlan {
    Target target;
    std::uint32_t value;          // of the field, or of the whole register
    std::uint32_t compared_bits;  // bits to read back and compare, 0: none
    std::uint32_t cleared_bits;   // bits that the readings of this write clear
};

WritePlan plan_write(const Target &target, std::uint32_t value);

struct WriteResult {
    std::uint32_t written = 0;               // value of the whole register
    std::optional<std::uint32_t> read_back;  // nothing when it was not read back

    bool is_as_written(const WritePlan &plan) const {
        return !read_back || ((*read_back ^ written) & plan.compared_bits) == 0;
    }
};

}  // namespace diag::diagctl

#endif
