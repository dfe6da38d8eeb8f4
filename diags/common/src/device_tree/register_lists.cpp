// SPDX-License-Identifier: MIT
// The register lists of a chip: its own and those of the test roles, with their bit fields and
// named values.
#include <initializer_list>

#include "diag_util.h"

#include "diags/common/src/device_tree/model.h"
#include "diags/common/src/device_tree/registers.h"
#include "diags/common/src/log.h"

namespace diag {

Cursors cursors;

namespace {

constexpr char kParseRegConfig[] = "parse_reg_config";

struct TestRole {
    reg_list *device_node::*list;
    uint32_t mode;  // for test_regs_mode, 0: leaves it
    const char *function;
    const char *out_of_memory;
};

constexpr char kNoStatusReg[] = "Can't allocate memory for interrupt status reg\n";

constexpr TestRole kRoles[kTestRoles] = {
    {&device_node::intr_setup_regs, 0, kParseRegConfig,
     "Can't allocate memory interrupt setup reg\n"},
    {&device_node::intr_status_regs, 0, kParseRegConfig, kNoStatusReg},
    {&device_node::test_regs_a, 1, "new_reg_list_entry", kNoStatusReg},
    {&device_node::test_regs_a, 2, "new_reg_list_entry", kNoStatusReg},
    {&device_node::test_regs_b, 0, "new_reg_list_entry", kNoStatusReg},
    {&device_node::test_regs_c, 0, "new_reg_list_entry", kNoStatusReg},
};

// The first element from `from` on that holds no register, appended when all do; null without
// memory.
reg_list *free_element(reg_list *from) {
    while (from->reg != nullptr && from->next != nullptr) {
        from = from->next;
    }
    return from->reg == nullptr ? from : append_record(&from->next, from);
}

}  // namespace

reg_def *append_register(device_node &node, ListEnds &ends, const NewRegisterMessages &messages) {
    if (node.reg_list == nullptr) {
        node.reg_list = allocate<reg_list>();
        if (node.reg_list == nullptr) {
            DIAG_ERROR_IN(kParseRegConfig, "%s", messages.first_element);
            return nullptr;
        }
    }
    // A chip that has got a register in this load has them all already.
    if (ends.registers == nullptr && init_test_data(&node) != 0) {
        return nullptr;
    }
    reg_list *element = free_element(ends.registers != nullptr ? ends.registers : node.reg_list);
    if (element == nullptr) {
        DIAG_ERROR_IN(kParseRegConfig, "%s", messages.next_element);
        return nullptr;
    }
    ends.registers = element;
    auto *reg = allocate<reg_def>();
    if (reg == nullptr) {
        DIAG_ERROR_IN(kParseRegConfig, "%s", messages.record);
        return nullptr;
    }
    reg->length = 1;
    element->reg = reg;
    node.reg_list->count++;
    cursors.reg = reg;
    return reg;
}

uint32_t assign_test_role(device_node &node, ListEnds &ends, reg_def *reg, int role,
                          int unknown_level) {
    if (role < 0 || role >= kTestRoles) {
        diag_print(unknown_level, "Unknown Test Register ID %d\n", role);
        return 0;
    }
    const TestRole &wanted = kRoles[role];
    reg_list *first = node.*wanted.list;
    reg_list *&end = ends.roles[role];  // where roles share a list, behind the end at worst
    reg_list *element = free_element(end != nullptr ? end : first);
    if (element == nullptr) {
        DIAG_ERROR_IN(wanted.function, "%s", wanted.out_of_memory);
        return DIAG_E_NOMEM;
    }
    end = element;
    element->reg = reg;
    first->count++;
    if (wanted.mode != 0) {
        node.test_regs_mode = wanted.mode;
    }
    return 0;
}

bit_def *append_bit(const char *function, reg_def &reg, bit_def *known_last) {
    const bool is_first = reg.bits == nullptr;
    bit_def *bit = append_record(&reg.bits, known_last);
    if (bit == nullptr) {
        DIAG_ERROR_IN(function, "%s",
                      is_first ? "Could not allocate mem for Bit definition\n"
                               : "Can't allocate memory for bit definition\n");
        return nullptr;
    }
    cursors.bit = bit;
    cursors.bit_owner = &reg;
    return bit;
}

bit_info *append_info(bit_def &bit, bit_info *known_last) {
    bit_info *info = append_record(&bit.infos, known_last);
    if (info != nullptr) {
        cursors.info = info;
        cursors.info_owner = &bit;
    }
    return info;
}

}  // namespace diag

uint32_t new_reg_list_entry(reg_list **cursor) {
    reg_list *element = diag::free_element(*cursor);
    if (element == nullptr) {
        DIAG_ERROR("%s", diag::kNoStatusReg);
        return DIAG_E_NOMEM;
    }
    *cursor = element;
    return 0;
}

uint32_t init_test_reg_list(reg_list **list) {
    if (*list != nullptr) {
        return 0;
    }
    *list = diag::allocate<reg_list>();
    if (*list == nullptr) {
        DIAG_ERROR("Can't allocate memory for interrupt reg list\n");
        return DIAG_E_NOMEM;
    }
    return 0;
}

uint32_t init_test_data(device_node *node) {
    for (reg_list **list : {&node->intr_setup_regs, &node->intr_status_regs, &node->test_regs_a,
                            &node->test_regs_b, &node->test_regs_c}) {
        if (const uint32_t status = init_test_reg_list(list); status != 0) {
            return status;
        }
    }
    return 0;
}
