// SPDX-License-Identifier: MIT
// Access to a board's buses, as it is seen on the wire. Widths, byte orders and masks are the
// business of what stands above (i2c_register.h).
#ifndef DIAGS_BOARD_BOARD_H
#define DIAGS_BOARD_BOARD_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "diags/board/status.h"

namespace diag::board {

// The block that a board keeps its settings in.
inline constexpr size_t kNvramSize = 1068;

// One I2C transfer: the write phase, then, when `read` is not empty, a repeated start and the read
// phase.
struct I2cTransfer {
    unsigned bus = 0;
    uint8_t address = 0;
    std::span<const uint8_t> write;
    std::span<uint8_t> read;
    bool write_has_pec = false;  // the last byte of `write` is the packet error code
};

struct PciFunction {
    unsigned bus = 0;
    unsigned device = 0;    // 0 to 31
    unsigned function = 0;  // 0 to 7
};

// A raw request to the board management controller.
struct IpmiRequest {
    uint8_t net_fn = 0;
    uint8_t command = 0;
    std::span<const uint8_t> data;
};

// What the controller answers. A completion code other than 0 means that it refused; `data` holds
// nothing then.
struct IpmiResponse {
    static constexpr size_t kMaxData = 255;

    uint8_t completion_code = 0;
    size_t size = 0;
    std::array<uint8_t, kMaxData> data;
};

// Completion codes that a board gives.
inline constexpr uint8_t kIpmiInvalidCommand = 0xC1;
inline constexpr uint8_t kIpmiRequestLengthInvalid = 0xC7;
inline constexpr uint8_t kIpmiCannotReturnThatMuch = 0xCA;
inline constexpr uint8_t kIpmiInvalidField = 0xCC;
inline constexpr uint8_t kIpmiDestinationUnavailable = 0xD3;

// A back end overrides the operations that it has; any other answers kNotSupported. So a new bus
// kind changes the back ends that know it and no other.
class Board {
  public:
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;
    virtual ~Board() = default;

    virtual Status i2c_transfer(const I2cTransfer & /*transfer*/) { return Status::kNotSupported; }

    // LPC, PCI configuration space and memory: the bytes of `data` stand at ascending addresses.
    // `item_bytes` is the width of each access on the bus, 1, 2, 4 or 8; the address and the size
    // of `data` are multiples of it.
    virtual Status lpc_read(uint32_t /*address*/, unsigned /*item_bytes*/,
                            std::span<uint8_t> /*data*/) {
        return Status::kNotSupported;
    }
    virtual Status lpc_write(uint32_t /*address*/, unsigned /*item_bytes*/,
                             std::span<const uint8_t> /*data*/) {
        return Status::kNotSupported;
    }

    virtual Status pci_read(const PciFunction & /*function*/, uint32_t /*offset*/,
                            unsigned /*item_bytes*/, std::span<uint8_t> /*data*/) {
        return Status::kNotSupported;
    }
    virtual Status pci_write(const PciFunction & /*function*/, uint32_t /*offset*/,
                             unsigned /*item_bytes*/, std::span<const uint8_t> /*data*/) {
        return Status::kNotSupported;
    }

    virtual Status memory_read(uint64_t /*address*/, unsigned /*item_bytes*/,
                               std::span<uint8_t> /*data*/) {
        return Status::kNotSupported;
    }
    virtual Status memory_write(uint64_t /*address*/, unsigned /*item_bytes*/,
                                std::span<const uint8_t> /*data*/) {
        return Status::kNotSupported;
    }

    virtual Status gpio_read(unsigned /*chip*/, unsigned /*line*/, bool * /*is_high*/) {
        return Status::kNotSupported;
    }
    virtual Status gpio_write(unsigned /*chip*/, unsigned /*line*/, bool /*is_high*/) {
        return Status::kNotSupported;
    }

    // kOk whenever the controller answered, whatever its completion code.
    virtual Status ipmi_raw(const IpmiRequest & /*request*/, IpmiResponse * /*response*/) {
        return Status::kNotSupported;
    }

    virtual Status nvram_read(std::span<uint8_t, kNvramSize> /*block*/) {
        return Status::kNotSupported;
    }

  protected:
    Board() = default;
};

}  // namespace diag::board

#endif
