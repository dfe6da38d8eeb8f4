// SPDX-License-Identifier: MIT
// From the names that a user types to chips, registers and bit fields.
//
// Names are compared exactly first and then without regard to letter case, with the blanks around
// them dropped. They may contain dots and blanks, so a target is not split at its dots: the longest
// name that fits comes first.
#ifndef DIAGS_DIAGCTL_LOOKUP_H
#define DIAGS_DIAGCTL_LOOKUP_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "device_tree.h"

#include "diags/diagctl/description.h"

namespace diag::diagctl {

// Bits of a register: a field of the description, or bits that the user has named by number.
struct Field {
    std::string name;  // of the description, or "7:4"
    int low;
    int high;
    const bit_def *definition;  // null for bits that are no field of the description
};

// What a command works on: a chip, a register of it or a field of that.
struct Target {
    const Chip *chip;
    const reg_def *reg;  // null: the chip as a whole
    std::optional<Field> field;

    std::string name() const;  // "CHIP.REG.FIELD"
};

std::string range_text(int low, int high);      // "7:4" or "3"
std::string register_name(const reg_def &reg);  // its offset when it has no name
std::vector<const reg_def *> registers_of(const device_node &node);
Field field_of(const bit_def &bit);

// Each throws CliError with status 5, naming the nearest candidates, when there is no such thing
// or more than one.
const Chip &find_chip(const Description &description, std::string_view name);
Target find_target(const Description &description, std::string_view text);

}  // namespace diag::diagctl

#endif
