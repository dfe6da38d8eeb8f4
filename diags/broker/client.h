// SPDX-License-Identifier: MIT
// A client of the bus broker, over the library's calls. A request has one of three ends: it was
// done, the daemon refused it and says why, or nobody answers.
#ifndef DIAGS_BROKER_CLIENT_H
#define DIAGS_BROKER_CLIENT_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "busbroker.h"

#include "diags/broker/client_session.h"
#include "diags/broker/protocol.h"

namespace diag::broker {

struct ClientSettings {
    Address address;
    uint8_t tool = kToolDiagctl;
    uint32_t retry_ms = 200;  // between the three sends of a request
    // How long to go on with a request that the daemon has taken on. Longer than a daemon with its
    // own default lets one wait, so that the last word is the daemon's; where it is told to let
    // requests wait for longer, the client gives up first, with the same outcome.
    uint32_t patience_ms = 15'000;
};

struct Access {
    uint32_t address = 0;
    uint8_t width = 8;              // bits of an item
    Indication indication = kLast;  // by itself a single access
    uint8_t options = 0;            // AccessOption bits
};

struct Result {
    enum class Kind : uint8_t { kDone, kRefused, kNoAnswer };

    Kind kind = Kind::kDone;
    std::string refusal;  // the daemon's text

    bool is_done() const { return kind == Kind::kDone; }
    bool is_refused() const { return kind == Kind::kRefused; }
    bool is_refused(Outcome outcome) const {
        return is_refused() && refusal == outcome_text(outcome);
    }
};

// A device to be reserved by its place on a bus instead of its id.
struct BusPlace {
    BusSelector bus = kSelectI2c;
    uint8_t number = 0;
    uint8_t device = 0;
};

// One thread uses it. It has two threads of its own and the process's timer: SIGALRM is theirs as
// long as it lives.
class Client {
  public:
    // Throws std::runtime_error when there is no socket, thread or timer to be had. The daemon is
    // not asked for anything yet.
    explicit Client(const ClientSettings &settings);
    ~Client();
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    const Address &address() const { return settings_.address; }
    uint32_t instance() const { return request_.inst_id; }

    // All bytes or none. At most kMaxReadBytes and kMaxWriteBytes.
    Result read(const std::string &device, const Access &access, std::span<uint8_t> bytes);
    Result write(const std::string &device, const Access &access, std::span<const uint8_t> bytes);

    Result ping();
    Result give_up();  // the daemon drops what waits and what is held for this client

    // For 1 to 99 seconds; 0 gives the device back. More cannot be said in a request.
    Result reserve(const std::string &device, unsigned seconds);
    Result reserve(const BusPlace &place, unsigned seconds);

    // The daemon's account of itself, a line of JSON; cut short, without the end of the line, when
    // too many others read it as well.
    Result read_status(std::string *document);
    // Why the latest request that was refused was refused; empty when none was.
    Result read_last_refusal(std::string *text);

    // For farewell.h.
    ClientPost post() const { return session_->post(); }
    std::string give_up_frame();

  private:
    void prepare(RequestType type, const Access &access, size_t count);
    Result transact(const std::string &device, RequestType type, Indication indication);
    Heard send(busbroker_req *request, uint32_t number, const std::string &device, RequestType type,
               Indication indication);
    Result read_status_once(std::string *document);
    bool daemon_answers();
    Result abandon(RequestType type);

    ClientSettings settings_;
    std::unique_ptr<ClientSession, ClientSession::Closer> session_;
    busbroker_req request_{};
    uint32_t next_number_;
    std::vector<uint8_t> answer_;  // room for more than any answer can bring
    size_t delivered_ = 0;         // bytes of it that count
    std::vector<uint8_t> output_;
    uint8_t options_ = 0;
};

}  // namespace diag::broker

#endif
