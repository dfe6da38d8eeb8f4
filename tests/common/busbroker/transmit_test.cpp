// SPDX-License-Identifier: MIT
// What goes out when, and how often.
#include <cerrno>

#include "diag_util.h"
#include "timer_epoll.h"

#include "tests/common/busbroker/socket_doubles.h"
#include "tests/common/busbroker/transport.h"
#include "tests/common/busbroker/unwritable_output.h"
#include "tests/support/logged_messages.h"
#include "tests/support/syslog_double.h"

namespace diag::test {
namespace {

using Numbers = std::vector<uint32_t>;
using Texts = std::vector<std::string>;

class TransmitTest : public LibraryTest {
  protected:
    // How an entry stands.
    struct State {
        int send_count;
        uint32_t countdown;

        bool operator==(const State &) const = default;
    };
    State state(size_t index = 0) {
        pthread_mutex_lock(&client_->tx_lock);
        const tx_entry *entry = client_->tx_queue;
        while (index-- > 0) {
            entry = entry->next;
        }
        const State state{entry->send_count, entry->countdown};
        pthread_mutex_unlock(&client_->tx_lock);
        return state;
    }

    DaemonEnd daemon_;
    TransportClient client_{daemon_};
};

// ---- resending ----

TEST_F(TransmitTest, AFrameGoesOutWholeToTheDaemonsAddress) {
    const ScriptedSends sends;
    client_.start_transmitting();
    const std::string frame = "RQS" + std::string(4000, 'x') + "RQE";
    client_.queue(frame, 1);
    EXPECT_EQ(daemon_.receive(), frame) << "without its NUL";
    ASSERT_EQ(sends.all().size(), 1U);
    EXPECT_EQ(sends.all()[0].address_length, 128U);
    EXPECT_EQ(state(), (State{1, 100}));
}

TEST_F(TransmitTest, WhatWasQueuedBeforeTheThreadStartsGoesOutAsWell) {
    client_.queue("early", 1);
    EXPECT_EQ(daemon_.pending(), 0U);
    EXPECT_EQ(state(), (State{0, 0}));
    client_.start_transmitting();
    EXPECT_EQ(daemon_.receive(), "early");
}

struct ResendCase {
    uint32_t retry_ms;
    std::vector<size_t> frames_after_tick;  // from queueing on, new ones only
};

// Three sends, and nothing more however long nobody looks.
TEST_F(TransmitTest, ResendsAreCountedInTicks) {
    const ResendCase cases[] = {
        {100, {1, 1, 1, 0, 0, 0}},
        {1, {1, 0, 1, 0, 1, 0, 0, 0, 0}},
        {99, {1, 0, 1, 0, 1, 0, 0, 0}},
        {150, {1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0}},
        {200, {1, 0, 1, 0, 1, 0, 0, 0}},
        {250, {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}},
        {0, {3, 0, 0, 0}},
    };
    client_.start_transmitting();
    for (const ResendCase &resend : cases) {
        client_.queue("frame", 1, resend.retry_ms);
        std::vector<size_t> frames = {daemon_.pending()};
        while (frames.size() < resend.frames_after_tick.size()) {
            client_.tick();
            frames.push_back(daemon_.pending());
        }
        EXPECT_EQ(frames, resend.frames_after_tick) << resend.retry_ms;
        EXPECT_EQ(state(), (State{3, 0})) << "it waits for its caller to give up";
        client_.drop_first_request();
    }
}

TEST_F(TransmitTest, TheRegisteredTickDrivesTheResends) {
    client_.start_transmitting();
    client_.queue("frame", 1, 100);
    EXPECT_EQ(daemon_.receive(), "frame");
    timeout_calls();
    EXPECT_EQ(daemon_.receive(), "frame");
}

TEST_F(TransmitTest, ATickFlagSetByHandIsSeen) {
    client_.start_transmitting();
    client_.queue("frame", 1, 100);
    EXPECT_EQ(daemon_.receive(), "frame");
    __atomic_store_n(&client_->tick_flag, uint8_t{1}, __ATOMIC_RELEASE);
    EXPECT_EQ(daemon_.receive(), "frame");
    EXPECT_TRUE(
        eventually([this] { return __atomic_load_n(&client_->tick_flag, __ATOMIC_ACQUIRE) == 0; }));
}

TEST_F(TransmitTest, WithoutATickNothingIsSentAgain) {
    client_.start_transmitting();
    client_.queue("frame", 1, 1);
    EXPECT_EQ(daemon_.receive(), "frame");
    client_.queue("other", 2, 1);
    client_.queue("third", 3, 1);
    EXPECT_EQ(daemon_.pending(), 0U);
    EXPECT_EQ(state(), (State{1, 1}));
}

// ---- the order of the queue ----

TEST_F(TransmitTest, AFrameWaitsForTheOneBeforeIt) {
    client_.start_transmitting();
    client_.queue("first", 1, 100);
    client_.queue("second", 2, 100);
    client_.tick();
    for (const char *expected : {"first", "first"}) {
        EXPECT_EQ(daemon_.receive(), expected);
    }
    EXPECT_EQ(daemon_.pending(), 0U);
    EXPECT_EQ(state(1), (State{0, 0}));
    client_.drop_first_request();
    client_.tick();
    EXPECT_EQ(daemon_.receive(), "second");
}

TEST_F(TransmitTest, AFrameThatWasSentThreeTimesHoldsUpTheNextUntilItsCallerGivesUp) {
    client_.start_transmitting();
    client_.queue("first", 1, 100);
    client_.queue("second", 2, 100);
    client_.ticks(6);
    EXPECT_EQ(daemon_.pending(), 3U);
    EXPECT_EQ(state(1), (State{0, 0}));
    EXPECT_EQ(check_resp_buf(&client_.info(), 1, nullptr), DIAG_E_INVAL);
    client_.tick();
    EXPECT_EQ(daemon_.receive(), "second");
}

TEST_F(TransmitTest, AFrameForWhichNothingIsAwaitedHoldsUpNothing) {
    client_.queue("first", 1, 100'000, DIAG_EXPECT_NOTHING);
    client_.queue("second", 2, 100'000, DIAG_EXPECT_NOTHING | DIAG_EXPECT_SUCCESS);
    client_.queue("third", 3, 100'000);
    client_.queue("fourth", 4, 100'000);
    client_.start_transmitting();
    for (const char *expected : {"first", "second", "third"}) {
        EXPECT_EQ(daemon_.receive(), expected);
    }
    EXPECT_EQ(daemon_.pending(), 0U);
}

// The frames are stepped over once each before the counter is at its end.
TEST_F(TransmitTest, FiveFramesAreSteppedOverAndThenNothingIsSent) {
    for (const uint32_t number : {1U, 2U, 3U, 4U, 5U, 6U, 7U}) {
        client_.queue(std::to_string(number), number, 100'000, DIAG_EXPECT_NOTHING);
    }
    client_.start_transmitting();
    client_.ticks(3);
    for (const char *expected : {"1", "2", "3", "4", "5"}) {
        EXPECT_EQ(daemon_.receive(), expected);
    }
    EXPECT_EQ(daemon_.pending(), 0U);
}

TEST_F(TransmitTest, StepsAreCountedForTheLifeOfTheThread) {
    client_.queue("first", 1, 100'000, DIAG_EXPECT_NOTHING);
    client_.start_transmitting();
    EXPECT_EQ(daemon_.receive(), "first");
    client_.ticks(5);  // each with a look at the queue
    client_.drop_first_request();
    client_.queue("second", 2);
    client_.ticks(3);
    EXPECT_EQ(daemon_.pending(), 0U);
    client_.stop();
    client_.start_transmitting();
    EXPECT_EQ(daemon_.receive(), "second") << "a new thread counts anew";
}

// ---- failing sends ----

TEST_F(TransmitTest, AFailedSendCountsTwice) {
    const ScriptedSends sends({-ENETUNREACH, -ENETUNREACH});
    client_.start_transmitting();
    client_.queue("frame", 1, 100);
    EXPECT_EQ(state(), (State{2, 100})) << "its countdown runs all the same";
    client_.tick();
    EXPECT_EQ(state(), (State{4, 100}));
    client_.ticks(4);
    EXPECT_EQ(sends.texts(), (Texts{"frame", "frame"}));
    EXPECT_EQ(daemon_.pending(), 0U);
    EXPECT_EQ(check_resp_buf(&client_.info(), 1, nullptr), DIAG_E_INVAL);
}

TEST_F(TransmitTest, OneFailureLeavesOneMoreSend) {
    const ScriptedSends sends({-ENOBUFS});
    client_.start_transmitting();
    client_.queue("frame", 1, 100);
    client_.tick();
    EXPECT_EQ(daemon_.receive(), "frame");
    EXPECT_EQ(state(), (State{3, 100}));
    client_.ticks(3);
    EXPECT_EQ(daemon_.pending(), 0U);
}

TEST_F(TransmitTest, AFailedSendIsAnErrorWithItsNumber) {
    const ScriptedSends sends({-ENETUNREACH, -EPERM});
    set_verb_level(0);
    reset_syslog();
    client_.queue("frame", 1, 0);
    client_.start_transmitting();
    std::string text;
    for (const SyslogEntry &entry : logged()) {
        text += entry.text;
    }
    EXPECT_EQ(text,
              error_text("sock_tx_thread", "Error while trying to send data with errcode " +
                                               std::to_string(ENETUNREACH) + "\n") +
                  error_text("sock_tx_thread", "Error while trying to send data with errcode " +
                                                   std::to_string(EPERM) + "\n"));
}

// Telling where the error is may itself fail; so does syslog where there is no daemon for it.
TEST_F(TransmitTest, TheNumberOfAnErrorSurvivesTheTellingOfItsPlace) {
    const ScriptedSends sends({-ENETUNREACH, -ENETUNREACH});
    reset_syslog();
    {
        const UnwritableOutput output;
        client_.queue("frame", 1, 0);
        client_.start_transmitting();
    }
    ASSERT_EQ(logged().size(), 4U);
    EXPECT_EQ(logged()[1].text, "ERROR: Error while trying to send data with errcode " +
                                    std::to_string(ENETUNREACH) + "\n");
}

TEST_F(TransmitTest, AnInterruptedSendIsRepeatedAndCountsOnce) {
    const ScriptedSends sends({-EINTR, -EINTR});
    client_.start_transmitting();
    client_.queue("frame", 1);
    EXPECT_EQ(daemon_.receive(), "frame");
    EXPECT_EQ(sends.texts(), (Texts{"frame", "frame", "frame"}));
    EXPECT_EQ(state(), (State{1, 100}));
}

TEST_F(TransmitTest, WhatIsLeftOfAShortSendGoesOutFromTheFrontAgain) {
    const ScriptedSends sends({2, -EINTR, 5});
    client_.start_transmitting();
    client_.queue("0123456789", 1);
    EXPECT_EQ(sends.texts(), (Texts{"0123456789", "01234567", "01234567", "012"}));
    EXPECT_EQ(daemon_.receive(), "012");
    EXPECT_EQ(state(), (State{1, 100}));
}

TEST_F(TransmitTest, AnErrorBehindAShortSendIsAFailedSend) {
    const ScriptedSends sends({2, -EPIPE});
    client_.start_transmitting();
    client_.queue("0123456789", 1);
    EXPECT_EQ(state(), (State{2, 100}));
    EXPECT_EQ(daemon_.pending(), 0U);
}

}  // namespace
}  // namespace diag::test
