// SPDX-License-Identifier: MIT
#include "diags/board/sim/builder.h"

#include <algorithm>
#include <numeric>

#include "diags/board/sim/bus_kind.h"
#include "diags/board/sim/settings.h"

namespace diag::board::sim {
namespace {

constexpr uint64_t kLpcSpace = uint64_t{1} << 32;

constexpr Cell plain_cell(uint32_t bits) {
    return {.value = 0,
            .readable = bits,
            .writable = bits,
            .clear_on_read = 0,
            .stuck_high = 0,
            .stuck_low = 0};
}

size_t mux_count(const device_node &node) {
    size_t count = 0;
    for (const mux_entry *mux = node.mux_list; mux != nullptr; mux = mux->next) {
        ++count;
    }
    return count;
}

// Sorts a table and answers the new place of each record.
template <typename Record, typename Key>
std::vector<uint32_t> sort_table(std::vector<Record> *table, Key key) {
    std::vector<uint32_t> order(table->size());
    std::iota(order.begin(), order.end(), 0U);
    std::ranges::stable_sort(order, {}, [&](uint32_t index) { return key((*table)[index]); });
    std::vector<uint32_t> new_place(order.size());
    std::vector<Record> sorted;
    sorted.reserve(order.size());
    for (uint32_t old_place : order) {
        new_place[old_place] = static_cast<uint32_t>(sorted.size());
        sorted.push_back((*table)[old_place]);
    }
    *table = std::move(sorted);
    return new_place;
}

auto bus_of_device(const Device &device) {
    return std::pair(device.kind, device.bus);
}

void set_reach(std::vector<Device> *devices) {
    const Device *before = nullptr;
    for (Device &device : *devices) {
        const bool follows = before != nullptr && bus_of_device(*before) == bus_of_device(device);
        device.reach = follows ? std::max(before->reach, device.end) : device.end;
        before = &device;
    }
}

}  // namespace

Builder::Builder(const device_tree &tree, const BoardFile &board_file) {
    for (const RegionSetting &region : board_file.regions) {
        add_plain_bytes(region.kind, region.address, region.size, region.bytes);
    }
    for (const device_tree *item = &tree; item != nullptr; item = item->next) {
        if (item->node != nullptr) {
            chips_.push_back({item->node, std::nullopt, {}});
        }
    }
    // From the host outwards: a mux may be a register of a chip, which must then be known.
    std::vector<BuiltChip *> order;
    for (BuiltChip &chip : chips_) {
        order.push_back(&chip);
    }
    std::ranges::stable_sort(order, {},
                             [](const BuiltChip *chip) { return mux_count(*chip->node); });
    for (BuiltChip *chip : order) {
        const std::optional<BusKind> kind = bus_kind_of(*chip->node);
        const auto bus = kind ? bus_of(*chip->node, *kind) : std::nullopt;
        if (bus) {
            add_chip(chip, *kind, *bus);
        }
    }
}

void Builder::add_chip(BuiltChip *chip, BusKind kind, uint32_t bus) {
    const device_node &node = *chip->node;
    const std::optional<Path> path = path_of(node);
    const auto pin_address = static_cast<uint8_t>(node.address);  // eight bits on I2C
    const uint64_t address = is_byte_addressed(kind) ? node.address : pin_address;
    const uint32_t index = add_device(kind, bus, address, path.value_or(Path()));
    const RegisterMap map(node, &image_.cells);
    Device &device = image_.devices[index];
    device.pointer_bytes = node.offset_len == 16 ? 2 : 1;
    device.little_endian = node.reg_le != 0 ? 1 : 0;
    device.no_answer = path ? 0 : 1;
    add_ranges(&device, map.ranges());
    chip->device = index;
    chip->registers = map.registers();
    if (path && !is_byte_addressed(kind)) {
        known_.try_emplace({kind, bus, pin_address, *path}, index);
    }
}

uint32_t Builder::add_device(BusKind kind, uint32_t bus, uint64_t address, const Path &path) {
    Device device = {};
    device.kind = kind;
    device.bus = bus;
    device.first = address;
    device.end = address;
    device.base = address;
    device.pointer_bytes = 1;
    device.first_condition = static_cast<uint32_t>(image_.conditions.size());
    device.condition_count = static_cast<uint32_t>(path.size());
    for (const auto &[condition_kind, target, number, mask, value] : path) {
        image_.conditions.push_back({.target = target,
                                     .number = number,
                                     .kind = condition_kind,
                                     .mask = mask,
                                     .value = value,
                                     .reserved = 0});
    }
    image_.devices.push_back(device);
    return static_cast<uint32_t>(image_.devices.size() - 1);
}

uint32_t Builder::add_plain_bytes(BusKind kind, uint64_t address, uint32_t size,
                                  std::span<const uint8_t> bytes) {
    const uint32_t index = add_device(kind, 0, address, Path());
    const auto first_cell = static_cast<uint32_t>(image_.cells.size());
    image_.cells.insert(image_.cells.end(), (size + kMaxUnitBytes - 1) / kMaxUnitBytes,
                        plain_cell(UINT32_MAX));
    for (size_t i = 0; i < bytes.size(); ++i) {
        image_.cells[first_cell + i / kMaxUnitBytes].value |= uint32_t{bytes[i]}
                                                              << i % kMaxUnitBytes * 8;
    }
    add_ranges(&image_.devices[index], {{.first = 0,
                                         .count = size,
                                         .next = size,
                                         .cell = first_cell,
                                         .skip = 0,
                                         .unit_bytes = kMaxUnitBytes,
                                         .flags = kRangeLittleEndian,
                                         .reserved = {}}});
    return index;
}

void Builder::add_ranges(Device *device, const std::vector<Range> &ranges) {
    device->first_range = static_cast<uint32_t>(image_.ranges.size());
    device->range_count = static_cast<uint32_t>(ranges.size());
    image_.ranges.insert(image_.ranges.end(), ranges.begin(), ranges.end());
    cover(device);
}

// A PCI function answers everywhere in its configuration space, any other chip from its first
// register byte to its last.
void Builder::cover(Device *device) {
    const std::span<const Range> ranges = ranges_of(*device);
    if (device->kind == BusKind::kPci) {
        device->first = 0;
        device->end = kPciSpace;
    } else if (is_byte_addressed(device->kind) && !ranges.empty()) {
        device->first = device->base + ranges.front().first;
        device->end = device->base + ranges.back().first + ranges.back().count;
    }
    if (device->kind == BusKind::kLpc) {
        device->end = std::min(device->end, kLpcSpace);
    }
}

std::span<const Range> Builder::ranges_of(const Device &device) const {
    return std::span(image_.ranges).subspan(device.first_range, device.range_count);
}

std::optional<Lane> Builder::lane_at(const Device &device, uint64_t address) const {
    if (address < device.first || address >= device.end || address < device.base ||
        address - device.base > UINT32_MAX) {
        return std::nullopt;
    }
    const auto number = static_cast<uint32_t>(address - device.base);
    const Range *range = find_range(ranges_of(device), number);
    return range != nullptr ? std::optional(lane_of(*range, number, 0)) : std::nullopt;
}

StateImage Builder::finish() && {
    const auto device_key = [](const Device &device) {
        return std::tuple(device.kind, device.bus, device.first);
    };
    const auto line_key = [](const Line &line) { return std::pair(line.chip, line.number); };
    const std::vector<uint32_t> new_device = sort_table(&image_.devices, device_key);
    const std::vector<uint32_t> new_line = sort_table(&image_.lines, line_key);
    for (Condition &condition : image_.conditions) {
        const bool is_line = condition.kind == ConditionKind::kLine;
        condition.target = (is_line ? new_line : new_device)[condition.target];
    }
    set_reach(&image_.devices);
    return std::move(image_);
}

StateImage build_state(const device_tree &tree, const BoardFile &board_file, const Slots &slots) {
    Builder builder(tree, board_file);
    builder.show(slots);
    apply_settings(board_file, &builder);
    return std::move(builder).finish();
}

}  // namespace diag::board::sim
