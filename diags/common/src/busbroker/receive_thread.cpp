// SPDX-License-Identifier: MIT
// The thread that receives the daemon's datagrams.
#include <poll.h>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/busbroker/cancellation.h"
#include "diags/common/src/busbroker/receive.h"
#include "diags/common/src/log.h"

namespace {

// How long the thread leaves the socket to a caller that receives its answers itself.
constexpr int kNapMilliseconds = 2;

// After this a thread that has been cancelled ends at the latest. It is not cancelled inside poll:
// the thread sanitizer would lose sight of the locks that its end takes.
constexpr int kLookAgainMilliseconds = 50;

// Errors of the socket are left to the receiving. poll would wait for ever where there is no
// descriptor.
void wait_for_datagram(int fd) {
    pollfd readable{fd, POLLIN, 0};
    while (fd >= 0 && poll(&readable, 1, kLookAgainMilliseconds) == 0) {
        diag::accept_cancellation();
    }
    diag::accept_cancellation();
}

void nap() {
    poll(nullptr, 0, kNapMilliseconds);
    diag::accept_cancellation();
}

// One datagram; none, after a nap, when a caller has the turn. False when the socket is of no use
// any more.
bool receive_one(diag::Receiver &receiver) {
    if (diag::Receiver::Turn turn(receiver); turn) {
        return turn.receive() == 0;
    }
    nap();
    return true;
}

}  // namespace

void *sock_rx_thread(void *ctx) {
    auto *client = static_cast<tool_info *>(ctx);
    if (client == nullptr) {
        DIAG_ERROR("NULL Ptr received as tool info. Exiting the rx thread\n");
        return nullptr;
    }
    diag::refuse_cancellation();
    diag::Receiver receiver(*client);
    do {
        wait_for_datagram(client->sock_fd);
    } while (receive_one(receiver));
    diag::Receiver::end_process(*client);
}
