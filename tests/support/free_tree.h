// SPDX-License-Identifier: MIT
#ifndef TESTS_SUPPORT_FREE_TREE_H
#define TESTS_SUPPORT_FREE_TREE_H

#include "device_tree.h"

namespace diag::test {

// Release what the loaders allocate, which the library itself never does.
void free_infos(bit_info *first);
void free_bits(bit_def *first);
void free_register(reg_def *reg);
void free_register_list(reg_list *first, bool with_registers);
void free_muxes(mux_entry *first);  // a bus text that several muxes share is freed once
void free_node(device_node *node);

// All nodes and all elements but the head, which is left empty.
void free_tree(device_tree *head);

// The same for a scope: TreeOwner tree; load_device_tree(..., &tree.head, ...).
struct TreeOwner {
    device_tree head{};
    TreeOwner() = default;
    ~TreeOwner() { free_tree(&head); }
    TreeOwner(const TreeOwner &) = delete;
    TreeOwner &operator=(const TreeOwner &) = delete;
};

}  // namespace diag::test

#endif
