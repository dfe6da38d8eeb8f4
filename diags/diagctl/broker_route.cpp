// SPDX-License-Identifier: MIT
#include "diags/diagctl/broker_route.h"

#include <algorithm>

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/register_route.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

// The id that the broker has for the chip; only those blanks are dropped from a name that the
// library does not read.
std::string device_of(const Chip &chip) {
    const device_node &node = *chip.node;
    const bool has_id = node.dev_id != nullptr && *node.dev_id != '\0';
    const char *id = has_id ? node.dev_id : node.name;
    if (id == nullptr || *id == '\0') {
        fail(kExitBadDescription, "chip \"{}\" has no device id and no name for the bus broker",
             chip.label);
    }
    std::string device = id;
    if (device.size() > broker::kMaxIdLength) {
        fail(kExitBadDescription,
             "chip \"{}\": its id for the bus broker has more than {} "
             "characters",
             chip.label, broker::kMaxIdLength);
    }
    return device;
}

bool has_register_numbers(const device_node &node) {
    return node.bus_type == DIAG_BUS_I2C || node.bus_type == DIAG_BUS_BMC;
}

// Behind a register number the bytes are those on the wire; elsewhere an item is as wide as the
// register, but on LPC, where it is a byte, as with the tools.
unsigned item_bits(const device_node &node, const reg_def &reg) {
    return node.bus_type == DIAG_BUS_PCI || node.bus_type == DIAG_BUS_MEM ? reg.size : 8;
}

ByteOrder wire_order(const device_node &node) {
    return has_register_numbers(node) && node.reg_le == 0 ? ByteOrder::kHighFirst
                                                          : ByteOrder::kLowFirst;
}

}  // namespace

BrokerRoute::BrokerRoute(const Chip &chip, const reg_def &reg)
    : device_(device_of(chip)),
      offset_(reg.offset),
      offset_bits_(has_register_numbers(*chip.node) ? offset_bits(*chip.node) : 32),
      width_(item_bits(*chip.node, reg)),
      count_(make_route(chip, reg)->count()),
      order_(wire_order(*chip.node)) {
    if (has_register_numbers(*chip.node) && count_ > broker::kMaxReadBytes) {
        fail(kExitBadDescription,
             "{}.{}: {} bytes, but one request to the bus broker carries {} "
             "at most",
             chip.label, register_name(reg), count_, broker::kMaxReadBytes);
    }
}

broker::Access BrokerRoute::access(broker::Indication indication) const {
    return {
        .address = offset_, .width = static_cast<std::uint8_t>(width_), .indication = indication};
}

std::vector<RegisterPiece> BrokerRoute::pieces(std::size_t most) const {
    const std::size_t step = most - most % (width_ / 8);
    std::vector<RegisterPiece> pieces;
    for (std::size_t begin = 0; begin < count_; begin += step) {
        RegisterPiece piece{begin, std::min(step, count_ - begin), access(broker::kNext)};
        piece.access.address += static_cast<std::uint32_t>(begin);
        pieces.push_back(piece);
    }
    pieces.front().access.indication = broker::kFirst;
    pieces.back().access.indication = broker::kLast;
    return pieces;
}

std::string BrokerRoute::text(broker::RequestType type, broker::Indication indication) const {
    return fmt::format(
        "{} byte{} of register {} of device \"{}\" through the bus broker (request "
        "type {}, width {}, indication {})",
        count_, count_ == 1 ? "" : "s", hex(offset_, offset_bits_), device_,
        static_cast<unsigned>(type), width_, static_cast<unsigned>(indication));
}

}  // namespace diag::diagctl
