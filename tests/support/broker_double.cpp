// SPDX-License-Identifier: MIT
#include "tests/support/broker_double.h"

#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

namespace diag::test {
namespace {

constexpr size_t kLargestDatagram = 65536;

class FrameReader {
  public:
    explicit FrameReader(const std::string &frame) : frame_(frame) {}

    std::string text(size_t size) {
        if (frame_.size() - position_ < size) {
            throw std::runtime_error("a request is too short: " + frame_);
        }
        position_ += size;
        return frame_.substr(position_ - size, size);
    }
    uint32_t number(size_t digits) {
        return static_cast<uint32_t>(std::stoul(text(digits), nullptr, 16));
    }

  private:
    const std::string &frame_;
    size_t position_ = 0;
};

BrokerRequest parse(const std::string &datagram) {
    FrameReader reader(datagram);
    BrokerRequest request{};
    request.datagram = datagram;
    reader.text(3);
    request.tool = reader.number(2);
    request.instance = reader.number(8);
    request.number = reader.number(8);
    request.device = reader.text(reader.number(2));
    request.device_name = reader.text(reader.number(2));
    request.priority = reader.number(8);
    request.type = reader.number(8);
    request.indication = reader.number(2);
    const size_t data_size = reader.number(4);
    const size_t support_size = reader.number(2);
    request.data = reader.text(data_size);
    request.support = reader.text(support_size);
    return request;
}

std::string hex(uint32_t number, int digits) {
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%0*x", digits, number);
    return text.data();
}

class Crc {
  public:
    void add(uint32_t number, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            const auto byte = static_cast<unsigned char>(number >> (8 * i));
            value_ = crc32(value_, &byte, 1);
        }
    }
    void add(const std::string &text) {
        if (!text.empty()) {
            value_ = crc32(value_, reinterpret_cast<const unsigned char *>(text.data()),
                           static_cast<unsigned>(text.size()));
        }
    }
    uint32_t value() const { return static_cast<uint32_t>(value_); }

  private:
    unsigned long value_ = 0;
};

uint32_t crc_of(const BrokerRequest &request, const std::string &data) {
    Crc crc;
    crc.add(request.tool, 1);
    crc.add(request.instance, 4);
    crc.add(request.number, 4);
    for (const std::string &text : {request.device, request.device_name}) {
        crc.add(static_cast<uint32_t>(text.size()), 1);
        crc.add(text);
    }
    crc.add(request.priority, 4);
    crc.add(request.type, 4);
    crc.add(request.indication, 1);
    crc.add(static_cast<uint32_t>(data.size()), 2);
    crc.add(0, 1);
    crc.add(data);
    return crc.value();
}

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int bound_socket(uint16_t *port) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    auto *const generic = reinterpret_cast<sockaddr *>(&address);
    if (fd < 0 || bind(fd, generic, size) != 0 || getsockname(fd, generic, &size) != 0) {
        throw std::runtime_error("no port of loopback to be had");
    }
    *port = ntohs(address.sin_port);
    return fd;
}

}  // namespace

uint32_t BrokerRequest::address() const {
    return static_cast<uint32_t>(std::stoul(data.substr(0, 8), nullptr, 16));
}

size_t BrokerRequest::count() const {
    return std::stoul(data.substr(9, 4), nullptr, 16);
}

unsigned BrokerRequest::width() const {
    return static_cast<unsigned>(std::stoul(data.substr(14, 2), nullptr, 16));
}

std::vector<uint8_t> BrokerRequest::bytes() const {
    std::vector<uint8_t> all;
    for (size_t i = sizeof "aaaaaaaa,cccc,ww,ff" - 1; i < data.size(); i += 3) {
        all.push_back(static_cast<uint8_t>(std::stoul(data.substr(i + 1, 2), nullptr, 16)));
    }
    return all;
}

std::string broker_frame(const BrokerRequest &request, const std::string &data) {
    return "RPS" + hex(request.tool, 2) + hex(request.instance, 8) + hex(request.number, 8) +
           hex(static_cast<uint32_t>(request.device.size()), 2) + request.device +
           hex(static_cast<uint32_t>(request.device_name.size()), 2) + request.device_name +
           hex(request.priority, 8) + hex(request.type, 8) + hex(request.indication, 2) +
           hex(static_cast<uint32_t>(data.size()), 4) + "00" + data +
           hex(crc_of(request, data), 8) + "RPE";
}

std::string broker_answer(const BrokerRequest &request, const std::string &status,
                          const std::vector<uint8_t> &bytes) {
    constexpr unsigned kRead = 2;
    constexpr unsigned kWrite = 3;
    if (request.type == kWrite) {
        return broker_frame(request, request.data.substr(0, 16) + "," + status);
    }
    if (request.type != kRead) {
        return broker_frame(request, status);
    }
    std::string data = request.data + "," + status;
    if (status == "Success") {
        data += "," + hex(static_cast<uint32_t>(bytes.size()), 4) + ",";
        for (const uint8_t byte : bytes) {
            data += hex(byte, 2);
        }
    }
    return broker_frame(request, data);
}

BrokerDouble::BrokerDouble(Script script)
    : script_(std::move(script)), socket_(bound_socket(&port_)), end_(eventfd(0, EFD_CLOEXEC)) {
    thread_ = std::thread([this] { serve(); });
}

BrokerDouble::~BrokerDouble() {
    eventfd_write(end_, 1);
    thread_.join();
    close(end_);
    close(socket_);
}

std::string BrokerDouble::setting() const {
    return "DIAG_BROKER=127.0.0.1:" + std::to_string(port_);
}

std::vector<BrokerRequest> BrokerDouble::requests() const {
    const std::lock_guard guard(lock_);
    return requests_;
}

void BrokerDouble::serve() {
    for (;;) {
        std::array<pollfd, 2> events{{{end_, POLLIN, 0}, {socket_, POLLIN, 0}}};
        if (poll(events.data(), events.size(), -1) > 0 && events[0].revents != 0) {
            return;
        }
        if (events[1].revents != 0) {
            serve_datagram();
        }
    }
}

void BrokerDouble::serve_datagram() {
    std::string datagram(kLargestDatagram, '\0');
    sockaddr_in client{};
    socklen_t size = sizeof client;
    auto *const generic = reinterpret_cast<sockaddr *>(&client);
    const ssize_t received = recvfrom(socket_, datagram.data(), datagram.size(), 0, generic, &size);
    datagram.resize(received > 0 ? static_cast<size_t>(received) : 0);
    const BrokerRequest request = parse(datagram);
    {
        const std::lock_guard guard(lock_);
        requests_.push_back(request);
    }
    for (const std::string &answer : script_(request)) {
        sendto(socket_, answer.data(), answer.size(), 0, generic, size);
    }
}

uint16_t unused_port() {
    uint16_t port = 0;
    close(bound_socket(&port));
    return port;
}

}  // namespace diag::test
