// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/service.h"

#include <algorithm>
#include <utility>

#include "diags/tools/busbroker/reservation.h"
#include "diags/tools/busbroker/status_document.h"

namespace diag::daemon {
namespace {

using broker::Outcome;

// After an access that took longer, new requests are looked at before the next one is served.
constexpr std::chrono::milliseconds kSlowAccess{2};

JobKind job_kind(uint8_t indication) {
    switch (indication) {
        case broker::kFirst:
            return JobKind::kFirst;
        case broker::kNext:
            return JobKind::kNext;
        case broker::kLast:
            return JobKind::kLast;
        default:
            return JobKind::kSingle;
    }
}

Outcome outcome_of(Verdict verdict) {
    switch (verdict) {
        case Verdict::kTimedOut:
            return Outcome::kTimedOut;
        case Verdict::kNoTransaction:
            return Outcome::kNoTransaction;
        case Verdict::kTransactionExpired:
            return Outcome::kTransactionExpired;
        case Verdict::kTooManyHolds:
            return Outcome::kQueueFull;
        case Verdict::kRun:
            break;
    }
    return Outcome::kSuccess;
}

// Queries and pings change nothing and tell how things are now.
bool is_repeatable(uint32_t type) {
    return type == broker::kQueryRequest || type == broker::kPingRequest;
}

}  // namespace

Service::Service(Setup setup)
    : ground_(std::move(setup.ground)),
      now_(std::move(setup.now)),
      trace_(setup.trace),
      started_(now_()),
      faults_(ground_.faults),
      outbox_(std::move(setup.send), faults_),
      scheduler_(setup.times),
      times_(setup.times),
      clients_(scheduler_) {}

void Service::drop(Problem problem) {
    ++counts_.received;
    ++counts_.dropped[static_cast<size_t>(problem)];
}

void Service::receive(const Endpoint &from, std::span<const uint8_t> datagram) {
    if (faults_.loses()) {
        drop(Problem::kFault);
        return;
    }
    if (!datagram.empty() && faults_.corrupts()) {
        corrupted_.assign(reinterpret_cast<const char *>(datagram.data()), datagram.size());
        faults_.corrupt(&corrupted_);
        datagram = {reinterpret_cast<const uint8_t *>(corrupted_.data()), corrupted_.size()};
    }
    handle(from, datagram);
    if (faults_.doubles()) {
        handle(from, datagram);
    }
}

void Service::handle(const Endpoint &from, std::span<const uint8_t> datagram) {
    Request request;
    if (const Problem problem = parse_request(datagram, &request); problem != Problem::kNone) {
        drop(problem);
        return;
    }
    ++counts_.received;
    const TimePoint now = now_();
    const RequestHead &head = request.head;
    const ClientKey key = {from, head.tool, head.instance};
    Client *client = clients_.find_or_add(key, now);
    if (client == nullptr) {
        Client stranger;
        stranger.key = key;
        answer(stranger, head, {.outcome = Outcome::kBusy, .is_remembered = false});
        return;
    }
    ++client->requests;
    dispatch({*client, request, now});
}

void Service::dispatch(const Exchange &exchange) {
    constexpr std::array<void (Service::*)(const Exchange &), broker::kReserveRequest + 1>
        kHandlers = {
            &Service::handle_query,       &Service::handle_give_up, &Service::handle_access,
            &Service::handle_access,      &Service::handle_ping,    &Service::handle_dynamic_id,
            &Service::handle_reservation,
        };
    const uint32_t type = exchange.request.head.type;
    if (is_repeatable(type) || !answer_repeated(exchange)) {
        (this->*kHandlers[type])(exchange);
    }
}

bool Service::answer_repeated(const Exchange &exchange) {
    Client &client = exchange.client;
    const RequestHead &head = exchange.request.head;
    const auto is_same = [this, &head](uint32_t item) {
        const RequestHead &other = items_[item]->head;
        return other.transaction == head.transaction && other.crc == head.crc;
    };
    const auto waiting = std::ranges::find_if(client.waiting, is_same);
    const AnswerMemory::Entry *known =
        waiting == client.waiting.end()
            ? client.answers.find(head.transaction, head.crc, exchange.arrival)
            : nullptr;
    if (waiting == client.waiting.end() && known == nullptr) {
        return false;
    }
    ++client.repeated;
    ++counts_.repeated;
    if (known == nullptr) {
        acknowledge(*items_[*waiting]);
    } else {
        answer_again(client, head, *known);
    }
    return true;
}

void Service::handle_query(const Exchange &exchange) {
    Client &client = exchange.client;
    const RequestHead &head = exchange.request.head;
    const bool waits = std::ranges::any_of(client.waiting, [this, &head](uint32_t item) {
        return items_[item]->head.transaction == head.transaction;
    });
    const Outcome outcome = waits ? Outcome::kAcknowledged
                            : client.answers.has(head.transaction, exchange.arrival)
                                ? Outcome::kSuccess
                                : Outcome::kNotFound;
    answer(client, head, {.outcome = outcome, .is_remembered = false});
}

void Service::handle_give_up(const Exchange &exchange) {
    for (const uint32_t item : scheduler_.forget(exchange.client.number)) {
        take_item(item);
    }
    answer(exchange.client, exchange.request.head, {.outcome = Outcome::kSuccess});
}

void Service::handle_ping(const Exchange &exchange) {
    answer(exchange.client, exchange.request.head,
           {.outcome = Outcome::kSuccess, .is_remembered = false});
}

void Service::handle_dynamic_id(const Exchange &exchange) {
    const auto wanted = parse_dynamic_id(exchange.request.data);
    const std::string id = wanted ? ground_.directory->dynamic_id(*wanted) : std::string();
    Outcome outcome = id.empty() ? Outcome::kUnknownDevice : Outcome::kSuccess;
    outcome = wanted ? outcome : Outcome::kInvalidRequest;
    outcome = faults_.refuses() ? Outcome::kRefused : outcome;
    answer(exchange.client, exchange.request.head, {.outcome = outcome, .id = id});
}

void Service::handle_access(const Exchange &exchange) {
    const RequestHead &head = exchange.request.head;
    const bool is_write = head.type == broker::kWriteRequest;
    auto access = parse_access(exchange.request.data, exchange.request.support, is_write);
    DevicePointer device = ground_.directory->find(head.device_id.view());
    if (!access) {
        fail_unqueued(exchange, device.get(), {});
        answer(exchange.client, head, {.outcome = Outcome::kInvalidRequest});
        return;
    }
    if (head.device_id.view() == broker::kStatusDevice) {
        handle_own_read(exchange, *access);
        return;
    }
    Outcome outcome = device != nullptr ? check_access(*device, *access) : Outcome::kUnknownDevice;
    outcome = faults_.refuses() ? Outcome::kRefused : outcome;
    if (outcome != Outcome::kSuccess) {
        fail_unqueued(exchange, device.get(), *access);
        answer(exchange.client, head, {.outcome = outcome, .access = &*access});
        return;
    }
    const Job job = job_of(exchange, *device, *access);
    WaitingRequest request;
    request.access = std::move(access);
    request.device = std::move(device);
    enqueue(exchange, job, std::move(request));
}

Job Service::job_of(const Exchange &exchange, const Device &device, const Access &access) const {
    const RequestHead &head = exchange.request.head;
    return {.client = exchange.client.number,
            .kind = job_kind(head.indication),
            .footprint = device.footprint(access.address, access.count),
            .device = std::hash<std::string_view>()(head.device_id.view())};
}

// A transaction does not outlive an access that fails, even one that never gets into the queue.
// What its client has sent before comes first.
void Service::fail_unqueued(const Exchange &exchange, const Device *device, const Access &access) {
    if (device == nullptr || job_kind(exchange.request.head.indication) == JobKind::kSingle) {
        return;
    }
    if (scheduler_.waiting(exchange.client.number) != 0) {
        perform();
    }
    scheduler_.finish(job_of(exchange, *device, access), false, exchange.arrival);
}

void Service::handle_reservation(const Exchange &exchange) {
    const RequestHead &head = exchange.request.head;
    const auto wanted = parse_reservation(exchange.request.data);
    ReservedPlace place = {Outcome::kInvalidRequest, {}};
    if (wanted) {
        place = place_of(*wanted, head.device_id.view(), *ground_.directory);
    }
    const Outcome outcome = faults_.refuses() ? Outcome::kRefused : place.outcome;
    if (outcome != Outcome::kSuccess) {
        answer(exchange.client, head, {.outcome = outcome});
        return;
    }
    const Job job = {.kind = wanted->seconds == 0 ? JobKind::kRelease : JobKind::kReserve,
                     .footprint = place.footprint,
                     .hold = std::chrono::seconds(wanted->seconds)};
    enqueue(exchange, job, {});
}

void Service::handle_own_read(const Exchange &exchange, const Access &access) {
    Answer made = {.outcome = Outcome::kSuccess, .access = &access};
    if (access.is_write || access.options != 0) {
        made.outcome = Outcome::kNotSupported;
    } else if (access.count > broker::kMaxReadBytes) {
        made.outcome = Outcome::kTooLong;
    } else {
        made.bytes = own_bytes(exchange.client, access, exchange.arrival);
    }
    answer(exchange.client, exchange.request.head, made);
}

std::span<const uint8_t> Service::own_bytes(Client &client, const Access &access, TimePoint now) {
    const bool is_refusal = access.address >= broker::kRefusalAddress;
    const uint32_t start = access.address - (is_refusal ? broker::kRefusalAddress : 0);
    if (!is_refusal && start == 0) {
        snapshots_.keep(client.key, status_document(now), now);
    }
    const std::string_view text =
        is_refusal ? client.refusal : snapshots_.text_for(client.key, now);
    const size_t begin = std::min<size_t>(start, text.size());
    const size_t size = std::min<size_t>(access.count, text.size() - begin);
    std::copy_n(text.begin() + static_cast<std::ptrdiff_t>(begin), size, read_buffer_.begin());
    if (!is_refusal && size < access.count) {
        snapshots_.drop(client.key);  // read to its end
    }
    return {read_buffer_.data(), size};
}

void Service::enqueue(const Exchange &exchange, Job job, WaitingRequest request) {
    Client &client = exchange.client;
    const RequestHead &head = exchange.request.head;
    job.client = client.number;
    job.priority = head.priority;
    job.arrival = exchange.arrival;
    if (!scheduler_.has_room(job, exchange.arrival)) {
        perform();  // of a long batch, some need not have waited
    }
    if (!scheduler_.has_room(job, exchange.arrival)) {
        if (request.access) {
            fail_unqueued(exchange, request.device.get(), *request.access);
        }
        answer(client, head,
               {.outcome = Outcome::kQueueFull,
                .access = request.access ? &*request.access : nullptr});
        return;
    }
    request.head = head;
    request.client = client.number;
    request.arrival = exchange.arrival;
    job.item = store_item(std::move(request));
    scheduler_.enqueue(job);
    if (scheduler_.must_wait(job, exchange.arrival)) {
        acknowledge(*items_[job.item]);
    }
}

bool Service::perform() {
    TimePoint now = now_();
    bool is_slow = false;
    while (!is_slow) {
        const auto decision = scheduler_.next(now);
        if (!decision) {
            break;
        }
        run(*decision, now);
        const TimePoint end = now_();
        is_slow = end - now > kSlowAccess;
        now = end;
    }
    acknowledge_waiting();
    snapshots_.drop_old(now);
    return is_slow;
}

void Service::run(const Decision &decision, TimePoint now) {
    WaitingRequest request = take_item(decision.job.item);
    Client &client = clients_.at(request.client);
    Answer made = {.outcome = outcome_of(decision.verdict),
                   .access = request.access ? &*request.access : nullptr,
                   .waited = now - request.arrival};
    if (decision.verdict == Verdict::kRun) {
        if (request.access) {
            made.outcome = make_access(request);
        }
        const TimePoint end = now_();
        made.served = end - now;
        scheduler_.finish(decision.job, made.outcome == Outcome::kSuccess, end);
    } else if (request.access) {
        scheduler_.finish(decision.job, false, now);
    }
    if (request.access && !request.access->is_write && made.outcome == Outcome::kSuccess) {
        made.bytes = std::span(read_buffer_).first(request.access->count);
    }
    answer(client, request.head, made);
}

Outcome Service::make_access(WaitingRequest &request) {
    if (request.access->count > broker::kAcknowledgedBytes && !request.is_acknowledged) {
        send_acknowledgement(request);
    }
    ++counts_.performed;
    return execute(*ground_.board, *request.device, *request.access, &read_buffer_);
}

std::optional<TimePoint> Service::deadline() const {
    std::optional<TimePoint> first;
    for (const auto &due : {scheduler_.deadline(), outbox_.deadline(), snapshots_.deadline()}) {
        first = first && due ? std::min(first, due) : first ? first : due;
    }
    return first;
}

void Service::replace_ground(Ground ground) {
    ground_ = std::move(ground);
    faults_ = Faults(ground_.faults);
}

void Service::shut_down() {
    for (auto &item : items_) {
        if (item) {
            const WaitingRequest request = std::move(*item);
            answer(clients_.at(request.client), request.head,
                   {.outcome = Outcome::kShuttingDown,
                    .access = request.access ? &*request.access : nullptr});
        }
    }
    outbox_.flush(TimePoint::max());
}

WaitingRequest Service::take_item(uint32_t item) {
    WaitingRequest request = std::move(*items_[item]);
    items_[item].reset();
    free_items_.push_back(item);
    unacknowledged_ -= request.is_acknowledged ? 0 : 1;
    std::erase(clients_.at(request.client).waiting, item);
    return request;
}

uint32_t Service::store_item(WaitingRequest request) {
    if (free_items_.empty()) {
        free_items_.push_back(static_cast<uint32_t>(items_.size()));
        items_.emplace_back();
    }
    const uint32_t item = free_items_.back();
    free_items_.pop_back();
    clients_.at(request.client).waiting.push_back(item);
    ++unacknowledged_;
    items_[item] = std::move(request);
    return item;
}

void Service::acknowledge(WaitingRequest &request) {
    unacknowledged_ -= request.is_acknowledged ? 0 : 1;
    request.is_acknowledged = true;
    send_acknowledgement(request);
}

void Service::acknowledge_waiting() {
    if (unacknowledged_ == 0) {
        return;
    }
    for (auto &item : items_) {
        if (item && !item->is_acknowledged) {
            acknowledge(*item);
        }
    }
}

std::string Service::status_document(TimePoint now) {
    return make_status_document({.identity = ground_.identity,
                                 .uptime = now - started_,
                                 .now = now,
                                 .times = times_,
                                 .clients = clients_.list(now),
                                 .holds = scheduler_.holds(now),
                                 .requests = items_,
                                 .counts = counts_,
                                 .devices = ground_.directory->size()});
}

}  // namespace diag::daemon
