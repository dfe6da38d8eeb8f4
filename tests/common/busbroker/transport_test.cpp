// SPDX-License-Identifier: MIT
// Requests through sockets and threads, with a daemon that does what the test says.
#include "tests/common/busbroker/transport.h"

#include <algorithm>
#include <csignal>

#include "diag_util.h"

#include "tests/common/process_state.h"
#include "tests/support/broker_double.h"

namespace diag::test {
namespace {

using Numbers = std::vector<uint32_t>;

class TransportTest : public LibraryTest {
  protected:
    TransportTest() { client_.start(); }

    Bytes received(size_t count = 4) const {
        return {record_.bytes.begin(), record_.bytes.begin() + static_cast<ptrdiff_t>(count)};
    }
    bool is_untouched(size_t from = 0) const {
        return std::all_of(record_.bytes.begin() + static_cast<ptrdiff_t>(from),
                           record_.bytes.end(), [](uint8_t byte) { return byte == 0x77; });
    }
    bool queues_are_empty() { return client_.requests().empty() && client_.outcomes().empty(); }

    DaemonEnd daemon_;
    TransportClient client_{daemon_};
    ReadRecord record_;
};

// ---- answers ----

TEST_F(TransportTest, ARequestIsAnswered) {
    const auto call = record_.start(client_);
    const std::string frame = daemon_.receive();
    EXPECT_TRUE(frame.starts_with("RQS"));
    EXPECT_TRUE(frame.ends_with("RQE"));
    daemon_.send(read_answer(7, "Success,0004,01025aff"));
    EXPECT_EQ(call->status(), 0U);
    EXPECT_EQ(received(), (Bytes{1, 2, 0x5A, 0xFF}));
    EXPECT_TRUE(is_untouched(4));
    EXPECT_EQ(record_.transac_id, 8U);
    EXPECT_TRUE(queues_are_empty());
    client_.ticks(5);
    EXPECT_EQ(daemon_.pending(), 0U) << "an answered request is not sent again";
}

TEST_F(TransportTest, ARefusalIsAFailureAndTheNumberGoesOn) {
    for (const char *text : {"Device busy", "Req not found", "Success"}) {
        record_.transac_id = 7;
        const auto call = record_.start(client_);
        daemon_.receive();
        daemon_.send(read_answer(7, text));
        EXPECT_EQ(call->status(), DIAG_E_INVAL) << text;
        EXPECT_TRUE(is_untouched());
        EXPECT_EQ(record_.transac_id, 8U);
        EXPECT_TRUE(queues_are_empty());
    }
}

TEST_F(TransportTest, AnAnswerWithMoreBytesThanAskedForIsCapped) {
    const auto call = record_.start(client_);
    daemon_.receive();
    daemon_.send(read_answer(7, "Success,0008,0102030405060708"));
    EXPECT_EQ(call->status(), 0U);
    EXPECT_EQ(received(), (Bytes{1, 2, 3, 4}));
    EXPECT_TRUE(is_untouched(4));
}

TEST_F(TransportTest, AnAcknowledgementIsEnoughWhereItIsAwaited) {
    record_.resp_expect = DIAG_EXPECT_ACK;
    const auto call = record_.start(client_);
    daemon_.receive();
    daemon_.send(read_answer(7, "Rx Ack"));
    EXPECT_EQ(call->status(), 0U);
    EXPECT_TRUE(is_untouched());
    EXPECT_TRUE(queues_are_empty());
}

TEST_F(TransportTest, NothingIsWaitedForWhereNothingIsAwaited) {
    record_.resp_expect = DIAG_EXPECT_NOTHING;
    EXPECT_EQ(record_.start(client_)->status(), 0U);
    daemon_.receive();
    EXPECT_EQ(client_.requests(), Numbers{7}) << "it stays queued";
    EXPECT_EQ(record_.transac_id, 8U);
}

TEST_F(TransportTest, AnAcknowledgementIsFollowedBySuccess) {
    const auto call = record_.start(client_);
    daemon_.receive();
    daemon_.send(read_answer(7, "Rx Ack"));
    eventually([this] { return client_.outcomes() == Numbers{7}; });
    EXPECT_FALSE(call->is_done());
    daemon_.send(read_answer(7, "Success,0004,01020304"));
    EXPECT_EQ(call->status(), 0U);
    EXPECT_EQ(received(), (Bytes{1, 2, 3, 4}));
}

// ---- silence ----

TEST_F(TransportTest, ASilentDaemonSeesThreeFramesAndTheCallerGivesUp) {
    for (const auto &[retry_ms, ticks] : {std::pair{100U, 1}, {250U, 4}, {200U, 2}}) {
        record_.retry_ms = retry_ms;
        const uint32_t number = record_.transac_id;
        const auto call = record_.start(client_);
        const std::string frame = daemon_.receive();
        for (int send = 2; send <= 3; send++) {
            client_.ticks(ticks - 1);
            EXPECT_EQ(daemon_.pending(), 0U);
            client_.tick();
            EXPECT_EQ(daemon_.receive(), frame) << "the same frame again";
        }
        client_.ticks(ticks - 1);
        EXPECT_FALSE(call->is_done());
        client_.tick();
        EXPECT_EQ(call->status(), DIAG_E_INVAL);
        EXPECT_EQ(record_.transac_id, number + 1);
        EXPECT_TRUE(queues_are_empty());
        client_.ticks(10);
        EXPECT_EQ(daemon_.pending(), 0U);
    }
    EXPECT_TRUE(is_untouched());
}

TEST_F(TransportTest, WithoutAnIntervalAllThreeSendsGoOutAtOnce) {
    record_.retry_ms = 0;
    const auto call = record_.start(client_);
    EXPECT_EQ(call->status(), DIAG_E_INVAL);
    EXPECT_EQ(daemon_.pending(), 3U);
}

TEST_F(TransportTest, AnAcknowledgementAloneDoesNotKeepTheCallerFromGivingUp) {
    const auto call = record_.start(client_);
    for (int send = 1; send <= 3; send++) {
        daemon_.receive();
        daemon_.send(read_answer(7, "Rx Ack"));
        eventually([this] { return client_.outcomes() == Numbers{7}; });
        EXPECT_FALSE(call->is_done());
        client_.tick();
    }
    EXPECT_EQ(call->status(), DIAG_E_INVAL);
    EXPECT_TRUE(queues_are_empty());
    EXPECT_EQ(daemon_.pending(), 0U);
}

TEST_F(TransportTest, AnAnswerToTheLastSendIsInTime) {
    const auto call = record_.start(client_);
    for (int send = 1; send < 3; send++) {
        daemon_.receive();
        client_.tick();
    }
    daemon_.receive();
    daemon_.send(read_answer(7, "Success,0004,01020304"));
    EXPECT_EQ(call->status(), 0U);
    EXPECT_EQ(received(), (Bytes{1, 2, 3, 4}));
}

// ---- late, doubled, reordered ----

TEST_F(TransportTest, AnAnswerThatComesTooLateDoesNotDisturbTheNextRequest) {
    const auto late = record_.start(client_);
    daemon_.receive();
    client_.ticks(3);
    EXPECT_EQ(late->status(), DIAG_E_INVAL);
    EXPECT_EQ(daemon_.pending(), 2U);
    const auto next = record_.start(client_);
    daemon_.receive();
    daemon_.send(read_answer(7, "Success,0004,99999999"));
    daemon_.send(read_answer(7, "Device busy"));
    daemon_.send(read_answer(8, "Success,0004,01020304"));
    EXPECT_EQ(next->status(), 0U);
    EXPECT_EQ(received(), (Bytes{1, 2, 3, 4}));
    EXPECT_TRUE(queues_are_empty());
}

TEST_F(TransportTest, ADoubledAnswerCountsOnce) {
    for (uint8_t i = 1; i <= 20; i++) {
        const uint32_t number = record_.transac_id;
        const auto call = record_.start(client_);
        daemon_.receive();
        const std::string answer = read_answer(number, "Success,0004,010203" + hex(i, 2));
        daemon_.send(answer);
        daemon_.send(answer);
        EXPECT_EQ(call->status(), 0U);
        EXPECT_EQ(received(), (Bytes{1, 2, 3, i}));
    }
}

TEST_F(TransportTest, AnswersToOtherNumbersArePassedOver) {
    const auto call = record_.start(client_);
    daemon_.receive();
    for (const uint32_t number : {0U, 6U, 8U, 0x700U, UINT32_MAX}) {
        daemon_.send(read_answer(number, "Success,0004,99999999"));
    }
    daemon_.send(read_answer(7, "Success,0004,01020304"));
    EXPECT_EQ(call->status(), 0U);
    EXPECT_EQ(received(), (Bytes{1, 2, 3, 4}));
}

TEST_F(TransportTest, ADamagedAnswerIsPassedOverAndTheResendAnswered) {
    const auto call = record_.start(client_);
    daemon_.receive();
    std::string damaged = read_answer(7, "Success,0004,99999999");
    damaged[damaged.size() - 5] ^= 1;  // in the CRC
    daemon_.send(damaged);
    client_.tick();
    daemon_.receive();
    daemon_.send(read_answer(7, "Success,0004,01020304"));
    EXPECT_EQ(call->status(), 0U);
    EXPECT_EQ(received(), (Bytes{1, 2, 3, 4}));
}

TEST_F(TransportTest, TwoAnswersMayComeInOneDatagram) {
    const auto call = record_.start(client_);
    daemon_.receive();
    daemon_.send(read_answer(7, "Rx Ack") + read_answer(7, "Success,0004,01020304"));
    EXPECT_EQ(call->status(), 0U);
    EXPECT_EQ(received(), (Bytes{1, 2, 3, 4}));
}

// ---- signals ----

TEST_F(TransportTest, AlarmsDisturbNobody) {
    const SignalAction action(SIGALRM, count_signal);
    for (int i = 0; i < 5; i++) {
        const uint32_t number = record_.transac_id;
        const auto call = record_.start(client_);
        daemon_.receive();
        EXPECT_TRUE(call->falls_asleep());
        for (const pthread_t thread : {client_->tx_thread, client_->rx_thread}) {
            pthread_kill(thread, SIGALRM);
        }
        raise(SIGALRM);
        EXPECT_FALSE(call->is_done());
        daemon_.send(read_answer(number, "Success,0004,01020304"));
        EXPECT_EQ(call->status(), 0U);
    }
}

// ---- more than one ----

TEST_F(TransportTest, TwoContextsDoNotMixTheirAnswers) {
    DaemonEnd other_daemon;
    TransportClient other(other_daemon);
    other.start();
    ReadRecord other_record;
    const auto call = record_.start(client_);
    const auto other_call = other_record.start(other);
    daemon_.receive();
    other_daemon.receive();
    other_daemon.send(read_answer(7, "Success,0004,05060708"));
    EXPECT_EQ(other_call->status(), 0U);
    EXPECT_FALSE(call->is_done());
    daemon_.send(read_answer(7, "Success,0004,01020304"));
    EXPECT_EQ(call->status(), 0U);
    EXPECT_EQ(received(), (Bytes{1, 2, 3, 4}));
    EXPECT_TRUE(std::equal(other_record.bytes.begin(), other_record.bytes.begin() + 4,
                           Bytes{5, 6, 7, 8}.begin()));
}

TEST_F(TransportTest, TheTicksOfOneContextAreNotThoseOfAnother) {
    DaemonEnd other_daemon;
    TransportClient other(other_daemon);
    other.start();
    ReadRecord other_record;
    const auto call = record_.start(client_);
    const auto other_call = other_record.start(other);
    daemon_.receive();
    other_daemon.receive();
    client_.ticks(3);
    EXPECT_EQ(call->status(), DIAG_E_INVAL);
    EXPECT_FALSE(other_call->is_done());
    EXPECT_EQ(other_daemon.pending(), 0U);
}

}  // namespace
}  // namespace diag::test
