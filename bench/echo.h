// SPDX-License-Identifier: MIT
#ifndef BENCH_ECHO_H
#define BENCH_ECHO_H

#include <netinet/in.h>

namespace diag::bench {

// The reference for requests to the broker: UDP datagrams of a request's length that a thread of
// this process sends back, both sides blocking in poll and recv.
class EchoClient {
  public:
    explicit EchoClient(const sockaddr_in &server);
    EchoClient(const EchoClient &) = delete;
    EchoClient &operator=(const EchoClient &) = delete;
    ~EchoClient();

    void exchange();

  private:
    int fd_;
    sockaddr_in server_;
};

// Starts the thread, which lives as long as the process, and says where it listens.
sockaddr_in start_echo_server();

}  // namespace diag::bench

#endif
