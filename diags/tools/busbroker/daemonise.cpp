// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/daemonise.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "diags/tools/busbroker/start_error.h"

namespace diag::daemon {
namespace {

[[noreturn]] void fail(int error) {
    throw StartError(kExitAccessFailed, "the process cannot become a daemon: " +
                                            std::generic_category().message(error));
}

// The process in between takes the session, so that the daemon is not its leader and can never get
// a terminal. It ends with an error number, 0 once the daemon runs.
Role become_daemon() {
    const pid_t daemon = setsid() < 0 ? -1 : fork();
    if (daemon != 0) {
        _exit(daemon < 0 ? errno : 0);
    }
    const int nowhere = open("/dev/null", O_RDWR);
    if (nowhere >= 0) {
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            dup2(nowhere, descriptor);
        }
        if (nowhere > STDERR_FILENO) {
            close(nowhere);
        }
    }
    // The folder that it was started in may be unmounted or removed.
    if (chdir("/") != 0) {
        _exit(errno);
    }
    return Role::kDaemon;
}

}  // namespace

void open_closed_standard_descriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", O_RDWR));  // takes the lowest free place, this one
        }
    }
}

Role daemonise() {
    std::fflush(nullptr);
    const pid_t between = fork();
    if (between < 0) {
        fail(errno);
    }
    if (between == 0) {
        return become_daemon();
    }
    int status = 0;
    while (waitpid(between, &status, 0) < 0) {
        if (errno != EINTR) {
            fail(errno);
        }
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fail(WIFEXITED(status) ? WEXITSTATUS(status) : EINTR);
    }
    return Role::kParent;
}

}  // namespace diag::daemon
