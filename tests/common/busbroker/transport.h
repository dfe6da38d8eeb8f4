// SPDX-License-Identifier: MIT
// A client under test, and the other end of its socket.
#ifndef TESTS_COMMON_BUSBROKER_TRANSPORT_H
#define TESTS_COMMON_BUSBROKER_TRANSPORT_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <thread>
#include <vector>

#include "busbroker.h"

#include "tests/common/busbroker/answer.h"
#include "tests/common/busbroker/request_record.h"
#include "tests/common/library_test.h"

namespace diag::test {

using Bytes = std::vector<uint8_t>;

// Where a daemon would listen, on loopback. It does nothing of its own accord.
class DaemonEnd {
  public:
    DaemonEnd();
    ~DaemonEnd();
    DaemonEnd(const DaemonEnd &) = delete;
    DaemonEnd &operator=(const DaemonEnd &) = delete;

    const sockaddr_in &address() const { return address_; }

    // The next frame, waited for; empty, and the test fails, when none comes.
    std::string receive();
    // Frames that have come and were not received; they are dropped.
    size_t pending();
    // To the client that the latest frame came from.
    void send(const std::string &datagram);

  private:
    int fd_;
    sockaddr_in address_{};
    sockaddr_in client_{};
};

// A context as a program sets it up.
class TransportClient {
  public:
    TransportClient();                                  // without a socket
    explicit TransportClient(const DaemonEnd &daemon);  // not connected
    ~TransportClient();
    TransportClient(const TransportClient &) = delete;
    TransportClient &operator=(const TransportClient &) = delete;

    void start_transmitting();
    void start_receiving();
    void start();
    void stop();

    // One tick of 100 ms, which the transmit thread has dealt with when the call returns.
    void tick();
    void ticks(int count);

    // Queues a frame of this text; answers queue_tx_buf's status.
    uint32_t queue(const std::string &frame, uint32_t transac_id, uint32_t retry_ms = 100,
                   uint8_t resp_expect = DIAG_EXPECT_SUCCESS);
    // Notes an outcome with these bytes.
    uint32_t note(uint8_t flags, uint32_t transac_id, const Bytes &bytes = {});

    void drop_first_request();

    // Numbers of what is queued, in order.
    std::vector<uint32_t> requests();
    std::vector<uint32_t> outcomes();

    tool_info &info() { return *info_; }
    tool_info *operator->() { return info_.get(); }

  private:
    std::unique_ptr<tool_info> info_;
    bool transmits_ = false;
    bool receives_ = false;
};

// A call that waits for an outcome, in a thread of its own.
class WaitingCall {
  public:
    WaitingCall(TransportClient &client, uint32_t transac_id, std::function<uint32_t()> call);
    ~WaitingCall();  // refuses the request if it still waits
    WaitingCall(const WaitingCall &) = delete;
    WaitingCall &operator=(const WaitingCall &) = delete;

    uint32_t status();  // waits for the end
    bool is_done() const { return done_; }
    bool falls_asleep() const;  // waits until it waits

  private:
    TransportClient &client_;
    uint32_t transac_id_;
    uint32_t status_ = 0;
    std::atomic<bool> done_ = false;
    std::atomic<pid_t> thread_id_ = 0;
    std::thread thread_;
};

// A read of `count` bytes, not yet sent.
struct ReadRecord : RequestRecord {
    explicit ReadRecord(uint16_t count = 4);

    std::unique_ptr<WaitingCall> start(TransportClient &client);

    Bytes bytes;  // where the answer goes; more than asked for, so that an overrun shows
};

// An answer to a read; `tail` follows the echo of the access.
std::string read_answer(uint32_t transac_id, const std::string &tail);

// Waits until `condition` holds; the test fails when it does not within 10 s.
bool eventually(const std::function<bool()> &condition);

}  // namespace diag::test

#endif
