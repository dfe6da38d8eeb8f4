// SPDX-License-Identifier: MIT
// Chips of a device tree: what the XML and the text form share.
#ifndef DIAGS_COMMON_SRC_DEVICE_TREE_CHIPS_H
#define DIAGS_COMMON_SRC_DEVICE_TREE_CHIPS_H

#include <libxml/tree.h>

#include "device_tree.h"

namespace diag {

// parse_device_config for a caller that remembers the last element of the tree, or one before it,
// in *last; it is moved on to where the tree ended before the call. The line has no line feed.
device_node *read_chip_xml(device_tree *head, device_tree **last, xmlNode *xml_chip);
device_node *read_chip_line(device_tree *head, device_tree **last, char *line);

// The node that the two fill; null after a message.
device_node *append_chip(device_tree **last);

// Echoes a finished node; `element` is where the tree ended before it.
void log_chip(const device_tree *head, const device_tree *element, const device_node &node);

}  // namespace diag

#endif
