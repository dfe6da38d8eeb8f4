// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "tests/tools/busbroker/scheduler_test.h"

namespace diag::daemon {
namespace {

// The registers of a mailbox are several bytes of a bus; they are reached by one device id.
class TransactionOverSeveralPlaces : public SchedulerTest {
  protected:
    static constexpr size_t kLpc = 77;

    static Footprint byte_at(uint64_t address) { return {BusKind::kLpc, 0, address, address + 1}; }

    std::optional<Verdict> make(uint32_t client, JobKind kind, uint64_t address,
                                size_t device = kLpc) {
        const Job job = {.client = client,
                         .item = 1,
                         .kind = kind,
                         .footprint = byte_at(address),
                         .device = device,
                         .arrival = now_};
        scheduler_.enqueue(job);
        const auto decision = scheduler_.next(now_);
        if (!decision) {
            return std::nullopt;  // it waits
        }
        if (decision->verdict == Verdict::kRun) {
            scheduler_.finish(decision->job, true, now_);
        }
        return decision->verdict;
    }
};

TEST_F(TransactionOverSeveralPlaces, GoesOnByTheDeviceThatIsNamed) {
    EXPECT_EQ(make(1, JobKind::kFirst, 0x60), Verdict::kRun);
    EXPECT_EQ(make(1, JobKind::kNext, 0x64), Verdict::kRun);
    EXPECT_EQ(make(1, JobKind::kNext, 0x70, kLpc + 1), Verdict::kNoTransaction);
    EXPECT_EQ(scheduler_.holds(now_).size(), 2U);
    EXPECT_EQ(make(1, JobKind::kLast, 0x68), Verdict::kRun);
    EXPECT_TRUE(scheduler_.holds(now_).empty());
}

TEST_F(TransactionOverSeveralPlaces, KeepsOthersOffThePlacesThatItHasTouchedAndNoOthers) {
    EXPECT_EQ(make(1, JobKind::kFirst, 0x60), Verdict::kRun);
    EXPECT_EQ(make(1, JobKind::kNext, 0x64), Verdict::kRun);
    EXPECT_EQ(make(2, JobKind::kSingle, 0x62), Verdict::kRun);
    EXPECT_EQ(make(2, JobKind::kSingle, 0x64), std::nullopt);
    EXPECT_EQ(make(3, JobKind::kFirst, 0x60), std::nullopt);
}

TEST_F(TransactionOverSeveralPlaces, LivesOnAsAWhole) {
    EXPECT_EQ(make(1, JobKind::kFirst, 0x60), Verdict::kRun);
    now_ += milliseconds(1500);
    EXPECT_EQ(make(1, JobKind::kNext, 0x64), Verdict::kRun);
    now_ += milliseconds(1500);
    EXPECT_EQ(make(2, JobKind::kSingle, 0x60), std::nullopt) << "the first place is held as well";
}

TEST_F(TransactionOverSeveralPlaces, IsToldOnceThatItHasExpired) {
    EXPECT_EQ(make(1, JobKind::kFirst, 0x60), Verdict::kRun);
    EXPECT_EQ(make(1, JobKind::kNext, 0x64), Verdict::kRun);
    now_ += seconds(3);
    EXPECT_EQ(make(1, JobKind::kLast, 0x68), Verdict::kTransactionExpired);
    EXPECT_EQ(make(1, JobKind::kLast, 0x68), Verdict::kRun) << "an access by itself";
}

TEST_F(TransactionOverSeveralPlaces, HasABoundedNumberOfThem) {
    EXPECT_EQ(make(1, JobKind::kFirst, 0), Verdict::kRun);
    for (uint64_t place = 1; place < kMaxHoldsPerClient; place++) {
        EXPECT_EQ(make(1, JobKind::kNext, 2 * place), Verdict::kRun) << place;
    }
    EXPECT_EQ(make(1, JobKind::kNext, 2 * kMaxHoldsPerClient), Verdict::kTooManyHolds);
    EXPECT_EQ(make(1, JobKind::kNext, 0), Verdict::kRun) << "nothing new";
}

}  // namespace
}  // namespace diag::daemon
