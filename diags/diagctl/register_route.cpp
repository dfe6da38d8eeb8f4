// SPDX-License-Identifier: MIT
#include "diags/diagctl/register_route.h"

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/library_call.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/route_kinds.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

constexpr std::uint64_t kHighestByte = 0xFF;

void check_nothing(const Chip & /*chip*/) {}

struct BusKind {
    std::int32_t type;
    void (*check)(const Chip &chip);
    std::unique_ptr<RegisterRoute> (*make)(const Chip &chip, const reg_def &reg);
};

constexpr BusKind kBusKinds[] = {
    {DIAG_BUS_I2C, check_i2c_chip, make_i2c_route},
    {DIAG_BUS_BMC, check_bmc_chip, make_bmc_route},
    {DIAG_BUS_LPC, check_nothing, make_lpc_route},
    {DIAG_BUS_PCI, check_pci_chip, make_pci_route},
    {DIAG_BUS_MEM, check_nothing, make_memory_route},
};

const BusKind &bus_kind_of(const Chip &chip) {
    for (const BusKind &kind : kBusKinds) {
        if (kind.type == chip.node->bus_type) {
            return kind;
        }
    }
    fail(kExitNoDevice, "chip \"{}\": no tool program reaches bus {}", chip.label,
         bus_name(*chip.node));
}

}  // namespace

RegisterRoute::RegisterRoute(const reg_def &reg)
    : count_(static_cast<unsigned>(register_bytes(reg))) {}

std::string RegisterRoute::text() const {
    return fmt::format("{} byte{} {}", count_, count_ == 1 ? "" : "s", place());
}

std::optional<int> RegisterRoute::delivered(std::string_view library) const {
    return delivered_bytes(library);
}

std::unique_ptr<RegisterRoute> make_route(const Chip &chip, const reg_def &reg) {
    const BusKind &kind = bus_kind_of(chip);
    kind.check(chip);
    return kind.make(chip, reg);
}

void require_reachable(const Chip &chip) {
    bus_kind_of(chip).check(chip);
}

std::string full_name(const Chip &chip, const reg_def &reg) {
    return chip.label + "." + register_name(reg);
}

void check_pointer_chip(const Chip &chip) {
    const device_node &node = *chip.node;
    if (node.address > kHighestByte) {
        fail(kExitBadDescription, "chip \"{}\": address {} does not fit {} bus", chip.label,
             hex(node.address), node.bus_type == DIAG_BUS_I2C ? "an i2c" : "a bmc");
    }
    if (offset_bits(node) != 8 && offset_bits(node) != 16) {
        fail(kExitBadDescription,
             "chip \"{}\": its register numbers have {} bits, only 8 and 16 will do "
             "(chip-offset-length is hexadecimal: 8 or 10)",
             chip.label, offset_bits(node));
    }
}

void check_pointer_register(const Chip &chip, const reg_def &reg) {
    const unsigned bits = offset_bits(*chip.node);
    if (reg.offset >> bits != 0) {
        fail(kExitBadDescription, "{}: offset {} does not fit the chip's {}-bit register numbers",
             full_name(chip, reg), hex(reg.offset), bits);
    }
}

}  // namespace diag::diagctl
