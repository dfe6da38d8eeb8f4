// SPDX-License-Identifier: MIT
// Access to a board's buses, as it is seen on the wire. Widths, byte orders and masks are the
// business of what stands above (i2c_register.h).
#ifndef DIAGS_BOARD_BOARD_H
#define DIAGS_BOARD_BOARD_H

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

// A back end overrides the operations that it has; any other answers kNotSupported. So a new bus
// kind changes the back ends that know it and no other.
class Board {
  public:
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;
    virtual ~Board() = default;

    virtual Status i2c_transfer(const I2cTransfer & /*transfer*/) { return Status::kNotSupported; }

    virtual Status nvram_read(std::span<uint8_t, kNvramSize> /*block*/) {
        return Status::kNotSupported;
    }

  protected:
    Board() = default;
};

}  // namespace diag::board

#endif
