// SPDX-License-Identifier: MIT
#include "tests/tools/busbroker/scheduler_test.h"

#include <gtest/gtest.h>

namespace diag::daemon {
namespace {

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

TEST_F(SchedulerTest, ANewTransactionThatFailsMakesTheExpiredOneForgottenToo) {
    expect_runs(0, JobKind::kFirst);
    pass(seconds(2));
    EXPECT_EQ(run_one(0, JobKind::kFirst, kDevice, false).size(), 1U);
    expect_runs(0, JobKind::kLast);
    expect_refused(0, JobKind::kNext, Verdict::kNoTransaction);
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

constexpr Footprint kBus = {BusKind::kI2c, 3, 0, 0x100};

TEST_F(SchedulerTest, AReservationWithinALongerOneLeavesThatAsItIs) {
    enqueue(0, JobKind::kReserve, kBus, 0, seconds(9));
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(1));
    EXPECT_EQ(run().size(), 2U);
    EXPECT_EQ(scheduler_.holds(now_).size(), 2U);
    pass(seconds(8));
    expect_waits(1, JobKind::kSingle, kDevice);
    expect_waits(2, JobKind::kSingle, kOther);
    pass(seconds(1));
    EXPECT_EQ(run().size(), 2U);
}

TEST_F(SchedulerTest, GivingBackADeviceGivesNotBackItsBus) {
    enqueue(0, JobKind::kReserve, kBus, 0, seconds(9));
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(9));
    enqueue(0, JobKind::kRelease, kDevice);
    EXPECT_EQ(run().size(), 3U);
    expect_waits(1, JobKind::kSingle, kDevice);
    enqueue(0, JobKind::kRelease, kBus);
    EXPECT_EQ(run(), (std::vector<int>{5, 4}));
}

TEST_F(SchedulerTest, AReservationThatIsRenewedForLessEndsSooner) {
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(9));
    enqueue(0, JobKind::kReserve, kDevice, 0, seconds(1));
    EXPECT_EQ(run().size(), 2U);
    EXPECT_EQ(scheduler_.holds(now_).size(), 1U);
    pass(seconds(1));
    expect_runs(1, JobKind::kSingle);
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

TEST_F(SchedulerTest, GivesAClientAsManyHoldsAgainOnceTheyHaveEnded) {
    for (int round = 0; round < 3; ++round) {
        for (uint32_t bus = 0; bus < kMaxHoldsPerClient; ++bus) {
            expect_runs(0, JobKind::kFirst, {BusKind::kI2c, bus, 0, 1});
        }
        EXPECT_TRUE(scheduler_.has_hold(0, now_));
        EXPECT_EQ(scheduler_.holds(now_).size(), kMaxHoldsPerClient);
        pass(seconds(2));
        EXPECT_FALSE(scheduler_.has_hold(0, now_));
    }
    expect_runs(0, JobKind::kFirst);
    scheduler_.forget(0);
    EXPECT_FALSE(scheduler_.has_hold(0, now_));
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

}  // namespace
}  // namespace diag::daemon
