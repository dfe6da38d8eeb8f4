// SPDX-License-Identifier: MIT
#include "diags/description/free_device_tree.h"

#include <cstdlib>
#include <utility>

namespace diag::description {
namespace {

// Frees each record of a list after `release` has freed what it owns.
template <typename Record, typename Release>
void free_list(Record *first, Release release) {
    while (first != nullptr) {
        Record *record = std::exchange(first, first->next);
        release(*record);
        std::free(record);
    }
}

void free_bits(bit_def *first) {
    free_list(first, [](bit_def &bit) {
        std::free(bit.name);
        free_list(bit.infos, [](bit_info &info) { std::free(info.desc); });
    });
}

void free_registers(reg_list *first) {
    free_list(first, [](reg_list &element) {
        reg_def *reg = element.reg;
        if (reg == nullptr) {
            return;
        }
        free_bits(reg->bits);
        std::free(reg->name);
        std::free(reg->version);
        std::free(reg->test_desc);
        std::free(reg);
    });
}

// Deeper muxes get the bus of the first one when they are set.
void free_muxes(mux_entry *first) {
    char *shared_bus = first != nullptr ? first->bus : nullptr;
    free_list(first, [shared_bus](mux_entry &mux) {
        if (mux.bus != shared_bus) {
            std::free(mux.bus);
        }
    });
    std::free(shared_bus);
}

void free_node(device_node *node) {
    if (node == nullptr) {
        return;
    }
    // The lists of test roles hold registers of the chip's own list.
    for (reg_list *roles : {node->intr_setup_regs, node->intr_status_regs, node->test_regs_a,
                            node->test_regs_b, node->test_regs_c}) {
        free_list(roles, [](reg_list & /*element*/) {});
    }
    free_registers(node->reg_list);
    free_muxes(node->mux_list);
    std::free(node->dev_id);
    std::free(node->name);
    std::free(node->chip_id);
    std::free(node);
}

}  // namespace

void free_device_tree(device_tree &head) {
    free_node(head.node);
    free_list(head.next, [](device_tree &element) { free_node(element.node); });
    head = {};
}

}  // namespace diag::description
