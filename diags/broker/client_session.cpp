// SPDX-License-Identifier: MIT
#include "diags/broker/client_session.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

#include "diag_util.h"
#include "timer_epoll.h"

namespace diag::broker {
namespace {

// Tokens in front of the status of an answer, which echo the request.
constexpr size_t kReadEchoes = 4;
constexpr size_t kWriteEchoes = 3;

size_t echoes_of(uint32_t type) {
    switch (type) {
        case kReadRequest:
            return kReadEchoes;
        case kWriteRequest:
            return kWriteEchoes;
        default:
            return 0;
    }
}

std::string_view take_token(std::string_view *text) {
    const std::string_view token = text->substr(0, text->find(','));
    text->remove_prefix(std::min(token.size() + 1, text->size()));
    return token;
}

// The bytes that an answer really brings: as many as it announces, and two digits for each.
size_t bytes_behind_success(std::string_view rest) {
    const std::string_view count_text = take_token(&rest);
    size_t count = 0;
    std::from_chars(count_text.data(), count_text.data() + count_text.size(), count, 16);
    return take_token(&rest).size() == 2 * count ? count : 0;
}

// The signals of the program are for its own threads, the timer's for those of the session.
class SessionSignals {
  public:
    SessionSignals() {
        sigset_t all_but_timer;
        sigfillset(&all_but_timer);
        sigdelset(&all_but_timer, SIGALRM);
        pthread_sigmask(SIG_SETMASK, &all_but_timer, &saved_);
    }
    ~SessionSignals() { pthread_sigmask(SIG_SETMASK, &saved_, nullptr); }
    SessionSignals(const SessionSignals &) = delete;
    SessionSignals &operator=(const SessionSignals &) = delete;

  private:
    sigset_t saved_{};
};

bool is_loopback(const std::string &host) {
    return host.starts_with("127.");
}

}  // namespace

ClientSession::ClientSession(uint8_t tool, uint32_t instance) : tool_info{} {
    tool_id = tool;
    inst_id = instance;
    rx_stateinfo = &busbroker_rx_stateinfo;
    rx_sm = busbroker_rx_state_machine;
    req_done = take_answer;
    pthread_mutex_init(&tx_lock, nullptr);
    pthread_mutex_init(&rx_lock, nullptr);
}

std::unique_ptr<ClientSession, ClientSession::Closer> ClientSession::open(const Address &daemon,
                                                                          uint8_t tool,
                                                                          uint32_t instance) {
    auto *const session = new ClientSession(tool, instance);
    session->start_threads(daemon);
    if (!session->start_timer()) {
        session->stop_threads();
        throw std::runtime_error("a timer for the bus broker cannot be made");
    }
    return std::unique_ptr<ClientSession, Closer>(session);
}

// The socket is bound to a port of its own and not connected: on a connected one the first datagram
// to a daemon that is away comes back as an error.
void ClientSession::start_threads(const Address &daemon) {
    daemon_.sin_family = AF_INET;
    daemon_.sin_port = htons(daemon.port);
    inet_pton(AF_INET, daemon.host.c_str(), &daemon_.sin_addr);
    sock_cfg.is_udp = 1;
    sock_cfg.is_ipv4 = 1;
    std::snprintf(sock_cfg.ip, sizeof sock_cfg.ip, "%s",
                  is_loopback(daemon.host) ? "127.0.0.1" : "0.0.0.0");
    const SessionSignals signals;
    if (create_sock_threads(nullptr, nullptr, static_cast<tool_info *>(this), sock_tx_thread,
                            receive, 0) != 0) {
        throw std::runtime_error("a socket for the bus broker cannot be made");
    }
    pthread_mutex_lock(&tx_lock);
    sock_cfg.addr = daemon_;
    pthread_mutex_unlock(&tx_lock);
}

// Starting it leaves no signal blocked. The ticks are for the session's threads: here they would
// only interrupt what the program does.
bool ClientSession::start_timer() {
    pthread_sigmask(SIG_SETMASK, nullptr, &saved_signals_);
    const uint32_t status = init_timer(DIAG_TIMER_TICK, &timer_, DIAG_TIMER_100_MS);
    sigset_t signals = saved_signals_;
    if (status == 0) {
        sigaddset(&signals, SIGALRM);
    }
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
    return status == 0;
}

void ClientSession::stop_threads() {
    pthread_cancel(tx_thread);
    timeout_update(this);  // wakes it
    pthread_cancel(rx_thread);
    pthread_join(tx_thread, nullptr);
    pthread_join(rx_thread, nullptr);
    ::close(sock_fd);
    reset_sm(this, nullptr);
}

void ClientSession::close() {
    timer_delete(timer_);
    stop_threads();
    pthread_sigmask(SIG_SETMASK, &saved_signals_, nullptr);
}

// In place of the library's own thread, which takes datagrams from everybody, and ends the process
// on an empty one. It can be cancelled while it waits, and only then.
void *ClientSession::receive(void *context) {
    auto *const session = static_cast<ClientSession *>(static_cast<tool_info *>(context));
    for (;;) {
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
        sockaddr_in sender{};
        socklen_t size = sizeof sender;
        const ssize_t received = recvfrom(session->sock_fd, session->rx_buf, kMaxDatagram, 0,
                                          reinterpret_cast<sockaddr *>(&sender), &size);
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        if (received > 0 && session->is_daemon(sender)) {
            session->take_datagram(static_cast<uint32_t>(received));
        }
    }
}

// A datagram is a whole frame. What is left of a damaged one must not swallow the next.
void ClientSession::take_datagram(uint32_t size) {
    rx_len = size;
    rx_buf[size] = '\0';
    rx_idx = 0;
    field_pos = 0;
    field_cnt = 0;
    reset_sm(this, nullptr);
    rx_sm(this, nullptr);
}

bool ClientSession::is_daemon(const sockaddr_in &sender) const {
    return sender.sin_port == daemon_.sin_port && sender.sin_addr.s_addr == daemon_.sin_addr.s_addr;
}

void ClientSession::listen_for(uint32_t number, uint32_t type) {
    const std::lock_guard guard(lock_);
    awaited_number_ = number;
    awaited_type_ = type;
    heard_ = {};
}

Heard ClientSession::heard() const {
    const std::lock_guard guard(lock_);
    return heard_;
}

// Looked at and booked under one lock: in between, the next request might come under way.
bool ClientSession::note(const busbroker_req &record) {
    const std::lock_guard guard(lock_);
    if (record.tool_id != tool_id || record.inst_id != inst_id ||
        record.transac_id != awaited_number_ || record.req_type != awaited_type_) {
        return false;
    }
    std::string_view rest = record.actual_data != nullptr ? record.actual_data : "";
    for (size_t i = echoes_of(record.req_type); i > 0; --i) {
        take_token(&rest);
    }
    const std::string_view status = take_token(&rest);
    if (status == outcome_text(Outcome::kAcknowledged)) {
        heard_.acknowledged = true;
        return true;
    }
    heard_.status = status;
    heard_.bytes = bytes_behind_success(rest);
    return true;
}

// On the receive thread, for each valid frame. What is not for the request under way is late, or
// somebody else's, and goes no further.
uint32_t ClientSession::take_answer(tool_info *context, void *argument, busbroker_req *record) {
    auto *const session = static_cast<ClientSession *>(context);
    try {
        if (!session->note(*record)) {
            return DIAG_E_INVAL;
        }
    } catch (const std::exception &) {
        return DIAG_E_NOMEM;  // the answer is lost, and asked for again
    }
    return busbroker_parse_update_queues(context, argument, record);
}

}  // namespace diag::broker
