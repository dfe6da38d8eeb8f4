// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/scheduler.h"

#include <algorithm>

namespace diag::daemon {
namespace {

// Whether the hold is of the job's client's transaction at the job's device. A transaction may go
// over several places of one device, as the registers of a mailbox are.
bool concerns(const Hold &hold, const Job &job) {
    const bool is_same_device =
        hold.device == job.device && job.device != 0 && hold.footprint.is_on_bus_of(job.footprint);
    return hold.client == job.client && !hold.is_reservation &&
           (is_same_device || hold.footprint.overlaps(job.footprint));
}

// Reservations within each other are each by themselves: that of a device neither cuts short nor
// gives back that of its bus.
bool is_reservation_of(const Hold &hold, const Job &job) {
    return hold.client == job.client && hold.is_reservation && hold.footprint == job.footprint;
}

}  // namespace

bool Scheduler::has_room(const Job &job, TimePoint now) {
    const size_t of_client = lines_[job.client].jobs.size();
    if (of_client >= kMaxWaitingPerClient) {
        return false;
    }
    return waiting_ < kMaxWaiting || (of_client == 0 && !must_wait(job, now));
}

void Scheduler::enqueue(const Job &job) {
    Line &line = lines_[job.client];
    if (line.jobs.empty()) {
        active_.push_back(job.client);
    }
    line.jobs.push_back(job);
    line.jobs.back().sequence = next_sequence_++;
    ++waiting_;
}

bool Scheduler::must_wait(const Job &job, TimePoint now) {
    end_old_holds(now);
    return is_blocked(job);
}

std::optional<Decision> Scheduler::next(TimePoint now) {
    end_old_holds(now);
    const Job *best = nullptr;
    for (const uint32_t client : active_) {
        const Job &job = lines_[client].jobs.front();
        if (const auto verdict = refusal(job, now)) {
            return take(client, *verdict);
        }
        const bool is_better = best == nullptr || job.priority > best->priority ||
                               (job.priority == best->priority && job.sequence < best->sequence);
        if (is_better && !is_blocked(job)) {
            best = &job;
        }
    }
    return best != nullptr ? std::optional(take(best->client, Verdict::kRun)) : std::nullopt;
}

void Scheduler::finish(const Job &job, bool succeeded, TimePoint now) {
    switch (job.kind) {
        case JobKind::kSingle:
            return;
        case JobKind::kFirst:
            take_expiry(job);  // the client has begun again, whatever comes of it
            [[fallthrough]];
        case JobKind::kNext:
            if (succeeded) {
                take_transaction(job, now + times_.transaction);
            } else {
                end_transaction(job);
            }
            return;
        case JobKind::kLast:
            end_transaction(job);
            return;
        case JobKind::kReserve:
            take_reservation(job, now + job.hold);
            return;
        case JobKind::kRelease:
            erase_holds([&job](const Hold &hold) { return is_reservation_of(hold, job); });
            return;
    }
}

std::optional<TimePoint> Scheduler::deadline() const {
    std::optional<TimePoint> first;
    const auto consider = [&first](TimePoint time) {
        first = first ? std::min(*first, time) : time;
    };
    for (const uint32_t client : active_) {
        consider(lines_[client].jobs.front().arrival + times_.wait);
    }
    if (first) {
        for (const Hold &hold : holds_) {
            consider(hold.end);
        }
    }
    return first;
}

std::vector<uint32_t> Scheduler::forget(uint32_t client) {
    Line &line = lines_[client];
    std::vector<uint32_t> items;
    for (const Job &job : line.jobs) {
        items.push_back(job.item);
    }
    waiting_ -= line.jobs.size();
    std::erase(active_, client);
    erase_holds([client](const Hold &hold) { return hold.client == client; });
    line = Line();
    return items;
}

bool Scheduler::has_hold(uint32_t client, TimePoint now) {
    end_old_holds(now);
    return lines_[client].holds != 0;
}

const std::vector<Hold> &Scheduler::holds(TimePoint now) {
    end_old_holds(now);
    return holds_;
}

// Nothing happens at the moment a hold runs out unless somebody waits for it, so that a daemon
// with nothing to do sleeps.
void Scheduler::end_old_holds(TimePoint now) {
    if (now < first_end_) {
        return;
    }
    erase_holds([this, now](const Hold &hold) {
        if (hold.end > now) {
            return false;
        }
        auto &expired = lines_[hold.client].expired;
        if (!hold.is_reservation) {
            if (expired.size() == kMaxHoldsPerClient) {
                expired.erase(expired.begin());
            }
            expired.push_back(hold);
        }
        return true;
    });
    const auto first = std::ranges::min_element(holds_, {}, &Hold::end);
    first_end_ = first != holds_.end() ? first->end : TimePoint::max();
}

bool Scheduler::is_blocked(const Job &job) const {
    const bool is_alone = holds_.size() == lines_[job.client].holds;
    return !is_alone && job.kind != JobKind::kRelease &&
           std::ranges::any_of(holds_, [&job](const Hold &hold) {
               return hold.client != job.client && hold.footprint.overlaps(job.footprint);
           });
}

bool Scheduler::has_transaction(const Job &job) const {
    return lines_[job.client].holds != 0 &&
           std::ranges::any_of(holds_, [&job](const Hold &hold) { return concerns(hold, job); });
}

Hold *Scheduler::find_to_grow(const Job &job) {
    const auto found = std::ranges::find_if(holds_, [&job](const Hold &hold) {
        return hold.client == job.client && !hold.is_reservation &&
               hold.footprint.overlaps(job.footprint);
    });
    return found != holds_.end() ? &*found : nullptr;
}

Hold *Scheduler::find_reservation(const Job &job) {
    const auto found = std::ranges::find_if(
        holds_, [&job](const Hold &hold) { return is_reservation_of(hold, job); });
    return found != holds_.end() ? &*found : nullptr;
}

bool Scheduler::take_expiry(const Job &job) {
    return std::erase_if(lines_[job.client].expired,
                         [&job](const Hold &hold) { return concerns(hold, job); }) != 0;
}

// Why the job is not going to run, whoever holds what.
std::optional<Verdict> Scheduler::refusal(const Job &job, TimePoint now) {
    if (job.arrival + times_.wait <= now) {
        return Verdict::kTimedOut;
    }
    const bool continues = job.kind == JobKind::kNext || job.kind == JobKind::kLast;
    if (continues && !has_transaction(job)) {
        // Another client may have changed the device since, so the rest must not follow blindly.
        if (take_expiry(job)) {
            return Verdict::kTransactionExpired;
        }
        return job.kind == JobKind::kNext ? std::optional(Verdict::kNoTransaction) : std::nullopt;
    }
    const bool reserves = job.kind == JobKind::kReserve;
    const bool takes = reserves || job.kind == JobKind::kFirst || job.kind == JobKind::kNext;
    const bool is_full = takes && lines_[job.client].holds >= kMaxHoldsPerClient &&
                         (reserves ? find_reservation(job) : find_to_grow(job)) == nullptr;
    return is_full ? std::optional(Verdict::kTooManyHolds) : std::nullopt;
}

Decision Scheduler::take(uint32_t client, Verdict verdict) {
    Line &line = lines_[client];
    const Decision decision = {line.jobs.front(), verdict};
    line.jobs.pop_front();
    --waiting_;
    if (line.jobs.empty()) {
        std::erase(active_, client);
    }
    return decision;
}

void Scheduler::add_hold(const Job &job, bool is_reservation, TimePoint end) {
    holds_.push_back({job.client, is_reservation, job.footprint, job.device, end});
    ++lines_[job.client].holds;
    first_end_ = std::min(first_end_, end);
}

void Scheduler::take_transaction(const Job &job, TimePoint end) {
    take_expiry(job);
    for (Hold &hold : holds_) {
        if (concerns(hold, job)) {
            hold.end = end;
        }
    }
    if (Hold *hold = find_to_grow(job)) {
        hold->footprint = hold->footprint.joined(job.footprint);
        return;
    }
    add_hold(job, false, end);
}

void Scheduler::take_reservation(const Job &job, TimePoint end) {
    if (Hold *hold = find_reservation(job)) {
        hold->end = end;
        first_end_ = std::min(first_end_, end);
        return;
    }
    add_hold(job, true, end);
}

void Scheduler::end_transaction(const Job &job) {
    erase_holds([&job](const Hold &hold) { return concerns(hold, job); });
}

template <typename Predicate>
void Scheduler::erase_holds(Predicate ends) {
    std::erase_if(holds_, [this, &ends](const Hold &hold) {
        const bool is_over = ends(hold);
        lines_[hold.client].holds -= is_over ? 1 : 0;
        return is_over;
    });
}

}  // namespace diag::daemon
