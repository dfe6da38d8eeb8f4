// SPDX-License-Identifier: MIT
// The last word of a client whose process a signal ends: what still waits for its turn must not be
// performed when nobody is there any more.
#ifndef DIAGS_BROKER_FAREWELL_H
#define DIAGS_BROKER_FAREWELL_H

#include "diags/broker/client.h"

namespace diag::broker {

// One at a time, and no longer than the client.
class Farewell {
  public:
    explicit Farewell(Client &client);
    ~Farewell();
    Farewell(const Farewell &) = delete;
    Farewell &operator=(const Farewell &) = delete;
};

// Tells the daemon that the client gives up. Safe in a signal handler; nothing without a Farewell.
void say_farewell();

}  // namespace diag::broker

#endif
