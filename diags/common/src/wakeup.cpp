// SPDX-License-Identifier: MIT
#include "diags/common/src/wakeup.h"

#include <array>
#include <cerrno>
#include <climits>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace diag {

namespace {

static_assert(std::atomic<uint32_t>::is_always_lock_free, "used in signal handlers");

long futex(std::atomic<uint32_t> *word, int operation, uint32_t value, const timespec *timeout) {
    return syscall(SYS_futex, word, operation, value, timeout, nullptr, 0);
}

// The records of clients have no room for a wake-up of their own.
constexpr size_t kStripes = 64;
using Stripes = std::array<Wakeup, kStripes>;

constinit Stripes transmit_wakeups;
constinit Stripes outcome_wakeups;

Wakeup &stripe_of(Stripes &stripes, const tool_info *client) {
    constexpr uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;
    const uint64_t mixed = reinterpret_cast<uintptr_t>(client) * kGoldenRatio;
    return stripes[mixed >> 58];
}

static_assert(kStripes == 1U << (64 - 58));

}  // namespace

void Wakeup::notify() {
    events_.fetch_add(1);
    if (waiters_.load() != 0) {
        const int saved_errno = errno;
        futex(&events_, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr);
        errno = saved_errno;
    }
}

void Wakeup::wait(Ticket ticket, std::chrono::milliseconds at_most) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(at_most);
    const std::chrono::nanoseconds rest = at_most - seconds;
    const timespec timeout{seconds.count(), rest.count()};
    waiters_.fetch_add(1);
    futex(&events_, FUTEX_WAIT_PRIVATE, ticket, &timeout);
    waiters_.fetch_sub(1);
}

Wakeup &transmit_wakeup(const tool_info *client) {
    return stripe_of(transmit_wakeups, client);
}

Wakeup &outcome_wakeup(const tool_info *client) {
    return stripe_of(outcome_wakeups, client);
}

}  // namespace diag
