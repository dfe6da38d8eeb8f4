// SPDX-License-Identifier: MIT
// A device that can be accessed: a chip of the description, or a raw place.
#ifndef DIAGS_TOOLS_BUSBROKER_DEVICE_H
#define DIAGS_TOOLS_BUSBROKER_DEVICE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "diags/board/board.h"
#include "diags/broker/protocol.h"
#include "diags/tools/busbroker/footprint.h"
#include "diags/tools/busbroker/mux_path.h"

namespace diag::daemon {

struct Device {
    std::string id;
    BusKind kind = BusKind::kI2c;
    uint32_t bus = 0;     // I2C bus, bus behind the controller, GPIO chip
    uint8_t address = 0;  // on I2C
    board::PciFunction function;
    uint64_t base = 0;  // where register 0 is, in spaces of bytes
    uint64_t size = 0;  // bytes that the chip takes there, at least 1; 0 for a raw place
    unsigned register_bits = 8;
    bool low_byte_first = false;  // of 16-bit register numbers
    MuxPath muxes;

    // What an access to `count` bytes from `address` on touches.
    Footprint footprint(uint32_t address, uint32_t count) const;
    // What a reservation of the device covers: all of a raw space, or the chip.
    Footprint whole() const;
};

Device device_of(const broker::RawPlace &place);

// The number that stands for a PCI function as a bus of its own.
uint32_t pci_bus_number(const board::PciFunction &function);

}  // namespace diag::daemon

#endif
