// SPDX-License-Identifier: MIT
// The timer calls of the C library under a test's control, by the linker's --wrap: they are noted,
// and one of them can be made to fail.
#ifndef TESTS_COMMON_EVENTS_TIMER_DOUBLES_H
#define TESTS_COMMON_EVENTS_TIMER_DOUBLES_H

#include <csignal>
#include <ctime>
#include <string>
#include <vector>

namespace diag::test {

enum class TimerCall { kSigaction, kMask, kUnmask, kCreate, kSettime };

// While it lives, calls are noted as "sigaction 14", "mask 14", "unblock 14", "create realtime
// silent", "create realtime default", "settime 0.100000000 0.100000000", "delete".
class NotedTimerCalls {
  public:
    NotedTimerCalls();
    ~NotedTimerCalls();
    NotedTimerCalls(const NotedTimerCalls &) = delete;
    NotedTimerCalls &operator=(const NotedTimerCalls &) = delete;

    void fail(TimerCall call);

    std::vector<std::string> all() const;
};

}  // namespace diag::test

#endif
