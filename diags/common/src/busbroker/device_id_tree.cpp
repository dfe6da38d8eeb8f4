// SPDX-License-Identifier: MIT
// The platform as the device-id daemon sees it: its devices sorted into interfaces, muxes and
// channels.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"
#include "diags/common/src/parse_hex.h"

namespace {

constexpr char kUpdateTree[] = "update_pf_tree";
constexpr char kInsertDevice[] = "update_dev_mux_interface_tree";
constexpr char kAddMux[] = "check_add_mux_entry";

constexpr uint32_t kLastI2cInterface = PF_TREE_SLOTS - DIAG_PF_SLOT_I2C - 1;
constexpr uint32_t kLastProcInterface = PROC_INFO_SLOTS - 1;
constexpr size_t kLongestId = sizeof(mux_tree_node::name) - 1;

using IdText = char[kLongestId + 1];

void copy_id(IdText &copy, const char *text) {
    std::snprintf(copy, sizeof copy, "%s", text);
}

template <typename Element>
void append(Element *&head, Element *element) {
    Element **end = &head;
    while (*end != nullptr) {
        end = &(*end)->next;
    }
    *end = element;
}

bool contains(const char *text, const char *part) {
    return std::strstr(text, part) != nullptr;
}

uint32_t append_device(if_slot &slot, devid_record *record, const char *function) {
    auto *element = diag::allocate<devid_list>();
    if (element == nullptr) {
        DIAG_ERROR_IN(function, "Couldn't allocate memory\n");
        return DIAG_E_NOMEM;
    }
    element->dev = record;
    append(slot.devices, element);
    return 0;
}

// ---- the interfaces ----

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
    const uint32_t status = append_device(slot, record, kUpdateTree);
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

