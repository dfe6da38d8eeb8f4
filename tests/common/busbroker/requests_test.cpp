// SPDX-License-Identifier: MIT
// A request's parameters, and what happens before it is waited for.
#include "diag_util.h"

#include "tests/common/busbroker/transport.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

using Requests = LibraryTest;
using Numbers = std::vector<uint32_t>;

uint8_t buffer[4] = {1, 2, 3, 4};
uint8_t support[2] = {0x0a, 0x0b};

// ---- parameters ----

// A record in which every field that is to be set holds something else.
struct FilledRecord : RequestRecord {
    explicit FilledRecord(uint32_t type, uint8_t *support_buffer = nullptr,
                          uint8_t support_length = 0) {
        static uint8_t other;
        resp_buf = write_buf = support_bytes = &other;
        support_count = 99;
        req_type = 1;
        retry_ms = 250;
        update_busbroker_req_fields(this, 0x12345678, 0x1234, 16, buffer, DIAG_EXPECT_ACK, type,
                                    0x5A, support_buffer, support_length);
    }
};

TEST_F(Requests, OfAReadGetABufferForTheAnswerAndTheirOwnFlags) {
    const FilledRecord record(DIAG_REQ_READ);
    EXPECT_EQ(record.access_addr, 0x12345678U);
    EXPECT_EQ(record.access_count, 0x1234);
    EXPECT_EQ(record.access_width, 16);
    EXPECT_EQ(record.resp_expect, DIAG_EXPECT_ACK);
    EXPECT_EQ(record.access_flags, 0x5A);
    EXPECT_EQ(record.resp_buf, buffer);
    EXPECT_EQ(record.write_buf, nullptr);
    EXPECT_EQ(record.support_bytes, nullptr);
    EXPECT_EQ(record.support_count, 0);
}

TEST_F(Requests, OfAWriteGetTheBytesToWriteAndTheUsualFlags) {
    const FilledRecord record(DIAG_REQ_WRITE);
    EXPECT_EQ(record.access_addr, 0x12345678U);
    EXPECT_EQ(record.access_count, 0x1234);
    EXPECT_EQ(record.access_flags, 28);
    EXPECT_EQ(record.resp_buf, nullptr);
    EXPECT_EQ(record.write_buf, buffer);
}

TEST_F(Requests, OfOtherTypesGetNoBufferAndTheUsualFlags) {
    for (const uint32_t type : {0U, 1U, 4U, 5U, 6U, 7U, UINT32_MAX}) {
        const FilledRecord record(type);
        EXPECT_EQ(record.access_flags, 28) << type;
        EXPECT_EQ(record.resp_buf, nullptr) << type;
        EXPECT_EQ(record.write_buf, nullptr) << type;
    }
}

TEST_F(Requests, KeepWhatTheirOwnerSet) {
    const FilledRecord record(DIAG_REQ_READ);
    EXPECT_EQ(record.tool_id, 3);
    EXPECT_EQ(record.inst_id, 1U);
    EXPECT_EQ(record.transac_id, 7U);
    EXPECT_EQ(record.req_type, 1U);
    EXPECT_EQ(record.retry_ms, 250U);
}

TEST_F(Requests, GetSupportBytes) {
    for (const uint32_t type : {2U, 3U, 6U}) {
        const FilledRecord record(type, support, 2);
        EXPECT_EQ(record.support_bytes, support);
        EXPECT_EQ(record.support_count, 2);
    }
    EXPECT_EQ(logged_by([] { FilledRecord(2, support, 2); }), Messages{});
    EXPECT_EQ(logged_by([] { FilledRecord(2, nullptr, 0); }), Messages{});
}

TEST_F(Requests, WithHalfASupportAreToldAtLevelThreeAndGetNone) {
    const FilledRecord without_bytes(3, nullptr, 2);
    EXPECT_EQ(without_bytes.support_bytes, nullptr);
    EXPECT_EQ(without_bytes.support_count, 0);
    EXPECT_EQ(logged_by([] { FilledRecord(3, nullptr, 2); }),
              (Messages{{3, "update_busbroker_req_fields[]: "},
                        {3,
                         "Support data length is not NULL but buffer pointer is NULL, Considering "
                         "no support data"}}));
    const FilledRecord without_count(3, support, 0);
    EXPECT_EQ(without_count.support_bytes, nullptr);
    EXPECT_EQ(without_count.support_count, 0);
    EXPECT_EQ(
        logged_by([] { FilledRecord(3, support, 0); }),
        (Messages{{3, "update_busbroker_req_fields[]: "},
                  {3, "Support data buffer is not NULL, but support data buffer is not empty\n"}}));
}

TEST_F(Requests, NeedARecordForTheirParameters) {
    update_busbroker_req_fields(nullptr, 0, 0, 8, buffer, 4, 2, 28, support, 2);
}

// ---- sending ----

// A write for which nothing is awaited, so that the call returns.
struct FreeWrite : RequestRecord {
    FreeWrite() {
        update_busbroker_req_fields(this, 0x62, 1, 8, buffer, DIAG_EXPECT_NOTHING, DIAG_REQ_WRITE,
                                    0, support, 1);
        retry_ms = 250;
    }
    uint32_t send(TransportClient &client) {
        drop_texts();
        return request_busbroker(this, &client.info(), "mbox0", "lpc", 1, DIAG_REQ_WRITE,
                                 DIAG_TRANSAC_NEXT);
    }
};

