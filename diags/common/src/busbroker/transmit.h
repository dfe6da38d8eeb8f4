// SPDX-License-Identifier: MIT
// Sending the frames of a client's queue. The transmit thread does it whenever it looks at the
// queue; a frame that is queued while that thread runs is sent on the spot, by the thread that
// queues it, which saves the request a change of threads.
#ifndef DIAGS_COMMON_SRC_BUSBROKER_TRANSMIT_H
#define DIAGS_COMMON_SRC_BUSBROKER_TRANSMIT_H

#include "busbroker.h"

namespace diag {

// A client whose transmit thread runs. Lives on the stack of that thread.
class Transmitter {
  public:
    explicit Transmitter(tool_info &client);
    Transmitter(const Transmitter &) = delete;
    Transmitter &operator=(const Transmitter &) = delete;
    ~Transmitter();

    // The client's, or null when its thread does not run. It stays while the client's tx_lock is
    // held.
    static Transmitter *of(const tool_info &client);

    // Sends what is due, from the head of the queue up to the first frame that waits for its
    // answer. The caller holds tx_lock.
    void send_due_frames();

  private:
    tool_info &client_;
    unsigned steps_over_ = 0;  // frames stepped over as nothing is awaited for them; never reset
    Transmitter *next_ = nullptr;
};

}  // namespace diag

#endif
