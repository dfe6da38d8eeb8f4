// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <cstring>

#include "diag_util.h"

#include "tests/common/busbroker/transport.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

using Queues = LibraryTest;
using Numbers = std::vector<uint32_t>;

char *copy_of(const char *text) {
    return strdup(text);
}

// ---- requests ----

TEST_F(Queues, ARequestIsAppendedAndDueAtOnce) {
    TransportClient client;
    EXPECT_EQ(client.queue("one", 5), 0U);
    char *frame = copy_of("second");
    EXPECT_EQ(queue_tx_buf(&client.info(), frame, 6, 250, DIAG_EXPECT_ACK, 4), 0U);
    EXPECT_EQ(client.queue("three", 5), 0U);
    EXPECT_EQ(client.requests(), (Numbers{5, 4, 5}));
    const tx_entry &entry = *client->tx_queue->next;
    EXPECT_EQ(entry.frame, frame) << "the frame itself, not a copy";
    EXPECT_EQ(entry.frame_len, 6U);
    EXPECT_EQ(entry.countdown, 0U);
    EXPECT_EQ(entry.retry_ms, 250U);
    EXPECT_EQ(entry.resp_expect, DIAG_EXPECT_ACK);
    EXPECT_EQ(entry.send_count, 0);
}

TEST_F(Queues, QueueingIsToldAtLevelThree) {
    EXPECT_EQ(logged_by([] {
                  TransportClient client;
                  client.queue("frame", 1);
              }),
              (Messages{{3, "Request queueing succesful\n"}}));
}

TEST_F(Queues, WithoutMemoryTheFrameStaysTheCallers) {
    const int failed = for_each_failing_allocation([](AllocationWatch &watch) {
        TransportClient client;
        char *frame = copy_of("frame");
        uint32_t status = 0;
        const std::string text = printed([&] {
            watch.start();
            status = queue_tx_buf(&client.info(), frame, 5, 0, 4, 1);
            watch.stop();
        });
        if (watch.has_failed()) {
            EXPECT_EQ(status, DIAG_E_NOMEM);
            EXPECT_EQ(text, error_text("queue_tx_buf", "Couldn't allocate tx queue memory\n"));
            EXPECT_EQ(client.requests(), Numbers{});
            EXPECT_STREQ(frame, "frame");
            std::free(frame);
        } else {
            EXPECT_EQ(status, 0U);
        }
    });
    EXPECT_EQ(failed, 1);
}

TEST_F(Queues, NullsAreRefused) {
    TransportClient client;
    char frame[] = "frame";
    EXPECT_EQ(queue_tx_buf(nullptr, frame, 5, 0, 4, 1), DIAG_E_INVAL);
    EXPECT_EQ(queue_tx_buf(&client.info(), nullptr, 5, 0, 4, 1), DIAG_E_INVAL);
    EXPECT_EQ(client.requests(), Numbers{});
    auto *data = static_cast<uint8_t *>(std::malloc(1));
    EXPECT_NE(enqueue_rx_queues(nullptr, 1, 1, data, 1), 0U) << "and the data is freed";
    EXPECT_NE(deque_tool_request(nullptr, 1), 0U);
    EXPECT_NE(deque_tool_response(nullptr, 1), 0U);
}

// ---- leaving the queues ----

TEST_F(Queues, WhicheverRequestMatchesTheFirstOneLeaves) {
    for (const uint32_t number : {1U, 2U, 3U}) {
        TransportClient client;
        for (const uint32_t queued : {1U, 2U, 3U}) {
            client.queue("frame", queued);
        }
        EXPECT_EQ(deque_tool_request(&client.info(), number), 0U);
        EXPECT_EQ(client.requests(), (Numbers{2, 3})) << number;
    }
}

TEST_F(Queues, WhicheverOutcomeMatchesTheFirstOneLeaves) {
    for (const uint32_t number : {1U, 2U, 3U}) {
        TransportClient client;
        rx_entry **end = &client->rx_queue;
        for (const uint32_t queued : {1U, 2U, 3U}) {
            *end = static_cast<rx_entry *>(std::calloc(1, sizeof(rx_entry)));
            (*end)->transac_id = queued;
            (*end)->data = static_cast<uint8_t *>(std::malloc(1));
            end = &(*end)->next;
        }
        EXPECT_EQ(deque_tool_response(&client.info(), number), 0U);
        EXPECT_EQ(client.outcomes(), (Numbers{2, 3})) << number;
    }
}

