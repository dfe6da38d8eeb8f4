// SPDX-License-Identifier: MIT
#include <chrono>
#include <cmath>
#include <csignal>
#include <ctime>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

#include "busbroker.h"
#include "diag_util.h"

#include "tests/common/library_test.h"
#include "tests/common/process_state.h"

using diag::test::error_text;
using diag::test::printed;

namespace {

using std::chrono::steady_clock;

// A timer whose expiry nobody listens to. It does send a signal: of one that sends none, some
// kernels tell an old time after it has been disarmed.
class Timer {
  public:
    Timer() {
        sigevent event{};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGUSR2;
        if (timer_create(CLOCK_MONOTONIC, &event, &id_) != 0) {
            throw std::runtime_error("cannot make a timer");
        }
    }
    ~Timer() { timer_delete(id_); }
    Timer(const Timer &) = delete;
    Timer &operator=(const Timer &) = delete;

    timer_t id() const { return id_; }
    itimerspec left() const {
        itimerspec value{};
        EXPECT_EQ(timer_gettime(id_, &value), 0);
        return value;
    }
    void set(time_t seconds) const {
        itimerspec value{};
        value.it_value.tv_sec = seconds;
        EXPECT_EQ(timer_settime(id_, 0, &value, nullptr), 0);
    }

  private:
    const diag::test::SignalAction ignored_{SIGUSR2, SIG_IGN};
    timer_t id_{};
};

class WaitforTimeout : public diag::test::LibraryTest {
  protected:
    // How long the call takes.
    double wait(double seconds) {
        const auto start = steady_clock::now();
        waitfor_timeout(timer_.id(), seconds);
        return std::chrono::duration<double>(steady_clock::now() - start).count();
    }

    Timer timer_;
};

TEST_F(WaitforTimeout, LessThanASecondIsNoWaitButArmsTheTimer) {
    EXPECT_LT(wait(0.9), 0.5);
    const itimerspec left = timer_.left();
    EXPECT_EQ(left.it_value.tv_sec, 0);
    EXPECT_GT(left.it_value.tv_nsec, 100'000'000);
    EXPECT_EQ(left.it_interval.tv_sec, 0);
    EXPECT_EQ(left.it_interval.tv_nsec, 0);
}

TEST_F(WaitforTimeout, ReturnsWhenLessThanASecondIsLeft) {
    const double taken = wait(1.3);
    EXPECT_GE(taken, 0.29);
    EXPECT_LT(taken, 1.2);
    EXPECT_EQ(timer_.left().it_value.tv_sec, 0);
}

TEST_F(WaitforTimeout, DoesNotSpin) {
    const double before = diag::test::processor_seconds();
    wait(1.4);
    EXPECT_LT(diag::test::processor_seconds() - before, 0.2);
}

TEST_F(WaitforTimeout, ZeroDisarmsTheTimer) {
    timer_.set(100);
    EXPECT_LT(wait(0), 0.5);
    EXPECT_EQ(timer_.left().it_value.tv_sec, 0);
    EXPECT_EQ(timer_.left().it_value.tv_nsec, 0);
}

TEST_F(WaitforTimeout, EndsWhenTheTimerIsDisarmedMeanwhile) {
    const auto start = steady_clock::now();
    std::thread waiter([&] { waitfor_timeout(timer_.id(), 1000); });
    while (timer_.left().it_value.tv_sec == 0) {
        std::this_thread::yield();
    }
    timer_.set(0);
    waiter.join();
    EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(WaitforTimeout, TimesThatCannotBeSetAreReported) {
    for (const double seconds : {-1.0, -0.5, -1e300, std::nan("")}) {
        EXPECT_EQ(printed([&] { EXPECT_LT(wait(seconds), 5.0); }),
                  error_text("waitfor_timeout", "Failed to set time to timer with id\n"))
            << seconds;
    }
}

TEST_F(WaitforTimeout, SignalsDoNotEndIt) {
    const diag::test::SignalAction action(SIGUSR1, diag::test::count_signal);
    diag::test::signals_counted = 0;
    const pthread_t waiter = pthread_self();
    std::thread sender([&] {
        while (timer_.left().it_value.tv_sec == 0) {
            std::this_thread::yield();
        }
        for (int i = 0; i < 20; i++) {
            pthread_kill(waiter, SIGUSR1);
        }
    });
    EXPECT_GE(wait(1.3), 0.29);
    sender.join();
#ifndef __SANITIZE_THREAD__  // keeps signals back from a thread that makes no blocking call
    EXPECT_GT(diag::test::signals_counted, 0);
#endif
}

TEST(TimeoutUpdate, MarksATickAndNothingElse) {
    tool_info context{};
    timeout_update(&context);
    EXPECT_EQ(context.tick_flag, 1);
    timeout_update(&context);
    EXPECT_EQ(context.tick_flag, 1);
    timeout_update(nullptr);
}

TEST(UpdateTime, StoresTheTimeOfDay) {
    tool_info context{};
    timeval before{};
    timeval after{};
    gettimeofday(&before, nullptr);
    EXPECT_EQ(update_time(&context), 1);
    gettimeofday(&after, nullptr);
    EXPECT_FALSE(timercmp(&context.last_rx_time, &before, <));
    EXPECT_FALSE(timercmp(&context.last_rx_time, &after, >));
    EXPECT_EQ(context.tick_flag, 0);
}

}  // namespace
