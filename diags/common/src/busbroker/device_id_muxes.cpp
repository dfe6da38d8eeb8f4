// SPDX-License-Identifier: MIT
// The muxes of one level of the device-id tree, and their list in the daemon's process information.
#include "diags/common/src/busbroker/device_id_tree.h"

namespace {

constexpr char kAddMux[] = "check_add_mux_entry";
constexpr uint32_t kLastProcInterface = PROC_INFO_SLOTS - 1;

enum class Match { kNone, kByName, kByDevice, kBroken };

Match match(const mux_tree_node &node, const char *name) {
    if (node.has_dev == 0) {
        return diag::is_same_name(node.name, name) ? Match::kByName : Match::kNone;
    }
    if (node.dev == nullptr || node.dev->dev_id == nullptr) {
        return Match::kBroken;
    }
    return std::strcmp(node.dev->dev_id, name) == 0 ? Match::kByDevice : Match::kNone;
}

struct Found {
    Match match = Match::kNone;
    mux_tree_node *node = nullptr;
};

Found find_mux(const if_slot &slot, const char *name) {
    for (mux_tree_node *node = slot.muxes; node != nullptr; node = node->next) {
        if (const Match found = match(*node, name); found != Match::kNone) {
            return {found, node};
        }
    }
    return {};
}

mux_tree_node *append_mux(if_slot &slot, const char *name) {
    auto *node = diag::allocate<mux_tree_node>();
    if (node == nullptr) {
        DIAG_ERROR_IN(kAddMux, "Couldn't allocate memory\n");
        return nullptr;
    }
    set_mux_tree_defaults(node);
    diag::copy_id(node->name, name);
    diag::append(slot.muxes, node);
    return node;
}

// The kinds in the order in which they are looked for.
struct MuxPart {
    const char *name;
    int32_t kind;
};

constexpr MuxPart kMuxParts[] = {
    {"PCA9541", DIAG_MUX_KIND_PCA9541},
    {"PCA9547", DIAG_MUX_KIND_PCA9547},
    {"PCA9548", DIAG_MUX_KIND_PCA9548},
};

int32_t mux_kind(const char *mux_type) {
    for (const MuxPart &part : kMuxParts) {
        if (mux_type != nullptr && diag::contains(mux_type, part.name)) {
            return part.kind;
        }
    }
    DIAG_ERROR_IN("add_mux_entry_to_proc_info", "mux_type %s is invalid\n",
                  mux_type != nullptr ? mux_type : "");
    return DIAG_MUX_KIND_OTHER;
}

}  // namespace

uint32_t check_add_mux_entry(if_slot *slot, devid_record *record, const char *name,
                             uint32_t interface_no, mux_tree_node **node, uint8_t is_leaf,
                             uint8_t is_daemon, devid_proc_info *proc_info) {
    if (slot == nullptr || record == nullptr || name == nullptr) {
        DIAG_ERROR("Pointers received are NULL \n");
        return DIAG_E_INVAL;
    }
    if (is_daemon != 0 && proc_info == nullptr) {
        DIAG_ERROR("Proc info pointers should not be null for devid daemon\n");
        return DIAG_E_INVAL;
    }
    if (is_leaf != 0 && record->mux_type == nullptr) {
        return diag::append_device(*slot, record, __func__);
    }
    Found found = find_mux(*slot, name);
    if (found.match == Match::kBroken) {
        DIAG_ERROR("Invalid tree\n");
        return DIAG_E_INVAL;
    }
    if (found.match == Match::kNone) {
        found.node = append_mux(*slot, name);
        if (found.node == nullptr) {
            return DIAG_E_NOMEM;
        }
    }
    if (node != nullptr) {
        *node = found.node;
    }
    if (is_leaf == 0 || found.match == Match::kByDevice) {
        return 0;
    }
    found.node->dev = record;
    found.node->has_dev = 1;
    return is_daemon != 0 ? add_mux_entry_to_proc_info(record, interface_no, proc_info) : 0;
}

uint32_t add_mux_entry_to_proc_info(devid_record *record, uint32_t interface_no,
                                    devid_proc_info *proc_info) {
    if (interface_no > kLastProcInterface) {
        DIAG_ERROR("Configured interface num %d is > max no of interfaces [%d] configured\n",
                   static_cast<int>(interface_no), static_cast<int>(kLastProcInterface));
        return DIAG_E_INVAL;
    }
    if (record == nullptr || proc_info == nullptr) {
        DIAG_ERROR("Pointers received are NULL \n");
        return DIAG_E_INVAL;
    }
    auto *entry = diag::allocate<mux_proc_entry>();
    if (entry == nullptr) {
        DIAG_ERROR("Couldn't allocate memory for new mux node\n");
        return DIAG_E_NOMEM;
    }
    entry->dev = record;
    entry->mux_kind = mux_kind(record->mux_type);
    diag::append(proc_info[interface_no].muxes, entry);
    return 0;
}

void set_mux_tree_defaults(mux_tree_node *node) {
    if (node == nullptr) {
        DIAG_ERROR("Mux tree is NULL pointer\n");
        return;
    }
    node->dev = nullptr;
    node->has_dev = 0;
    node->channels = nullptr;
    node->next = nullptr;
}
