// SPDX-License-Identifier: MIT
#include "diags/diagctl/vocabulary.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace diag::diagctl {
namespace {

constexpr const char *kChipTypes[] = {"CPLD", "FPGA", "TPM", "NVRAM"};
constexpr const char *kBusKinds[] = {"i2c", "pci", "mem", "lpc", "io", "mtd", "bmc"};
constexpr const char *kAccessKinds[] = {"RO", "RW", "RC", "RMW", "WO"};

template <std::size_t N>
const char *word(const char *const (&words)[N], std::int32_t number, const char *otherwise) {
    const bool known = number >= 0 && static_cast<std::size_t>(number) < N;
    return known ? words[number] : otherwise;
}

bool contains(const reg_list *list, const reg_def &reg) {
    for (; list != nullptr; list = list->next) {
        if (list->reg == &reg) {
            return true;
        }
    }
    return false;
}

// One list serves both modes of test A, and the chip says which of them its tests use.
TestRole role_a(const device_node &node) {
    return node.test_regs_mode == 1 ? TestRole{"A, mode 1", "a_mode1"}
                                    : TestRole{"A, mode 2", "a_mode2"};
}

}  // namespace

const char *chip_type_name(std::int32_t chip_type) {
    return word(kChipTypes, chip_type, "other");
}

const char *bus_kind_name(std::int32_t bus_type) {
    return word(kBusKinds, bus_type, "unknown");
}

const char *access_name(std::int32_t access) {
    return word(kAccessKinds, access, "?");
}

std::string bus_name(const device_node &node) {
    switch (node.bus_type) {
        case DIAG_BUS_I2C:
            return fmt::format("/dev/i2c-{}", node.bus_no);
        case DIAG_BUS_BMC:
            return fmt::format("bmc-{}", node.bus_no);
        case DIAG_BUS_PCI:
            return node.pci_dev < 0 || node.pci_func < 0
                       ? bus_kind_name(node.bus_type)
                       : fmt::format("pci {:02x}:{:02x}.{:x}", node.bus_no, node.pci_dev,
                                     node.pci_func);
        case DIAG_BUS_MTD:
            return fmt::format("mtd-{}", node.bus_no);
        default:
            return bus_kind_name(node.bus_type);
    }
}

std::vector<TestRole> test_roles(const device_node &node, const reg_def &reg) {
    struct Entry {
        const reg_list *list;
        TestRole role;
    };
    const Entry entries[] = {
        {node.intr_setup_regs, {"interrupt setup", "interrupt_setup"}},
        {node.intr_status_regs, {"interrupt status", "interrupt_status"}},
        {node.test_regs_a, role_a(node)},
        {node.test_regs_b, {"B", "b"}},
        {node.test_regs_c, {"C", "c"}},
    };
    std::vector<TestRole> roles;
    for (const Entry &entry : entries) {
        if (contains(entry.list, reg)) {
            roles.push_back(entry.role);
        }
    }
    return roles;
}

std::string hex(std::uint64_t value, unsigned bits) {
    return fmt::format("0x{:0{}x}", value, (bits + 3) / 4);
}

std::string hex(std::uint64_t value) {
    return hex(value, 8);
}

unsigned offset_bits(const device_node &node) {
    return node.offset_len == 0 ? 8 : node.offset_len;
}

}  // namespace diag::diagctl
