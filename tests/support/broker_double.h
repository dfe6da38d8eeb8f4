// SPDX-License-Identifier: MIT
// A bus broker that does what a test tells it: on loopback, on a port of its own.
#ifndef TESTS_SUPPORT_BROKER_DOUBLE_H
#define TESTS_SUPPORT_BROKER_DOUBLE_H

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace diag::test {

// A frame that has come.
struct BrokerRequest {
    std::string datagram;
    unsigned tool;
    uint32_t instance;
    uint32_t number;
    std::string device;
    std::string device_name;
    unsigned priority;
    unsigned type;
    unsigned indication;
    std::string data;
    std::string support;

    // Numbers of a read or write.
    uint32_t address() const;
    size_t count() const;
    unsigned width() const;
    std::vector<uint8_t> bytes() const;  // of a write
};

// The frame of an answer, with whatever text as its data.
std::string broker_frame(const BrokerRequest &request, const std::string &data);
// The answer that has this status, in the form of its type; a reading's "Success" brings `bytes`.
std::string broker_answer(const BrokerRequest &request, const std::string &status,
                          const std::vector<uint8_t> &bytes = {});

class BrokerDouble {
  public:
    // Called for each request, in the double's thread; answers the datagrams to send.
    using Script = std::function<std::vector<std::string>(const BrokerRequest &request)>;

    explicit BrokerDouble(Script script);
    ~BrokerDouble();
    BrokerDouble(const BrokerDouble &) = delete;
    BrokerDouble &operator=(const BrokerDouble &) = delete;

    uint16_t port() const { return port_; }
    std::string setting() const;  // DIAG_BROKER=...
    std::vector<BrokerRequest> requests() const;

  private:
    void serve();
    void serve_datagram();

    Script script_;
    uint16_t port_ = 0;  // made known by the socket
    int socket_;
    int end_;                  // an event
    mutable std::mutex lock_;  // guards requests_
    std::vector<BrokerRequest> requests_;
    std::thread thread_;
};

// A port of loopback on which nobody is.
uint16_t unused_port();

}  // namespace diag::test

#endif
