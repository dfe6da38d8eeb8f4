// SPDX-License-Identifier: MIT
// What the fields of a text description may be, beyond what both forms share. The fields are given
// as they stand, with the blanks around them: some of those count.
#ifndef DIAGS_DIAGCTL_TEXT_VALUES_H
#define DIAGS_DIAGCTL_TEXT_VALUES_H

#include <optional>
#include <string_view>

#include "diags/diagctl/description_values.h"

namespace diag::diagctl {

Complaint check_chip_type_field(std::string_view text);
Complaint check_access_field(std::string_view text);
Complaint check_size_field(std::string_view text);
Complaint check_decimal_field(std::string_view text);
Complaint check_offset_length_field(std::string_view text);
Complaint check_test_id_field(std::string_view text);
Complaint check_presence_bit_field(std::string_view text);

// A chip's bus, and its location on a bus of that kind.
Complaint check_bus_word(std::string_view text);
Complaint check_location(std::string_view bus_word, std::string_view text);

// "7:4" or "3", in decimal, the higher bit first.
Complaint check_range_field(std::string_view text, int register_bits);

bool is_blank_field(std::string_view text);
std::optional<long> parse_decimal(std::string_view text);
unsigned long hexadecimal_value(std::string_view text);  // of a text that has been checked

}  // namespace diag::diagctl

#endif
