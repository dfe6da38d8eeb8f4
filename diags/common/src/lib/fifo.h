// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_LIB_FIFO_H
#define DIAGS_COMMON_SRC_LIB_FIFO_H

#include "diags/common/src/lib/unique_fd.h"

namespace diag {

// The named pipe through which a tool hands over what it has read. It is held open for reading and
// writing, so that neither end waits for the other, and closed and removed with its owner.
class Fifo {
  public:
    enum class State { kNotMade, kNotOpened, kOpen };

    // Makes the FIFO (mode 0666 before the umask), after removing whatever has its name when it
    // cannot be made at once, and opens it. One that cannot be opened stays on disk.
    // `path` must outlive the FIFO.
    explicit Fifo(const char *path);
    ~Fifo();
    Fifo(const Fifo &) = delete;
    Fifo &operator=(const Fifo &) = delete;

    State state() const { return state_; }
    int fd() const { return fd_.get(); }

    // Gives up ownership: the FIFO stays on disk and its descriptor open.
    void abandon();

  private:
    const char *path_;
    State state_ = State::kNotMade;
    UniqueFd fd_;
};

}  // namespace diag

#endif
