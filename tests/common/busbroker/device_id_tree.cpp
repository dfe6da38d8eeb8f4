// SPDX-License-Identifier: MIT
#include "tests/common/busbroker/device_id_tree.h"

#include <cstdlib>

namespace diag::test {

namespace {

void append(std::string &text, const char *separator, const std::string &more) {
    if (!text.empty() && !more.empty()) {
        text += separator;
    }
    text += more;
}

std::string numbered(int number, const std::string &contents) {
    return contents.empty() ? "" : std::to_string(number) + ": " + contents;
}

std::string text_of(const mux_tree_node &node) {
    std::string text = node.name;
    if (node.has_dev != 0) {
        EXPECT_NE(node.dev, nullptr);
        text += "*";
    } else {
        EXPECT_EQ(node.dev, nullptr);
    }
    for (const mux_channel *channel = node.channels; channel != nullptr; channel = channel->next) {
        text += "{" + std::to_string(static_cast<int32_t>(channel->channel)) + ":" +
                test::text_of(if_slot{channel->devices, channel->muxes}) + "}";
    }
    return text;
}

template <typename Element>
void free_list(Element *&head) {
    while (head != nullptr) {
        Element *first = head;
        head = first->next;
        std::free(first);
    }
}

void free_mux(mux_tree_node *node) {
    for (mux_channel *channel = node->channels; channel != nullptr; channel = channel->next) {
        if_slot level{channel->devices, channel->muxes};
        free_level(level);
    }
    free_list(node->channels);
}

}  // namespace

DeviceList::DeviceList(std::initializer_list<Device> devices) {
    for (const Device &device : devices) {
        records_.push_back({const_cast<char *>(device.dev_id), const_cast<char *>(device.interface),
                            const_cast<char *>(device.mux_type), nullptr});
        if (records_.size() > 1) {
            records_[records_.size() - 2].next = &records_.back();
        }
    }
}

PlatformTree::~PlatformTree() {
    for (if_slot &slot : slots_) {
        free_level(slot);
    }
    for (devid_proc_info &process : processes_) {
        free_list(process.muxes);
    }
}

uint32_t PlatformTree::add(DeviceList &devices, bool is_daemon) {
    return update_pf_tree(devices.first(), slots_, is_daemon ? 1 : 0,
                          is_daemon ? processes_ : nullptr);
}

std::string PlatformTree::text() const {
    std::string text;
    for (int i = 0; i < PF_TREE_SLOTS; i++) {
        append(text, "; ", numbered(i, text_of(slots_[i])));
    }
    return text;
}

std::string PlatformTree::process_text() const {
    std::string text;
    for (int i = 0; i < PROC_INFO_SLOTS; i++) {
        std::string muxes;
        for (const mux_proc_entry *mux = processes_[i].muxes; mux != nullptr; mux = mux->next) {
            append(muxes, " ", std::string(mux->dev->dev_id) + "=" + std::to_string(mux->mux_kind));
        }
        append(text, "; ", numbered(i, muxes));
    }
    return text;
}

std::string text_of(const if_slot &level) {
    std::string text;
    for (const devid_list *element = level.devices; element != nullptr; element = element->next) {
        append(text, " ", element->dev->dev_id);
    }
    for (const mux_tree_node *node = level.muxes; node != nullptr; node = node->next) {
        append(text, " ", text_of(*node));
    }
    return text;
}

void free_level(if_slot &level) {
    free_list(level.devices);
    for (mux_tree_node *node = level.muxes; node != nullptr; node = node->next) {
        free_mux(node);
    }
    free_list(level.muxes);
}

}  // namespace diag::test
