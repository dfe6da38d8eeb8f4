// SPDX-License-Identifier: MIT
// Which buses the texts and numbers of a description stand for.
#ifndef DIAGS_BOARD_SIM_BUS_KIND_H
#define DIAGS_BOARD_SIM_BUS_KIND_H

#include <cstdint>
#include <optional>
#include <string_view>

#include "device_tree.h"

#include "diags/board/sim/layout.h"

namespace diag::board::sim {

// Empty for buses that no tool reaches.
std::optional<BusKind> bus_kind_of(const device_node &node);

// What a device of that chip has for a bus; empty for a PCI chip whose function is not named.
std::optional<uint32_t> bus_of(const device_node &node, BusKind kind);

enum class MuxKind : uint8_t { kI2c, kBmc, kGpio, kMemory };

// What the library makes of the text of a mux's bus: the first of its words that is found counts.
std::optional<MuxKind> mux_kind_of(std::string_view bus);

// N of "bmc-N" and "ipmi-N": decimal, after the first dash.
std::optional<uint32_t> parse_bmc_bus(std::string_view bus);

}  // namespace diag::board::sim

#endif
