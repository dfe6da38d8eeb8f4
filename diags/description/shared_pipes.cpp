// SPDX-License-Identifier: MIT
#include "diags/description/shared_pipes.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace diag::description {
namespace {

// The folder itself is locked: everybody may open it, and no file is left behind.
constexpr const char kFolder[] = "/tmp";

constexpr const char *kPipes[] = {"/tmp/eda_pipe", "/tmp/pl_lpc_pipe", "/tmp/pl_i2c_pipe"};

volatile sig_atomic_t has_turn = 0;

}  // namespace

SharedPipesTurn::SharedPipesTurn() : folder_(open(kFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    while (folder_ >= 0 && flock(folder_, LOCK_EX) != 0 && errno == EINTR) {
    }
    has_turn = 1;
}

SharedPipesTurn::~SharedPipesTurn() {
    has_turn = 0;
    if (folder_ >= 0) {
        close(folder_);
    }
}

void remove_shared_pipes() {
    if (has_turn != 0) {
        for (const char *pipe : kPipes) {
            unlink(pipe);
        }
    }
}

}  // namespace diag::description
