// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/reservation.h"

namespace diag::daemon {
namespace {

using broker::Outcome;

constexpr uint32_t kMaxI2cAddress = 0x7F;
constexpr uint64_t kI2cAddresses = 0x100;  // of chips too whose description has eight bits

ReservedPlace i2c_place(uint32_t bus, uint32_t address) {
    if (address > kMaxI2cAddress) {
        return {Outcome::kUnknownDevice, {}};
    }
    if (address == 0) {
        return {Outcome::kSuccess, {BusKind::kI2c, bus, 0, kI2cAddresses}};
    }
    return {Outcome::kSuccess, {BusKind::kI2c, bus, address, address + 1}};
}

ReservedPlace selected_place(const Reservation &wanted) {
    const uint32_t b = wanted.selector_b;
    const uint32_t c = wanted.selector_c;
    switch (wanted.selector_a) {
        case broker::kSelectPci:
            return {Outcome::kSuccess, {BusKind::kPci, b << 8 | c, 0, 1}};
        case broker::kSelectLpc:
            return {Outcome::kSuccess, {BusKind::kLpc, 0, 0, kEndOfBus}};
        case broker::kSelectMemory:
            return {Outcome::kSuccess, {BusKind::kMemory, 0, 0, kEndOfBus}};
        case broker::kSelectGpio:
            return {Outcome::kSuccess, {BusKind::kGpio, b, c, uint64_t{c} + 1}};
        case broker::kSelectI2c:
            return i2c_place(b, c);
        default:
            return {Outcome::kInvalidRequest, {}};
    }
}

bool contains(const Footprint &outer, const Footprint &inner) {
    return outer.kind == inner.kind && outer.bus == inner.bus && outer.begin <= inner.begin &&
           inner.end <= outer.end;
}

}  // namespace

ReservedPlace place_of(const Reservation &reservation, std::string_view device_id,
                       const Directory &directory) {
    ReservedPlace place;
    if (reservation.by_index) {
        place = selected_place(reservation);
    } else if (const DevicePointer device = directory.find_asset(reservation.asset)) {
        place.footprint = device->whole();
    } else {
        place.outcome = Outcome::kUnknownDevice;
    }
    if (place.outcome != Outcome::kSuccess || device_id.empty()) {
        return place;
    }
    const DevicePointer named = directory.find_asset(device_id);
    if (named == nullptr || !contains(place.footprint, named->whole())) {
        return {Outcome::kInvalidRequest, {}};
    }
    return place;
}

}  // namespace diag::daemon
