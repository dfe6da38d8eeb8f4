// SPDX-License-Identifier: MIT
// Register values: their bytes, their bit fields and the meaning of those.
#ifndef DIAGS_DIAGCTL_DECODE_H
#define DIAGS_DIAGCTL_DECODE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "device_tree.h"

#include "diags/diagctl/lookup.h"

namespace diag::diagctl {

// ---- bits ----

std::uint32_t bit_mask(int low, int high);  // both included, 0 to 31
std::uint32_t field_mask(const Field &field);
std::uint32_t extract(const Field &field, std::uint32_t register_value);
std::uint32_t insert(const Field &field, std::uint32_t register_value, std::uint32_t field_value);

// ---- bytes ----

// Bytes that a register of one unit takes, or all units of a longer one.
std::size_t register_bytes(const reg_def &reg);

// How the bytes of a register stand in a tool's answer and in what a tool is told to write. Items
// of 16 bits are in host order; wider values travel byte by byte, most significant first unless the
// chip's registers are little-endian.
std::uint32_t value_of_bytes(const reg_def &reg, bool little_endian,
                             std::span<const std::uint8_t> bytes);
std::vector<std::uint8_t> bytes_of_value(const reg_def &reg, bool little_endian,
                                         std::uint32_t value);

// ---- fields ----

struct DecodedField {
    Field field;
    std::uint32_t value;
    std::string meaning;  // empty when the value has no name
};

DecodedField decode_field(const Field &field, std::uint32_t register_value);

// All fields of the register, from the highest bit down.
std::vector<DecodedField> decode_fields(const reg_def &reg, std::uint32_t register_value);

// The fields of a register, from the highest bit down.
std::vector<Field> sorted_fields(const reg_def &reg);

}  // namespace diag::diagctl

#endif
