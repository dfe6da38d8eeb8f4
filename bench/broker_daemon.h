// SPDX-License-Identifier: MIT
#ifndef BENCH_BROKER_DAEMON_H
#define BENCH_BROKER_DAEMON_H

#include <cstdint>
#include <string>
#include <sys/types.h>

namespace diag::bench {

// A bus broker on the simulated example board, on a port of its own; it ends with this object.
class BrokerDaemon {
  public:
    // Throws std::runtime_error when it does not come up.
    BrokerDaemon();
    BrokerDaemon(const BrokerDaemon &) = delete;
    BrokerDaemon &operator=(const BrokerDaemon &) = delete;
    ~BrokerDaemon();

    uint16_t port() const { return port_; }

    // Processor time that it has used so far, in seconds.
    double processor_seconds() const;

  private:
    void start();
    void read_port(int output);
    void stop();

    std::string folder_;
    pid_t pid_ = -1;
    uint16_t port_ = 0;
};

}  // namespace diag::bench

#endif
