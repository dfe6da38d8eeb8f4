// SPDX-License-Identifier: MIT
// Waking threads that wait for something to happen, also from a signal handler, where a condition
// variable may not be used.
#ifndef DIAGS_COMMON_SRC_WAKEUP_H
#define DIAGS_COMMON_SRC_WAKEUP_H

#include <atomic>
#include <chrono>
#include <cstdint>

#include "diag_types.h"

namespace diag {

// A waiter takes a ticket, looks whether there is something to do, and if not waits with the
// ticket: whatever happens after the ticket was taken ends the wait at once.
class Wakeup {
  public:
    using Ticket = uint32_t;

    Ticket ticket() const { return events_.load(); }

    // Wakes everybody who waits. Safe in a signal handler; leaves errno alone.
    void notify();

    // May return early, without an event.
    void wait(Ticket ticket, std::chrono::milliseconds at_most);

  private:
    std::atomic<uint32_t> events_{0};
    std::atomic<uint32_t> waiters_{0};
};

// What a client's transmit thread waits on: a tick has come. Clients may share one; waiters look for
// themselves.
Wakeup &transmit_wakeup(const tool_info *client);

// What the callers of a client's requests wait on: an outcome was queued.
Wakeup &outcome_wakeup(const tool_info *client);

}  // namespace diag

#endif
