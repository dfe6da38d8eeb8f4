// SPDX-License-Identifier: MIT
// Waiting on the caller's timer, and the two time stamps of the broker client's context.
#include <algorithm>
#include <cmath>
#include <limits>
#include <sys/time.h>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/log.h"
#include "diags/common/src/wakeup.h"

namespace {

constexpr double kNanosecondsPerSecond = 1e9;

// Seconds that a timer cannot hold become a time that timer_settime refuses or never reaches.
timespec to_timespec(double seconds) {
    constexpr int kMost = std::numeric_limits<int>::max();
    if (std::isnan(seconds)) {
        return {-1, 0};
    }
    const double bounded = std::clamp(seconds, -static_cast<double>(kMost), double{kMost});
    const int whole = static_cast<int>(bounded);
    return {whole, static_cast<long>((bounded - whole) * kNanosecondsPerSecond)};
}

// Sleeps until less than a second should be left, but looks again every 50 ms: somebody else may
// disarm the timer or set it anew.
void sleep_while_seconds_remain(const timespec &left) {
    constexpr timespec kSlice{0, 50'000'000};
    const bool almost = left.tv_sec == 1 && left.tv_nsec < kSlice.tv_nsec;
    const timespec nap = almost ? timespec{0, left.tv_nsec + 1} : kSlice;
    nanosleep(&nap, nullptr);
}

}  // namespace

void waitfor_timeout(timer_t timer_id, double seconds) {
    itimerspec once{};
    once.it_value = to_timespec(seconds);
    if (timer_settime(timer_id, 0, &once, nullptr) == -1) {
        DIAG_ERROR("Failed to set time to timer with id\n");
        return;
    }
    // Only whole seconds count, so the call ends up to a second early; callers are tuned to it.
    itimerspec left{};
    while (timer_gettime(timer_id, &left) == 0 && left.it_value.tv_sec != 0) {
        sleep_while_seconds_remain(left.it_value);
    }
}

void timeout_update(tool_info *ctx) {
    if (ctx != nullptr) {
        // Runs in signal context while the transmit thread tests and clears the flag.
        __atomic_store_n(&ctx->tick_flag, uint8_t{1}, __ATOMIC_RELEASE);
        diag::transmit_wakeup(ctx).notify();
    }
}

int update_time(tool_info *ctx) {
    if (ctx != nullptr) {
        gettimeofday(&ctx->last_rx_time, nullptr);
    }
    return 1;
}
