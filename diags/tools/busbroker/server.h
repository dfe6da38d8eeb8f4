// SPDX-License-Identifier: MIT
// The daemon's loop: socket, signals and deadlines, and nothing to do between them.
#ifndef DIAGS_TOOLS_BUSBROKER_SERVER_H
#define DIAGS_TOOLS_BUSBROKER_SERVER_H

#include <functional>

#include "diags/tools/busbroker/service.h"
#include "diags/tools/busbroker/socket.h"

namespace diag::daemon {

// SIGHUP would end a process that does not wait for it yet: one that comes during the start is kept
// for the SignalSource.
void hold_back_reloads();

// SIGTERM, SIGINT and SIGHUP, taken out of the ordinary course of signals. They stay so: one more
// of them must not end a daemon that is about to leave with a status of its own.
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
    uint32_t bound_;
    int epoll_;
    bool has_ended_ = false;
};

}  // namespace diag::daemon

#endif
