// SPDX-License-Identifier: MIT
// The words for the numbers in a device tree.
#ifndef DIAGS_DIAGCTL_VOCABULARY_H
#define DIAGS_DIAGCTL_VOCABULARY_H

#include <cstdint>
#include <string>
#include <vector>

#include "device_tree.h"

namespace diag::diagctl {

const char *chip_type_name(std::int32_t chip_type);  // "CPLD" ..., "other"
const char *bus_kind_name(std::int32_t bus_type);    // "i2c" ..., "unknown"
const char *access_name(std::int32_t access);        // "RO" ..., "?" for a kind nobody knows

// The bus as a tool program is told: "/dev/i2c-3", "bmc-1", "lpc"; with the function of a chip on
// PCI: "pci 03:00.0".
std::string bus_name(const device_node &node);

// The test roles that `reg` has on its chip, in the order of the roles.
struct TestRole {
    const char *label;      // short, for tables
    const char *json_name;  // for programs
};
std::vector<TestRole> test_roles(const device_node &node, const reg_def &reg);

// Hexadecimal with as many digits as `bits` need, "0x0f".
std::string hex(std::uint64_t value, unsigned bits);

// Digits for a value that has no width of its own: at least two.
std::string hex(std::uint64_t value);

// Bits of a register number on this chip: 8 unless the description says otherwise.
unsigned offset_bits(const device_node &node);

}  // namespace diag::diagctl

#endif
