// SPDX-License-Identifier: MIT
// Giving back a device tree: the library leaves that to its callers.
#ifndef DIAGS_DESCRIPTION_FREE_DEVICE_TREE_H
#define DIAGS_DESCRIPTION_FREE_DEVICE_TREE_H

#include "device_tree.h"

namespace diag::description {

// Frees what the loader has allocated below `head`, which itself belongs to the caller and is empty
// afterwards. No two records of a tree as it was loaded share memory; a chain of muxes that
// set_muxes() has walked shares its bus text.
void free_device_tree(device_tree &head);

}  // namespace diag::description

#endif
