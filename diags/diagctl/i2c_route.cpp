// SPDX-License-Identifier: MIT
// Registers on the host's I2C buses.
#include "tool_calls.h"

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/route_kinds.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

// A register of several units behind a short register number is a block to the tool; one behind a
// long number is just more bytes.
reg_info addressing(const device_node &node, const reg_def &reg) {
    const bool wide_number = offset_bits(node) == 16;
    reg_info info{};
    info.reg_le = node.reg_le != 0 ? 1 : 0;
    info.addr_mode = wide_number ? DIAG_ADDR_MODE_REG16 : DIAG_ADDR_MODE_REG8;
    info.data_width = DIAG_DATA_WIDTH_8;
    if (reg.length == 1) {
        info.data_width = reg.size == 16 ? DIAG_DATA_WIDTH_16 : DIAG_DATA_WIDTH_8;
    } else if (!wide_number) {
        info.addr_mode = DIAG_ADDR_MODE_BLOCK;
        info.data_width = DIAG_DATA_WIDTH_BLOCK;
    }
    return info;
}

class I2cRoute : public RegisterRoute {
  public:
    I2cRoute(const device_node &node, const reg_def &reg)
        : RegisterRoute(reg),
          bus_(bus_name(node)),
          address_(static_cast<unsigned>(node.address)),
          offset_(reg.offset),
          offset_bits_(offset_bits(node)),
          info_(addressing(node, reg)) {}

    const char *tool() const override { return "i2ctool"; }

    // The tool puts items of 16 bits into host order; wider values travel byte by byte.
    ByteOrder order() const override {
        const bool low_first = info_.reg_le != 0 || info_.data_width == DIAG_DATA_WIDTH_16;
        return low_first ? ByteOrder::kLowFirst : ByteOrder::kHighFirst;
    }

    std::uint32_t read(const char *pipe_path, std::uint8_t *bytes) const override {
        return i2ctool_get(bus_.c_str(), address_, offset_, &info_, static_cast<int>(count()),
                           pipe_path, bytes);
    }

    std::uint32_t write(const std::uint8_t *bytes) const override {
        return static_cast<std::uint32_t>(i2ctool_set(
            bus_.c_str(), address_, static_cast<int>(offset_), &info_, bytes, count(), 0, false));
    }

  private:
    std::string place() const override {
        return fmt::format("of register {} at {} address {}", hex(offset_, offset_bits_), bus_,
                           hex(address_));
    }

    std::string bus_;
    unsigned address_;
    unsigned offset_;
    unsigned offset_bits_;
    reg_info info_;
};

}  // namespace

void check_i2c_chip(const Chip &chip) {
    check_pointer_chip(chip);
}

std::unique_ptr<RegisterRoute> make_i2c_route(const Chip &chip, const reg_def &reg) {
    check_pointer_register(chip, reg);
    return std::make_unique<I2cRoute>(*chip.node, reg);
}

}  // namespace diag::diagctl
