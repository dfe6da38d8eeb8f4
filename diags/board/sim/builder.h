// SPDX-License-Identifier: MIT
// From a board's description to the state of the simulated board at power-up.
#ifndef DIAGS_BOARD_SIM_BUILDER_H
#define DIAGS_BOARD_SIM_BUILDER_H

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "device_tree.h"

#include "diags/board/sim/board_file.h"
#include "diags/board/sim/range.h"
#include "diags/board/sim/register_map.h"
#include "diags/board/sim/slots.h"
#include "diags/board/sim/state_image.h"

namespace diag::board::sim {

// A chip of the description. One that no tool reaches has no device.
struct BuiltChip {
    const device_node *node;
    std::optional<uint32_t> device;
    std::vector<MappedRegister> registers;
};

class Builder {
  public:
    // Makes the devices: the plain bytes of the board file, the chips and the muxes on the way to
    // them. Throws BoardError for a description that cannot be simulated. `tree` must outlive the
    // builder.
    explicit Builder(const device_tree &tree, const BoardFile &board_file = BoardFile());

    // In the order of the file, and what they refer to.
    const std::vector<BuiltChip> &chips() const { return chips_; }
    StateImage &image() { return image_; }

    // Makes the board show which slots hold which cards. Throws BoardError.
    void show(const Slots &slots);

    // Finds or makes the line.
    Line &line(uint32_t chip, uint32_t number);

    // Brings the tables into the order of the state file. Nothing may refer to them afterwards.
    StateImage finish() &&;

  private:
    // The muxes in front of a device and how they must be set: kind, target, number, mask, value.
    using Path = std::vector<std::tuple<ConditionKind, uint32_t, uint32_t, uint8_t, uint8_t>>;
    // What makes two devices one.
    using Identity = std::tuple<BusKind, uint32_t, uint8_t, Path>;

    void add_chip(BuiltChip *chip, BusKind kind, uint32_t bus);
    void show(const PresenceBit &bit);
    void show(const CardId &card);

    std::optional<Path> path_of(const device_node &node);
    bool extend(Path *path, const mux_entry &mux, std::string_view bus);
    uint32_t mux_device(BusKind kind, uint32_t bus, uint8_t address, const Path &path);
    uint32_t mux_byte(uint64_t address, const Path &path);
    uint32_t line_index(uint32_t chip, uint32_t number);

    uint32_t add_device(BusKind kind, uint32_t bus, uint64_t address, const Path &path);
    uint32_t add_plain_bytes(BusKind kind, uint64_t address, uint32_t size,
                             std::span<const uint8_t> bytes);
    void add_ranges(Device *device, const std::vector<Range> &ranges);
    void cover(Device *device);

    std::span<const Range> ranges_of(const Device &device) const;
    // Where the device keeps its byte at an address, if it has a register there.
    std::optional<Lane> lane_at(const Device &device, uint64_t address) const;
    bool is_start_of(const Path &path, const Device &device) const;

    StateImage image_;
    std::vector<BuiltChip> chips_;
    std::map<Identity, uint32_t> known_;
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> lines_;  // by chip and number
};

// The whole way: devices, cards, then what else the board file says.
StateImage build_state(const device_tree &tree, const BoardFile &board_file,
                       const Slots &slots = Slots());

}  // namespace diag::board::sim

#endif
