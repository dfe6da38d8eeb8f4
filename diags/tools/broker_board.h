// SPDX-License-Identifier: MIT
// A board whose operations are requests to the bus broker: what the tools do with any other board,
// at places that need no description.
#ifndef DIAGS_TOOLS_BROKER_BOARD_H
#define DIAGS_TOOLS_BROKER_BOARD_H

#include <cstdint>
#include <span>
#include <string>

#include "diags/board/board.h"
#include "diags/broker/client.h"
#include "diags/tools/tool_board.h"

namespace diag::tools {

// An access that is too large for one request is several on the buses of bytes, and others may come
// between them: a transaction holds the bytes that it touches, and the pieces touch different ones.
// On I2C it would be another access.
class BrokerBoard : public board::Board {
  public:
    explicit BrokerBoard(broker::Client &client) : client_(client) {}

    // What is to be said of the latest operation, if it failed.
    const AccessFailure &failure() const { return failure_; }

    board::Status i2c_transfer(const board::I2cTransfer &transfer) override;

    board::Status lpc_read(uint32_t address, unsigned item_bytes, std::span<uint8_t> data) override;
    board::Status lpc_write(uint32_t address, unsigned item_bytes,
                            std::span<const uint8_t> data) override;

    board::Status pci_read(const board::PciFunction &function, uint32_t offset, unsigned item_bytes,
                           std::span<uint8_t> data) override;
    board::Status pci_write(const board::PciFunction &function, uint32_t offset,
                            unsigned item_bytes, std::span<const uint8_t> data) override;

    board::Status memory_read(uint64_t address, unsigned item_bytes,
                              std::span<uint8_t> data) override;
    board::Status memory_write(uint64_t address, unsigned item_bytes,
                               std::span<const uint8_t> data) override;

    board::Status gpio_read(unsigned chip, unsigned line, bool *is_high) override;
    board::Status gpio_write(unsigned chip, unsigned line, bool is_high) override;

  private:
    struct Place;

    board::Status read(const Place &place, std::span<uint8_t> data);
    board::Status write(const Place &place, std::span<const uint8_t> data);
    template <class Byte, class Request>
    board::Status in_pieces(const Place &place, std::span<Byte> data, size_t most, Request request);
    board::Status outcome(const broker::Result &result);
    board::Status fail(ExitStatus exit_status, std::string text, bool is_about_place = true);

    broker::Client &client_;
    AccessFailure failure_;
    std::string text_;  // of failure_
};

}  // namespace diag::tools

#endif
