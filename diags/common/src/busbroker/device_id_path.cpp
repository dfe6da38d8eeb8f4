// SPDX-License-Identifier: MIT
// The way to a device through muxes and their channels, as its id spells it.
#include <optional>

#include "diags/common/src/busbroker/device_id_tree.h"
#include "diags/common/src/parse_hex.h"

namespace {

constexpr char kInsertDevice[] = "update_dev_mux_interface_tree";

// Walks a device id: MUX-CHANNEL.MUX-CHANNEL.DEVICE.
class IdWalk {
  public:
    explicit IdWalk(const char *dev_id) {
        diag::copy_id(copy_, dev_id);
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
    diag::IdText copy_;
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
    diag::IdText text_ = "";
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
    diag::append(node.channels, channel);
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

// Goes below a channel of the mux that was found, if one was. 0, DIAG_E_INVAL, DIAG_E_NOMEM.
uint32_t descend(Level &level, mux_tree_node *node, const char *channel_text) {
    const std::optional<uint32_t> number = parse_channel(channel_text);
    if (!number) {
        return DIAG_E_INVAL;
    }
    if (node == nullptr) {
        DIAG_ERROR_IN(kInsertDevice, "Invalid tree\n");
        return DIAG_E_INVAL;
    }
    mux_channel *channel = find_or_add_channel(*node, *number);
    if (channel == nullptr) {
        return DIAG_E_NOMEM;
    }
    level.descend(*channel);
    return 0;
}

}  // namespace

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
        const char *channel = walk.next_channel();
        if (const uint32_t status = descend(level, node, channel); status != 0) {
            return status;
        }
        path.add("-", channel);
        path.add(".", "");
    }
    mux_tree_node *node = nullptr;
    const uint32_t status = check_add_mux_entry(level.contents(), record, record->dev_id,
                                                interface_no, &node, 1, is_daemon, proc_info);
    if (status != 0) {
        diag_print(3, "Couldn't add mux entry properly to device tree\n");
    }
    return status;
}
