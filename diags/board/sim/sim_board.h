// SPDX-License-Identifier: MIT
// The simulated back end: which devices of a running state hear a transfer.
#ifndef DIAGS_BOARD_SIM_SIM_BOARD_H
#define DIAGS_BOARD_SIM_SIM_BOARD_H

#include "diags/board/board.h"
#include "diags/board/sim/state.h"

namespace diag::board::sim {

class SimBoard final : public Board {
  public:
    // To be called once, before anything else.
    Status open(const char *path) { return state_.open(path); }

    Status i2c_transfer(const I2cTransfer &transfer) override;
    Status nvram_read(std::span<uint8_t, kNvramSize> block) override;

  private:
    struct Listeners {
        std::span<Device> candidates;  // the devices at the address; those that answer are selected
        uint32_t count = 0;
        uint32_t delay_ms = 0;
    };

    Status run(const I2cTransfer &transfer, uint32_t *delay_ms);
    Status select(const I2cTransfer &transfer, Listeners *listeners);
    Status is_reachable(const Device &device, bool *reachable);
    Status is_satisfied(const Condition &condition, bool *satisfied);

    State state_;
};

}  // namespace diag::board::sim

#endif
