// SPDX-License-Identifier: MIT
// What the tests of the scheduler share.
#ifndef TESTS_TOOLS_BUSBROKER_SCHEDULER_TEST_H
#define TESTS_TOOLS_BUSBROKER_SCHEDULER_TEST_H

#include <gtest/gtest.h>

#include "diags/tools/busbroker/scheduler.h"

namespace diag::daemon {

using std::chrono::milliseconds;
using std::chrono::seconds;

inline constexpr Footprint kDevice = {BusKind::kI2c, 3, 0x50, 0x51};
inline constexpr Footprint kOther = {BusKind::kI2c, 3, 0x51, 0x52};

class SchedulerTest : public testing::Test {
  protected:
    // Items are numbered as they are queued, from 1.
    uint32_t enqueue(uint32_t client, JobKind kind, const Footprint &footprint = kDevice,
                     uint32_t priority = 0, Duration hold = {}) {
        const Job job = {.client = client,
                         .item = ++items_,
                         .priority = priority,
                         .kind = kind,
                         .footprint = footprint,
                         .hold = hold,
                         .arrival = now_};
        EXPECT_TRUE(scheduler_.has_room(job, now_));
        scheduler_.enqueue(job);
        return items_;
    }

    // Runs what is due and answers the items in the order in which they ran. Refused items are
    // negative.
    std::vector<int> run(bool succeeds = true) {
        std::vector<int> order;
        while (const auto decision = scheduler_.next(now_)) {
            const int item = static_cast<int>(decision->job.item);
            verdict_ = decision->verdict;
            order.push_back(verdict_ == Verdict::kRun ? item : -item);
            if (verdict_ == Verdict::kRun) {
                scheduler_.finish(decision->job, succeeds, now_);
            }
        }
        return order;
    }

    std::vector<int> run_one(uint32_t client, JobKind kind, const Footprint &footprint = kDevice,
                             bool succeeds = true) {
        enqueue(client, kind, footprint);
        return run(succeeds);
    }

    void expect_runs(uint32_t client, JobKind kind, const Footprint &footprint = kDevice) {
        const std::vector<int> ran = run_one(client, kind, footprint);
        EXPECT_EQ(ran, std::vector<int>{static_cast<int>(items_)});
    }
    void expect_refused(uint32_t client, JobKind kind, Verdict verdict) {
        const std::vector<int> ran = run_one(client, kind);
        EXPECT_EQ(ran, std::vector<int>{-static_cast<int>(items_)});
        EXPECT_EQ(verdict_, verdict);
    }
    void expect_waits(uint32_t client, JobKind kind, const Footprint &footprint = kDevice) {
        EXPECT_TRUE(run_one(client, kind, footprint).empty());
    }

    void pass(Duration duration) { now_ += duration; }

    Scheduler scheduler_{{.transaction = seconds(2), .wait = seconds(10)}};
    TimePoint now_ = TimePoint(seconds(1000));
    uint32_t items_ = 0;
    Verdict verdict_ = Verdict::kRun;
};

}  // namespace diag::daemon

#endif
