// SPDX-License-Identifier: MIT
#include "diags/board/sim/builder.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include "diags/board/number.h"
#include "diags/board/sim/settings.h"

namespace diag::board::sim {
namespace {

constexpr uint32_t kMuxRegisters = 256;
constexpr Cell kMuxRegister = {.value = 0,
                               .readable = 0xFF,
                               .writable = 0xFF,
                               .clear_on_read = 0,
                               .stuck_high = 0,
                               .stuck_low = 0};

size_t mux_count(const device_node &node) {
    size_t count = 0;
    for (const mux_entry *mux = node.mux_list; mux != nullptr; mux = mux->next) {
        ++count;
    }
    return count;
}

// A mux without a bus sits on that of the first one.
std::optional<uint32_t> mux_bus(const mux_entry &mux, const mux_entry &first) {
    const char *bus = mux.bus != nullptr ? mux.bus : first.bus;
    const std::string_view text = bus != nullptr ? bus : "";
    return text.find("i2c") != std::string_view::npos ? parse_i2c_bus(text) : std::nullopt;
}

}  // namespace

Builder::Builder(const device_tree &tree) {
    for (const device_tree *item = &tree; item != nullptr; item = item->next) {
        if (item->node != nullptr) {
            chips_.push_back({item->node, std::nullopt, {}});
        }
    }
    // From the host outwards: a mux may be a register of a chip, which must then be known.
    std::vector<BuiltChip *> order;
    for (BuiltChip &chip : chips_) {
        if (chip.node->bus_type == DIAG_BUS_I2C) {
            order.push_back(&chip);
        }
    }
    std::ranges::stable_sort(order, {},
                             [](const BuiltChip *chip) { return mux_count(*chip->node); });
    for (BuiltChip *chip : order) {
        add_chip(chip);
    }
}

void Builder::add_chip(BuiltChip *chip) {
    const device_node &node = *chip->node;
    const std::optional<Path> path = path_of(node);
    const auto address = static_cast<uint8_t>(node.address);
    const uint32_t index = add_device(node.bus_no, address, path.value_or(Path()));
    const RegisterMap map(node, &image_.cells);
    Device &device = image_.devices[index];
    device.pointer_bytes = node.offset_len == 16 ? 2 : 1;
    device.little_endian = node.reg_le != 0 ? 1 : 0;
    device.no_answer = path ? 0 : 1;
    add_ranges(&device, map.ranges());
    chip->device = index;
    chip->registers = map.registers();
    if (path) {
        known_.try_emplace({node.bus_no, address, *path}, index);
    }
}

// Empty when a mux on the way is not on an I2C bus.
std::optional<Builder::Path> Builder::path_of(const device_node &node) {
    Path path;
    for (const mux_entry *mux = node.mux_list; mux != nullptr; mux = mux->next) {
        const std::optional<uint32_t> bus = mux_bus(*mux, *node.mux_list);
        if (!bus) {
            return std::nullopt;
        }
        const uint32_t device = mux_device(*bus, static_cast<uint8_t>(mux->addr), path);
        const auto low_mask = static_cast<uint8_t>(mux->mask);
        const uint8_t mask = low_mask != 0 ? low_mask : 0xFF;
        path.emplace_back(device, static_cast<uint8_t>(mux->reg), mask,
                          static_cast<uint8_t>(mux->val & mask));
    }
    return path;
}

uint32_t Builder::mux_device(uint32_t bus, uint8_t address, const Path &path) {
    const auto [known, is_new] = known_.try_emplace({bus, address, path}, 0);
    if (is_new) {
        known->second = add_device(bus, address, path);
        const Range range = {.first = 0,
                             .count = kMuxRegisters,
                             .next = kMuxRegisters,
                             .cell = static_cast<uint32_t>(image_.cells.size()),
                             .skip = 0,
                             .unit_bytes = 1,
                             .flags = 0,
                             .reserved = {}};
        add_ranges(&image_.devices[known->second], {range});
        image_.cells.insert(image_.cells.end(), kMuxRegisters, kMuxRegister);
    }
    return known->second;
}

uint32_t Builder::add_device(uint32_t bus, uint8_t address, const Path &path) {
    Device device = {};
    device.bus = bus;
    device.address = address;
    device.pointer_bytes = 1;
    device.first_condition = static_cast<uint32_t>(image_.conditions.size());
    device.condition_count = static_cast<uint32_t>(path.size());
    for (const auto &[mux, number, mask, value] : path) {
        image_.conditions.push_back(
            {.device = mux, .number = number, .mask = mask, .value = value, .reserved = 0});
    }
    image_.devices.push_back(device);
    return static_cast<uint32_t>(image_.devices.size() - 1);
}

void Builder::add_ranges(Device *device, const std::vector<Range> &ranges) {
    device->first_range = static_cast<uint32_t>(image_.ranges.size());
    device->range_count = static_cast<uint32_t>(ranges.size());
    image_.ranges.insert(image_.ranges.end(), ranges.begin(), ranges.end());
}

StateImage Builder::finish() && {
    std::vector<uint32_t> order(image_.devices.size());
    std::iota(order.begin(), order.end(), 0U);
    std::ranges::stable_sort(order, {}, [this](uint32_t index) {
        const Device &device = image_.devices[index];
        return std::pair(device.bus, device.address);
    });
    std::vector<uint32_t> new_place(order.size());
    std::vector<Device> devices;
    devices.reserve(order.size());
    for (uint32_t old_place : order) {
        new_place[old_place] = static_cast<uint32_t>(devices.size());
        devices.push_back(image_.devices[old_place]);
    }
    image_.devices = std::move(devices);
    for (Condition &condition : image_.conditions) {
        condition.device = new_place[condition.device];
    }
    return std::move(image_);
}

StateImage build_state(const device_tree &tree, const BoardFile &board_file) {
    Builder builder(tree);
    apply_settings(board_file, &builder);
    return std::move(builder).finish();
}

}  // namespace diag::board::sim
