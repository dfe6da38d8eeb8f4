// SPDX-License-Identifier: MIT
// For code that starts programs: a process in which no other one can be made.
#ifndef TESTS_COMMON_NO_MORE_PROCESSES_H
#define TESTS_COMMON_NO_MORE_PROCESSES_H

#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace diag::test {

// What a child that is to do something else than the test ends with.
constexpr int kChildPassed = 0;
constexpr int kChildFailed = 1;
constexpr int kChildCannot = 77;  // the kernel does not let it set up what it needs

// Runs `check` in a child process, which ends without any of the test program's own clean-up.
// Answers kChildPassed or kChildFailed as `check` does, kChildCannot, or -1 for any other end.
inline int run_in_child(const std::function<int()> &check) {
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t child = fork();
    if (child == 0) {
        const int result = check();
        std::fflush(stdout);
        std::fflush(stderr);
        _exit(result);
    }
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        return -1;
    }
    return WEXITSTATUS(status);
}

// From now on every call that makes a process fails in this one, as with too many processes. There
// is no way back: for a child of the test.
inline bool forbid_processes() {
    constexpr auto kNumber = static_cast<unsigned>(offsetof(seccomp_data, nr));
    std::array<sock_filter, 7> filter = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kNumber),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 4, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone3, 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_fork, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_vfork, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAGAIN),
    }};
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// run_in_child for a check that cannot make processes.
inline int run_without_processes(const std::function<bool()> &check) {
    return run_in_child([&] {
        if (!forbid_processes()) {
            return kChildCannot;
        }
        return check() ? kChildPassed : kChildFailed;
    });
}

}  // namespace diag::test

#endif
