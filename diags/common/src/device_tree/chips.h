// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_DEVICE_TREE_CHIPS_H
#define DIAGS_COMMON_SRC_DEVICE_TREE_CHIPS_H

#include <libxml/tree.h>

#include "device_tree.h"

namespace diag {

// parse_device_config for a caller that remembers the last element of the tree, or one before it,
// in *last; it is moved on to the new last one.
device_node *read_chip_xml(device_tree *head, device_tree **last, xmlNode *xml_chip);

}  // namespace diag

#endif
