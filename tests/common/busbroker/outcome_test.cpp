// SPDX-License-Identifier: MIT
// Waiting for an outcome, with the queues filled by hand.
#include "diag_util.h"

#include "tests/common/busbroker/transport.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

using Numbers = std::vector<uint32_t>;

constexpr uint32_t kNumber = 7;

// A request of which it can be set how it stands.
class OutcomeTest : public LibraryTest {
  protected:
    tx_entry &queue(uint8_t resp_expect, const std::string &frame = "frame") {
        client_.queue(frame, kNumber, 100, resp_expect);
        client_->tx_queue->send_count = 1;
        client_->tx_queue->countdown = 100;
        return *client_->tx_queue;
    }
    uint32_t check(uint8_t *resp_buf = nullptr) {
        return check_resp_buf(&client_.info(), kNumber, resp_buf);
    }
    bool is_taken_off() { return client_.requests().empty() && client_.outcomes().empty(); }

    TransportClient client_;
};

TEST_F(OutcomeTest, OfARequestThatIsNotQueuedIsAnErrorToldAtLevelOne) {
    client_.queue("frame", kNumber + 1);
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(check(), DIAG_E_INVAL); }),
              (Messages{{1, "Request not found in the Tx queues\n"}}));
    EXPECT_EQ(client_.requests(), Numbers{kNumber + 1});
    EXPECT_EQ(check_resp_buf(nullptr, kNumber, nullptr), DIAG_E_INVAL);
}

TEST_F(OutcomeTest, IsAFailureAfterThreeSendsWithoutAnAnswer) {
    const Messages messages = logged_by([&] {
        tx_entry &entry = queue(DIAG_EXPECT_SUCCESS);
        entry.send_count = 3;
        entry.countdown = 0;
        EXPECT_EQ(check(), DIAG_E_INVAL);
        EXPECT_TRUE(is_taken_off());
    });
    EXPECT_EQ(messages, (Messages{{3, "Request queueing succesful\n"},
                                  {1, "Request not found in the rx queues\n"}}));
}

struct SendsCase {
    uint8_t send_count;
    uint32_t countdown;
    bool is_over;
};

// An answer that is there loses against the end of the wait.
TEST_F(OutcomeTest, IsAFailureOnlyWhenTheLastCountdownHasRunOut) {
    for (const SendsCase &sends : {SendsCase{3, 0, true},
                                   {4, 0, true},
                                   {255, 0, true},
                                   {3, 100, false},
                                   {4, 1, false},
                                   {2, 0, false},
                                   {0, 0, false}}) {
        tx_entry &entry = queue(DIAG_EXPECT_SUCCESS);
        client_.note(DIAG_RESP_SUCCESS, kNumber);
        entry.send_count = sends.send_count;
        entry.countdown = sends.countdown;
        EXPECT_EQ(check(), sends.is_over ? DIAG_E_INVAL : 0U)
            << int{sends.send_count} << ' ' << sends.countdown;
        EXPECT_TRUE(is_taken_off());
    }
}

TEST_F(OutcomeTest, IsASuccessAtOnceWhenNothingIsAwaited) {
    for (const int expect : {1, 3, 5, 7, 255}) {
        queue(static_cast<uint8_t>(expect));
        client_.note(DIAG_RESP_REFUSED, kNumber);
        EXPECT_EQ(check(), 0U);
        EXPECT_EQ(client_.requests(), Numbers{kNumber}) << "the request stays";
        EXPECT_EQ(client_.outcomes(), Numbers{kNumber});
        deque_tool_request(&client_.info(), kNumber);
    }
}

TEST_F(OutcomeTest, IsAFailureAfterThreeSendsEvenWhenNothingIsAwaited) {
    tx_entry &entry = queue(DIAG_EXPECT_NOTHING);
    entry.send_count = 3;
    entry.countdown = 0;
    EXPECT_EQ(check(), DIAG_E_INVAL);
    EXPECT_TRUE(is_taken_off());
}

struct FlagsCase {
    int flags;
    int resp_expect;
    uint32_t status;
};

constexpr FlagsCase kComplete[] = {
    {1, 4, 0},
    {1, 2, 0},
    {1, 0, 0},
    {1 | 2, 4, 0},
    {1 | 64, 4, 0},
    {1 | 128, 4, 0},
    {2, 2, 0},
    {2, 6, 0},
    {2 | 64, 2, 0},
    {2 | 64, 4, DIAG_E_INVAL},
    {2 | 4, 4, DIAG_E_INVAL},
    {4, 4, DIAG_E_INVAL},
    {8, 4, DIAG_E_INVAL},
    {16, 4, DIAG_E_INVAL},
    {32, 4, DIAG_E_INVAL},
    {64, 4, DIAG_E_INVAL},
    {64, 2, DIAG_E_INVAL},
    {64, 0, DIAG_E_INVAL},
    {128, 4, DIAG_E_INVAL},
    {252, 4, DIAG_E_INVAL},
};

TEST_F(OutcomeTest, FollowsFromTheFlags) {
    for (const FlagsCase &flags : kComplete) {
        queue(static_cast<uint8_t>(flags.resp_expect));
        client_.note(static_cast<uint8_t>(flags.flags), kNumber);
        EXPECT_EQ(check(), flags.status) << flags.flags << ' ' << flags.resp_expect;
        EXPECT_TRUE(is_taken_off());
    }
}

