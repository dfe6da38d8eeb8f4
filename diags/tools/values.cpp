// SPDX-License-Identifier: MIT
#include "diags/tools/values.h"

#include <algorithm>
#include <bit>

#include "diags/board/number.h"

namespace diag::tools {
namespace {

static_assert(std::endian::native == std::endian::little,
              "results go to the caller least significant byte first, as it reads them");

constexpr uint32_t kMaxWidth = 64;

// The largest number of so many bytes, 1 to 8.
constexpr uint64_t max_of_bytes(unsigned bytes) {
    return UINT64_MAX >> (64 - 8 * bytes);
}

void store_item(uint64_t value, std::span<uint8_t> item) {
    for (uint8_t &byte : item) {
        byte = static_cast<uint8_t>(value);
        value >>= 8;
    }
}

}  // namespace

std::optional<unsigned> parse_width(std::string_view text, unsigned max_bytes) {
    const uint32_t bits = board::parse_decimal(text, kMaxWidth).value_or(0);
    const bool usable = std::has_single_bit(bits) && bits >= 8 && bits / 8 <= max_bytes;
    return usable ? std::optional(bits / 8) : std::nullopt;
}

std::optional<size_t> parse_values(std::string_view text, unsigned item_bytes,
                                   std::span<uint8_t> room) {
    size_t size = 0;
    while (!text.empty()) {
        const size_t comma = std::min(text.find(','), text.size());
        const auto value =
            board::parse_wide_number(text.substr(0, comma), max_of_bytes(item_bytes));
        const bool ends_in_comma = comma + 1 == text.size();
        if (!value || ends_in_comma || room.size() - size < item_bytes) {
            return std::nullopt;
        }
        store_item(*value, room.subspan(size, item_bytes));
        size += item_bytes;
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return size;
}

}  // namespace diag::tools
