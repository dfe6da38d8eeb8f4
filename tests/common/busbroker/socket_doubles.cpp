// SPDX-License-Identifier: MIT
#include "tests/common/busbroker/socket_doubles.h"

#include <cerrno>
#include <deque>
#include <mutex>

namespace {

std::mutex lock;  // guards the rest: threads of a client send and receive
bool is_noting = false;
std::deque<ssize_t> send_steps;
std::deque<int> receive_errors;
std::vector<diag::test::ScriptedSends::Send> sends;

template <typename Step>
bool take_step(std::deque<Step> &steps, Step *step) {
    if (steps.empty()) {
        return false;
    }
    *step = steps.front();
    steps.pop_front();
    return true;
}

// Whether a step says what this sending comes to.
bool note_send(const void *bytes, size_t length, socklen_t address_length, ssize_t *step) {
    const std::lock_guard guard(lock);
    if (is_noting) {
        sends.push_back({std::string(static_cast<const char *>(bytes), length), address_length});
    }
    return take_step(send_steps, step);
}

bool take_receive_error(int *error) {
    const std::lock_guard guard(lock);
    return take_step(receive_errors, error);
}

ssize_t fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's (--wrap)
extern "C" {

ssize_t __real_sendto(int fd, const void *bytes, size_t length, int flags, const sockaddr *address,
                      socklen_t address_length);
ssize_t __real_recvfrom(int fd, void *buffer, size_t size, int flags, sockaddr *address,
                        socklen_t *address_length);

ssize_t __wrap_sendto(int fd, const void *bytes, size_t length, int flags, const sockaddr *address,
                      socklen_t address_length) {
    ssize_t step = 0;
    if (note_send(bytes, length, address_length, &step)) {
        return step < 0 ? fail(static_cast<int>(-step)) : step;
    }
    return __real_sendto(fd, bytes, length, flags, address, address_length);
}

ssize_t __wrap_recvfrom(int fd, void *buffer, size_t size, int flags, sockaddr *address,
                        socklen_t *address_length) {
    int error = 0;
    if (take_receive_error(&error)) {
        return fail(error);
    }
    return __real_recvfrom(fd, buffer, size, flags, address, address_length);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

namespace diag::test {

ScriptedSends::ScriptedSends(std::vector<ssize_t> steps) {
    const std::lock_guard guard(lock);
    is_noting = true;
    sends.clear();
    send_steps.assign(steps.begin(), steps.end());
}

ScriptedSends::~ScriptedSends() {
    const std::lock_guard guard(lock);
    is_noting = false;
    send_steps.clear();
}

std::vector<ScriptedSends::Send> ScriptedSends::all() const {
    const std::lock_guard guard(lock);
    return sends;
}

std::vector<std::string> ScriptedSends::texts() const {
    std::vector<std::string> texts;
    for (const Send &send : all()) {
        texts.push_back(send.bytes);
    }
    return texts;
}

FailingReceives::FailingReceives(std::vector<int> errors) {
    const std::lock_guard guard(lock);
    receive_errors.assign(errors.begin(), errors.end());
}

FailingReceives::~FailingReceives() {
    const std::lock_guard guard(lock);
    receive_errors.clear();
}

size_t FailingReceives::left() const {
    const std::lock_guard guard(lock);
    return receive_errors.size();
}

}  // namespace diag::test
