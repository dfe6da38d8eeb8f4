// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/directory.h"

#include <algorithm>
#include <iterator>

#include "diags/tools/busbroker/controller.h"

namespace diag::daemon {
namespace {

constexpr uint64_t kMaxI2cAddress = 0xFF;
constexpr uint32_t kMaxPciBus = 0xFF;
constexpr int32_t kMaxPciDevice = 0x1F;
constexpr int32_t kMaxPciFunction = 7;

std::string_view text_of(const char *text) {
    return text != nullptr ? text : "";
}

// The id by which requests name the chip.
std::string_view id_of(const device_node &node) {
    const std::string_view id = text_of(node.dev_id);
    return id.empty() ? text_of(node.name) : id;
}

std::string id_problem(std::string_view id) {
    const auto is_printable = [](char c) { return c >= ' ' && c <= '~'; };
    if (id.empty()) {
        return "it has neither a device id nor a name";
    }
    if (id.size() > broker::kMaxIdLength) {
        return "its id has " + std::to_string(id.size()) + " characters, a request has room for " +
               std::to_string(broker::kMaxIdLength);
    }
    if (!std::ranges::all_of(id, is_printable)) {
        return "its id has characters that cannot be in a request";
    }
    if (id == broker::kStatusDevice || broker::parse_raw_id(id)) {
        return "its id \"" + std::string(id) + "\" means something else: give it a device id";
    }
    return {};
}

uint64_t size_of(const device_node &node) {
    uint64_t end = 0;
    for (const reg_list *item = node.reg_list; item != nullptr; item = item->next) {
        if (item->reg != nullptr) {
            const uint64_t bytes = uint64_t{item->reg->size / 8} * item->reg->length;
            end = std::max(end, item->reg->offset + bytes);
        }
    }
    // A chip without registers is at its first byte: a size of 0 would make it all of the bus.
    return std::max(end, uint64_t{1});
}

std::string fill_pointer_device(const device_node &node, Device *device) {
    device->bus = node.bus_no;
    device->address = static_cast<uint8_t>(node.address);
    device->register_bits = node.offset_len == 16 ? 16 : 8;
    device->low_byte_first = node.reg_le != 0;
    if (node.address > kMaxI2cAddress) {
        return "its address does not fit 8 bits";
    }
    const bool is_width = node.offset_len == 0 || node.offset_len == 8 || node.offset_len == 16;
    return is_width ? "" : "its register numbers have neither 8 nor 16 bits";
}

std::string fill_i2c(const device_node &node, Device *device) {
    device->kind = BusKind::kI2c;
    return fill_pointer_device(node, device);
}

std::string fill_bmc(const device_node &node, Device *device) {
    device->kind = BusKind::kBmc;
    return node.bus_no > kMaxControllerBus ? "the controller has no bus of its number"
                                           : fill_pointer_device(node, device);
}

std::string fill_lpc(const device_node &node, Device *device) {
    device->kind = BusKind::kLpc;
    device->base = node.address;
    device->size = size_of(node);
    return {};
}

std::string fill_memory(const device_node &node, Device *device) {
    device->kind = BusKind::kMemory;
    device->base = node.address;
    device->size = size_of(node);
    return {};
}

std::string fill_pci(const device_node &node, Device *device) {
    if (node.bus_no > kMaxPciBus || node.pci_dev < 0 || node.pci_dev > kMaxPciDevice ||
        node.pci_func < 0 || node.pci_func > kMaxPciFunction) {
        return "the description names no PCI function of it (in the text form: "
               "bus:device.function)";
    }
    device->kind = BusKind::kPci;
    device->function = {node.bus_no, static_cast<unsigned>(node.pci_dev),
                        static_cast<unsigned>(node.pci_func)};
    device->base = node.address;
    return {};
}

constexpr struct {
    int32_t bus_type;
    std::string (*fill)(const device_node &node, Device *device);
} kBuses[] = {
    {DIAG_BUS_I2C, fill_i2c},    {DIAG_BUS_BMC, fill_bmc}, {DIAG_BUS_LPC, fill_lpc},
    {DIAG_BUS_MEM, fill_memory}, {DIAG_BUS_PCI, fill_pci},
};

std::string fill(const device_node &node, Device *device) {
    const auto *row = std::ranges::find_if(
        kBuses, [&node](const auto &bus) { return bus.bus_type == node.bus_type; });
    if (row == std::end(kBuses)) {
        return "it is on a bus that is not served (i2c, bmc, lpc, pci and mem are)";
    }
    std::string problem = row->fill(node, device);
    if (problem.empty()) {
        device->muxes = make_mux_path(node.mux_list, &problem);
    }
    return problem;
}

std::string label_of(const device_node &node, size_t position) {
    const std::string_view name = text_of(node.name);
    return name.empty() ? "chip " + std::to_string(position) : "chip \"" + std::string(name) + "\"";
}

}  // namespace

Directory::Directory(const device_tree &tree) {
    size_t position = 0;
    for (const device_tree *item = &tree; item != nullptr; item = item->next) {
        if (item->node != nullptr) {
            add(*item->node, ++position);
        }
    }
    drop_shared_ids();
}

void Directory::add(const device_node &node, size_t position) {
    auto device = std::make_shared<Device>();
    device->id = id_of(node);
    std::string problem = id_problem(device->id);
    if (problem.empty()) {
        problem = fill(node, device.get());
    }
    // A chip that is not served keeps its name all the same, from being another's alone.
    const DevicePointer served = problem.empty() ? device : nullptr;
    add_asset(device->id, served);
    add_asset(text_of(node.name), served);
    if (served == nullptr) {
        problems_.push_back(label_of(node, position) + ": " + problem);
        return;
    }
    if (const auto [place, is_new] = by_id_.emplace(device->id, served); !is_new) {
        place->second = nullptr;
    }
    if (device->kind == BusKind::kI2c) {
        i2c_chips_.push_back(served);
    }
}

void Directory::add_asset(std::string_view text, const DevicePointer &device) {
    const auto [place, is_new] = by_asset_.emplace(text, device);
    if (!is_new && place->second != device) {
        place->second = nullptr;
    }
}

void Directory::drop_shared_ids() {
    std::vector<std::string> shared;
    for (const auto &[id, device] : by_id_) {
        if (device == nullptr) {
            shared.push_back(id);
        }
    }
    std::ranges::sort(shared);
    for (const std::string &id : shared) {
        problems_.push_back("id \"" + id + "\": several chips have it");
        by_id_.erase(id);
    }
}

DevicePointer Directory::find(std::string_view id) const {
    if (const auto found = by_id_.find(id); found != by_id_.end()) {
        return found->second;
    }
    const auto place = broker::parse_raw_id(id);
    return place ? std::make_shared<const Device>(device_of(*place)) : nullptr;
}

DevicePointer Directory::find_asset(std::string_view text) const {
    if (broker::parse_raw_id(text)) {
        return find(text);
    }
    const auto found = by_asset_.find(text);
    return found != by_asset_.end() ? found->second : nullptr;
}

std::string Directory::dynamic_id(const DynamicId &wanted) const {
    const std::string raw_id =
        broker::format_raw_id({.kind = broker::RawPlace::Kind::kI2c,
                               .wide_register = wanted.wide_register,
                               .bus = wanted.bus,
                               .device = static_cast<uint8_t>(wanted.address)});
    if (!broker::parse_raw_id(raw_id)) {
        return {};
    }
    const unsigned bits = wanted.wide_register ? 16 : 8;
    const Device *chip = nullptr;
    size_t chips = 0;
    for (const DevicePointer &device : i2c_chips_) {
        if (device->bus == wanted.bus && device->address == wanted.address) {
            chip = device.get();
            ++chips;
        }
    }
    const bool will_do = chips == 1 && chip->muxes.empty() && chip->register_bits == bits &&
                         by_id_.contains(chip->id);
    return will_do ? chip->id : raw_id;
}

}  // namespace diag::daemon