    static bool is_on_i2c(const devid_record &record) { return contains(record.interface, "i2c"); }

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
            if (contains(record->interface, bus.interface)) {
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

// ---- the way through the muxes ----

// Walks a device id: MUX-CHANNEL.MUX-CHANNEL.DEVICE.
class IdWalk {
  public:
    explicit IdWalk(const char *dev_id) {
        copy_id(copy_, dev_id);
        rest_ = copy_;
    }

    // The next mux segment, or null when no mux is left: the rest is the device itself.
    const char *next_mux() {
        char *segment = rest_ + std::strspn(rest_, "-");
        char *dash = std::strchr(segment, '-');
        if (dash == nullptr || dash[std::strspn(dash, "-")] == '\0') {
            return nullptr;
        }
        *dash = '\0';
        rest_ = dash + 1;
        return segment;
    }

    // The channel behind the mux; empty when there is none.
    const char *next_channel() {
        char *channel = rest_ + std::strspn(rest_, "-");
        rest_ = channel + std::strcspn(channel, ".");
        if (*rest_ != '\0') {
            *rest_++ = '\0';
        }
        rest_ += std::strspn(rest_, ".");
        return channel;
    }

  private:
    IdText copy_;
    char *rest_;
};

// The way so far, as muxes are named by it; cut like every name.
class PathText {
  public:
    const char *text() const { return text_; }

    void add(const char *piece, const char *separator) {
        const size_t length = std::strlen(text_);
        std::snprintf(text_ + length, sizeof text_ - length, "%s%s", piece, separator);
    }

  private:
    IdText text_ = "";
};

// A channel number, counted from 1, to the number of the channel, counted from 0; none after a
// message.
std::optional<uint32_t> parse_channel(const char *text) {
    if (*text == '\0') {
        DIAG_ERROR_IN(kInsertDevice, "Invalid dev id\n");
        return std::nullopt;
    }
    if (text[std::strspn(text, "0123456789abcdefABCDEF")] != '\0') {
        DIAG_ERROR_IN(kInsertDevice, "Invalid device-id format. \n");
        return std::nullopt;
    }
    const uint32_t channel = diag::parse_hex<uint32_t>(text) - 1;
    diag_print(3, "Mux channel selection value is %d\n", static_cast<int>(channel));
    return channel;
}

mux_channel *find_or_add_channel(mux_tree_node &node, uint32_t number) {
    for (mux_channel *channel = node.channels; channel != nullptr; channel = channel->next) {
        if (channel->channel == number) {
            return channel;
        }
    }
    auto *channel = diag::allocate<mux_channel>();
    if (channel == nullptr) {
        DIAG_ERROR_IN(kInsertDevice, "Couldn't allocate space for node \n");
        return nullptr;
    }
    channel->channel = number;
    append(node.channels, channel);
    return channel;
}

// Where the walk has come to: an interface's slot, or the contents of a channel.
class Level {
  public:
    explicit Level(if_slot *slot) : slot_(slot) {}
    Level(const Level &) = delete;
    Level &operator=(const Level &) = delete;
    ~Level() { store(); }

    if_slot *contents() { return channel_ != nullptr ? &in_channel_ : slot_; }

    void descend(mux_channel &channel) {
        store();
        channel_ = &channel;
        in_channel_ = {channel.devices, channel.muxes};
    }

  private:
    void store() {
        if (channel_ != nullptr) {
            channel_->devices = in_channel_.devices;
            channel_->muxes = in_channel_.muxes;
        }
    }

    if_slot *slot_;
    mux_channel *channel_ = nullptr;
    if_slot in_channel_{};
};

// ---- one mux ----

enum class Match { kNone, kByName, kByDevice, kBroken };

Match match(const mux_tree_node &node, const char *name) {
    if (node.has_dev == 0) {
        return std::strcmp(node.name, name) == 0 ? Match::kByName : Match::kNone;
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
    copy_id(node->name, name);
    append(slot.muxes, node);
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
        if (mux_type != nullptr && contains(mux_type, part.name)) {
            return part.kind;
        }
    }
    DIAG_ERROR_IN("add_mux_entry_to_proc_info", "mux_type %s is invalid\n",
                  mux_type != nullptr ? mux_type : "");
    return DIAG_MUX_KIND_OTHER;
}

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

uint32_t update_dev_mux_interface_tree(devid_record *record, uint32_t interface_no, if_slot *slot,
                                       uint8_t is_daemon, devid_proc_info *proc_info) {
    if (record == nullptr || record->dev_id == nullptr || slot == nullptr) {
        DIAG_ERROR("Received is a NULL pointer\n");
        return DIAG_E_INVAL;
    }
    IdWalk walk(record->dev_id);
    PathText path;
    Level level(slot);
    while (const char *segment = walk.next_mux()) {
        path.add(segment, "");
        diag_print(3, "Current dev id segment %s\n", segment);
        mux_tree_node *node = nullptr;
        if (check_add_mux_entry(level.contents(), record, path.text(), interface_no, &node, 0,
                                is_daemon, proc_info) != 0) {
            diag_print(3, "Couldn't add mux entry to device tree\n");
        }
        const char *channel_text = walk.next_channel();
        const std::optional<uint32_t> number = parse_channel(channel_text);
        if (!number) {
            return DIAG_E_INVAL;
        }
        if (node == nullptr) {
            DIAG_ERROR("Invalid tree\n");
            return DIAG_E_INVAL;
        }
        mux_channel *channel = find_or_add_channel(*node, *number);
        if (channel == nullptr) {
            return DIAG_E_NOMEM;
        }
        path.add("-", channel_text);
        path.add(".", "");
        level.descend(*channel);
    }
    mux_tree_node *node = nullptr;
    const uint32_t status = check_add_mux_entry(level.contents(), record, record->dev_id,
                                                interface_no, &node, 1, is_daemon, proc_info);
    if (status != 0) {
        diag_print(3, "Couldn't add mux entry properly to device tree\n");
    }
    return status;
}

uint32_t check_add_mux_entry(if_slot *slot, devid_record *record, const char *name,
                             uint32_t interface_no, mux_tree_node **node, uint8_t is_leaf,
                             uint8_t is_daemon, devid_proc_info *proc_info) {
    if (slot == nullptr || record == nullptr || name == nullptr || node == nullptr) {
        DIAG_ERROR("Pointers received are NULL \n");
        return DIAG_E_INVAL;
    }
    if (is_daemon != 0 && proc_info == nullptr) {
        DIAG_ERROR("Proc info pointers should not be null for devid daemon\n");
        return DIAG_E_INVAL;
    }
    if (is_leaf != 0 && record->mux_type == nullptr) {
        return append_device(*slot, record, __func__);
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
    *node = found.node;
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
    append(proc_info[interface_no].muxes, entry);
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
