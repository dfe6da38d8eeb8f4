// SPDX-License-Identifier: MIT
#include "tests/support/free_tree.h"

#include <cstdlib>
#include <set>
#include <utility>

namespace diag::test {

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

}  // namespace

void free_infos(bit_info *first) {
    free_list(first, [](bit_info &info) { std::free(info.desc); });
}

void free_bits(bit_def *first) {
    free_list(first, [](bit_def &bit) {
        std::free(bit.name);
        free_infos(bit.infos);
    });
}

void free_register(reg_def *reg) {
    if (reg == nullptr) {
        return;
    }
    std::free(reg->name);
    std::free(reg->version);
    std::free(reg->test_desc);
    free_bits(reg->bits);
    std::free(reg);
}

void free_register_list(reg_list *first, bool with_registers) {
    free_list(first, [with_registers](reg_list &element) {
        if (with_registers) {
            free_register(element.reg);
        }
    });
}

void free_muxes(mux_entry *first) {
    std::set<char *> buses;
    free_list(first, [&buses](mux_entry &mux) { buses.insert(mux.bus); });
    for (char *bus : buses) {
        std::free(bus);
    }
}

void free_node(device_node *node) {
    if (node == nullptr) {
        return;
    }
    free_register_list(node->reg_list, true);
    for (reg_list *list : {node->intr_setup_regs, node->intr_status_regs, node->test_regs_a,
                           node->test_regs_b, node->test_regs_c}) {
        free_register_list(list, false);
    }
    std::free(node->dev_id);
    std::free(node->name);
    std::free(node->chip_id);
    free_muxes(node->mux_list);
    std::free(node);
}

void free_tree(device_tree *head) {
    free_node(head->node);
    free_list(head->next, [](device_tree &element) { free_node(element.node); });
    *head = {};
}

}  // namespace diag::test
