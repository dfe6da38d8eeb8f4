// SPDX-License-Identifier: MIT
// Tools that run in the background, for programs that wait for the answer with epoll.
#include <array>
#include <cerrno>
#include <cstdio>
#include <unistd.h>

#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/log.h"

namespace {

// Program, action, two arguments and the end.
using Arguments = std::array<const char *, 5>;

Arguments make_arguments(const char *program, const char *action, const char *first,
                         const char *second) {
    Arguments arguments{program, action};
    size_t used = 2;
    for (const char *argument : {first, second}) {
        if (argument != nullptr) {
            arguments.at(used++) = argument;
        }
    }
    return arguments;
}

uint32_t start(const char *function, const char *program, const Arguments &arguments) {
    const pid_t pid = fork();
    if (pid == -1) {
        DIAG_ERROR_IN(function, "Couldn't fork\n");
        return DIAG_E_FAIL;
    }
    if (pid != 0) {
        return 0;  // the child is the caller's to reap
    }
    execve(program, const_cast<char *const *>(arguments.data()), environ);
    const int error = errno;
    // The child comes back to its caller, who knows it by this status and ends it.
    DIAG_ERROR_IN(function, "Error while execve. Error code %d\n", error);
    return DIAG_E_FAIL;
}

bool is_missing(const char *function, const char *program) {
    if (program == nullptr) {
        DIAG_ERROR_IN(function, "Rx NULL pointers\n");
        return true;
    }
    return false;
}

}  // namespace

uint32_t epoll_generic_get(const char *program, const char *pipe_path, const char *extra) {
    if (is_missing(__func__, program)) {
        return DIAG_E_FAIL;
    }
    char pipe[SYS_CMD_MAX_SIZE];
    if (pipe_path != nullptr) {
        std::snprintf(pipe, sizeof pipe, "--pipe=%s", pipe_path);
    }
    return start(__func__, program,
                 make_arguments(program, "--get", pipe_path != nullptr ? pipe : nullptr, extra));
}

uint32_t epoll_generic_set(const char *program, const char *value, const char *extra) {
    if (is_missing(__func__, program)) {
        return DIAG_E_FAIL;
    }
    return start(__func__, program, make_arguments(program, "--set", value, extra));
}
