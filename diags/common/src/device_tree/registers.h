// SPDX-License-Identifier: MIT
// Building the registers of a chip: what the XML and the text form share.
#ifndef DIAGS_COMMON_SRC_DEVICE_TREE_REGISTERS_H
#define DIAGS_COMMON_SRC_DEVICE_TREE_REGISTERS_H

#include <cstdint>
#include <libxml/tree.h>

#include "device_tree.h"

namespace diag {

constexpr int kTestRoles = 6;

// Where the lists of one chip ended when it was last looked: searching for the end starts there
// instead of at the first element. Empty, the search starts at the first. It lives no longer than
// one load, as nobody else changes the lists meanwhile.
struct ListEnds {
    reg_list *registers = nullptr;
    reg_list *roles[kTestRoles] = {};
    mux_entry *muxes = nullptr;
};

// The records read last, process-wide: "B" and "I" lines attach to them. bit_owner and info_owner
// tell whether `bit` and `info` are the last ones of `reg` and `bit`.
struct Cursors {
    reg_def *reg = nullptr;
    bit_def *bit = nullptr;
    bit_info *info = nullptr;
    const reg_def *bit_owner = nullptr;
    const bit_def *info_owner = nullptr;
};
extern Cursors cursors;

// What the two forms say when memory runs out.
struct NewRegisterMessages {
    const char *first_element;
    const char *next_element;
    const char *record;
};

// Appends a register to the node's list and makes it the current one. Null, after a message, when
// memory runs out.
reg_def *append_register(device_node &node, ListEnds &ends, const NewRegisterMessages &messages);

// Puts the register on the test list of `role`. A number that is no role is reported at
// `unknown_level`. 0 or DIAG_E_NOMEM.
uint32_t assign_test_role(device_node &node, ListEnds &ends, reg_def *reg, int role,
                          int unknown_level);

// Appends a bit field, or a named value, and makes it the current one. Null when memory runs out,
// for a bit field after a message for `function`.
bit_def *append_bit(const char *function, reg_def &reg, bit_def *known_last);
bit_info *append_info(bit_def &bit, bit_info *known_last);

// parse_reg_config for callers that remember where the lists end; of a line without its line feed.
uint32_t read_register_xml(device_node &node, ListEnds &ends, xmlNode *xml_reg);
uint32_t read_register_line(device_node &node, ListEnds &ends, char *line);

}  // namespace diag

#endif
