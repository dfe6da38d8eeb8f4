// SPDX-License-Identifier: MIT
// Who may access what, and when: the queue of the requests that wait, and the holds that they wait
// for. It knows no requests and no devices, only clients by number and footprints, and it is told
// the time.
#ifndef DIAGS_TOOLS_BUSBROKER_SCHEDULER_H
#define DIAGS_TOOLS_BUSBROKER_SCHEDULER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "diags/tools/busbroker/footprint.h"

namespace diag::daemon {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Duration = Clock::duration;

inline constexpr size_t kMaxClients = 256;
inline constexpr size_t kMaxWaitingPerClient = 32;
inline constexpr size_t kMaxWaiting = 1024;
inline constexpr size_t kMaxHoldsPerClient = 32;

enum class JobKind : uint8_t {
    kSingle,
    kFirst,    // takes a transaction
    kNext,     // goes on with it
    kLast,     // ends it, when there is one
    kReserve,  // takes a reservation
    kRelease,  // gives reservations back, and waits for nobody
};

struct Job {
    uint32_t client = 0;  // below kMaxClients
    uint32_t item = 0;    // what the caller knows it by
    uint32_t priority = 0;
    JobKind kind = JobKind::kSingle;
    Footprint footprint;
    size_t device = 0;   // the same for accesses that name the same device; 0: none is named
    Duration hold = {};  // of a reservation
    TimePoint arrival = {};
    uint64_t sequence = 0;  // set by the scheduler: first come, first served
};

enum class Verdict : uint8_t {
    kRun,
    kTimedOut,
    kNoTransaction,
    kTransactionExpired,
    kTooManyHolds,
};

struct Decision {
    Job job;
    Verdict verdict;
};

struct Hold {
    uint32_t client;
    bool is_reservation;
    Footprint footprint;
    size_t device;  // that the access has named
    TimePoint end;
};

class Scheduler {
  public:
    struct Times {
        Duration transaction = std::chrono::seconds(2);
        Duration wait = std::chrono::seconds(10);
    };

    explicit Scheduler(Times times) : times_(times), lines_(kMaxClients) {}

    // Whether one more job may be queued. One that has nobody to wait for may always: it may be the
    // one that the others are waiting for.
    bool has_room(const Job &job, TimePoint now);
    void enqueue(const Job &job);

    // Whether the job, were it queued now, would have to wait for another client.
    bool must_wait(const Job &job, TimePoint now);

    // Takes out the next job that is due: to be run, or to be refused. A job that has been run is
    // to be told to finish() before the next call. An access that fails without having been run,
    // or even queued, is to be told as well: it ends its transaction like any other.
    std::optional<Decision> next(TimePoint now);
    void finish(const Job &job, bool succeeded, TimePoint now);

    // The time at which next() may have something new to say; empty while nobody waits.
    std::optional<TimePoint> deadline() const;

    // Drops the client's jobs, holds and whatever else is known of it. Answers the items of the
    // jobs.
    std::vector<uint32_t> forget(uint32_t client);

    size_t waiting() const { return waiting_; }
    size_t waiting(uint32_t client) const { return lines_[client].jobs.size(); }
    bool has_hold(uint32_t client, TimePoint now);
    const std::vector<Hold> &holds(TimePoint now);

  private:
    // What one client has to wait for itself: its requests never overtake each other.
    struct Line {
        std::deque<Job> jobs;
        std::vector<Hold> expired;  // of transactions whose client has not been told yet
        size_t holds = 0;
    };

    void end_old_holds(TimePoint now);
    bool is_blocked(const Job &job) const;
    bool has_transaction(const Job &job) const;
    Hold *find_to_grow(const Job &job);
    Hold *find_reservation(const Job &job);
    bool take_expiry(const Job &job);
    std::optional<Verdict> refusal(const Job &job, TimePoint now);
    Decision take(uint32_t client, Verdict verdict);
    void add_hold(const Job &job, bool is_reservation, TimePoint end);
    void take_transaction(const Job &job, TimePoint end);
    void take_reservation(const Job &job, TimePoint end);
    void end_transaction(const Job &job);
    template <typename Predicate>
    void erase_holds(Predicate ends);

    Times times_;
    std::vector<Line> lines_;       // by client
    std::vector<uint32_t> active_;  // clients that have jobs
    std::vector<Hold> holds_;
    TimePoint first_end_ = TimePoint::max();  // no hold ends before
    size_t waiting_ = 0;
    uint64_t next_sequence_ = 0;
};

}  // namespace diag::daemon

#endif
