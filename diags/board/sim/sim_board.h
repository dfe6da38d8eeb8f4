// SPDX-License-Identifier: MIT
// The simulated back end: accesses to a running state, each under its lock.
#ifndef DIAGS_BOARD_SIM_SIM_BOARD_H
#define DIAGS_BOARD_SIM_SIM_BOARD_H

#include "diags/board/board.h"
#include "diags/board/sim/byte_bus.h"
#include "diags/board/sim/state.h"

namespace diag::board::sim {

class SimBoard final : public Board {
  public:
    // To be called once, before anything else.
    Status open(const char *path) { return state_.open(path); }

    Status i2c_transfer(const I2cTransfer &transfer) override;
    Status lpc_read(uint32_t address, unsigned item_bytes, std::span<uint8_t> data) override;
    Status lpc_write(uint32_t address, unsigned item_bytes, std::span<const uint8_t> data) override;
    Status pci_read(const PciFunction &function, uint32_t offset, unsigned item_bytes,
                    std::span<uint8_t> data) override;
    Status pci_write(const PciFunction &function, uint32_t offset, unsigned item_bytes,
                     std::span<const uint8_t> data) override;
    Status memory_read(uint64_t address, unsigned item_bytes, std::span<uint8_t> data) override;
    Status memory_write(uint64_t address, unsigned item_bytes,
                        std::span<const uint8_t> data) override;
    Status gpio_read(unsigned chip, unsigned line, bool *is_high) override;
    Status gpio_write(unsigned chip, unsigned line, bool is_high) override;
    Status ipmi_raw(const IpmiRequest &request, IpmiResponse *response) override;
    Status nvram_read(std::span<uint8_t, kNvramSize> block) override;

  private:
    // Calls `work(delay_ms)` under the lock and waits for as long as it says.
    template <typename Work>
    Status access(Work work);

    Status read(const BytePlace &place, std::span<uint8_t> data);
    Status write(const BytePlace &place, std::span<const uint8_t> data);

    State state_;
};

}  // namespace diag::board::sim

#endif
