// SPDX-License-Identifier: MIT
// The daemon without its socket: datagrams come in, answers go into the outbox.
#ifndef DIAGS_TOOLS_BUSBROKER_SERVICE_H
#define DIAGS_TOOLS_BUSBROKER_SERVICE_H

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "diags/board/board.h"
#include "diags/tools/busbroker/clients.h"
#include "diags/tools/busbroker/counts.h"
#include "diags/tools/busbroker/directory.h"
#include "diags/tools/busbroker/execution.h"
#include "diags/tools/busbroker/faults.h"
#include "diags/tools/busbroker/outbox.h"
#include "diags/tools/busbroker/request_text.h"
#include "diags/tools/busbroker/scheduler.h"
#include "diags/tools/busbroker/snapshots.h"
#include "diags/tools/busbroker/trace.h"

namespace diag::daemon {

// What the status document tells about the daemon itself.
struct Identity {
    std::string description;
    std::string board;
};

// What a service works on. A reload replaces it.
struct Ground {
    Identity identity;
    std::shared_ptr<const Directory> directory;
    std::shared_ptr<board::Board> board;
    BrokerFaults faults;
};

// A request that waits for its turn.
struct WaitingRequest {
    RequestHead head;
    uint32_t client = 0;
    std::optional<Access> access;  // empty for a reservation
    DevicePointer device;          // of the access
    TimePoint arrival;
    bool is_acknowledged = false;
};

class Service {
  public:
    struct Setup {
        Ground ground;
        Scheduler::Times times;
        std::function<TimePoint()> now;
        Outbox::Send send;
        Trace *trace = nullptr;
    };

    explicit Service(Setup setup);
    Service(const Service &) = delete;
    Service &operator=(const Service &) = delete;

    // Answers what can be answered at once and queues the rest. `datagram` may be longer than any
    // request.
    void receive(const Endpoint &from, std::span<const uint8_t> datagram);
    void drop(Problem problem);  // a datagram that is not to be looked at

    // Serves those whose turn it is. True when there may be more: a device was so slow that new
    // requests should be looked at first.
    bool perform();

    // When perform() or flush() is due without a new datagram.
    std::optional<TimePoint> deadline() const;
    void flush() { outbox_.flush(now_()); }

    // Clients, holds and waiting requests stay.
    void replace_ground(Ground ground);
    // Answers everybody who waits.
    void shut_down();

    const Counts &counts() const { return counts_; }
    size_t snapshots() const { return snapshots_.count(); }

  private:
    struct Exchange {
        Client &client;
        const Request &request;
        TimePoint arrival;
    };
    struct Answer {
        broker::Outcome outcome;
        const Access *access = nullptr;
        std::span<const uint8_t> bytes = {};  // that a read brought
        std::string_view id = {};             // that a dynamic id request brought
        Duration waited = {};
        Duration served = {};
        bool is_remembered = true;
    };

    void handle(const Endpoint &from, std::span<const uint8_t> datagram);
    void dispatch(const Exchange &exchange);
    bool answer_repeated(const Exchange &exchange);

    void handle_query(const Exchange &exchange);
    void handle_give_up(const Exchange &exchange);
    void handle_access(const Exchange &exchange);
    void handle_ping(const Exchange &exchange);
    void handle_dynamic_id(const Exchange &exchange);
    void handle_reservation(const Exchange &exchange);
    void handle_own_read(const Exchange &exchange, const Access &access);
    std::span<const uint8_t> own_bytes(Client &client, const Access &access, TimePoint now);
    Job job_of(const Exchange &exchange, const Device &device, const Access &access) const;
    void fail_unqueued(const Exchange &exchange, const Device *device, const Access &access);

    void enqueue(const Exchange &exchange, Job job, WaitingRequest request);
    void run(const Decision &decision, TimePoint now);
    broker::Outcome make_access(WaitingRequest &request);
    WaitingRequest take_item(uint32_t item);
    uint32_t store_item(WaitingRequest request);
    void acknowledge(WaitingRequest &request);
    void acknowledge_waiting();

    void answer(Client &client, const RequestHead &head, const Answer &answer);
    void answer_again(Client &client, const RequestHead &head, const AnswerMemory::Entry &known);
    void send_acknowledgement(const WaitingRequest &request);
    void write_text(const RequestHead &head, const Answer &answer);
    void trace(const Client &client, const RequestHead &head, const Answer &answer,
               bool is_repeated);
    std::string status_document(TimePoint now);

    Ground ground_;
    std::function<TimePoint()> now_;
    Trace *trace_;
    TimePoint started_;
    Faults faults_;
    Outbox outbox_;
    Scheduler scheduler_;
    Scheduler::Times times_;
    ClientTable clients_;
    Snapshots snapshots_;
    Counts counts_;
    std::vector<std::optional<WaitingRequest>> items_;
    std::vector<uint32_t> free_items_;
    size_t unacknowledged_ = 0;
    ReadBuffer read_buffer_;
    std::string text_;       // of the answer that is being made
    std::string frame_;      // likewise
    std::string corrupted_;  // a datagram that a fault has changed
};

}  // namespace diag::daemon

#endif
