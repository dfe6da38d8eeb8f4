// SPDX-License-Identifier: MIT
// The daemon's loop: socket, signals and deadlines, and nothing to do between them.
#ifndef DIAGS_TOOLS_BUSBROKER_SERVER_H
#define DIAGS_TOOLS_BUSBROKER_SERVER_H

#include <functional>

#include "diags/tools/busbroker/service.h"
#include "diags/tools/busbroker/socket.h"

namespace diag::daemon {

// SIGTERM, SIGINT and SIGHUP, taken out of the ordinary course of signals for as long as it lives.
class SignalSource {
  public:
    SignalSource();  // throws StartError
    ~SignalSource();
    SignalSource(const SignalSource &) = delete;
    SignalSource &operator=(const SignalSource &) = delete;

    int descriptor() const { return descriptor_; }
    // The number of a signal that has come, 0 when there is none.
    int take() const;

  private:
    int descriptor_ = -1;
};

class Server {
  public:
    struct Setup {
        Socket &socket;
        const SignalSource &signals;
        Service &service;
        bool serves_everybody = false;  // else only this machine
        std::function<void()> reload;
    };

    explicit Server(Setup setup);  // throws StartError
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    // Until a signal ends it.
    void run();

  private:
    bool drain();
    void wait(bool has_more);
    int timeout_ms() const;

    Setup setup_;
    int epoll_;
    bool has_ended_ = false;
};

}  // namespace diag::daemon

#endif
