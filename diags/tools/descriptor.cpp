// SPDX-License-Identifier: MIT
#include "diags/tools/descriptor.h"

#include <cerrno>
#include <poll.h>

namespace diag::tools {
namespace {

constexpr int kPatienceMs = 2000;

int wait_for_room(int descriptor) {
    pollfd room = {.fd = descriptor, .events = POLLOUT, .revents = 0};
    const int ready = poll(&room, 1, kPatienceMs);
    if (ready == 0) {
        errno = ETIMEDOUT;
        return -1;
    }
    return ready > 0 || errno == EINTR ? 0 : -1;
}

}  // namespace

int write_all(int descriptor, std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes = bytes.subspan(static_cast<size_t>(written));
            continue;
        }
        const bool full = errno == EAGAIN;
        if (!full && errno != EINTR) {
            return -1;
        }
        if (full && wait_for_room(descriptor) != 0) {
            return -1;
        }
    }
    return 0;
}

}  // namespace diag::tools
