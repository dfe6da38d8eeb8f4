// SPDX-License-Identifier: MIT
// The muxes on the way to chips.
#include <algorithm>
#include <string_view>

#include "diags/board/number.h"
#include "diags/board/sim/builder.h"
#include "diags/board/sim/bus_kind.h"

namespace diag::board::sim {
namespace {

constexpr uint32_t kMuxRegisters = 256;
constexpr Cell kMuxRegister = {.value = 0,
                               .readable = 0xFF,
                               .writable = 0xFF,
                               .clear_on_read = 0,
                               .stuck_high = 0,
                               .stuck_low = 0};
constexpr uint8_t kWholeByte = 0xFF;

}  // namespace

// Empty when a mux on the way is of a kind that is not known, or its bus has no number.
std::optional<Builder::Path> Builder::path_of(const device_node &node) {
    Path path;
    for (const mux_entry *mux = node.mux_list; mux != nullptr; mux = mux->next) {
        // A mux without a bus sits on that of the first one.
        const char *bus = mux->bus != nullptr ? mux->bus : node.mux_list->bus;
        if (!extend(&path, *mux, bus != nullptr ? bus : "")) {
            return std::nullopt;
        }
    }
    return path;
}

bool Builder::extend(Path *path, const mux_entry &mux, std::string_view bus) {
    const std::optional<MuxKind> kind = mux_kind_of(bus);
    const auto value = static_cast<uint8_t>(mux.val);
    const auto mask = static_cast<uint8_t>(mux.mask);
    if (kind == MuxKind::kGpio) {
        path->emplace_back(ConditionKind::kLine, line_index(mux.addr, mux.reg), 0, kWholeByte,
                           value);
        return true;
    }
    if (kind == MuxKind::kMemory) {
        const uint32_t device = mux_byte(mux.addr, *path);
        const auto number = static_cast<uint32_t>(mux.addr - image_.devices[device].base);
        path->emplace_back(ConditionKind::kRegister, device, number, mask,
                           static_cast<uint8_t>(value & mask));
        return true;
    }
    if (!kind) {
        return false;
    }
    const bool on_host = kind == MuxKind::kI2c;
    const std::optional<uint32_t> number = on_host ? parse_i2c_bus(bus) : parse_bmc_bus(bus);
    if (!number) {
        return false;
    }
    const uint32_t device = mux_device(on_host ? BusKind::kI2c : BusKind::kBmc, *number,
                                       static_cast<uint8_t>(mux.addr), *path);
    const uint8_t compared = mask != 0 ? mask : kWholeByte;
    path->emplace_back(ConditionKind::kRegister, device, static_cast<uint8_t>(mux.reg), compared,
                       static_cast<uint8_t>(value & compared));
    return true;
}

uint32_t Builder::mux_device(BusKind kind, uint32_t bus, uint8_t address, const Path &path) {
    const auto [known, is_new] = known_.try_emplace({kind, bus, address, path}, 0);
    if (is_new) {
        known->second = add_device(kind, bus, address, path);
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

// A byte of memory is one and the same whatever muxes stand before it, unless it belongs to a chip
// behind some of them. The chip behind most of them is meant.
uint32_t Builder::mux_byte(uint64_t address, const Path &path) {
    std::optional<uint32_t> found;
    for (uint32_t index = 0; index < image_.devices.size(); ++index) {
        const Device &device = image_.devices[index];
        const bool suits = device.kind == BusKind::kMemory && lane_at(device, address) &&
                           is_start_of(path, device);
        if (suits && (!found || device.condition_count > image_.devices[*found].condition_count)) {
            found = index;
        }
    }
    return found ? *found : add_plain_bytes(BusKind::kMemory, address, 1, {});
}

bool Builder::is_start_of(const Path &path, const Device &device) const {
    const auto conditions =
        std::span(image_.conditions).subspan(device.first_condition, device.condition_count);
    return conditions.size() <= path.size() &&
           std::ranges::equal(conditions, std::span(path).first(conditions.size()), {},
                              [](const Condition &condition) {
                                  return Path::value_type(condition.kind, condition.target,
                                                          condition.number, condition.mask,
                                                          condition.value);
                              });
}

uint32_t Builder::line_index(uint32_t chip, uint32_t number) {
    const auto next = static_cast<uint32_t>(image_.lines.size());
    const auto [known, is_new] = lines_.try_emplace({chip, number}, next);
    if (is_new) {
        image_.lines.push_back({.chip = chip, .number = number, .is_high = 0});
    }
    return known->second;
}

Line &Builder::line(uint32_t chip, uint32_t number) {
    return image_.lines[line_index(chip, number)];
}

}  // namespace diag::board::sim
