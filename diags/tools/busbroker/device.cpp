// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/device.h"

#include <algorithm>

namespace diag::daemon {
namespace {

Footprint one_place(BusKind kind, uint32_t bus, uint64_t place) {
    return {kind, bus, place, place + 1};
}

// Memory reaches up to the last address, so the end may not wrap.
uint64_t end_of(uint64_t begin, uint64_t size) {
    return size > kEndOfBus - begin ? kEndOfBus : begin + size;
}

}  // namespace

Footprint Device::footprint(uint32_t offset, uint32_t count) const {
    switch (kind) {
        case BusKind::kI2c:
        case BusKind::kBmc:
            return one_place(kind, bus, address);
        case BusKind::kPci:
            return one_place(kind, pci_bus_number(function), 0);
        case BusKind::kGpio:
            return one_place(kind, bus, offset);
        case BusKind::kLpc:
        case BusKind::kMemory:
            break;
    }
    const uint64_t first = base + offset;
    const Footprint bytes = {kind, 0, first, end_of(first, count)};
    return size == 0 ? bytes : bytes.joined(whole());
}

Footprint Device::whole() const {
    switch (kind) {
        case BusKind::kLpc:
        case BusKind::kMemory:
            return size == 0 ? Footprint{kind, 0, 0, kEndOfBus}
                             : Footprint{kind, 0, base, end_of(base, size)};
        case BusKind::kGpio:
            return {kind, bus, 0, kEndOfBus};
        default:
            return footprint(0, 0);
    }
}

Device device_of(const broker::RawPlace &place) {
    using Kind = broker::RawPlace::Kind;
    Device device;
    device.id = broker::format_raw_id(place);
    device.bus = place.bus;
    switch (place.kind) {
        case Kind::kI2c:
            device.kind = BusKind::kI2c;
            device.address = place.device;
            device.register_bits = place.wide_register ? 16 : 8;
            break;
        case Kind::kLpc:
            device.kind = BusKind::kLpc;
            break;
        case Kind::kMemory:
            device.kind = BusKind::kMemory;
            break;
        case Kind::kPci:
            device.kind = BusKind::kPci;
            device.function = {place.bus, place.device, place.function};
            break;
        case Kind::kGpio:
            device.kind = BusKind::kGpio;
            break;
    }
    return device;
}

uint32_t pci_bus_number(const board::PciFunction &function) {
    return function.bus << 8 | function.device << 3 | function.function;
}

}  // namespace diag::daemon
