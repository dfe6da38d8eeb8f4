// SPDX-License-Identifier: MIT
// Registers of I2C devices behind the board management controller. Bytes are those on the wire.
#include <algorithm>

#include "tool_calls.h"

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/library_call.h"
#include "diags/diagctl/route_kinds.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

constexpr std::uint32_t kHighestBus = 0xFF;  // a request has one byte for it

// The library looks at 500 characters of an answer: ten lines of 16 bytes, which take 49 each.
constexpr unsigned kMostBytes = 160;

// More than the library takes of what ipmitool prints: ipmitool_get() stores all of it.
constexpr std::size_t kRoomForAnswer = std::size_t{1} << 20;

// The calls send a register number high byte first, whatever the chip wants.
unsigned number_as_sent(const device_node &node, unsigned offset) {
    const bool is_turned = node.reg_le != 0 && offset_bits(node) == 16;
    return is_turned ? ((offset & 0xFF) << 8) | (offset >> 8) : offset;
}

class BmcRoute : public RegisterRoute {
  public:
    BmcRoute(const device_node &node, const reg_def &reg)
        : RegisterRoute(reg),
          bus_(bus_name(node)),
          address_(static_cast<unsigned>(node.address)),
          offset_(reg.offset),
          offset_bits_(offset_bits(node)),
          number_(number_as_sent(node, reg.offset)),
          order_(node.reg_le != 0 ? ByteOrder::kLowFirst : ByteOrder::kHighFirst) {}

    const char *tool() const override { return "ipmitool"; }
    ByteOrder order() const override { return order_; }
    int message_level() const override { return 3; }

    // These calls judge by what ipmitool prints.
    bool hands_on_tool_status() const override { return false; }

    // ipmitool_get() does not tell how many bytes came, so it serves where one is all there is:
    // a short answer must not become a value.
    std::uint32_t read(const char *pipe_path, std::uint8_t *bytes) const override {
        if (!is_one_byte()) {
            return ipmii2c_get(bus_.c_str(), address_, number_, number_info(),
                               static_cast<int>(count()), pipe_path, bytes);
        }
        const auto answer = std::make_unique<std::uint8_t[]>(kRoomForAnswer);
        const std::uint32_t status =
            ipmitool_get(bus_.c_str(), address_, number_, &reg8_data8, 1, pipe_path, answer.get());
        std::copy_n(answer.get(), count(), bytes);
        return status;
    }

    std::optional<int> delivered(std::string_view library) const override {
        return is_one_byte() ? 1 : printed_bytes(library);
    }

    // A word goes out in one command. Longer values in ipmitool_set() would be several, each with
    // a register number one higher, whatever the chip counts.
    std::uint32_t write(const std::uint8_t *bytes) const override {
        const auto size = static_cast<int>(count());
        if (offset_bits_ == 8 && size <= 2) {
            return ipmitool_set(bus_.c_str(), address_, number_,
                                size == 1 ? &reg8_data8 : &reg8_data16, bytes, size, 0);
        }
        return ipmii2c_set(bus_.c_str(), address_, number_, number_info(), bytes, size, 0);
    }

  private:
    bool is_one_byte() const { return offset_bits_ == 8 && count() == 1; }
    const reg_info *number_info() const { return offset_bits_ == 16 ? &reg16_data8 : &reg8_data8; }

    std::string place() const override {
        return fmt::format("of register {} at {} address {}", hex(offset_, offset_bits_), bus_,
                           hex(address_));
    }

    std::string bus_;
    unsigned address_;
    unsigned offset_;
    unsigned offset_bits_;
    unsigned number_;
    ByteOrder order_;
};

}  // namespace

void check_bmc_chip(const Chip &chip) {
    check_pointer_chip(chip);
    if (chip.node->bus_no > kHighestBus) {
        fail(kExitBadDescription, "chip \"{}\": a bus behind the controller has no number {}",
             chip.label, chip.node->bus_no);
    }
}

std::unique_ptr<RegisterRoute> make_bmc_route(const Chip &chip, const reg_def &reg) {
    check_pointer_register(chip, reg);
    auto route = std::make_unique<BmcRoute>(*chip.node, reg);
    if (route->count() > kMostBytes) {
        fail(kExitBadDescription,
             "{}: {} bytes, but one answer of the controller brings {} at most",
             full_name(chip, reg), route->count(), kMostBytes);
    }
    return route;
}

}  // namespace diag::diagctl
