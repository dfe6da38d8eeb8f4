// SPDX-License-Identifier: MIT
// Time under a test's control. Calls go through these doubles by the linker's --wrap; without a
// living double they reach the real thing.
#ifndef TESTS_COMMON_BUSBROKER_TIME_DOUBLES_H
#define TESTS_COMMON_BUSBROKER_TIME_DOUBLES_H

#include <cstdint>
#include <ctime>
#include <sys/time.h>
#include <vector>

namespace diag::test {

// While it lives, gettimeofday answers what the test has set.
class StoppedClock {
  public:
    StoppedClock();
    ~StoppedClock();
    StoppedClock(const StoppedClock &) = delete;
    StoppedClock &operator=(const StoppedClock &) = delete;

    void set(const timeval &now);
    void pass_seconds(int64_t seconds);
    timeval now() const;
};

// While it lives, waitfor_timeout is noted and returns at once.
class NotedWaits {
  public:
    struct Wait {
        timer_t timer;
        double seconds;

        bool operator==(const Wait &) const = default;
    };

    NotedWaits();
    ~NotedWaits();
    NotedWaits(const NotedWaits &) = delete;
    NotedWaits &operator=(const NotedWaits &) = delete;

    const std::vector<Wait> &all() const { return waits_; }
    void note(const Wait &wait) { waits_.push_back(wait); }

  private:
    std::vector<Wait> waits_;
};

}  // namespace diag::test

#endif