TEST_F(OutcomeTest, IsWaitedForWhileTheFlagsDoNotSay) {
    for (const FlagsCase &flags :
         {FlagsCase{0, 4, 0}, {0, 2, 0}, {2, 4, 0}, {2, 0, 0}, {2, 8, 0}}) {
        queue(static_cast<uint8_t>(flags.resp_expect));
        client_.note(static_cast<uint8_t>(flags.flags), kNumber);
        WaitingCall call(client_, kNumber, [this] { return check(); });
        EXPECT_TRUE(call.falls_asleep());
        EXPECT_FALSE(call.is_done()) << flags.flags << ' ' << flags.resp_expect;
        client_.note(DIAG_RESP_SUCCESS, kNumber);
        EXPECT_EQ(call.status(), 0U);
        EXPECT_TRUE(is_taken_off());
    }
}

TEST_F(OutcomeTest, OfAnotherTransactionIsNotTaken) {
    client_.queue("frame", kNumber + 1);
    queue(DIAG_EXPECT_SUCCESS);
    client_.note(DIAG_RESP_SUCCESS, kNumber + 1);
    WaitingCall call(client_, kNumber, [this] { return check(); });
    EXPECT_TRUE(call.falls_asleep());
    EXPECT_FALSE(call.is_done());
    client_.note(DIAG_RESP_REFUSED, kNumber);
    EXPECT_EQ(call.status(), DIAG_E_INVAL);
    EXPECT_EQ(client_.requests(), Numbers{kNumber}) << "the first entry leaves, as ever";
}

// ---- bytes ----

TEST_F(OutcomeTest, BringsItsBytes) {
    Bytes buffer(4, 0x77);
    const Messages messages = logged_by([&] {
        queue(DIAG_EXPECT_SUCCESS);
        client_.note(DIAG_RESP_SUCCESS, kNumber, {1, 2, 3});
        EXPECT_EQ(check(buffer.data()), 0U);
    });
    EXPECT_EQ(buffer, (Bytes{1, 2, 3, 0x77}));
    EXPECT_EQ(messages,
              (Messages{{3, "Request queueing succesful\n"}, {3, "Data of length 3 received \n"}}));
}

TEST_F(OutcomeTest, BringsBytesOnlyWhereTheyAreWantedAndThere) {
    queue(DIAG_EXPECT_SUCCESS);
    client_.note(DIAG_RESP_SUCCESS, kNumber, {1, 2, 3});
    EXPECT_EQ(check(nullptr), 0U);
    Bytes buffer(2, 0x77);
    queue(DIAG_EXPECT_SUCCESS);
    client_.note(DIAG_RESP_SUCCESS, kNumber);
    EXPECT_EQ(check(buffer.data()), 0U);
    queue(DIAG_EXPECT_SUCCESS);
    client_.note(DIAG_RESP_REFUSED, kNumber, {1, 2});
    EXPECT_EQ(check(buffer.data()), DIAG_E_INVAL);
    queue(DIAG_EXPECT_ACK);
    client_.note(DIAG_RESP_ACK, kNumber, {1, 2});
    EXPECT_EQ(check(buffer.data()), 0U);
    EXPECT_EQ(buffer, Bytes(2, 0x77));
}

TEST_F(OutcomeTest, TellsTheLengthAlsoWhenThereAreNoBytes) {
    EXPECT_EQ(logged_by([&] {
                  queue(DIAG_EXPECT_SUCCESS);
                  client_.note(DIAG_RESP_SUCCESS, kNumber);
                  check();
              }),
              (Messages{{3, "Request queueing succesful\n"}, {3, "Data of length 0 received \n"}}));
}

// The caller of a read has room for what it asked for.
TEST_F(OutcomeTest, OfAReadBringsNoMoreBytesThanWereAskedFor) {
    for (const int asked : {0, 1, 3, 5, 6}) {
        ReadRecord record(static_cast<uint16_t>(asked));
        record.update(DIAG_REQ_READ);
        queue(DIAG_EXPECT_SUCCESS, record.frame());
        client_.note(DIAG_RESP_SUCCESS, kNumber, {1, 2, 3, 4, 5});
        Bytes buffer(8, 0x77);
        EXPECT_EQ(check(buffer.data()), 0U);
        Bytes expected(8, 0x77);
        for (uint8_t i = 0; i < 5 && i < asked; i++) {
            expected[i] = static_cast<uint8_t>(i + 1);
        }
        EXPECT_EQ(buffer, expected) << asked;
    }
}

TEST_F(OutcomeTest, OfAReadOfADeviceWithLongNamesIsCappedAsWell) {
    for (const size_t length : {0U, 32U, 255U}) {
        ReadRecord record(2);
        const std::string name(length, '2');  // digits, as a careless reader would take them
        record.update(DIAG_REQ_READ, name.c_str(), name.c_str());
        queue(DIAG_EXPECT_SUCCESS, record.frame());
        client_.note(DIAG_RESP_SUCCESS, kNumber, {1, 2, 3});
        Bytes buffer(3, 0x77);
        EXPECT_EQ(check(buffer.data()), 0U);
        EXPECT_EQ(buffer, (Bytes{1, 2, 0x77})) << length;
    }
}

// A frame of the program's own making is no read that could be told.
TEST_F(OutcomeTest, OfAFrameThatEndsEarlyIsTakenAsItComes) {
    ReadRecord record(4);
    record.update(DIAG_REQ_READ);
    const std::string whole = record.frame();
    for (size_t length = 0; length < whole.size(); length++) {
        queue(DIAG_EXPECT_SUCCESS, whole.substr(0, length));
        client_.note(DIAG_RESP_SUCCESS, kNumber, {1, 2});
        Bytes buffer(2, 0x77);
        EXPECT_EQ(check(buffer.data()), 0U);
    }
}

}  // namespace
}  // namespace diag::test
