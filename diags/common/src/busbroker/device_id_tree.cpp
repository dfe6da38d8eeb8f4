// SPDX-License-Identifier: MIT
// The platform as the device-id daemon sees it: its devices sorted into interfaces.
#include "diags/common/src/busbroker/device_id_tree.h"

#include <cstdlib>
#include <optional>

namespace {

constexpr char kUpdateTree[] = "update_pf_tree";
constexpr uint32_t kLastI2cInterface = PF_TREE_SLOTS - DIAG_PF_SLOT_I2C - 1;

struct BusSlot {
    const char *interface;
    int slot;
};

constexpr BusSlot kBusSlots[] = {
    {"pci", DIAG_PF_SLOT_PCI},
    {"mem", DIAG_PF_SLOT_MEM},
    {"lpc", DIAG_PF_SLOT_LPC},
    {"gpio", DIAG_PF_SLOT_GPIO},
};

// The number of an I2C interface, or none after a message.
std::optional<uint32_t> i2c_number(const char *interface) {
    const char *dash = std::strchr(interface, '-');
    if (dash == nullptr) {
        DIAG_ERROR_IN(kUpdateTree, "Invalid interface %s\n", interface);
        return std::nullopt;
    }
    const unsigned long number = std::strtoul(dash + 1, nullptr, 10);
    if (number > kLastI2cInterface) {
        diag_print(3, "Interface num %lu exceeded max allowed I2C if no %d\n", number,
                   static_cast<int>(kLastI2cInterface));
        return std::nullopt;
    }
    return static_cast<uint32_t>(number);
}

// What became of a record of the list.
struct Placed {
    uint32_t status = 0;
    bool ends_the_work = false;
};

Placed place_plain_device(devid_record *record, if_slot &slot) {
    if (record->mux_type != nullptr) {
        return {};
    }
    const uint32_t status = diag::append_device(slot, record, kUpdateTree);
    return {status, status != 0};
}

class TreeBuilder {
  public:
    TreeBuilder(if_slot *pf_tree, uint8_t is_daemon, devid_proc_info *proc_info)
        : pf_tree_(pf_tree), is_daemon_(is_daemon), proc_info_(proc_info) {}

    // Goes on until a record ends the work.
    Placed build(devid_record *first) {
        Placed result;
        for (devid_record *record = first; record != nullptr; record = record->next) {
            const Placed placed = place(record);
            if (placed.ends_the_work) {
                return placed;
            }
            if (goes_through_muxes(*record)) {
                result = placed;
            }
        }
        return result;
    }

  private:
    static bool is_usable(const devid_record &record) {
        return record.interface != nullptr && record.dev_id != nullptr;
    }

    static bool is_on_i2c(const devid_record &record) {
        return diag::contains(record.interface, "i2c");
    }

    static bool goes_through_muxes(const devid_record &record) {
        return is_usable(record) && is_on_i2c(record) &&
               (std::strchr(record.dev_id, '-') != nullptr || record.mux_type != nullptr);
    }

    // A record of no known interface is passed over.
    Placed place(devid_record *record) {
        if (!is_usable(*record)) {
            return {};
        }
        if (is_on_i2c(*record)) {
            return place_on_i2c(record);
        }
        for (const BusSlot &bus : kBusSlots) {
            if (diag::contains(record->interface, bus.interface)) {
                return place_plain_device(record, pf_tree_[bus.slot]);
            }
        }
        return {};
    }

    Placed place_on_i2c(devid_record *record) {
        const std::optional<uint32_t> number = i2c_number(record->interface);
        if (!number) {
            return {DIAG_E_INVAL, true};
        }
        if_slot &slot = pf_tree_[DIAG_PF_SLOT_I2C + *number];
        if (!goes_through_muxes(*record)) {
            return place_plain_device(record, slot);
        }
        return {update_dev_mux_interface_tree(record, *number, &slot, is_daemon_, proc_info_)};
    }

    if_slot *pf_tree_;
    uint8_t is_daemon_;
    devid_proc_info *proc_info_;
};

}  // namespace

uint32_t update_pf_tree(devid_record *first, if_slot *pf_tree, uint8_t is_daemon,
                        devid_proc_info *proc_info) {
    if (first != nullptr && pf_tree == nullptr) {
        DIAG_ERROR("Received is a NULL pointer\n");
        return DIAG_E_INVAL;
    }
    const Placed result = TreeBuilder(pf_tree, is_daemon, proc_info).build(first);
    if (!result.ends_the_work) {
        diag_print(3, "I2C tree building completed\n");
    }
    return result.status;
}
