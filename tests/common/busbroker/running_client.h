// SPDX-License-Identifier: MIT
// A client whose threads run, connected to a bus broker that does what a test tells it.
#ifndef TESTS_COMMON_BUSBROKER_RUNNING_CLIENT_H
#define TESTS_COMMON_BUSBROKER_RUNNING_CLIENT_H

#include <memory>
#include <string>
#include <vector>

#include "busbroker.h"

#include "tests/support/broker_double.h"

namespace diag::test {

// No resend comes while a test runs.
inline constexpr uint32_t kNoResend = 1'000'000;

// A client without threads, whose queues are freed with it.
class Client {
  public:
    Client();
    virtual ~Client();
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    tool_info *get() { return client_.get(); }
    tool_info *operator->() { return client_.get(); }

    void drop_queues();

  private:
    std::unique_ptr<tool_info> client_;
};

class RunningClient : public Client {
  public:
    explicit RunningClient(const BrokerDouble &broker);
    ~RunningClient() override;
};

// A script of a broker: the first request is answered with the first status, and so on; the last
// one holds for all that follow. An empty status is no answer.
BrokerDouble::Script answering(std::vector<std::string> statuses);

// Waits until the broker has seen so many requests; false when they do not come within 10 s.
bool sees(const BrokerDouble &broker, size_t requests);

}  // namespace diag::test

#endif
