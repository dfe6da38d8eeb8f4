// SPDX-License-Identifier: MIT
// Register values: their bytes, their bit fields and the meaning of those.
#ifndef DIAGS_DIAGCTL_DECODE_H
#define DIAGS_DIAGCTL_DECODE_H

#include <cstddef>
#include <cstdint>
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

// How the bytes of a value stand in a tool's answer and in what a tool is told to write.
enum class ByteOrder : std::uint8_t { kLowFirst, kHighFirst };

// What a register has answered.
struct RegisterBytes {
    std::vector<std::uint8_t> bytes;
    ByteOrder order;
};

std::uint32_t value_of_bytes(const RegisterBytes &answer);  // of the first four at most
std::vector<std::uint8_t> bytes_of_value(std::uint32_t value, std::size_t count, ByteOrder order);

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
