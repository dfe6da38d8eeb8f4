// SPDX-License-Identifier: MIT
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "timer_epoll.h"

#include "tests/common/events/timer_doubles.h"
#include "tests/common/library_test.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

using Calls = std::vector<std::string>;

constexpr char kFunction[] = "init_timer";

class TimerTest : public LibraryTest {
  protected:
    TimerTest() {
        sigaction(SIGALRM, nullptr, &action_);
        pthread_sigmask(SIG_SETMASK, nullptr, &mask_);
    }
    ~TimerTest() override {
        drop();
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;  // one that is still under way
        sigaction(SIGALRM, &ignore, nullptr);
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        sigaction(SIGALRM, &action_, nullptr);
    }

    uint32_t init(int mode, int type = DIAG_TIMER_1_S) {
        drop();
        timer_ = not_a_timer();
        const uint32_t status = init_timer(mode, &timer_, type);
        has_timer_ = status == 0 && (mode == DIAG_TIMER_SILENT || mode == DIAG_TIMER_TICK);
        return status;
    }
    void drop() {
        if (has_timer_) {
            timer_delete(timer_);  // the first one of a process may have the number 0
        }
        has_timer_ = false;
    }
    static timer_t not_a_timer() {
        static char nothing;
        return &nothing;
    }

    timer_t timer_ = nullptr;

  private:
    bool has_timer_ = false;
    struct sigaction action_ {};
    sigset_t mask_{};
};

std::vector<int> blocked_signals() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    std::vector<int> signals;
    for (int signal = 1; signal < SIGRTMIN; signal++) {
        if (sigismember(&mask, signal) == 1) {
            signals.push_back(signal);
        }
    }
    return signals;
}

