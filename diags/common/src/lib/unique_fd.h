// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_LIB_UNIQUE_FD_H
#define DIAGS_COMMON_SRC_LIB_UNIQUE_FD_H

#include <unistd.h>
#include <utility>

namespace diag {

// Owner of a file descriptor; -1 when it holds none.
class UniqueFd {
  public:
    explicit UniqueFd(int fd = -1) : fd_(fd) {}
    UniqueFd(UniqueFd &&other) noexcept : fd_(other.release()) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    UniqueFd(const UniqueFd &) = delete;
    UniqueFd &operator=(const UniqueFd &) = delete;
    ~UniqueFd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }

  private:
    int fd_;
};

}  // namespace diag

#endif
