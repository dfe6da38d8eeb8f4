// SPDX-License-Identifier: MIT
// A chip's registers as the state keeps them: cells with their access rights, and the ranges of
// register numbers that lead to them.
#ifndef DIAGS_BOARD_SIM_REGISTER_MAP_H
#define DIAGS_BOARD_SIM_REGISTER_MAP_H

#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

#include "device_tree.h"

#include "diags/board/sim/layout.h"

namespace diag::board::sim {

// One register of the description.
struct MappedRegister {
    const reg_def *definition;
    uint32_t units;
    uint32_t unit_bytes;
    uint32_t first_cell;  // of its own units; registers described twice share them
};

// What a chip's bus makes of register numbers.
struct Numbering {
    uint32_t highest;
    bool little_endian;
    bool may_count_units;  // where registers overlap, a number stands for a unit
};

Numbering numbering_of(const device_node &node);

// All bits of a unit of that many bytes.
constexpr uint32_t unit_mask(uint32_t unit_bytes) {
    return unit_bytes >= 4 ? UINT32_MAX : (uint32_t{1} << (8 * unit_bytes)) - 1;
}

// A unit at power-up: the register's default, and what its access type, mask and bit fields allow.
Cell power_up_cell(const reg_def &definition, uint32_t unit_bytes);

class RegisterMap {
  public:
    // Appends the cells of the node's registers to `cells`. On byte-addressed buses numbers count
    // bytes and the least significant one comes first, whatever the description says of the byte
    // order. Throws BoardError for a register that cannot be simulated.
    RegisterMap(const device_node &node, std::vector<Cell> *cells);

    const std::vector<MappedRegister> &registers() const { return registers_; }
    const std::vector<Range> &ranges() const { return ranges_; }

  private:
    // First cells by offset, units and bytes of a unit.
    using Twins = std::map<std::tuple<uint32_t, uint32_t, uint32_t>, uint32_t>;

    void add_register(const device_node &node, const reg_def &definition, uint64_t max_bytes,
                      Twins *twins, std::vector<Cell> *cells);
    void lay_out(const Numbering &numbering);

    std::vector<MappedRegister> registers_;
    std::vector<Range> ranges_;
};

}  // namespace diag::board::sim

#endif
