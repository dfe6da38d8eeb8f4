// SPDX-License-Identifier: MIT
// What the IPMI calls share: naming a bus behind the controller, and what ipmitool prints.
#ifndef DIAGS_COMMON_SRC_TOOLS_IPMI_TEXT_H
#define DIAGS_COMMON_SRC_TOOLS_IPMI_TEXT_H

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace diag {

// The decimal number behind the first dash of "ipmi-3"; nothing without a dash or when nothing
// stands between it and the end or the next dash.
std::optional<int> bus_behind_dash(const char *bus_path);

// The beginning of what a program has printed; everything behind its end reads as NUL.
class PrintedText {
  public:
    static constexpr size_t kMost = 500;

    // Takes up to `most` characters.
    PrintedText(std::string_view printed, size_t most);

    const char *text() const { return text_.data(); }
    char at(size_t position) const { return position < kMost ? text_[position] : '\0'; }

    // The hexadecimal number that the two characters there, and those at `second`, form.
    unsigned pair_at(size_t position) const;
    unsigned pairs_at(size_t first, size_t second) const;

  private:
    std::array<char, kMost + 1> text_{};
};

}  // namespace diag

#endif
