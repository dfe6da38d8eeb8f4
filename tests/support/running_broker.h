// SPDX-License-Identifier: MIT
// The bus broker as it is installed, for the time of a test, on a port of its own.
#ifndef TESTS_SUPPORT_RUNNING_BROKER_H
#define TESTS_SUPPORT_RUNNING_BROKER_H

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace diag::test {

class RunningBroker {
  public:
    // `arguments` stand behind --foreground and the port; `environment` has NAME=VALUE settings.
    explicit RunningBroker(const std::vector<std::string> &arguments,
                           const std::vector<std::string> &environment = {});
    ~RunningBroker();
    RunningBroker(const RunningBroker &) = delete;
    RunningBroker &operator=(const RunningBroker &) = delete;

    uint16_t port() const { return port_; }
    std::string setting() const;  // DIAG_BROKER=...
    pid_t process() const { return process_; }

    // Ends it by a signal and answers its wait status.
    int end(int signal);

  private:
    void become(const std::vector<std::string> &arguments,
                const std::vector<std::string> &environment);
    void await_port();

    int said_[2] = {-1, -1};  // a pipe with what it prints
    pid_t process_ = -1;
    uint16_t port_ = 0;
};

}  // namespace diag::test

#endif
