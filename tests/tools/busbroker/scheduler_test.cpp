// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/scheduler.h"

#include <gtest/gtest.h>

namespace diag::daemon {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr Footprint kDevice = {BusKind::kI2c, 3, 0x50, 0x51};
constexpr Footprint kOther = {BusKind::kI2c, 3, 0x51, 0x52};

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

TEST_F(SchedulerTest, WithNothingToDoHasNoDeadline) {
    EXPECT_FALSE(scheduler_.next(now_));
    EXPECT_FALSE(scheduler_.deadline());
}

TEST_F(SchedulerTest, ServesFirstComeFirstServed) {
    enqueue(0, JobKind::kSingle);
    enqueue(1, JobKind::kSingle);
    enqueue(0, JobKind::kSingle);
    EXPECT_EQ(run(), (std::vector<int>{1, 2, 3}));
}

TEST_F(SchedulerTest, ServesHigherPrioritiesFirst) {
    enqueue(0, JobKind::kSingle, kDevice, 0);
    enqueue(1, JobKind::kSingle, kDevice, 1);
    enqueue(2, JobKind::kSingle, kDevice, 2);
    enqueue(3, JobKind::kSingle, kDevice, 2);
    EXPECT_EQ(run(), (std::vector<int>{3, 4, 2, 1}));
}

TEST_F(SchedulerTest, KeepsTheOrderOfEachClientWhateverThePriorities) {
    enqueue(0, JobKind::kSingle, kDevice, 0);
    enqueue(0, JobKind::kSingle, kDevice, 2);
    enqueue(1, JobKind::kSingle, kDevice, 1);
    EXPECT_EQ(run(), (std::vector<int>{3, 1, 2}));
}

TEST_F(SchedulerTest, ATransactionKeepsOthersOffItsPlace) {
    expect_runs(0, JobKind::kFirst);
    expect_waits(1, JobKind::kSingle);
    enqueue(0, JobKind::kNext);
    enqueue(0, JobKind::kSingle);
    EXPECT_EQ(run(), (std::vector<int>{3, 4}));
    enqueue(0, JobKind::kLast);
    EXPECT_EQ(run(), (std::vector<int>{5, 2}));
}

TEST_F(SchedulerTest, ATransactionLetsOthersTouchOtherPlaces) {
    expect_runs(0, JobKind::kFirst);
    expect_runs(1, JobKind::kSingle, kOther);
    expect_runs(1, JobKind::kSingle, {BusKind::kI2c, 4, 0x50, 0x51});
    expect_runs(1, JobKind::kSingle, {BusKind::kBmc, 3, 0x50, 0x51});
}

TEST_F(SchedulerTest, AWaitingRequestDoesNotHoldUpOtherClients) {
    expect_runs(0, JobKind::kFirst);
    expect_waits(1, JobKind::kSingle);
    expect_runs(2, JobKind::kSingle, kOther);
}

TEST_F(SchedulerTest, AWaitingRequestHoldsUpItsOwnClient) {
    expect_runs(0, JobKind::kFirst);
    expect_waits(1, JobKind::kSingle);
    expect_waits(1, JobKind::kSingle, kOther);
    enqueue(0, JobKind::kLast);
    EXPECT_EQ(run(), (std::vector<int>{4, 2, 3}));
}

TEST_F(SchedulerTest, ATransactionEndsSomeTimeAfterItsLatestRequest) {
    expect_runs(0, JobKind::kFirst);
    pass(milliseconds(1999));
    expect_runs(0, JobKind::kNext);
    expect_waits(1, JobKind::kSingle);
    EXPECT_EQ(scheduler_.deadline(), now_ + seconds(2));
    pass(milliseconds(1999));
    EXPECT_TRUE(run().empty());
    pass(milliseconds(1));
    EXPECT_EQ(run(), std::vector<int>{3});
}

TEST_F(SchedulerTest, ASingleAccessDoesNotRenewATransaction) {
    expect_runs(0, JobKind::kFirst);
    pass(seconds(1));
    expect_runs(0, JobKind::kSingle);
    pass(seconds(1));
    expect_runs(1, JobKind::kSingle);
}

TEST_F(SchedulerTest, AFirstRequestRenewsATransactionOfItsClient) {
    expect_runs(0, JobKind::kFirst);
    pass(seconds(1));
    expect_runs(0, JobKind::kFirst);
    pass(seconds(1));
    expect_waits(1, JobKind::kSingle);
    EXPECT_EQ(scheduler_.holds(now_).size(), 1U);
}

TEST_F(SchedulerTest, AnExpiredTransactionIsToldOnce) {
    expect_runs(0, JobKind::kFirst);
    pass(seconds(2));
    expect_refused(0, JobKind::kLast, Verdict::kTransactionExpired);
    expect_runs(0, JobKind::kLast);
    expect_refused(0, JobKind::kNext, Verdict::kNoTransaction);
}

TEST_F(SchedulerTest, AnExpiredTransactionIsToldToItsNextRequestToo) {
    expect_runs(0, JobKind::kFirst);
    pass(seconds(2));
    expect_refused(0, JobKind::kNext, Verdict::kTransactionExpired);
    expect_refused(0, JobKind::kNext, Verdict::kNoTransaction);
}

TEST_F(SchedulerTest, AnExpiredTransactionIsToldEvenWhileAnotherClientHoldsTheDevice) {
    expect_runs(0, JobKind::kFirst);
    pass(seconds(2));
    expect_runs(1, JobKind::kFirst);
    expect_refused(0, JobKind::kLast, Verdict::kTransactionExpired);
}

TEST_F(SchedulerTest, AnExpiredTransactionConcernsItsPlaceAlone) {
    expect_runs(0, JobKind::kFirst);
    pass(seconds(2));
    expect_runs(0, JobKind::kLast, kOther);
    expect_runs(1, JobKind::kLast);
    expect_refused(0, JobKind::kLast, Verdict::kTransactionExpired);
}

TEST_F(SchedulerTest, ANewTransactionMakesTheExpiredOneForgotten) {
    expect_runs(0, JobKind::kFirst);
    pass(seconds(2));
    expect_runs(0, JobKind::kFirst);
    expect_runs(0, JobKind::kLast);
    expect_runs(0, JobKind::kLast);
}

TEST_F(SchedulerTest, ANextRequestNeedsAFirstOne) {
    expect_refused(0, JobKind::kNext, Verdict::kNoTransaction);
    expect_runs(0, JobKind::kFirst);
    expect_runs(0, JobKind::kLast);
    expect_refused(0, JobKind::kNext, Verdict::kNoTransaction);
}

TEST_F(SchedulerTest, ALastRequestAloneIsASingleAccess) {
    expect_runs(0, JobKind::kLast);
    expect_runs(1, JobKind::kSingle);
}

TEST_F(SchedulerTest, AFailedAccessEndsItsTransaction) {
    for (const JobKind kind : {JobKind::kFirst, JobKind::kNext}) {
        expect_runs(0, JobKind::kFirst);
        EXPECT_EQ(run_one(0, kind, kDevice, false).size(), 1U);
        expect_runs(1, JobKind::kSingle);
        expect_refused(0, JobKind::kNext, Verdict::kNoTransaction);
    }
}

TEST_F(SchedulerTest, AFailedLastAccessEndsItsTransactionToo) {
    expect_runs(0, JobKind::kFirst);
    run_one(0, JobKind::kLast, kDevice, false);
    expect_runs(1, JobKind::kSingle);
}

TEST_F(SchedulerTest, ATransactionGrowsOverOverlappingPlaces) {
    const auto memory = [](uint64_t begin, uint64_t end) {
        return Footprint{BusKind::kMemory, 0, begin, end};
    };
    expect_runs(0, JobKind::kFirst, memory(0, 8));
    expect_runs(0, JobKind::kNext, memory(4, 16));
    expect_waits(1, JobKind::kSingle, memory(12, 13));
    expect_runs(2, JobKind::kSingle, memory(16, 17));
}

TEST_F(SchedulerTest, AReservationKeepsOthersOffForItsTime) {
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(30));
    run();
    expect_waits(1, JobKind::kSingle);
    expect_runs(0, JobKind::kSingle);
    EXPECT_EQ(scheduler_.deadline(), now_ + seconds(10)) << "the request's own patience";
    pass(seconds(10));
    EXPECT_EQ(run(), std::vector<int>{-2});
    EXPECT_EQ(verdict_, Verdict::kTimedOut);
    pass(seconds(20));
    expect_runs(1, JobKind::kSingle);
}

