// SPDX-License-Identifier: MIT
#ifndef DIAGS_DIAGCTL_SIGNALS_BLOCKED_H
#define DIAGS_DIAGCTL_SIGNALS_BLOCKED_H

#include <csignal>

namespace diag::diagctl {

// While it lives no signal is handled: what is half made would be left behind.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_BLOCK, &all, &saved_);
    }
    ~SignalsBlocked() { sigprocmask(SIG_SETMASK, &saved_, nullptr); }
    SignalsBlocked(const SignalsBlocked &) = delete;
    SignalsBlocked &operator=(const SignalsBlocked &) = delete;

  private:
    sigset_t saved_;
};

}  // namespace diag::diagctl

#endif
