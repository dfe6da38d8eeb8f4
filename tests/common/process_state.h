// SPDX-License-Identifier: MIT
// What the kernel says of a process, and limits on what it grants.
#ifndef TESTS_COMMON_PROCESS_STATE_H
#define TESTS_COMMON_PROCESS_STATE_H

#include <atomic>
#include <csignal>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/types.h>

namespace diag::test {

// The open descriptors of this process and what each stands for.
std::map<int, std::string> open_descriptors();

// The descriptor that stands for `path`, or -1.
int descriptor_of(const std::string &path);

// A mask of signals, such as "SigIgn", out of the text of a /proc/PID/status.
uint64_t signal_mask(std::string_view status, std::string_view name);
bool contains(uint64_t mask, int signal);

// Whether a signal sent to a thread of this process has not reached it yet.
bool is_pending(pid_t thread, int signal);

// Waits until a thread of this process sleeps in the kernel; false when it does not within 10 s.
bool falls_asleep(pid_t thread);

// Processor time that this process has used, in seconds.
double processor_seconds();

// No further descriptor can be opened.
class NoMoreDescriptors {
  public:
    NoMoreDescriptors();
    ~NoMoreDescriptors();
    NoMoreDescriptors(const NoMoreDescriptors &) = delete;
    NoMoreDescriptors &operator=(const NoMoreDescriptors &) = delete;

  private:
    rlimit saved_{};
};

// Sets what is to be done on a signal, and puts it back. Blocked calls are not restarted.
class SignalAction {
  public:
    SignalAction(int signal, void (*handler)(int));
    ~SignalAction();
    SignalAction(const SignalAction &) = delete;
    SignalAction &operator=(const SignalAction &) = delete;

  private:
    int signal_;
    struct sigaction saved_ {};
};

// A handler for SignalAction that counts.
extern std::atomic<int> signals_counted;
void count_signal(int signal);

}  // namespace diag::test

#endif
