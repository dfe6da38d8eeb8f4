// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/spawn.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <spawn.h>
#include <string_view>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "diag_util.h"

#include "diags/common/src/lib/fields.h"
#include "diags/common/src/lib/unique_fd.h"

namespace diag {

namespace {

constexpr int kNotFound = 127 << 8;
constexpr int kNotExecutable = 126 << 8;
constexpr int kNoProcess = -1;

constexpr int kNoFd = -1;

// What a command text may end in to send an output of the program nowhere.
struct Redirection {
    std::string_view text;
    int fd;
};

constexpr Redirection kRedirections[] = {{" > /dev/null", STDOUT_FILENO},
                                         {" 1>/dev/null", STDOUT_FILENO},
                                         {" 2>/dev/null", STDERR_FILENO}};

// The words of a command line, as a program receives them.
class Arguments {
  public:
    explicit Arguments(const char *command) {
        std::snprintf(text_, sizeof text_, "%s", command);
        cut_redirection();
        Fields words(text_, ' ');
        for (char **word = words_.data(); (*word = words.next()) != nullptr; word++) {
        }
    }

    const char *program() const { return words_.front() != nullptr ? words_.front() : ""; }
    char *const *words() const { return words_.data(); }
    int silenced_fd() const { return silenced_fd_; }

  private:
    void cut_redirection() {
        const std::string_view text = text_;
        for (const Redirection &known : kRedirections) {
            if (text.ends_with(known.text)) {
                text_[text.size() - known.text.size()] = '\0';
                silenced_fd_ = known.fd;
                return;
            }
        }
    }

    char text_[SYS_CMD_MAX_SIZE];
    // Every other character a blank makes the most words; one more for the null at the end.
    std::array<char *, SYS_CMD_MAX_SIZE / 2 + 1> words_;
    int silenced_fd_ = kNoFd;
};

// While tools run, an interrupt from the keyboard is theirs: the process ignores SIGINT and SIGQUIT
// from the first tool's start to the last one's end, whichever threads run them.
class KeyboardSignalsIgnored {
  public:
    KeyboardSignalsIgnored() {
        const std::lock_guard guard(lock_);
        if (users_++ == 0) {
            struct sigaction ignore {};
            ignore.sa_handler = SIG_IGN;
            sigaction(SIGINT, &ignore, &saved_interrupt_);
            sigaction(SIGQUIT, &ignore, &saved_quit_);
        }
        sigemptyset(&handled_);
        if (saved_interrupt_.sa_handler != SIG_IGN) {
            sigaddset(&handled_, SIGINT);
        }
        if (saved_quit_.sa_handler != SIG_IGN) {
            sigaddset(&handled_, SIGQUIT);
        }
    }
    ~KeyboardSignalsIgnored() {
        const std::lock_guard guard(lock_);
        if (--users_ == 0) {
            sigaction(SIGINT, &saved_interrupt_, nullptr);
            sigaction(SIGQUIT, &saved_quit_, nullptr);
        }
    }
    KeyboardSignalsIgnored(const KeyboardSignalsIgnored &) = delete;
    KeyboardSignalsIgnored &operator=(const KeyboardSignalsIgnored &) = delete;

    // Those that the process did not ignore before: a tool starts with their default action.
    const sigset_t &handled() const { return handled_; }

  private:
    static inline std::mutex lock_;
    static inline int users_;                         // guarded by lock_
    static inline struct sigaction saved_interrupt_;  // guarded by lock_
    static inline struct sigaction saved_quit_;       // guarded by lock_
    sigset_t handled_;
};

class ChildSignalBlocked {
  public:
    ChildSignalBlocked() {
        sigset_t child;
        sigemptyset(&child);
        sigaddset(&child, SIGCHLD);
        pthread_sigmask(SIG_BLOCK, &child, &saved_);
    }
    ~ChildSignalBlocked() { pthread_sigmask(SIG_SETMASK, &saved_, nullptr); }
    ChildSignalBlocked(const ChildSignalBlocked &) = delete;
    ChildSignalBlocked &operator=(const ChildSignalBlocked &) = delete;

    const sigset_t &saved() const { return saved_; }

  private:
    sigset_t saved_;
};

// What the program's descriptors become before it starts.
class FileActions {
  public:
    FileActions() { posix_spawn_file_actions_init(&actions_); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions &) = delete;
    FileActions &operator=(const FileActions &) = delete;

