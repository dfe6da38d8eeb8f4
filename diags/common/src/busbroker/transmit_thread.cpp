// SPDX-License-Identifier: MIT
// The thread that sends a client's frames, and sends them again while no answer comes.
#include "busbroker.h"
#include "diag_util.h"
#include "timer_epoll.h"

#include "diags/common/src/busbroker/cancellation.h"
#include "diags/common/src/busbroker/lock.h"
#include "diags/common/src/busbroker/queues.h"
#include "diags/common/src/busbroker/transmit.h"
#include "diags/common/src/lib/atomic_link.h"
#include "diags/common/src/log.h"
#include "diags/common/src/wakeup.h"

namespace {

// A tick flag that somebody sets by hand, without the wake-up, is seen after this at the latest.
constexpr std::chrono::milliseconds kLookAgain{10};

bool take_tick(tool_info &client) {
    return __atomic_exchange_n(&client.tick_flag, uint8_t{0}, __ATOMIC_ACQ_REL) != 0;
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

void look_at_queue(tool_info &client, diag::Transmitter &transmitter) {
    bool wake_callers = false;
    {
        const diag::Lock lock(client.tx_lock);
        const bool is_tick = take_tick(client);
        if (is_tick) {
            busbroker_tx_queue_timeout_update(&client);
        }
        transmitter.send_due_frames();
        wake_callers = is_tick && has_given_up(client);
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
        for (time_out_call *call = diag::load_link(time_out_calls_list.type1); call != nullptr;
             call = diag::load_link(call->next)) {
            if (__atomic_load_n(&call->fn, __ATOMIC_ACQUIRE) == tick() && call->arg == &client_) {
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
    diag::Transmitter transmitter(*client);
    for (;;) {
        const diag::Wakeup::Ticket ticket = wakeup.ticket();
        look_at_queue(*client, transmitter);
        wakeup.wait(ticket, kLookAgain);
        diag::accept_cancellation();
    }
}
