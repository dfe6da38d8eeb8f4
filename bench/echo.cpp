// SPDX-License-Identifier: MIT
#include "bench/echo.h"

#include <array>
#include <poll.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace diag::bench {

namespace {

constexpr size_t kLength = 81;  // of a read's frame

sockaddr *generic(sockaddr_in &address) {
    return reinterpret_cast<sockaddr *>(&address);
}

int bound_socket(sockaddr_in &address) {
    address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd == -1 || bind(fd, generic(address), length) != 0 ||
        getsockname(fd, generic(address), &length) != 0) {
        throw std::runtime_error("no socket on the loopback");
    }
    return fd;
}

// The number of bytes, and who sent them.
ssize_t receive(int fd, std::array<char, 256> &buffer, sockaddr_in &from) {
    pollfd readable{fd, POLLIN, 0};
    poll(&readable, 1, -1);
    socklen_t length = sizeof from;
    return recvfrom(fd, buffer.data(), buffer.size(), 0, generic(from), &length);
}

void serve(int fd) {
    std::array<char, 256> buffer;
    sockaddr_in from{};
    for (;;) {
        if (const ssize_t length = receive(fd, buffer, from); length > 0) {
            sendto(fd, buffer.data(), static_cast<size_t>(length), 0, generic(from), sizeof from);
        }
    }
}

}  // namespace

EchoClient::EchoClient(const sockaddr_in &server) : server_(server) {
    sockaddr_in own{};
    fd_ = bound_socket(own);
}

EchoClient::~EchoClient() {
    close(fd_);
}

void EchoClient::exchange() {
    std::array<char, 256> buffer{};
    sockaddr_in from{};
    sendto(fd_, buffer.data(), kLength, 0, generic(server_), sizeof server_);
    if (receive(fd_, buffer, from) != ssize_t{kLength}) {
        throw std::runtime_error("the echo does not answer");
    }
}

sockaddr_in start_echo_server() {
    sockaddr_in address{};
    std::thread(serve, bound_socket(address)).detach();
    return address;
}

}  // namespace diag::bench
