// SPDX-License-Identifier: MIT
#include "tests/common/events/timer_doubles.h"

#include <cerrno>
#include <cstdio>
#include <optional>

namespace {

using diag::test::TimerCall;

bool is_noting = false;
std::optional<TimerCall> failing;
std::vector<std::string> calls;

// Whether the call is to go on.
bool note(TimerCall call, const std::string &text) {
    if (!is_noting) {
        return true;
    }
    calls.push_back(text);
    return failing != call;
}

std::string members(const sigset_t *set) {
    std::string text;
    for (int signal = 1; set != nullptr && signal < 65; signal++) {
        text += sigismember(set, signal) == 1 ? " " + std::to_string(signal) : "";
    }
    return text;
}

std::string text_of(const timespec &time) {
    char text[48];
    std::snprintf(text, sizeof text, " %ld.%09ld", static_cast<long>(time.tv_sec),
                  static_cast<long>(time.tv_nsec));
    return text;
}

int refuse() {
    errno = EAGAIN;
    return -1;
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's (--wrap)
extern "C" {

int __real_sigaction(int signal, const struct sigaction *action, struct sigaction *before);
int __real_pthread_sigmask(int how, const sigset_t *set, sigset_t *before);
int __real_timer_create(clockid_t clock, sigevent *event, timer_t *timer);
int __real_timer_settime(timer_t timer, int flags, const itimerspec *value, itimerspec *before);
int __real_timer_delete(timer_t timer);

int __wrap_sigaction(int signal, const struct sigaction *action, struct sigaction *before) {
    if (action != nullptr && !note(TimerCall::kSigaction, "sigaction " + std::to_string(signal))) {
        return refuse();
    }
    return __real_sigaction(signal, action, before);
}

int __wrap_pthread_sigmask(int how, const sigset_t *set, sigset_t *before) {
    const bool unblocks = how == SIG_UNBLOCK;
    if (set != nullptr && !note(unblocks ? TimerCall::kUnmask : TimerCall::kMask,
                                (unblocks ? "unblock" : "mask") + members(set))) {
        return EINVAL;
    }
    return __real_pthread_sigmask(how, set, before);
}

int __wrap_timer_create(clockid_t clock, sigevent *event, timer_t *timer) {
    const bool is_default =
        event == nullptr || (event->sigev_notify == SIGEV_SIGNAL && event->sigev_signo == SIGALRM);
    const bool is_silent = event != nullptr && event->sigev_notify == SIGEV_NONE;
    const std::string text = std::string("create ") +
                             (clock == CLOCK_REALTIME ? "realtime " : "other clock ") +
                             (is_default  ? "default"
                              : is_silent ? "silent"
                                          : "otherwise");
    return note(TimerCall::kCreate, text) ? __real_timer_create(clock, event, timer) : refuse();
}

int __wrap_timer_settime(timer_t timer, int flags, const itimerspec *value, itimerspec *before) {
    const std::string text = (flags == 0 ? "settime" : "settime absolute") +
                             text_of(value->it_value) + text_of(value->it_interval);
    return note(TimerCall::kSettime, text) ? __real_timer_settime(timer, flags, value, before)
                                           : refuse();
}

int __wrap_timer_delete(timer_t timer) {
    if (is_noting) {
        calls.emplace_back("delete");
    }
    return __real_timer_delete(timer);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

namespace diag::test {

NotedTimerCalls::NotedTimerCalls() {
    calls.clear();
    failing.reset();
    is_noting = true;
}

NotedTimerCalls::~NotedTimerCalls() {
    is_noting = false;
}

void NotedTimerCalls::fail(TimerCall call) {
    failing = call;
}

std::vector<std::string> NotedTimerCalls::all() const {
    return calls;
}

}  // namespace diag::test
