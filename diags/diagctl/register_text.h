// SPDX-License-Identifier: MIT
// What a register has answered, for people and for programs.
#ifndef DIAGS_DIAGCTL_REGISTER_TEXT_H
#define DIAGS_DIAGCTL_REGISTER_TEXT_H

#include <cstdint>
#include <string>
#include <vector>

#include "device_tree.h"

#include "diags/diagctl/decode.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/json_view.h"
#include "diags/diagctl/lookup.h"

namespace diag::diagctl {

struct RegisterReading {
    RegisterReading(const reg_def &reg_read, RegisterBytes answer);

    const reg_def *reg;
    std::vector<std::uint8_t> bytes;  // as the tool has delivered them
    std::uint32_t value;              // of a register of one unit
};

// The number and a line for each field; a dump for a register of several units.
std::string register_text(const Chip &chip, const RegisterReading &reading);
// One line for the target's field alone.
std::string field_text(const Target &target, const RegisterReading &reading);

// `only`: the one field to show; null: all of them.
Json register_json(const RegisterReading &reading, const Field *only);

// "00000010  00 01 02 ...  |...|" for each 16 bytes; the offset counts bytes of the register.
std::string hex_dump(const std::vector<std::uint8_t> &bytes);

}  // namespace diag::diagctl

#endif
