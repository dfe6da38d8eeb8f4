// SPDX-License-Identifier: MIT
// The daemon's socket.
#ifndef DIAGS_TOOLS_BUSBROKER_SOCKET_H
#define DIAGS_TOOLS_BUSBROKER_SOCKET_H

#include <array>
#include <optional>
#include <span>
#include <string>

#include "diags/broker/protocol.h"
#include "diags/tools/busbroker/clients.h"

namespace diag::daemon {

struct Datagram {
    Endpoint from;
    std::span<const uint8_t> bytes;  // until the next one is received; one more than a frame has
                                     // stand for any longer datagram
};

class Socket {
  public:
    // Bound to the address; port 0 picks a free one. Throws StartError.
    explicit Socket(const broker::Address &address);
    ~Socket();
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;

    int descriptor() const { return descriptor_; }
    // Where it is really bound.
    const broker::Address &address() const { return address_; }

    // Neither of them waits. An answer that cannot leave is lost: its client will ask again.
    std::optional<Datagram> receive();
    void send(const Endpoint &to, const std::string &frame) const;

  private:
    int descriptor_;
    broker::Address address_;
    std::array<uint8_t, broker::kMaxDatagram + 1> buffer_;
};

bool is_loopback(uint32_t address);
// Whether a datagram comes from this machine: it carries a loopback address, or the one address
// that the socket is bound to.
bool is_this_machine(uint32_t source, uint32_t bound);
// In host order; of a text that is_ipv4().
uint32_t ipv4_number(const std::string &text);

}  // namespace diag::daemon

#endif
