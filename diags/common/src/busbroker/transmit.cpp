// SPDX-License-Identifier: MIT
#include "diags/common/src/busbroker/transmit.h"

#include <cerrno>
#include <cstring>
#include <pthread.h>
#include <sys/socket.h>

#include "diag_util.h"

#include "diags/common/src/busbroker/lock.h"
#include "diags/common/src/busbroker/queues.h"
#include "diags/common/src/log.h"

namespace diag {

namespace {

// The transmit thread is where callers know the sending to happen.
constexpr char kThread[] = "sock_tx_thread";

// A client that has stepped over frames for which nothing is awaited this many times sends nothing
// any more, be it one frame or several.
constexpr unsigned kStepsOverAtMost = 5;

constexpr uint8_t kFailedSend = 2;

// All that run. The lock is taken inside a client's tx_lock.
pthread_mutex_t transmitters_lock = PTHREAD_MUTEX_INITIALIZER;
Transmitter *transmitters = nullptr;

// The socket calls are given room for an address of any family.
sockaddr_storage daemon_address(const tool_info &client) {
    sockaddr_storage address{};
    std::memcpy(&address, &client.sock_cfg.addr, sizeof client.sock_cfg.addr);
    return address;
}

// What is left after a short send goes out again from the front of the frame: the daemon looks for
// a whole frame and drops the piece.
bool send_frame(const tool_info &client, const tx_entry &entry) {
    const sockaddr_storage address = daemon_address(client);
    size_t left = entry.frame_len;
    do {
        const ssize_t sent = sendto(client.sock_fd, entry.frame, left, MSG_NOSIGNAL,
                                    reinterpret_cast<const sockaddr *>(&address), sizeof address);
        if (const int error = errno; sent == -1 && error != EINTR) {
            DIAG_ERROR_IN(kThread, "Error while trying to send data with errcode %d\n", error);
            return false;
        }
        left -= sent > 0 ? static_cast<size_t>(sent) : 0;
    } while (left != 0);
    return true;
}

void send_entry(const tool_info &client, tx_entry &entry) {
    entry.countdown = entry.retry_ms;
    const bool sent = send_frame(client, entry);
    entry.send_count = static_cast<uint8_t>(entry.send_count + (sent ? 1 : kFailedSend));
}

}  // namespace

Transmitter::Transmitter(tool_info &client) : client_(client) {
    const Lock tx_lock(client.tx_lock);
    const Lock lock(transmitters_lock);
    next_ = transmitters;
    transmitters = this;
}

Transmitter::~Transmitter() {
    const Lock tx_lock(client_.tx_lock);
    const Lock lock(transmitters_lock);
    Transmitter **link = &transmitters;
    while (*link != this) {
        link = &(*link)->next_;
    }
    *link = next_;
}

Transmitter *Transmitter::of(const tool_info &client) {
    const Lock lock(transmitters_lock);
    Transmitter *found = transmitters;
    while (found != nullptr && &found->client_ != &client) {
        found = found->next_;
    }
    return found;
}

void Transmitter::send_due_frames() {
    tx_entry *entry = client_.tx_queue;
    while (entry != nullptr && steps_over_ < kStepsOverAtMost) {
        if (entry->countdown == 0 && !is_given_up(*entry)) {
            send_entry(client_, *entry);
            continue;
        }
        if ((entry->resp_expect & DIAG_EXPECT_NOTHING) == 0) {
            return;
        }
        entry = entry->next;
        steps_over_++;
    }
}

}  // namespace diag
