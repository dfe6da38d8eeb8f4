// SPDX-License-Identifier: MIT
// What a client of the bus broker keeps open: the library's client context with its socket, its
// two threads and the timer that they are driven by, and what the daemon has said.
#ifndef DIAGS_BROKER_CLIENT_SESSION_H
#define DIAGS_BROKER_CLIENT_SESSION_H

#include <csignal>
#include <cstddef>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "busbroker.h"

#include "diags/broker/protocol.h"

namespace diag::broker {

// What has come for the request under way. The library tells done from not done, and keeps the
// rest to itself: the text of a refusal, and how many bytes there were.
struct Heard {
    bool acknowledged = false;
    std::optional<std::string> status;  // the last word
    size_t bytes = 0;                   // behind a "Success" of a read
    bool has_bytes = false;             // and the library has handed them over

    bool anything() const { return acknowledged || status.has_value(); }
};

// Where a client's frames leave, and where to.
struct ClientPost {
    int socket = -1;
    sockaddr_in daemon{};
};

// The library's context is the session's base: its callback is given the one and needs the other.
class ClientSession : public tool_info {
  public:
    // Ends the threads and the timer, and forgets the session. The memory stays: the timer's list
    // of calls has no way to take one off, and a late tick may still be on its way.
    struct Closer {
        void operator()(ClientSession *session) const { session->close(); }
    };

    // Throws std::runtime_error.
    static std::unique_ptr<ClientSession, Closer> open(const Address &daemon, uint8_t tool,
                                                       uint32_t instance);

    // To be called before a request of this number and type is sent.
    void listen_for(uint32_t number, uint32_t type);
    Heard heard() const;

    ClientPost post() const { return {sock_fd, daemon_}; }

  private:
    ClientSession(uint8_t tool, uint32_t instance);
    ~ClientSession() = default;
    void start_threads(const Address &daemon);
    void stop_threads();
    bool start_timer();
    void close();
    bool note(const busbroker_req &record);  // false when it is not for the request under way
    bool is_daemon(const sockaddr_in &sender) const;
    void take_datagram(uint32_t size);
    static void *receive(void *context);
    static uint32_t take_answer(tool_info *context, void *argument, busbroker_req *record);

    sockaddr_in daemon_{};
    timer_t timer_{};
    sigset_t saved_signals_{};
    mutable std::mutex lock_;  // guards what follows
    uint32_t awaited_number_ = 0;
    uint32_t awaited_type_ = 0;
    Heard heard_;
};

}  // namespace diag::broker

#endif
