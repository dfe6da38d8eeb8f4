// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/scheduler.h"

#include <algorithm>

namespace diag::daemon {
namespace {

// Whether the hold is what the job's client has got at the job's device. A transaction may go over
// several places of one device, as the registers of a mailbox are.
bool concerns(const Hold &hold, const Job &job) {
    const bool is_same_device =
        hold.device == job.device && job.device != 0 && hold.footprint.is_on_bus_of(job.footprint);
    return hold.client == job.client && (is_same_device || hold.footprint.overlaps(job.footprint));
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
        case JobKind::kNext:
            if (succeeded) {
                take_hold(job, false, now + times_.transaction);
            } else {
                end_holds(job, false);
            }
            return;
        case JobKind::kLast:
            end_holds(job, false);
            return;
        case JobKind::kReserve:
            take_hold(job, true, now + job.hold);
            return;
        case JobKind::kRelease:
            end_holds(job, true);
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
    line = Line();
    std::erase_if(holds_, [client](const Hold &hold) { return hold.client == client; });
    return items;
}

bool Scheduler::has_hold(uint32_t client, TimePoint now) {
    end_old_holds(now);
    return holds_of(client) != 0;
}

const std::vector<Hold> &Scheduler::holds(TimePoint now) {
    end_old_holds(now);
    return holds_;
}

// Nothing happens at the moment a hold runs out unless somebody waits for it, so that a daemon
// with nothing to do sleeps.
void Scheduler::end_old_holds(TimePoint now) {
    std::erase_if(holds_, [this, now](const Hold &hold) {
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
}

bool Scheduler::is_blocked(const Job &job) const {
    return job.kind != JobKind::kRelease && std::ranges::any_of(holds_, [&job](const Hold &hold) {
               return hold.client != job.client && hold.footprint.overlaps(job.footprint);
           });
}

bool Scheduler::has_hold(const Job &job, bool is_reservation) const {
    return std::ranges::any_of(holds_, [&job, is_reservation](const Hold &hold) {
        return hold.is_reservation == is_reservation && concerns(hold, job);
    });
}

Hold *Scheduler::find_overlapping(const Job &job, bool is_reservation) {
    const auto found = std::ranges::find_if(holds_, [&job, is_reservation](const Hold &hold) {
        return hold.client == job.client && hold.is_reservation == is_reservation &&
               hold.footprint.overlaps(job.footprint);
    });
    return found != holds_.end() ? &*found : nullptr;
}

size_t Scheduler::holds_of(uint32_t client) const {
    return static_cast<size_t>(std::ranges::count(holds_, client, &Hold::client));
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
    if (continues && !has_hold(job, false)) {
        // Another client may have changed the device since, so the rest must not follow blindly.
        if (take_expiry(job)) {
            return Verdict::kTransactionExpired;
        }
        return job.kind == JobKind::kNext ? std::optional(Verdict::kNoTransaction) : std::nullopt;
    }
    const bool takes =
        job.kind == JobKind::kFirst || job.kind == JobKind::kNext || job.kind == JobKind::kReserve;
    const bool is_full = takes && holds_of(job.client) >= kMaxHoldsPerClient &&
                         find_overlapping(job, job.kind == JobKind::kReserve) == nullptr;
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

void Scheduler::take_hold(const Job &job, bool is_reservation, TimePoint end) {
    if (!is_reservation) {
        take_expiry(job);
    }
    for (Hold &hold : holds_) {
        if (hold.is_reservation == is_reservation && concerns(hold, job)) {
            hold.end = end;
        }
    }
    if (Hold *hold = find_overlapping(job, is_reservation)) {
        hold->footprint = hold->footprint.joined(job.footprint);
        return;
    }
    holds_.push_back({job.client, is_reservation, job.footprint, job.device, end});
}

void Scheduler::end_holds(const Job &job, bool reservations) {
    std::erase_if(holds_, [&job, reservations](const Hold &hold) {
        return hold.is_reservation == reservations && concerns(hold, job);
    });
}

}  // namespace diag::daemon