TEST_F(Queues, WhatIsNotQueuedCannotLeave) {
    TransportClient client;
    for (const bool filled : {false, true}) {
        if (filled) {
            client.queue("frame", 1);
            client.note(DIAG_RESP_ACK, 1);
        }
        EXPECT_EQ(
            logged_by([&] { EXPECT_EQ(deque_tool_request(&client.info(), 9), DIAG_E_INVAL); }),
            (Messages{{2, "Request not found in the tx queues\n"}}));
        EXPECT_EQ(
            logged_by([&] { EXPECT_EQ(deque_tool_response(&client.info(), 9), DIAG_E_INVAL); }),
            (Messages{{1, "Request not found in the rx queues\n"}}));
    }
    EXPECT_EQ(client.requests(), Numbers{1});
    EXPECT_EQ(client.outcomes(), Numbers{1});
}

TEST_F(Queues, LeavingIsSilent) {
    EXPECT_EQ(logged_by([] {
                  TransportClient client;
                  client.queue("frame", 1);
                  client.note(DIAG_RESP_ACK, 1);
                  deque_tool_request(&client.info(), 1);
                  deque_tool_response(&client.info(), 1);
              }),
              (Messages{{3, "Request queueing succesful\n"}}));
}

// ---- outcomes ----

TEST_F(Queues, AnOutcomeIsNotedForAQueuedRequestOnly) {
    TransportClient client;
    EXPECT_EQ(client.note(DIAG_RESP_SUCCESS, 1, {1}), 0U);
    EXPECT_EQ(client.outcomes(), Numbers{});
    client.queue("frame", 1);
    client.queue("frame", 2);
    EXPECT_EQ(client.note(DIAG_RESP_SUCCESS, 3, {1}), 0U);
    EXPECT_EQ(client.outcomes(), Numbers{});
    EXPECT_EQ(client.note(DIAG_RESP_SUCCESS, 2, {1, 2}), 0U);
    EXPECT_EQ(client.outcomes(), Numbers{2});
    EXPECT_EQ(client->rx_queue->status, DIAG_RESP_SUCCESS);
    EXPECT_EQ(client->rx_queue->data_len, 2U);
    EXPECT_EQ(client->rx_queue->data[1], 2);
}

TEST_F(Queues, TheBytesOfAnOutcomeAreTakenOver) {
    TransportClient client;
    client.queue("frame", 1);
    auto *data = static_cast<uint8_t *>(std::malloc(1));
    EXPECT_EQ(enqueue_rx_queues(&client.info(), DIAG_RESP_SUCCESS, 1, data, 1), 0U);
    EXPECT_EQ(client->rx_queue->data, data);
}

TEST_F(Queues, FlagsOfOneTransactionAddUpAndItsBytesAreReplaced) {
    TransportClient client;
    client.queue("frame", 1);
    client.note(DIAG_RESP_ACK, 1);
    EXPECT_EQ(client->rx_queue->data, nullptr);
    client.note(DIAG_RESP_SUCCESS, 1, {1, 2, 3});
    client.note(DIAG_RESP_REFUSED, 1, {9});
    EXPECT_EQ(client.outcomes(), Numbers{1});
    EXPECT_EQ(client->rx_queue->status, DIAG_RESP_ACK | DIAG_RESP_SUCCESS | DIAG_RESP_REFUSED);
    ASSERT_EQ(client->rx_queue->data_len, 1U);
    EXPECT_EQ(client->rx_queue->data[0], 9);
}

