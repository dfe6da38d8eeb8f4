// SPDX-License-Identifier: MIT
// Whoever waits is woken by what he waits for. Looking every half second would do as well, but not
// often enough before these deadlines.
#include <chrono>
#include <memory>

#include "diag_util.h"

#include "tests/common/busbroker/transport.h"
#include "tests/support/broker_double.h"

namespace diag::test {
namespace {

using std::chrono::steady_clock;

constexpr int kRequests = 40;
constexpr std::chrono::seconds kPolling{kRequests / 2};

class Deadline {
  public:
    bool is_kept() const { return steady_clock::now() < end_; }

  private:
    steady_clock::time_point end_ = steady_clock::now() + kPolling / 2;
};

BrokerDouble::Script answering() {
    return [](const BrokerRequest &request) {
        return std::vector{broker_answer(request, "Rx Ack"),
                           broker_answer(request, "Success", {1, 2, 3, 4})};
    };
}

sockaddr_in address_of(const BrokerDouble &daemon) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(daemon.port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A client of such a daemon.
class ServedClient {
  public:
    explicit ServedClient(const BrokerDouble &daemon) {
        client_->sock_cfg.addr = address_of(daemon);
    }
    TransportClient *operator->() { return &client_; }
    TransportClient &get() { return client_; }

    void make_requests() {
        ReadRecord record;
        for (int i = 0; i < kRequests; i++) {
            record.drop_texts();
            EXPECT_EQ(request_busbroker(&record, &client_.info(), "mbox0", "lpc", 0, DIAG_REQ_READ,
                                        DIAG_TRANSAC_LAST),
                      0U);
            EXPECT_EQ(Bytes(record.bytes.begin(), record.bytes.begin() + 4), (Bytes{1, 2, 3, 4}));
            std::fill(record.bytes.begin(), record.bytes.end(), uint8_t{0x77});
        }
    }

  private:
    DaemonEnd unused_;
    TransportClient client_{unused_};
};

using WakeUp = LibraryTest;

TEST_F(WakeUp, AnAnswerWakesItsCaller) {
    const BrokerDouble daemon(answering());
    ServedClient client(daemon);
    client->start();
    const Deadline deadline;
    client.make_requests();
    EXPECT_TRUE(deadline.is_kept());
    EXPECT_EQ(daemon.requests().size(), size_t{kRequests}) << "one frame for each";
}

TEST_F(WakeUp, CallersOfTwoContextsAreWokenAtTheSameTime) {
    const BrokerDouble daemon(answering());
    const BrokerDouble other_daemon(answering());
    ServedClient client(daemon);
    ServedClient other(other_daemon);
    client->start();
    other->start();
    const Deadline deadline;
    std::thread thread([&other] { other.make_requests(); });
    client.make_requests();
    thread.join();
    EXPECT_TRUE(deadline.is_kept());
}

uint32_t own_machine(tool_info *client, void *arg) {
    return busbroker_rx_state_machine(client, arg);
}

// Its callers leave the socket to the receive thread.
TEST_F(WakeUp, AnAnswerWakesTheCallerOfAProgramWithItsOwnMachine) {
    const BrokerDouble daemon(answering());
    ServedClient client(daemon);
    client.get()->rx_sm = own_machine;
    client->start();
    const Deadline deadline;
    client.make_requests();
    EXPECT_TRUE(deadline.is_kept());
}

TEST_F(WakeUp, AnOutcomeThatIsNotedByHandWakesItsCaller) {
    TransportClient client;
    const Deadline deadline;
    for (int i = 0; i < kRequests; i++) {
        client.queue("frame", 7);
        WaitingCall call(client, 7, [&] { return check_resp_buf(&client.info(), 7, nullptr); });
        EXPECT_TRUE(call.falls_asleep());
        client.note(DIAG_RESP_SUCCESS, 7);
        EXPECT_EQ(call.status(), 0U);
    }
    EXPECT_TRUE(deadline.is_kept());
}

TEST_F(WakeUp, TheEndOfTheWaitWakesItsCaller) {
    DaemonEnd daemon;
    TransportClient client(daemon);
    client.start_transmitting();
    const Deadline deadline;
    for (int i = 0; i < kRequests; i++) {
        ReadRecord record;
        const auto call = record.start(client);
        daemon.receive();
        EXPECT_TRUE(call->falls_asleep());
        client.ticks(3);
        EXPECT_EQ(call->status(), DIAG_E_INVAL);
        EXPECT_EQ(daemon.pending(), 2U);
    }
    EXPECT_TRUE(deadline.is_kept());
}

TEST_F(WakeUp, AnAnswerThatIsThereIsTakenWithoutAWait) {
    TransportClient client;
    const Deadline deadline;
    for (int i = 0; i < kRequests; i++) {
        client.queue("frame", 7);
        client.note(DIAG_RESP_SUCCESS, 7);
        EXPECT_EQ(check_resp_buf(&client.info(), 7, nullptr), 0U);
    }
    EXPECT_TRUE(deadline.is_kept());
}

}  // namespace
}  // namespace diag::test