void block(std::initializer_list<int> signals) {
    sigset_t mask;
    sigemptyset(&mask);
    for (const int signal : signals) {
        sigaddset(&mask, signal);
    }
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

struct sigaction alarm_action() {
    struct sigaction action {};
    sigaction(SIGALRM, nullptr, &action);
    return action;
}

// ---- to wait on ----

TEST_F(TimerTest, ASilentTimerIsMadeAndNotArmed) {
    for (const int type : {0, 1, 2, 3, -1}) {
        const NotedTimerCalls calls;
        EXPECT_EQ(init(DIAG_TIMER_SILENT, type), 0U);
        EXPECT_EQ(calls.all(), Calls{"create realtime silent"});
        itimerspec left{{1, 1}, {1, 1}};
        EXPECT_EQ(timer_gettime(timer_, &left), 0);
        EXPECT_EQ(left.it_value.tv_sec, 0);
        EXPECT_EQ(left.it_value.tv_nsec, 0);
        drop();
    }
    EXPECT_EQ(alarm_action().sa_handler, SIG_DFL);
    EXPECT_EQ(logged_by([this] { init(DIAG_TIMER_SILENT); }), Messages{});
}

TEST_F(TimerTest, ASilentTimerThatCannotBeMadeIsAnError) {
    NotedTimerCalls calls;
    calls.fail(TimerCall::kCreate);
    EXPECT_EQ(logged_by([this] { EXPECT_EQ(init(DIAG_TIMER_SILENT), DIAG_E_INVAL); }),
              error_in(kFunction, "Failed to create timer \n"));
    EXPECT_EQ(timer_, nullptr);
}

// ---- ticking ----

struct TypeCase {
    int type;
    const char *settime;
};

TEST_F(TimerTest, ATickingTimerIsSetUpStepByStep) {
    for (const TypeCase &type : {TypeCase{0, "settime 0.001000000 0.001000000"},
                                 {1, "settime 0.100000000 0.100000000"},
                                 {2, "settime 1.000000000 1.000000000"}}) {
        const NotedTimerCalls calls;
        EXPECT_EQ(init(DIAG_TIMER_TICK, type.type), 0U);
        EXPECT_EQ(calls.all(), (Calls{"sigaction 14", "mask 14", "create realtime default",
                                      type.settime, "unblock 14"}));
        EXPECT_NE(timer_, not_a_timer());
        drop();
    }
}

TEST_F(TimerTest, ATickingTimerIsTold) {
    EXPECT_EQ(logged_by([this] { init(DIAG_TIMER_TICK); }),
              (Messages{{3, "Timer created succesfully\n"}}));
}

TEST_F(TimerTest, TheHandlerRunsWithNoOtherSignalBlockedAndInterruptsCalls) {
    EXPECT_EQ(init(DIAG_TIMER_TICK), 0U);
    const struct sigaction action = alarm_action();
    EXPECT_EQ(action.sa_handler, timer_handler);
    EXPECT_EQ(action.sa_flags & (SA_RESTART | SA_SIGINFO | SA_NODEFER | SA_RESETHAND), 0);
    for (int signal = 1; signal < SIGRTMIN; signal++) {
        EXPECT_EQ(sigismember(&action.sa_mask, signal), 0) << signal;
    }
}

// The mask of the calling thread is replaced, not added to.
TEST_F(TimerTest, NoSignalIsBlockedAfterwards) {
    block({SIGUSR1, SIGALRM, SIGTERM});
    EXPECT_EQ(init(DIAG_TIMER_TICK), 0U);
    EXPECT_EQ(blocked_signals(), std::vector<int>{});
}

TEST_F(TimerTest, OtherTypesAreRefusedAndLeaveNothingBehind) {
    block({SIGUSR1});
    for (const int type : {3, -1, 16, 100}) {
        const NotedTimerCalls calls;
        EXPECT_EQ(init(DIAG_TIMER_TICK, type), DIAG_E_INVAL);
        EXPECT_EQ(timer_, nullptr);
        EXPECT_EQ(calls.all(), (Calls{"sigaction 14", "mask 14", "create realtime default",
                                      "delete", "mask 10"}));
        EXPECT_EQ(blocked_signals(), std::vector<int>{SIGUSR1});
    }
    EXPECT_EQ(logged_by([this] { init(DIAG_TIMER_TICK, 3); }),
              (Messages{{0, "Only 1mSec, 16mSec, 1Sec timeout types are supported\n"}}));
}

struct FailureCase {
    TimerCall call;
    Messages messages;
    Calls calls;
};

TEST_F(TimerTest, EachFailureIsAnErrorAndLeavesNothingBehind) {
    block({SIGUSR1});
    const Message created{3, "Timer created succesfully\n"};
    const auto error = [](const char *text) { return error_in(kFunction, text); };
    const auto after_creation = [&](const char *text) {
        Messages messages = {created};
        for (const Message &message : error(text)) {
            messages.push_back(message);
        }
        return messages;
    };
    const std::string settime = "settime 1.000000000 1.000000000";
    const FailureCase cases[] = {
        {TimerCall::kSigaction, error("Failed to allocate handler for timer\n"), {"sigaction 14"}},
        {TimerCall::kMask, error("Failed to mask the signal\n"), {"sigaction 14", "mask 14"}},
        {TimerCall::kCreate,
         error("Failed to create timer \n"),
         {"sigaction 14", "mask 14", "create realtime default", "mask 10"}},
        {TimerCall::kUnmask,
         after_creation("Can't un mask the timer signal\n"),
         {"sigaction 14", "mask 14", "create realtime default", settime, "unblock 14", "delete",
          "mask 10"}},
    };
    for (const FailureCase &failure : cases) {
        EXPECT_EQ(logged_by([&] {
                      NotedTimerCalls calls;
                      calls.fail(failure.call);
                      EXPECT_EQ(init(DIAG_TIMER_TICK), DIAG_E_INVAL);
                      EXPECT_EQ(timer_, nullptr);
                      EXPECT_EQ(calls.all(), failure.calls);
                  }),
                  failure.messages);
        EXPECT_EQ(blocked_signals(), std::vector<int>{SIGUSR1});
    }
}

TEST_F(TimerTest, ATimerThatCannotBeSetIsAnErrorWithItsNumber) {
    block({SIGUSR1});
    NotedTimerCalls calls;
    calls.fail(TimerCall::kSettime);
    const std::string text = printed([this] { EXPECT_EQ(init(DIAG_TIMER_TICK), DIAG_E_INVAL); });
    const std::string expected = error_text(kFunction, "Failed to set time to timer with id ");
    ASSERT_TRUE(text.starts_with(expected)) << text;
    EXPECT_EQ(text.substr(expected.size()).find_first_not_of("-0123456789"),
              text.size() - expected.size() - 1);
    EXPECT_EQ(text.back(), '\n');
    EXPECT_EQ(timer_, nullptr);
    EXPECT_EQ(calls.all(), (Calls{"sigaction 14", "mask 14", "create realtime default",
                                  "settime 1.000000000 1.000000000", "delete", "mask 10"}));
    EXPECT_EQ(blocked_signals(), std::vector<int>{SIGUSR1});
}

// ---- neither ----

TEST_F(TimerTest, OtherModesMakeNothing) {
    for (const int mode : {2, 3, -1, 257}) {
        const NotedTimerCalls calls;
        EXPECT_EQ(init(mode), 0U);
        EXPECT_EQ(timer_, nullptr);
        EXPECT_EQ(calls.all(), Calls{});
    }
    EXPECT_EQ(alarm_action().sa_handler, SIG_DFL);
    EXPECT_EQ(logged_by([this] { init(2); }), Messages{});
}

TEST_F(TimerTest, APlaceForTheTimerIsNeeded) {
    const NotedTimerCalls calls;
    for (const int mode : {DIAG_TIMER_SILENT, DIAG_TIMER_TICK}) {
        EXPECT_EQ(init_timer(mode, nullptr, 0), DIAG_E_INVAL);
    }
    EXPECT_EQ(calls.all(), Calls{});
}

// ---- real ticks ----

std::atomic<int> ticks;
std::atomic<int> tenth_ticks;

void count(void *counter) {
    (*static_cast<std::atomic<int> *>(counter))++;
}

// The calls of one test, forgotten at its end.
class CountedTicks {
  public:
    CountedTicks() {
        ticks = tenth_ticks = 0;
        register_timeout_calls(DIAG_TIME_OUT_EACH_TICK, count, &ticks);
        register_timeout_calls(DIAG_TIME_OUT_TENTH_TICK, count, &tenth_ticks);
    }
    ~CountedTicks() {
        std::free(time_out_calls_list.type1);
        std::free(time_out_calls_list.type2);
        time_out_calls_list = {};
    }
    CountedTicks(const CountedTicks &) = delete;
    CountedTicks &operator=(const CountedTicks &) = delete;

    static bool wait_for(int count) {
        using std::chrono::steady_clock;
        const auto deadline = steady_clock::now() + std::chrono::seconds(20);
        while (ticks < count && steady_clock::now() < deadline) {
            pause_shortly();
        }
        return ticks >= count;
    }

  private:
    static void pause_shortly() {
        const timespec nap{0, 1'000'000};
        nanosleep(&nap, nullptr);
    }
};

TEST_F(TimerTest, EachExpiryIsATick) {
    const CountedTicks counted;
    EXPECT_EQ(init(DIAG_TIMER_TICK, DIAG_TIMER_1_MS), 0U);
    EXPECT_TRUE(CountedTicks::wait_for(100));
    drop();
    EXPECT_LE(std::abs(tenth_ticks * 10 - ticks), 10);
}

TEST_F(TimerTest, TicksOfAHundredMillisecondsAreNotFaster) {
    const CountedTicks counted;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(init(DIAG_TIMER_TICK, DIAG_TIMER_100_MS), 0U);
    EXPECT_TRUE(CountedTicks::wait_for(3));
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    EXPECT_GE(taken.count(), 0.25);
}

TEST_F(TimerTest, ATickInterruptsABlockedCall) {
    const CountedTicks counted;
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    EXPECT_EQ(init(DIAG_TIMER_TICK, DIAG_TIMER_1_MS), 0U);
    char byte = 0;
    EXPECT_EQ(read(pipe_ends[0], &byte, 1), -1);
    EXPECT_EQ(errno, EINTR);
    drop();
    close(pipe_ends[0]);
    close(pipe_ends[1]);
}

}  // namespace
}  // namespace diag::test
