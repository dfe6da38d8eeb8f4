// SPDX-License-Identifier: MIT
// What the texts of a description may be, seen from what the library makes of them.
#ifndef DIAGS_DIAGCTL_DESCRIPTION_VALUES_H
#define DIAGS_DIAGCTL_DESCRIPTION_VALUES_H

#include <optional>
#include <string>
#include <string_view>

namespace diag::diagctl {

// What is wrong with a value, said so that it can follow the value itself; empty when it is fine.
// The texts are not blank.
using Complaint = std::string;
using ValueCheck = Complaint (*)(std::string_view text);

Complaint check_text(std::string_view text);  // any will do
Complaint check_hexadecimal(std::string_view text);
Complaint check_number(std::string_view text);
Complaint check_register_size(std::string_view text);
Complaint check_length(std::string_view text);
Complaint check_chip_bus(std::string_view text);
Complaint check_mux_bus(std::string_view text);

// A number as the C library reads one: decimal, 0x... or octal. Nothing when more than blanks
// stands behind it.
std::optional<long> parse_c_number(std::string_view text);

// chip "PUMP"; or `kind` and `otherwise` when there is no name.
std::string named(std::string_view kind, const std::string &name, const std::string &otherwise);

// Whether there is nothing to read; also for null.
bool is_blank(const char *text);

}  // namespace diag::diagctl

#endif