TEST_F(Requests, AreFramedAndQueued) {
    TransportClient client;
    FreeWrite record;
    EXPECT_EQ(record.send(client), 0U);
    ASSERT_EQ(client.requests(), Numbers{7});
    const tx_entry &entry = *client->tx_queue;
    const std::string frame =
        "RQS03000000010000000705mbox003lpc00000001000000030200160300000062,0001,08,1c,01,0a";
    EXPECT_EQ(std::string(entry.frame).substr(0, frame.size()), frame);
    EXPECT_EQ(std::string(entry.frame).substr(frame.size()), hex(record.crc, 8) + "RQE");
    EXPECT_EQ(entry.frame_len, std::string(entry.frame).size());
    EXPECT_EQ(entry.retry_ms, 250U);
    EXPECT_EQ(entry.resp_expect, DIAG_EXPECT_NOTHING);
    EXPECT_EQ(entry.send_count, 0) << "no thread runs";
}

TEST_F(Requests, AreNumberedOneByOne) {
    TransportClient client;
    FreeWrite record;
    for (const uint32_t number : {7U, 8U, 9U}) {
        EXPECT_EQ(record.transac_id, number);
        EXPECT_EQ(record.send(client), 0U);
    }
    record.transac_id = UINT32_MAX;
    EXPECT_EQ(record.send(client), 0U);
    EXPECT_EQ(record.transac_id, 0U);
    EXPECT_EQ(client.requests(), (Numbers{7, 8, 9, UINT32_MAX}));
}

TEST_F(Requests, TellEachStepAtLevelThree) {
    std::string frame;
    Messages messages = logged_by([&frame] {
        TransportClient client;
        FreeWrite().send(client);
        frame = client->tx_queue->frame;
    });
    ASSERT_GE(messages.size(), 4U);
    messages.erase(messages.begin(), messages.end() - 4);
    const std::string crc = frame.substr(frame.size() - 11, 8);
    EXPECT_EQ(messages[0].text, "Calculated CRC =" + crc.substr(crc.find_first_not_of('0')) + "\n");
    messages.erase(messages.begin());
    EXPECT_EQ(
        messages,
        (Messages{{3, "Calculated length required is " + std::to_string(frame.size()) + " \n"},
                  {3, "Prepared request is " + frame + "\n"},
                  {3, "Request queueing succesful\n"}}));
}

// The data, the support data, the frame, the queue's entry.
TEST_F(Requests, WithoutMemoryAreNotQueuedAndKeepTheirNumber) {
    std::vector<std::string> texts;
    const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
        TransportClient client;
        FreeWrite record;
        uint32_t status = 0;
        texts.push_back(printed([&] {
            watch.start();
            status = request_busbroker(&record, &client.info(), "mbox0", "lpc", 0, DIAG_REQ_WRITE,
                                       DIAG_TRANSAC_LAST);
            watch.stop();
        }));
        EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0U);
        EXPECT_EQ(client.requests(), watch.has_failed() ? Numbers{} : Numbers{7});
        EXPECT_EQ(record.transac_id, watch.has_failed() ? 7U : 8U);
        if (texts.size() == 3) {
            EXPECT_EQ(record.actual_data, nullptr) << "freed when the frame cannot be had";
        }
        while (client->tx_queue != nullptr) {
            deque_tool_request(&client.info(), client->tx_queue->transac_id);
        }
        record.drop_texts();
    });
    EXPECT_EQ(failed, 4);
    const std::string function = "request_busbroker";
    EXPECT_EQ(texts, (std::vector<std::string>{
                         error_text("update_request", "Couldn't allocate memory \n"),
                         error_text("update_request", "Couldn't allocate memory\n"),
                         error_text(function, "Memory allocation error\n"),
                         error_text("queue_tx_buf", "Couldn't allocate tx queue memory\n") +
                             error_text(function, "Can't queue the request \n"),
                         ""}));
}

TEST_F(Requests, WithBadArgumentsAnswerWhatTheUpdateSays) {
    TransportClient client;
    FreeWrite record;
    tool_info *info = &client.info();
    EXPECT_EQ(request_busbroker(nullptr, info, "a", "b", 0, 3, 5), DIAG_E_INVAL);
    EXPECT_EQ(request_busbroker(&record, info, nullptr, "b", 0, 3, 5), DIAG_E_INVAL);
    EXPECT_EQ(request_busbroker(&record, info, "a", nullptr, 0, 3, 5), DIAG_E_INVAL);
    record.write_buf = nullptr;
    EXPECT_EQ(request_busbroker(&record, info, "a", "b", 0, 3, 5), DIAG_E_INVAL);
    EXPECT_EQ(client.requests(), Numbers{});
    EXPECT_EQ(record.transac_id, 7U);
}

TEST_F(Requests, WithoutAContextAreRefused) {
    FreeWrite record;
    EXPECT_EQ(request_busbroker(&record, nullptr, "a", "b", 0, DIAG_REQ_WRITE, 5), DIAG_E_INVAL);
    EXPECT_EQ(record.transac_id, 7U);
}

}  // namespace
}  // namespace diag::test