TEST_F(SchedulerTest, AReservationCountsFromWhenItIsHad) {
    expect_runs(0, JobKind::kFirst);
    enqueue(1, JobKind::kReserve, kDevice, 0, seconds(5));
    EXPECT_TRUE(run().empty());
    pass(seconds(2));
    EXPECT_EQ(run(), std::vector<int>{2});
    pass(milliseconds(4999));
    expect_waits(2, JobKind::kSingle);
    pass(milliseconds(1));
    EXPECT_EQ(run(), std::vector<int>{3});
}

TEST_F(SchedulerTest, AReservationOfTheSameClientRenewsTheTime) {
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(5));
    run();
    pass(seconds(4));
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(5));
    run();
    pass(seconds(4));
    expect_waits(1, JobKind::kSingle);
    EXPECT_EQ(scheduler_.holds(now_).size(), 1U);
}

TEST_F(SchedulerTest, AReservationThatRunsOutIsNoExpiredTransaction) {
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(1));
    run();
    pass(seconds(1));
    expect_runs(0, JobKind::kLast);
}

TEST_F(SchedulerTest, AReservationOutlivesATransactionWithin) {
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(30));
    run();
    expect_runs(0, JobKind::kFirst);
    expect_runs(0, JobKind::kLast);
    expect_waits(1, JobKind::kSingle);
}

TEST_F(SchedulerTest, AReservationIsGivenBack) {
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(30));
    run();
    expect_waits(1, JobKind::kSingle);
    enqueue(0, JobKind::kRelease);
    EXPECT_EQ(run(), (std::vector<int>{3, 2}));
}

