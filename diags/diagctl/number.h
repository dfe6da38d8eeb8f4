// SPDX-License-Identifier: MIT
// Numbers as a user types them: decimal, 0x... or 0b...
#ifndef DIAGS_DIAGCTL_NUMBER_H
#define DIAGS_DIAGCTL_NUMBER_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace diag::diagctl {

// Whether `text` is written as a number: such text is never taken for a name.
bool looks_like_number(std::string_view text);

// Nothing when `text` is no number, or one of more than 64 bits.
std::optional<std::uint64_t> parse_number(std::string_view text);

// A bit range, "7:4" or "3"; the order of the two numbers does not matter.
struct BitRange {
    int low;
    int high;
};
std::optional<BitRange> parse_bit_range(std::string_view text);

}  // namespace diag::diagctl

#endif
