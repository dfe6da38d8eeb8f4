// SPDX-License-Identifier: MIT
// Loading a whole description file.
#include "diags/common/src/device_tree/loader.h"

#include "device_tree.h"
#include "diag_util.h"

#include "diags/common/src/device_tree/registers.h"
#include "diags/common/src/log.h"

uint32_t load_device_tree(const char *path, device_tree *tree, int is_xml, xmlDoc **doc_out,
                          uint8_t *busbroker_supported, socket_cfg *cfg,
                          uint8_t *opticstool_present) {
    diag_print(1, "Loading device file \n");
    if (busbroker_supported == nullptr) {
        DIAG_ERROR("&busbroker_supported needs to be passed to this function\n");
        return DIAG_E_INVAL;
    }
    *busbroker_supported = 0;
    if (opticstool_present != nullptr) {
        *opticstool_present = 1;
    }
    // The file's own lines attach to its own registers, not to those of a tree that may be gone.
    diag::cursors = {};
    if ((is_xml & 0xFF) == 0) {
        return diag::load_text(path, tree);
    }
    return diag::load_xml(path, {tree, busbroker_supported, cfg, opticstool_present}, doc_out);
}
