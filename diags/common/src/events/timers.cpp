// SPDX-License-Identifier: MIT
// The process-wide periodic timer and the calls that its ticks run.
#include <csignal>
#include <cstdint>
#include <optional>
#include <pthread.h>
#include <sys/time.h>

#include "diag_types.h"
#include "diag_util.h"
#include "timer_epoll.h"

#include "diags/common/src/lib/atomic_link.h"
#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"

time_out_lists time_out_calls_list;

namespace {

constexpr char kInitTimer[] = "init_timer";
constexpr uint32_t kTicksToSlowCalls = 10;

pthread_mutex_t registration_lock = PTHREAD_MUTEX_INITIALIZER;
uint32_t tick_count = 0;

time_out_call *&head_of(int list_type) {
    switch (list_type) {
        case DIAG_TIME_OUT_KEPT:
            return time_out_calls_list.type0;
        case DIAG_TIME_OUT_EACH_TICK:
            return time_out_calls_list.type1;
        default:
            return time_out_calls_list.type2;
    }
}

void run_calls(time_out_call *const &head) {
    for (const time_out_call *call = diag::load_link(head); call != nullptr;
         call = diag::load_link(call->next)) {
        // A registration that has ended loses its function.
        if (auto *fn = __atomic_load_n(&call->fn, __ATOMIC_ACQUIRE); fn != nullptr) {
            fn(call->arg);
        }
    }
}

// The second type was once one of 16 ms, and the refusal below still says so.
std::optional<timespec> period_of(int type) {
    switch (type) {
        case DIAG_TIMER_1_MS:
            return timespec{0, 1'000'000};
        case DIAG_TIMER_100_MS:
            return timespec{0, 100'000'000};
        case DIAG_TIMER_1_S:
            return timespec{1, 0};
        default:
            return std::nullopt;
    }
}

sigset_t alarm_alone() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGALRM);
    return set;
}

// A signal mask that is put back unless the work below it succeeds.
class MaskDuringSetUp {
  public:
    bool set(const sigset_t &mask) {
        is_set_ = pthread_sigmask(SIG_SETMASK, &mask, &before_) == 0;
        return is_set_;
    }
    void keep() { is_set_ = false; }

    MaskDuringSetUp() = default;
    MaskDuringSetUp(const MaskDuringSetUp &) = delete;
    MaskDuringSetUp &operator=(const MaskDuringSetUp &) = delete;
    ~MaskDuringSetUp() {
        if (is_set_) {
            pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        }
    }

  private:
    sigset_t before_{};
    bool is_set_ = false;
};

bool install_handler() {
    struct sigaction action = {};
    action.sa_handler = timer_handler;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGALRM, &action, nullptr) == 0;
}

bool arm(timer_t timer, const timespec &period) {
    const itimerspec times{period, period};
    if (timer_settime(timer, 0, &times, nullptr) == -1) {
        DIAG_ERROR_IN(kInitTimer, "Failed to set time to timer with id %d\n",
                      static_cast<int>(reinterpret_cast<intptr_t>(timer)));
        return false;
    }
    return true;
}

// A created timer: arms it, or says why not.
bool start(timer_t timer, int type) {
    const std::optional<timespec> period = period_of(type);
    if (!period) {
        diag_print(0, "Only 1mSec, 16mSec, 1Sec timeout types are supported\n");
        return false;
    }
    diag_print(3, "Timer created succesfully\n");
    if (!arm(timer, *period)) {
        return false;
    }
    const sigset_t alarm = alarm_alone();
    if (pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr) != 0) {
        DIAG_ERROR_IN(kInitTimer, "Can't un mask the timer signal\n");
        return false;
    }
    return true;
}

uint32_t create_silent_timer(timer_t *timer_id) {
    sigevent silent{};
    silent.sigev_notify = SIGEV_NONE;
    if (timer_create(CLOCK_REALTIME, &silent, timer_id) == -1) {
        DIAG_ERROR_IN(kInitTimer, "Failed to create timer \n");
        *timer_id = nullptr;
        return DIAG_E_INVAL;
    }
    return 0;
}

uint32_t create_ticking_timer(timer_t *timer_id, int type) {
    if (!install_handler()) {
        DIAG_ERROR_IN(kInitTimer, "Failed to allocate handler for timer\n");
        return DIAG_E_INVAL;
    }
    MaskDuringSetUp mask;
    if (!mask.set(alarm_alone())) {
        DIAG_ERROR_IN(kInitTimer, "Failed to mask the signal\n");
        return DIAG_E_INVAL;
    }
    timer_t timer = nullptr;
    if (timer_create(CLOCK_REALTIME, nullptr, &timer) == -1) {
        DIAG_ERROR_IN(kInitTimer, "Failed to create timer \n");
        return DIAG_E_INVAL;
    }
    if (!start(timer, type)) {
        timer_delete(timer);
        return DIAG_E_INVAL;
    }
    mask.keep();
    *timer_id = timer;
    return 0;
}

}  // namespace

uint32_t init_timer(int mode, timer_t *timer_id, int type) {
    if (timer_id == nullptr) {
        DIAG_ERROR("NULL pointers received as inputs\n");
        return DIAG_E_INVAL;
    }
    *timer_id = nullptr;
    switch (mode) {
        case DIAG_TIMER_SILENT:
            return create_silent_timer(timer_id);
        case DIAG_TIMER_TICK:
            return create_ticking_timer(timer_id, type);
        default:
            return 0;
    }
}

int register_timeout_calls(int list_type, void (*fn)(void *arg), void *arg) {
    auto *call = diag::allocate<time_out_call>();
    if (call == nullptr) {
        DIAG_ERROR("mem allocation for timeout calls failed \n");
        return 0;
    }
    *call = {fn, arg, nullptr};
    pthread_mutex_lock(&registration_lock);
    time_out_call **end = &head_of(list_type);
    while (*end != nullptr) {
        end = &(*end)->next;
    }
    diag::publish_link(*end, call);
    pthread_mutex_unlock(&registration_lock);
    return 1;
}

void timer_handler(int /*signal*/) {
    timeout_calls();
}

void timeout_calls() {
    const uint32_t ticks = __atomic_add_fetch(&tick_count, 1, __ATOMIC_RELAXED);
    run_calls(time_out_calls_list.type1);
    if (ticks >= kTicksToSlowCalls) {
        run_calls(time_out_calls_list.type2);
        __atomic_store_n(&tick_count, 0, __ATOMIC_RELAXED);
    }
}
