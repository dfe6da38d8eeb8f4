// SPDX-License-Identifier: MIT
// The two forms of a description file.
#ifndef DIAGS_COMMON_SRC_DEVICE_TREE_LOADER_H
#define DIAGS_COMMON_SRC_DEVICE_TREE_LOADER_H

#include <cstdint>
#include <libxml/tree.h>

#include "busbroker.h"
#include "device_tree.h"

#include "diags/common/src/device_tree/line_reader.h"

namespace diag {

// What an XML description fills in for the caller.
struct XmlTargets {
    device_tree *head;
    uint8_t *busbroker_supported;
    socket_cfg *socket;
    uint8_t *opticstool_present;  // may be null
};

uint32_t load_xml(const char *path, const XmlTargets &targets, xmlDoc **doc_out);
uint32_t load_text(const char *path, device_tree *head);

// The optional-module block of a text description, whose first line is `support_line`: finds out
// which slots hold a card of which type, appends a node per card, and loads the registers of its
// type. Afterwards `reader` stands behind the last slot line, or behind the line that was wrong.
uint32_t load_optional_modules(LineReader &reader, const char *support_line, device_tree *head,
                               device_tree **last);

// The number behind the ":" of such a line: one digit, or -1 for anything else.
int digit_behind_colon(const char *line);

}  // namespace diag

#endif
