// SPDX-License-Identifier: MIT
// The way to one register through the bus broker: the device that a request names, and how its
// numbers and bytes are meant. Muxes, bus and address are the broker's business.
#ifndef DIAGS_DIAGCTL_BROKER_ROUTE_H
#define DIAGS_DIAGCTL_BROKER_ROUTE_H

#include <cstdint>
#include <string>
#include <vector>

#include "diags/broker/client.h"
#include "diags/diagctl/decode.h"
#include "diags/diagctl/description.h"

namespace diag::diagctl {

// Bytes of a register that one request carries.
struct RegisterPiece {
    std::size_t begin;
    std::size_t size;
    broker::Access access;
};

class BrokerRoute {
  public:
    // Throws as make_route() does, and with status 3 for a chip that a request cannot name and
    // for a register that no request can carry.
    BrokerRoute(const Chip &chip, const reg_def &reg);

    const std::string &device() const { return device_; }
    std::size_t count() const { return count_; }  // bytes
    ByteOrder order() const { return order_; }

    // The requests of an access, in one transaction when they are several.
    std::vector<RegisterPiece> pieces(std::size_t most) const;
    // The one request of an access to a register of one unit.
    broker::Access access(broker::Indication indication) const;

    // "1 byte of register 0x10 of SYSCPLD (request type 2, width 8, indication 5)"
    std::string text(broker::RequestType type, broker::Indication indication) const;

  private:
    std::string device_;
    std::uint32_t offset_;
    unsigned offset_bits_;
    unsigned width_;  // bits of an item
    std::size_t count_;
    ByteOrder order_;
};

}  // namespace diag::diagctl

#endif
