// SPDX-License-Identifier: MIT
#include "diags/common/src/device_tree/model.h"

#include "device_tree.h"

#include "diags/common/src/log.h"

device_node *allocate_device_node(device_tree *element) {
    if (element->node != nullptr) {
        element->next = diag::allocate<device_tree>();
        if (element->next == nullptr) {
            DIAG_ERROR("Could not allocate Device Tree\n");
            return nullptr;
        }
        element = element->next;
    }
    element->node = diag::allocate<device_node>();
    if (element->node == nullptr) {
        DIAG_ERROR("Could not allocate Device Node\n");
        return nullptr;
    }
    // What a description leaves out must not look like a CPLD on I2C bus 0.
    element->node->chip_type = DIAG_CHIP_OTHER;
    element->node->bus_type = DIAG_BUS_OTHER;
    element->node->pci_dev = -1;
    element->node->pci_func = -1;
    return element->node;
}
