// SPDX-License-Identifier: MIT
// Signals that end diagctl, and those that end its tools.
#ifndef DIAGS_DIAGCTL_INTERRUPTION_H
#define DIAGS_DIAGCTL_INTERRUPTION_H

#include <sys/types.h>

namespace diag::diagctl {

// SIGINT, SIGTERM and SIGHUP end the process with status 130 and leave no file behind; an abort
// within the library shows what it has said first; a closed pipe is an error of the write alone.
// Signals that the caller of diagctl has chosen to ignore stay ignored.
void install_signal_handlers();

// Tells whether the keyboard has interrupted a tool: the library ignores SIGINT while one runs, and
// a writing call does not say how its tool ended. A process of ours that does nothing but wait gets
// the same signal.
class InterruptWatch {
  public:
    InterruptWatch();
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch &) = delete;
    InterruptWatch &operator=(const InterruptWatch &) = delete;

    // To be asked once, after a tool that failed; ends the watch.
    bool interrupted();

  private:
    int end();

    pid_t watcher_;
};

}  // namespace diag::diagctl

#endif
