// SPDX-License-Identifier: MIT
// From a board's description to the state of the simulated board at power-up.
#ifndef DIAGS_BOARD_SIM_BUILDER_H
#define DIAGS_BOARD_SIM_BUILDER_H

#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "device_tree.h"

#include "diags/board/sim/board_file.h"
#include "diags/board/sim/register_map.h"
#include "diags/board/sim/state_image.h"

namespace diag::board::sim {

// A chip of the description. One on a bus that is not simulated has no device.
struct BuiltChip {
    const device_node *node;
    std::optional<uint32_t> device;
    std::vector<MappedRegister> registers;
};

class Builder {
  public:
    // Makes the devices: the chips on I2C buses and the muxes on the way to them. Throws BoardError
    // for a description that cannot be simulated. `tree` must outlive the builder.
    explicit Builder(const device_tree &tree);

    // In the order of the file, and what they refer to.
    const std::vector<BuiltChip> &chips() const { return chips_; }
    StateImage &image() { return image_; }

    // Brings the devices into the order of the state file. Nothing may refer to them afterwards.
    StateImage finish() &&;

  private:
    // The muxes in front of a device and how they must be set: device, register, mask, value.
    using Path = std::vector<std::tuple<uint32_t, uint8_t, uint8_t, uint8_t>>;
    // What makes two devices one.
    using Identity = std::tuple<uint32_t, uint8_t, Path>;

    void add_chip(BuiltChip *chip);
    std::optional<Path> path_of(const device_node &node);
    uint32_t mux_device(uint32_t bus, uint8_t address, const Path &path);
    uint32_t add_device(uint32_t bus, uint8_t address, const Path &path);
    void add_ranges(Device *device, const std::vector<Range> &ranges);

    StateImage image_;
    std::vector<BuiltChip> chips_;
    std::map<Identity, uint32_t> known_;
};

// The whole way: devices, then what the board file says.
StateImage build_state(const device_tree &tree, const BoardFile &board_file);

}  // namespace diag::board::sim

#endif
