// SPDX-License-Identifier: MIT
#ifndef TESTS_COMMON_BUSBROKER_UNWRITABLE_OUTPUT_H
#define TESTS_COMMON_BUSBROKER_UNWRITABLE_OUTPUT_H

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace diag::test {

// Standard output that cannot be written to, as on a full disk.
class UnwritableOutput {
  public:
    UnwritableOutput() : saved_(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        std::setvbuf(stdout, nullptr, _IONBF, 0);
        const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
        dup2(full, STDOUT_FILENO);
        close(full);
    }
    ~UnwritableOutput() {
        std::clearerr(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }
    UnwritableOutput(const UnwritableOutput &) = delete;
    UnwritableOutput &operator=(const UnwritableOutput &) = delete;

  private:
    int saved_;
};

}  // namespace diag::test

#endif