    // False when there is no memory for it. The output first: where standard descriptors are
    // closed, its end may be the one that is silenced.
    bool add(int silenced_fd, int output_fd) {
        const bool has_output = output_fd == kNoFd || posix_spawn_file_actions_adddup2(
                                                          &actions_, output_fd, STDOUT_FILENO) == 0;
        return has_output &&
               (silenced_fd == kNoFd || posix_spawn_file_actions_addopen(
                                            &actions_, silenced_fd, "/dev/null", O_WRONLY, 0) == 0);
    }
    const posix_spawn_file_actions_t *get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_;
};

// What a program starts with, beside its arguments.
struct Surroundings {
    const sigset_t &mask;
    const sigset_t &default_signals;
    int output_fd;  // becomes its standard output; kNoFd: it has ours
};

int spawn(const Arguments &arguments, const Surroundings &surroundings, pid_t *pid) {
    FileActions actions;
    if (!actions.add(arguments.silenced_fd(), surroundings.output_fd)) {
        return ENOMEM;
    }
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &surroundings.mask);
    posix_spawnattr_setsigdefault(&attributes, &surroundings.default_signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int error = posix_spawnp(pid, arguments.program(), actions.get(), &attributes,
                                   arguments.words(), environ);
    posix_spawnattr_destroy(&attributes);
    return error;
}

// Starts the program; a status as of `system` when it could not be started, else 0 and its *pid.
int start(const Arguments &arguments, const Surroundings &surroundings, pid_t *pid) {
    switch (spawn(arguments, surroundings, pid)) {
        case 0:
            return 0;
        case ENOENT:
        case ENOTDIR:
            return kNotFound;
        case EAGAIN:
        case ENOMEM:
            return kNoProcess;
        default:
            return kNotExecutable;
    }
}

int wait_for(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) == -1) {
        if (errno != EINTR) {
            return kNoProcess;
        }
    }
    return status;
}

// Takes the program's output as it comes, until the program has ended.
void drain_until_exit(pid_t pid, int fd, ToolOutput &output) {
    // A kernel without descriptors for processes answers -1, which poll passes over; looking at
    // the process every 10 ms then takes the descriptor's place.
    const UniqueFd exit_event(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    const int timeout_ms = exit_event.valid() ? -1 : 10;
    std::array<pollfd, 2> events{{{exit_event.get(), POLLIN, 0}, {fd, POLLIN, 0}}};
    for (;;) {
        poll(events.data(), events.size(), timeout_ms);
        if (events[1].revents != 0 && !output.take_from(fd) && (events[1].revents & POLLHUP) != 0) {
            events[1].fd = kNoFd;  // the program has closed its output and goes on
        }
        siginfo_t info{};
        const bool look = !exit_event.valid() || events[0].revents != 0;
        if (look &&
            (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
             info.si_pid == pid)) {
            break;
        }
    }
    // What came between the last look and the program's end, and no more than is wanted: a process
    // that the program left behind may go on writing.
    while (!output.is_full() && output.take_from(fd)) {
    }
}

// Where a program's output is read from, and where the program is to write it when that is its
// standard output.
struct Reading {
    int fd = kNoFd;
    UniqueFd program_end;
    ToolOutput *output = nullptr;
    bool program_ran = false;
};

int run(const char *command, Reading &reading) {
    const Arguments arguments(command);
    const KeyboardSignalsIgnored keyboard;
    const ChildSignalBlocked child;
    pid_t pid = 0;
    const int failed =
        start(arguments, {child.saved(), keyboard.handled(), reading.program_end.get()}, &pid);
    if (failed != 0) {
        return failed;
    }
    reading.program_ran = true;
    reading.program_end = UniqueFd();
    if (reading.output != nullptr) {
        drain_until_exit(pid, reading.fd, *reading.output);
    }
    return wait_for(pid);
}

}  // namespace

int run_command(const char *command) {
    Reading nothing;
    return run(command, nothing);
}

int run_command(const char *command, int fd, ToolOutput &output) {
    Reading reading{fd, UniqueFd(), &output};
    return run(command, reading);
}

bool run_reading_output(const char *command, ToolOutput &output) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    const UniqueFd our_end(ends[0]);
    Reading reading{our_end.get(), UniqueFd(ends[1]), &output};
    // Only our end: the program is to block when it writes faster than we read.
    fcntl(our_end.get(), F_SETFL, O_NONBLOCK);
    const int status = run(command, reading);
    // A process that ignores its children is not told how they end; what they printed is there.
    return reading.program_ran || status != kNoProcess;
}

}  // namespace diag
