// SPDX-License-Identifier: MIT
#include "diags/tools/result_pipe.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

#include "diags/tools/report.h"

namespace diag::tools {
namespace {

ExitStatus pipe_error(const char *path, int error) {
    switch (error) {
        case ENXIO:
        case EPIPE:
            return report(kExitAccessFailed, "pipe %s: nobody reads it", path);
        case EACCES:
        case EPERM:
            return report(kExitNotPermitted, "pipe %s: permission denied", path);
        case ETIMEDOUT:
            return report(kExitTimedOut, "pipe %s: its reader takes nothing", path);
        default:
            return report(kExitAccessFailed, "pipe %s: %s", path, std::strerror(error));
    }
}

}  // namespace

ExitStatus ResultPipe::open(const char *path) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that went away is an error like any other
    path_ = path;
    descriptor_.reset(::open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (descriptor_.get() < 0) {
        return pipe_error(path, errno);
    }
    struct stat info;
    if (fstat(descriptor_.get(), &info) != 0) {
        return pipe_error(path, errno);
    }
    if (S_ISREG(info.st_mode)) {
        return report(kExitAccessFailed, "pipe %s: an ordinary file, not a pipe", path);
    }
    return kExitDone;
}

ExitStatus ResultPipe::write(std::span<const uint8_t> bytes) {
    return write_all(descriptor_.get(), bytes) == 0 ? kExitDone : pipe_error(path_, errno);
}

}  // namespace diag::tools
