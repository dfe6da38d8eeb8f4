// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include "diags/tools/busbroker/start_error.h"

namespace diag::daemon {
namespace {

// Room for a full queue of the longest requests, as far as the system allows.
constexpr int kReceiveRoom = 4 * 1024 * 1024;

sockaddr_in socket_address(uint32_t address, uint16_t port) {
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(address);
    return result;
}

[[noreturn]] void fail(int error, const broker::Address &address) {
    const bool is_in_use = error == EADDRINUSE;
    const bool is_refused = error == EACCES || error == EPERM;
    const ExitStatus status = is_in_use    ? kExitBusy
                              : is_refused ? kExitNotPermitted
                                           : kExitAccessFailed;
    throw StartError(status, address.text() + ": " + std::generic_category().message(error) +
                                 (is_in_use ? ": is a busbroker running already?" : ""));
}

}  // namespace

Socket::Socket(const broker::Address &address)
    : descriptor_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      address_(address) {
    sockaddr_in bound = socket_address(ipv4_number(address.host), address.port);
    socklen_t size = sizeof bound;
    auto *const plain = reinterpret_cast<sockaddr *>(&bound);
    if (descriptor_ < 0 || bind(descriptor_, plain, size) != 0 ||
        getsockname(descriptor_, plain, &size) != 0) {
        const int error = errno;
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
        fail(error, address);
    }
    address_.port = ntohs(bound.sin_port);
    setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &kReceiveRoom, sizeof kReceiveRoom);
}

Socket::~Socket() {
    close(descriptor_);
}

std::optional<Datagram> Socket::receive() {
    sockaddr_in from = {};
    socklen_t size = sizeof from;
    ssize_t received = 0;
    do {
        received = recvfrom(descriptor_, buffer_.data(), buffer_.size(), 0,
                            reinterpret_cast<sockaddr *>(&from), &size);
    } while (received < 0 && errno == EINTR);
    if (received < 0) {
        return std::nullopt;
    }
    return Datagram{{ntohl(from.sin_addr.s_addr), ntohs(from.sin_port)},
                    std::span(buffer_).first(static_cast<size_t>(received))};
}

void Socket::send(const Endpoint &to, const std::string &frame) const {
    const sockaddr_in address = socket_address(to.address, to.port);
    while (sendto(descriptor_, frame.data(), frame.size(), 0,
                  reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0 &&
           errno == EINTR) {
    }
}

bool is_loopback(uint32_t address) {
    return address >> 24 == IN_LOOPBACKNET;
}

bool is_this_machine(uint32_t source, uint32_t bound) {
    return is_loopback(source) || (bound != INADDR_ANY && source == bound);
}

uint32_t ipv4_number(const std::string &text) {
    in_addr number = {};
    inet_pton(AF_INET, text.c_str(), &number);
    return ntohl(number.s_addr);
}

}  // namespace diag::daemon
