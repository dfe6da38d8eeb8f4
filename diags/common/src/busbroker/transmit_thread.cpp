// SPDX-License-Identifier: MIT
// The thread that sends a client's frames, and sends them again while no answer comes.
#include <cerrno>
#include <cstring>
#include <sys/socket.h>

#include "busbroker.h"
#include "diag_util.h"
#include "timer_epoll.h"

#include "diags/common/src/busbroker/cancellation.h"
#include "diags/common/src/busbroker/lock.h"
#include "diags/common/src/busbroker/queues.h"
#include "diags/common/src/log.h"
#include "diags/common/src/wakeup.h"

namespace {

constexpr char kThread[] = "sock_tx_thread";

// A tick flag that somebody sets by hand, without the wake-up, is seen after this at the latest.
constexpr std::chrono::milliseconds kLookAgain{10};

// After this many frames for which nothing is awaited have been stepped over, the thread sends
// nothing any more.
constexpr unsigned kStepsOverAtMost = 5;

constexpr uint8_t kFailedSend = 2;

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
        if (sent == -1 && errno != EINTR) {
            DIAG_ERROR_IN(kThread, "Error while trying to send data with errcode %d\n", errno);
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

bool take_tick(tool_info &client) {
    return __atomic_exchange_n(&client.tick_flag, uint8_t{0}, __ATOMIC_ACQ_REL) != 0;
}

// Sends what is due, from the head of the queue up to the first frame that waits for its answer.
// `steps_over` counts for the life of the thread.
void send_due_frames(tool_info &client, unsigned &steps_over) {
    tx_entry *entry = client.tx_queue;
    while (entry != nullptr && steps_over < kStepsOverAtMost) {
        if (entry->countdown == 0 && !diag::is_given_up(*entry)) {
            send_entry(client, *entry);
            continue;
        }
        if ((entry->resp_expect & DIAG_EXPECT_NOTHING) == 0) {
            return;
        }
        entry = entry->next;
        steps_over++;
    }
}

// Whether some caller has waited long enough.
bool has_given_up(const tool_info &client) {
    for (const tx_entry *entry = client.tx_queue; entry != nullptr; entry = entry->next) {
        if (diag::is_given_up(*entry)) {
            return true;
        }
    }
    return false;
}

void look_at_queue(tool_info &client, unsigned &steps_over) {
    bool wake_callers = false;
    {
        const diag::Lock lock(client.tx_lock);
        if (take_tick(client)) {
            busbroker_tx_queue_timeout_update(&client);
        }
        send_due_frames(client, steps_over);
        wake_callers = has_given_up(client);
    }
    if (wake_callers) {
        diag::outcome_wakeup(&client).notify();
    }
}

void silence(time_out_call &call) {
    __atomic_store_n(&call.fn, nullptr, __ATOMIC_RELEASE);
}

// The client's call on every tick, until the thread is cancelled.
class TickRegistration {
  public:
    explicit TickRegistration(tool_info &client) : client_(client) {
        diag_print(3, "Registering for timeout calls\n");
        register_timeout_calls(DIAG_TIME_OUT_EACH_TICK, tick(), &client);
    }
    TickRegistration(const TickRegistration &) = delete;
    TickRegistration &operator=(const TickRegistration &) = delete;

    // Nothing is taken out of the list, which a tick may be walking.
    ~TickRegistration() {
        for (time_out_call *call = time_out_calls_list.type1; call != nullptr; call = call->next) {
            if (call->fn == tick() && call->arg == &client_) {
                silence(*call);
            }
        }
    }

  private:
    static void (*tick())(void *) { return reinterpret_cast<void (*)(void *)>(timeout_update); }

    tool_info &client_;
};

}  // namespace

void *sock_tx_thread(void *ctx) {
    auto *client = static_cast<tool_info *>(ctx);
    if (client == nullptr) {
        DIAG_ERROR("Socket tx thread received a NULL ptr as tool info. Exiting thread \n");
        return nullptr;
    }
    diag::refuse_cancellation();
    const TickRegistration registration(*client);
    diag::Wakeup &wakeup = diag::transmit_wakeup(client);
    unsigned steps_over = 0;
    for (;;) {
        const diag::Wakeup::Ticket ticket = wakeup.ticket();
        look_at_queue(*client, steps_over);
        wakeup.wait(ticket, kLookAgain);
        diag::accept_cancellation();
    }
}
