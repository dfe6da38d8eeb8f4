// SPDX-License-Identifier: MIT
#include "tests/common/busbroker/time_doubles.h"

#include <mutex>
#include <optional>

namespace {

std::mutex lock;  // threads of a client may ask for the time as well
std::optional<timeval> stopped_at;
diag::test::NotedWaits *noted = nullptr;

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's (--wrap)
extern "C" {

int __real_gettimeofday(struct timeval *now, void *zone);
void __real_waitfor_timeout(timer_t timer, double seconds);

int __wrap_gettimeofday(struct timeval *now, void *zone) {
    const std::lock_guard guard(lock);
    if (!stopped_at) {
        return __real_gettimeofday(now, zone);
    }
    *now = *stopped_at;
    return 0;
}

void __wrap_waitfor_timeout(timer_t timer, double seconds) {
    if (noted == nullptr) {
        __real_waitfor_timeout(timer, seconds);
        return;
    }
    noted->note({timer, seconds});
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

namespace diag::test {

StoppedClock::StoppedClock() {
    set({1'000'000, 0});
}

StoppedClock::~StoppedClock() {
    const std::lock_guard guard(lock);
    stopped_at.reset();
}

void StoppedClock::set(const timeval &now) {
    const std::lock_guard guard(lock);
    stopped_at = now;
}

void StoppedClock::pass_seconds(int64_t seconds) {
    const timeval before = now();
    set({before.tv_sec + seconds, before.tv_usec});
}

timeval StoppedClock::now() const {
    const std::lock_guard guard(lock);
    return stopped_at.value_or(timeval{});
}

NotedWaits::NotedWaits() {
    noted = this;
}

NotedWaits::~NotedWaits() {
    noted = nullptr;
}

}  // namespace diag::test
