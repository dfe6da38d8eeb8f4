// SPDX-License-Identifier: MIT
// Board descriptions made by hand, for tests that do not load a file.
#ifndef TESTS_BOARD_SIM_TREE_MAKER_H
#define TESTS_BOARD_SIM_TREE_MAKER_H

#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "device_tree.h"

namespace diag::test {

// Owns all records of a description. References that it hands out stay good.
class TreeMaker {
  public:
    device_node &chip(const std::string &name, uint32_t bus, uint8_t address);

    // A chip on another kind of bus; a PCI chip names its function later, in the node.
    device_node &chip_on(const std::string &name, int32_t bus_type, uint32_t bus, uint32_t address);

    reg_def &reg(device_node &chip, const std::string &name, uint32_t offset, uint32_t size = 8,
                 int32_t access = DIAG_ACCESS_RW);

    bit_def &field(reg_def &owner, int32_t high, int32_t low, int32_t access);

    // A null `bus` is that of the first mux.
    mux_entry &mux(device_node &chip, const char *bus, uint32_t address, uint32_t reg,
                   uint32_t mask, uint32_t value);

    const device_tree &tree() const { return head_; }

  private:
    char *text(const std::string &value);

    device_tree head_ = {nullptr, nullptr};
    device_tree *last_ = nullptr;
    std::deque<std::string> texts_;
    std::deque<device_tree> elements_;
    std::deque<device_node> nodes_;
    std::deque<reg_list> items_;
    std::map<device_node *, reg_list *> last_items_;
    std::deque<reg_def> registers_;
    std::deque<bit_def> fields_;
    std::deque<mux_entry> muxes_;
};

}  // namespace diag::test

#endif