// An acknowledgement that comes late must not take the bytes away from under the caller.
TEST_F(Queues, AnAnswerWithoutBytesLeavesThoseOfAnEarlierOne) {
    TransportClient client;
    client.queue("frame", 1);
    client.note(DIAG_RESP_SUCCESS, 1, {1, 2, 3});
    client.note(DIAG_RESP_ACK, 1);
    EXPECT_EQ(client->rx_queue->status, DIAG_RESP_SUCCESS | DIAG_RESP_ACK);
    ASSERT_EQ(client->rx_queue->data_len, 3U);
    EXPECT_EQ(client->rx_queue->data[2], 3);
}

TEST_F(Queues, ANewOutcomeReplacesAllEarlierOnes) {
    TransportClient client;
    for (const uint32_t number : {1U, 2U, 3U}) {
        client.queue("frame", number);
        client.note(DIAG_RESP_SUCCESS, number, {1});
        EXPECT_EQ(client.outcomes(), Numbers{number});
    }
}

TEST_F(Queues, WithoutMemoryAnOutcomeIsLostAndItsBytesFreed) {
    const int failed = for_each_failing_allocation([](AllocationWatch &watch) {
        TransportClient client;
        client.queue("frame", 1);
        client.queue("frame", 2);
        client.note(DIAG_RESP_ACK, 1);
        auto *data = static_cast<uint8_t *>(std::malloc(1));  // lost, it would be a leak
        uint32_t status = 0;
        const std::string text = printed([&] {
            watch.start();
            status = enqueue_rx_queues(&client.info(), DIAG_RESP_SUCCESS, 2, data, 1);
            watch.stop();
        });
        EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0U);
        EXPECT_EQ(text,
                  watch.has_failed() ? error_text("enqueue_rx_queues", "Mem alloc error \n") : "");
        EXPECT_EQ(client.outcomes(), watch.has_failed() ? Numbers{1} : Numbers{2});
    });
    EXPECT_EQ(failed, 1);
}

// ---- ticks ----

struct CountdownCase {
    uint32_t from;
    Numbers after;  // each tick
};

TEST_F(Queues, ATickTakesAHundredMillisecondsAndRoundsRestsUp) {
    const CountdownCase cases[] = {
        {250, {150, 50, 100, 0, 0}},
        {0, {0, 0}},
        {1, {100, 0}},
        {99, {100, 0}},
        {100, {0, 0}},
        {101, {1, 100, 0}},
        {199, {99, 100, 0}},
        {300, {200, 100, 0}},
        {UINT32_MAX, {UINT32_MAX - 100, UINT32_MAX - 200}},
    };
    for (const CountdownCase &countdown : cases) {
        TransportClient client;
        client.queue("frame", 1);
        client->tx_queue->countdown = countdown.from;
        Numbers after;
        for (size_t i = 0; i < countdown.after.size(); i++) {
            busbroker_tx_queue_timeout_update(&client.info());
            after.push_back(client->tx_queue->countdown);
        }
        EXPECT_EQ(after, countdown.after) << countdown.from;
    }
}

TEST_F(Queues, ATickCountsForEveryEntryAndForNothingElse) {
    TransportClient client;
    for (const uint32_t number : {1U, 2U, 3U}) {
        client.queue("frame", number, 700, static_cast<uint8_t>(number));
    }
    client->tx_queue->countdown = 300;
    client->tx_queue->next->next->countdown = 40;
    EXPECT_EQ(logged_by([&] { busbroker_tx_queue_timeout_update(&client.info()); }), Messages{});
    // five runs, one per level
    EXPECT_EQ(client->tx_queue->countdown, 0U);
    EXPECT_EQ(client->tx_queue->next->countdown, 0U);
    EXPECT_EQ(client->tx_queue->next->next->countdown, 0U);
    EXPECT_EQ(client->tx_queue->retry_ms, 700U);
    EXPECT_EQ(client->tx_queue->send_count, 0);
}

TEST_F(Queues, ATickOfNoContextIsAnError) {
    const Messages messages = logged_by([] { busbroker_tx_queue_timeout_update(nullptr); });
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0], (Message{-1, "busbroker_tx_queue_timeout_update[]: "}));
    EXPECT_EQ(messages[1].level, -1);
    TransportClient client;
    EXPECT_EQ(logged_by([&] { busbroker_tx_queue_timeout_update(&client.info()); }), Messages{});
}

}  // namespace
}  // namespace diag::test