TEST_F(SchedulerTest, GivingBackWaitsForNobodyAndTakesNothingFromOthers) {
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(30));
    run();
    expect_runs(1, JobKind::kRelease);
    expect_waits(1, JobKind::kSingle);
}

TEST_F(SchedulerTest, AReservationOfABusWaitsForEveryDeviceOnIt) {
    expect_runs(0, JobKind::kFirst);
    expect_waits(1, JobKind::kReserve, {BusKind::kI2c, 3, 0, 0x100});
}

TEST_F(SchedulerTest, AWaitingRequestTimesOut) {
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(60));
    run();
    enqueue(1, JobKind::kSingle);
    enqueue(1, JobKind::kSingle);
    pass(milliseconds(9999));
    EXPECT_TRUE(run().empty());
    EXPECT_EQ(scheduler_.deadline(), now_ + milliseconds(1));
    pass(milliseconds(1));
    EXPECT_EQ(run(), (std::vector<int>{-2, -3}));
    EXPECT_EQ(verdict_, Verdict::kTimedOut);
    EXPECT_FALSE(scheduler_.deadline());
}

TEST_F(SchedulerTest, SaysBeforehandWhoHasToWait) {
    expect_runs(0, JobKind::kFirst);
    const Job of_other = {.client = 1, .footprint = kDevice};
    const Job of_holder = {.client = 0, .footprint = kDevice};
    EXPECT_TRUE(scheduler_.must_wait(of_other, now_));
    EXPECT_FALSE(scheduler_.must_wait(of_holder, now_));
    EXPECT_FALSE(scheduler_.must_wait(of_other, now_ + seconds(2)));
}

TEST_F(SchedulerTest, TakesSoManyRequestsOfOneClient) {
    for (size_t i = 0; i < kMaxWaitingPerClient; ++i) {
        enqueue(0, JobKind::kSingle);
    }
    EXPECT_FALSE(scheduler_.has_room({.client = 0, .footprint = kDevice}, now_));
    EXPECT_TRUE(scheduler_.has_room({.client = 1, .footprint = kDevice}, now_));
    EXPECT_EQ(run().size(), kMaxWaitingPerClient);
    expect_runs(0, JobKind::kSingle);
}

TEST_F(SchedulerTest, TakesSoManyRequestsInAll) {
    expect_runs(255, JobKind::kFirst);
    for (size_t i = 0; i < kMaxWaiting; ++i) {
        enqueue(static_cast<uint32_t>(i % 200), JobKind::kSingle);
    }
    EXPECT_EQ(scheduler_.waiting(), kMaxWaiting);
    EXPECT_FALSE(scheduler_.has_room({.client = 201, .footprint = kDevice}, now_));
    EXPECT_FALSE(scheduler_.has_room({.client = 0, .footprint = kOther}, now_))
        << "behind its client's others";
    EXPECT_TRUE(scheduler_.has_room({.client = 201, .footprint = kOther}, now_));
    enqueue(255, JobKind::kLast);
    EXPECT_EQ(run().size(), kMaxWaiting + 1);
    EXPECT_EQ(scheduler_.waiting(), 0U);
}

TEST_F(SchedulerTest, GivesAClientSoManyHolds) {
    for (uint32_t bus = 0; bus < kMaxHoldsPerClient; ++bus) {
        expect_runs(0, JobKind::kFirst, {BusKind::kI2c, bus, 0, 1});
    }
    expect_refused(0, JobKind::kFirst, Verdict::kTooManyHolds);
    expect_refused(0, JobKind::kReserve, Verdict::kTooManyHolds);
    expect_runs(0, JobKind::kFirst, {BusKind::kI2c, 0, 0, 1});
    expect_runs(1, JobKind::kFirst);
}

TEST_F(SchedulerTest, ForgetsAllOfAClient) {
    expect_runs(0, JobKind::kFirst);
    pass(seconds(2));
    expect_runs(0, JobKind::kFirst, kOther);
    expect_runs(1, JobKind::kFirst);
    expect_waits(0, JobKind::kSingle);
    expect_waits(0, JobKind::kSingle);
    EXPECT_EQ(scheduler_.forget(0), (std::vector<uint32_t>{4, 5}));
    EXPECT_EQ(scheduler_.waiting(), 0U);
    EXPECT_FALSE(scheduler_.has_hold(0, now_));
    EXPECT_TRUE(scheduler_.has_hold(1, now_));
    expect_runs(1, JobKind::kLast);
    expect_runs(0, JobKind::kLast);
}

TEST_F(SchedulerTest, TwoClientsThatWaitForEachOtherDoNotWaitForEver) {
    expect_runs(0, JobKind::kFirst, kDevice);
    expect_runs(1, JobKind::kFirst, kOther);
    expect_waits(0, JobKind::kSingle, kOther);
    expect_waits(1, JobKind::kSingle, kDevice);
    pass(seconds(2));
    EXPECT_EQ(run(), (std::vector<int>{3, 4}));
}

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
