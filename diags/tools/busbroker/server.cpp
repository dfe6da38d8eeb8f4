// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <initializer_list>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "diags/tools/busbroker/start_error.h"

namespace diag::daemon {
namespace {

constexpr int kBatch = 64;  // datagrams that are queued before the first of them is served

sigset_t block(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return set;
}

[[noreturn]] void fail(const char *what) {
    throw StartError(kExitAccessFailed,
                     std::string(what) + ": " + std::generic_category().message(errno));
}

}  // namespace

void hold_back_reloads() {
    block({SIGHUP});
}

SignalSource::SignalSource() {
    const sigset_t set = block({SIGTERM, SIGINT, SIGHUP});
    descriptor_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) {
        fail("signals cannot be received");
    }
}

SignalSource::~SignalSource() {
    close(descriptor_);
}

int SignalSource::take() const {
    signalfd_siginfo info = {};
    return read(descriptor_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)
               ? static_cast<int>(info.ssi_signo)
               : 0;
}

Server::Server(Setup setup)
    : setup_(std::move(setup)),
      bound_(ipv4_number(setup_.socket.address().host)),
      epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    for (const int descriptor : {setup_.socket.descriptor(), setup_.signals.descriptor()}) {
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.fd = descriptor;
        if (epoll_ < 0 || epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event) != 0) {
            fail("events cannot be waited for");
        }
    }
}

Server::~Server() {
    close(epoll_);
}

void Server::run() {
    while (!has_ended_) {
        const bool is_full = drain();
        const bool has_more = setup_.service.perform();
        setup_.service.flush();
        wait(is_full || has_more);
    }
    setup_.service.shut_down();
}

// True when there may be more datagrams.
bool Server::drain() {
    for (int i = 0; i < kBatch; ++i) {
        const auto datagram = setup_.socket.receive();
        if (!datagram) {
            return false;
        }
        if (!setup_.serves_everybody && !is_this_machine(datagram->from.address, bound_)) {
            setup_.service.drop(Problem::kSource);
            continue;
        }
        setup_.service.receive(datagram->from, datagram->bytes);
    }
    return true;
}

void Server::wait(bool has_more) {
    std::array<epoll_event, 2> events;
    const int count = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()),
                                 has_more ? 0 : timeout_ms());
    for (int i = 0; i < count; ++i) {
        if (events[static_cast<size_t>(i)].data.fd != setup_.signals.descriptor()) {
            continue;
        }
        const int signal = setup_.signals.take();
        if (signal == SIGHUP) {
            setup_.reload();
        }
        has_ended_ = has_ended_ || signal == SIGTERM || signal == SIGINT;
    }
}

// Rounded up: one wake-up too early would be followed by another.
int Server::timeout_ms() const {
    const auto deadline = setup_.service.deadline();
    if (!deadline) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
    return static_cast<int>(std::clamp<int64_t>(left.count(), 0, INT_MAX));
}

}  // namespace diag::daemon
