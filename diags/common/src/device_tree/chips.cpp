// SPDX-License-Identifier: MIT
#include "diags/common/src/device_tree/chips.h"

#include "diag_util.h"

#include "diags/common/src/lib/fields.h"
#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"

namespace diag {

namespace {

constexpr char kNoNode[] = "Could not allocate Device Node\n";

}  // namespace

device_node *append_chip(device_tree **last) {
    while ((*last)->next != nullptr) {
        *last = (*last)->next;
    }
    device_node *node = allocate_device_node(*last);
    if (node == nullptr) {
        diag_print(1, "%s", kNoNode);
    }
    return node;
}

void log_chip(const device_tree *head, const device_tree *element, const device_node &node) {
    DIAG_CONFIG_DEBUG(
        2, "tree: %#lx ptr: %#lx device: %#lx next %#lx\n", reinterpret_cast<unsigned long>(head),
        reinterpret_cast<unsigned long>(element), reinterpret_cast<unsigned long>(&node),
        reinterpret_cast<unsigned long>(element->next));
    DIAG_CONFIG_DEBUG(2, "dev: %d addr: %#lx desc: %s intf: %d\n", node.chip_type, node.address,
                      node.name != nullptr ? node.name : "", node.bus_type);
}

}  // namespace diag

device_node *parse_device_config(char *line, device_tree *tree, int is_xml, xmlNode *xml_chip,
                                 uint8_t /*busbroker_supported*/) {
    if (tree == nullptr) {
        tree = diag::allocate<device_tree>();  // callers pass a head; this one is never handed back
        if (tree == nullptr) {
            diag_print(1, "%s", diag::kNoNode);
            return nullptr;
        }
    }
    device_tree *last = tree;
    if (is_xml != 0) {
        return diag::read_chip_xml(tree, &last, xml_chip);
    }
    diag::cut_line_end(line);
    return diag::read_chip_line(tree, &last, line);
}
