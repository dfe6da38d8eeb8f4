// SPDX-License-Identifier: MIT
#ifndef BENCH_BROKER_CLIENT_H
#define BENCH_BROKER_CLIENT_H

#include <cstdint>

#include "busbroker.h"

namespace diag::bench {

// A client of a bus broker on the loopback, over the library's public calls. Lives as long as the
// process: so do its threads.
class BrokerClient {
  public:
    // Throws std::runtime_error without a socket or threads.
    BrokerClient(uint16_t port, uint32_t instance);

    // Reads one byte. Throws when the daemon does not give it.
    uint8_t read(const char *device, uint32_t address);

  private:
    tool_info context_{};
    busbroker_req request_{};
};

}  // namespace diag::bench

#endif
