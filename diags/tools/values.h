// SPDX-License-Identifier: MIT
// The values of options that are more than a number (diags/board/number.h): widths and lists.
#ifndef DIAGS_TOOLS_VALUES_H
#define DIAGS_TOOLS_VALUES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace diag::tools {

// A width in bits, as bytes: "8" is 1, then 16, 32 and 64. Empty above `max_bytes`.
std::optional<unsigned> parse_width(std::string_view text, unsigned max_bytes);

// A list of numbers of `item_bytes` each, least significant byte first into `room`. Answers how
// many bytes they take; 0 for an empty text, nothing for an unusable one or one that needs more
// room.
std::optional<size_t> parse_values(std::string_view text, unsigned item_bytes,
                                   std::span<uint8_t> room);

}  // namespace diag::tools

#endif
