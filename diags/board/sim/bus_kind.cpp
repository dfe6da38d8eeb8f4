// SPDX-License-Identifier: MIT
#include "diags/board/sim/bus_kind.h"

#include "diags/board/number.h"

namespace diag::board::sim {
namespace {

struct MuxWord {
    std::string_view word;
    MuxKind kind;
};

// In the order of the search.
constexpr MuxWord kMuxWords[] = {
    {"i2c", MuxKind::kI2c},   {"bmc", MuxKind::kBmc},    {"ipmi", MuxKind::kBmc},
    {"gpio", MuxKind::kGpio}, {"mem", MuxKind::kMemory},
};

}  // namespace

std::optional<BusKind> bus_kind_of(const device_node &node) {
    switch (node.bus_type) {
        case DIAG_BUS_I2C:
            return BusKind::kI2c;
        case DIAG_BUS_BMC:
            return BusKind::kBmc;
        case DIAG_BUS_LPC:
            return BusKind::kLpc;
        case DIAG_BUS_PCI:
            return BusKind::kPci;
        case DIAG_BUS_MEM:
            return BusKind::kMemory;
        default:
            return std::nullopt;
    }
}

std::optional<uint32_t> bus_of(const device_node &node, BusKind kind) {
    switch (kind) {
        case BusKind::kI2c:
        case BusKind::kBmc:
            return node.bus_no;
        case BusKind::kPci: {
            const bool named = node.bus_no <= 0xFF && node.pci_dev >= 0 && node.pci_dev <= 31 &&
                               node.pci_func >= 0 && node.pci_func <= 7;
            return named
                       ? std::optional(pci_bus_key(node.bus_no, static_cast<uint32_t>(node.pci_dev),
                                                   static_cast<uint32_t>(node.pci_func)))
                       : std::nullopt;
        }
        default:
            return 0;
    }
}

std::optional<MuxKind> mux_kind_of(std::string_view bus) {
    for (const MuxWord &row : kMuxWords) {
        if (bus.find(row.word) != std::string_view::npos) {
            return row.kind;
        }
    }
    return std::nullopt;
}

std::optional<uint32_t> parse_bmc_bus(std::string_view bus) {
    const size_t dash = bus.find('-');
    return dash == std::string_view::npos ? std::nullopt
                                          : parse_decimal(bus.substr(dash + 1), UINT32_MAX);
}

}  // namespace diag::board::sim
