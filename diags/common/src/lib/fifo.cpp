// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/fifo.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace diag {

namespace {

constexpr mode_t kFifoMode = 0666;

bool make(const char *path) {
    if (mkfifo(path, kFifoMode) == 0) {
        return true;
    }
    unlink(path);
    return mkfifo(path, kFifoMode) == 0;
}

}  // namespace

Fifo::Fifo(const char *path) : path_(path) {
    if (!make(path)) {
        return;
    }
    fd_ = UniqueFd(open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    state_ = fd_.valid() ? State::kOpen : State::kNotOpened;
}

Fifo::~Fifo() {
    if (state_ == State::kOpen) {
        unlink(path_);
    }
}

void Fifo::abandon() {
    fd_.release();
    state_ = State::kNotOpened;
}

}  // namespace diag
