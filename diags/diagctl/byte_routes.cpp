// SPDX-License-Identifier: MIT
// Registers that lie in a space of bytes: LPC, PCI configuration space, physical memory. The chip's
// address and the register's offset add up, and the lowest byte of a value comes first.
#include "tool_calls.h"

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/route_kinds.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

constexpr std::uint64_t kEndOfAddresses = std::uint64_t{1} << 32;
constexpr std::uint64_t kEndOfConfigurationSpace = 4096;

constexpr std::uint32_t kHighestPciBus = 0xFF;
constexpr std::int32_t kHighestPciDevice = 0x1F;
constexpr std::int32_t kHighestPciFunction = 7;

// The address of the register's first byte. All of them lie below `end`.
unsigned first_address(const Chip &chip, const reg_def &reg, std::uint64_t end, const char *space) {
    const std::uint64_t address = chip.node->address + reg.offset;
    if (address + register_bytes(reg) > end) {
        fail(kExitBadDescription, "{}: address {} with {} bytes lies beyond the end of {}",
             full_name(chip, reg), hex(address), register_bytes(reg), space);
    }
    return static_cast<unsigned>(address);
}

// Accesses are as wide as the register, and a wide access begins at a multiple of its width.
void check_alignment(const Chip &chip, const reg_def &reg, unsigned address) {
    if (address % (reg.size / 8) != 0) {
        fail(kExitBadDescription, "{}: address {} is no multiple of the register's {} bytes",
             full_name(chip, reg), hex(address), reg.size / 8);
    }
}

class ByteRoute : public RegisterRoute {
  public:
    ByteRoute(const reg_def &reg, unsigned address)
        : RegisterRoute(reg), address_(address), width_(static_cast<int>(reg.size)) {}

    ByteOrder order() const override { return ByteOrder::kLowFirst; }

  protected:
    unsigned address() const { return address_; }
    int width() const { return width_; }  // of an access, in bits

  private:
    unsigned address_;
    int width_;
};

class LpcRoute : public ByteRoute {
  public:
    using ByteRoute::ByteRoute;

    const char *tool() const override { return "lpctool"; }
    bool hands_on_tool_status() const override { return false; }

    std::uint32_t read(const char *pipe_path, std::uint8_t *bytes) const override {
        return lpctool_get(address(), static_cast<int>(count()), kByteAccess, pipe_path, bytes);
    }
    std::uint32_t write(const std::uint8_t *bytes) const override {
        return lpctool_set(address(), bytes, count(), kByteAccess, false);
    }

  private:
    static constexpr char kByteAccess = 'b';

    std::string place() const override {
        return fmt::format("at lpc address {}", hex(address(), 32));
    }
};

class PciRoute : public ByteRoute {
  public:
    PciRoute(const reg_def &reg, unsigned address, const device_node &node)
        : ByteRoute(reg, address),
          bus_(static_cast<int>(node.bus_no)),
          device_(node.pci_dev),
          function_(node.pci_func),
          name_(bus_name(node)) {}

    const char *tool() const override { return "pcitool"; }

    std::uint32_t read(const char *pipe_path, std::uint8_t *bytes) const override {
        return pcitool_get(bus_, device_, function_, address(), bytes, pipe_path, count(), width());
    }
    std::uint32_t write(const std::uint8_t *bytes) const override {
        return pcitool_set(static_cast<unsigned>(bus_), static_cast<unsigned>(device_),
                           static_cast<unsigned>(function_), address(), bytes,
                           static_cast<int>(count()), false, width());
    }

  private:
    std::string place() const override {
        return fmt::format("at {} offset {}", name_, hex(address(), 12));
    }

    int bus_;
    int device_;
    int function_;
    std::string name_;
};

class MemoryRoute : public ByteRoute {
  public:
    MemoryRoute(const reg_def &reg, unsigned address)
        : ByteRoute(reg, address), items_(reg.length) {}

    const char *tool() const override { return "memtool"; }

    std::uint32_t read(const char *pipe_path, std::uint8_t *bytes) const override {
        return memtool_get(address(), items_, static_cast<unsigned>(width()), pipe_path, false,
                           bytes);
    }
    std::uint32_t write(const std::uint8_t *bytes) const override {
        return memtool_set(address(), width(), bytes, items_, false);
    }

  private:
    std::string place() const override {
        return fmt::format("at memory address {}", hex(address(), 32));
    }

    unsigned items_;
};

}  // namespace

void check_pci_chip(const Chip &chip) {
    const device_node &node = *chip.node;
    if (node.pci_dev < 0 || node.pci_func < 0) {
        fail(kExitBadDescription,
             "chip \"{}\": its description names no PCI function (in the text form: "
             "bus:device.function)",
             chip.label);
    }
    if (node.bus_no > kHighestPciBus || node.pci_dev > kHighestPciDevice ||
        node.pci_func > kHighestPciFunction) {
        fail(kExitBadDescription, "chip \"{}\": there is no PCI function {:x}:{:x}.{:x}",
             chip.label, node.bus_no, node.pci_dev, node.pci_func);
    }
}

std::unique_ptr<RegisterRoute> make_lpc_route(const Chip &chip, const reg_def &reg) {
    return std::make_unique<LpcRoute>(
        reg, first_address(chip, reg, kEndOfAddresses, "the LPC addresses of 32 bits"));
}

std::unique_ptr<RegisterRoute> make_pci_route(const Chip &chip, const reg_def &reg) {
    const unsigned offset =
        first_address(chip, reg, kEndOfConfigurationSpace, "the configuration space of 4096 bytes");
    check_alignment(chip, reg, offset);
    return std::make_unique<PciRoute>(reg, offset, *chip.node);
}

std::unique_ptr<RegisterRoute> make_memory_route(const Chip &chip, const reg_def &reg) {
    const unsigned address =
        first_address(chip, reg, kEndOfAddresses, "the memory addresses of 32 bits");
    check_alignment(chip, reg, address);
    return std::make_unique<MemoryRoute>(reg, address);
}

}  // namespace diag::diagctl
