// SPDX-License-Identifier: MIT
// I2C devices behind the board management controller.
#ifndef DIAGS_TOOLS_BUSBROKER_CONTROLLER_H
#define DIAGS_TOOLS_BUSBROKER_CONTROLLER_H

#include <cstdint>
#include <span>

#include "diags/board/board.h"

namespace diag::daemon {

inline constexpr uint32_t kMaxControllerBus = 0xFF;  // a request has one byte for it
// A request has one byte for its number of data bytes, of which bus, address and count take three.
inline constexpr size_t kMaxControllerWrite = 252;
inline constexpr size_t kMaxControllerRead = board::IpmiResponse::kMaxData;

// Writes `write` and then reads `read`, either of which may be empty, within the limits above.
board::Status transfer_behind_controller(board::Board &board, uint32_t bus, uint8_t address,
                                         std::span<const uint8_t> write, std::span<uint8_t> read);

// One byte into a register, by the request that does nothing else.
board::Status write_controller_register(board::Board &board, uint32_t bus, uint8_t address,
                                        uint8_t number, uint8_t value);

}  // namespace diag::daemon

#endif
