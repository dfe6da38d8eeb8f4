// SPDX-License-Identifier: MIT
#include "diags/diagctl/interruption.h"

#include <csignal>
#include <cstring>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "diags/broker/farewell.h"
#include "diags/description/shared_pipes.h"
#include "diags/diagctl/answer_pipe.h"
#include "diags/diagctl/captured_output.h"
#include "diags/exit_status.h"

// Defined in a program that is built with a sanitizer: its report, too, must not end in a capture.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is the sanitizers'
extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));

namespace diag::diagctl {
namespace {

void end_interrupted(int) {
    constexpr char kLine[] = "diagctl: interrupted\n";
    broker::say_farewell();
    remove_answer_pipe();
    description::remove_shared_pipes();
    [[maybe_unused]] const ssize_t told = write(real_standard_error(), kLine, sizeof kLine - 1);
    _exit(kExitInterrupted);
}

void clean_up_dying_process() {
    relay_captured_output();
    remove_answer_pipe();
    description::remove_shared_pipes();
}

// The signal is blocked in its handler, and its own action is back: what is raised here ends the
// process on return.
void end_aborted(int number) {
    clean_up_dying_process();
    raise(number);
}

void do_nothing(int) {}

void handle(int number, void (*handler)(int), int flags) {
    struct sigaction previous {};
    sigaction(number, nullptr, &previous);
    if (previous.sa_handler == SIG_IGN && number != SIGPIPE) {
        return;
    }
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigfillset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

[[noreturn]] void wait_for_signal(const sigset_t &mask) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const int number : kEndingSignals) {
        signal(number, SIG_DFL);
    }
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    for (;;) {
        pause();
    }
}

// The signals are blocked until the new process has given up our handlers, which would remove
// what is ours.
pid_t start_watcher() {
    sigset_t all;
    sigset_t saved;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &saved);
    const pid_t pid = fork();
    if (pid == 0) {
        wait_for_signal(saved);
    }
    sigprocmask(SIG_SETMASK, &saved, nullptr);
    return pid;
}

bool ignores_interrupts() {
    struct sigaction action {};
    sigaction(SIGINT, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

}  // namespace

void install_signal_handlers() {
    for (const int number : kEndingSignals) {
        handle(number, end_interrupted, 0);
    }
    handle(SIGABRT, end_aborted, static_cast<int>(SA_RESETHAND));
    // Ignored, it would keep the end of a tool from us.
    signal(SIGCHLD, SIG_DFL);
    // A handler, as against ignoring it, is not inherited by the programs that we start.
    handle(SIGPIPE, do_nothing, SA_RESTART);
    if (__sanitizer_set_death_callback != nullptr) {
        __sanitizer_set_death_callback(clean_up_dying_process);
    }
}

InterruptWatch::InterruptWatch() : watcher_(ignores_interrupts() ? -1 : start_watcher()) {}

InterruptWatch::~InterruptWatch() {
    end();
}

int InterruptWatch::end() {
    int status = 0;
    if (watcher_ > 0) {
        kill(watcher_, SIGTERM);
        waitpid(watcher_, &status, 0);
        watcher_ = -1;
    }
    return status;
}

// A tool that was interrupted shares its process group with the watcher, and what came first has
// ended the watcher: the interrupt, or the signal sent here.
bool InterruptWatch::interrupted() {
    const int status = end();
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGINT;
}

}  // namespace diag::diagctl
