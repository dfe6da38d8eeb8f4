// SPDX-License-Identifier: MIT
#include <cstdio>
#include <cstring>

#include "diag_util.h"

#include "tests/common/busbroker/transport.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

using Responses = LibraryTest;

constexpr char kFunction[] = "busbroker_parse_update_queues";
constexpr uint32_t kNumber = 7;

// A received record with this data; the callback only looks at it.
struct Record : busbroker_req {
    Record(uint32_t type, std::string data) : busbroker_req{}, text(std::move(data)) {
        transac_id = kNumber;
        req_type = type;
        actual_data = text.data();
        actual_datalen = static_cast<uint16_t>(text.size());
    }
    std::string text;
};

// "FLAGS" or "FLAGS:BYTES" of the outcome that is queued, "none" without one.
std::string outcome_in(const tool_info &info) {
    const rx_entry *entry = info.rx_queue;
    if (entry == nullptr) {
        return "none";
    }
    EXPECT_EQ(entry->transac_id, kNumber);
    EXPECT_EQ(entry->next, nullptr);
    std::string text = std::to_string(entry->status);
    for (uint32_t i = 0; i < entry->data_len; i++) {
        text += (i == 0 ? ":" : "") + hex(entry->data[i], 2);
    }
    return text;
}

struct Interpretation {
    uint32_t status = 0;
    std::string outcome;
};

Interpretation interpret(uint32_t type, const std::string &data) {
    TransportClient client;
    client.queue("frame", kNumber);
    Record record(type, data);
    const uint32_t status = busbroker_parse_update_queues(&client.info(), nullptr, &record);
    return {status, outcome_in(client.info())};
}

// What a call logs beside the calls that set it up.
Messages logged_for(uint32_t type, const std::string &data) {
    Messages messages = logged_by([&] { interpret(type, data); });
    std::erase_if(messages, [](const Message &message) { return message.level > 0; });
    return messages;
}

struct TextCase {
    const char *data;
    const char *outcome;
};

// ---- types that have a status alone ----

constexpr TextCase kStatusTexts[] = {
    {"Rx Ack", "2"},    {"Success", "1"},   {"", "64"},
    {"success", "64"},  {"Success ", "64"}, {" Success", "64"},
    {"Success,", "64"}, {",Success", "64"}, {"Succes", "64"},
    {"Successs", "64"}, {"Rx Ack,", "64"},  {"Rx ack", "64"},
    {"RxAck", "64"},    {"Rx Ack ", "64"},  {"Device busy", "64"},
};

TEST_F(Responses, OfTypesWithAStatusAloneAreComparedAsAWhole) {
    for (const uint32_t type : {0U, 1U, 4U, 6U}) {
        for (const TextCase &text : kStatusTexts) {
            const Interpretation result = interpret(type, text.data);
            EXPECT_EQ(result.status, 0U) << type << ' ' << text.data;
            EXPECT_EQ(result.outcome, text.outcome) << type << ' ' << text.data;
            EXPECT_EQ(logged_for(type, text.data), Messages{});
        }
    }
}

TEST_F(Responses, OfAnUnknownRequestAreToldApartForTypeZeroOnly) {
    EXPECT_EQ(interpret(0, "Req not found").outcome, "32");
    for (const uint32_t type : {1U, 4U, 6U}) {
        EXPECT_EQ(interpret(type, "Req not found").outcome, "64") << type;
    }
    for (const char *text : {"Req not found ", "Req Not Found", "Req not foun", ",Req not found"}) {
        EXPECT_EQ(interpret(0, text).outcome, "64") << text;
    }
    EXPECT_EQ(interpret(2, "1,1,8,1c,Req not found").outcome, "64");
    EXPECT_EQ(interpret(3, "1,1,8,Req not found").outcome, "64");
}

TEST_F(Responses, WithoutDataTextAreRefusals) {
    TransportClient client;
    client.queue("frame", kNumber);
    Record record(6, "");
    record.actual_data = nullptr;
    EXPECT_EQ(busbroker_parse_update_queues(&client.info(), nullptr, &record), 0U);
    EXPECT_EQ(outcome_in(client.info()), "64");
}

// ---- reads ----

constexpr TextCase kReadTails[] = {
    {"Rx Ack", "2"},
    {"Rx Ack,0001,5a", "2"},
    {"Rx Ack ", "64"},
    {"success,0001,5a", "64"},
    {"Successful,0001,5a", "64"},
    {"Device busy", "64"},
    {"Success,0001,5a", "1:5a"},
    {"Success,1,5a", "1:5a"},
    {"Success,0x1,5a", "1:5a"},
    {"Success,0004,00017fff", "1:00017fff"},
    {"Success,0002,A5fF", "1:a5ff"},
    {"Success,000A,00010203040506070809", "1:00010203040506070809"},
    {"Success,00000000a,00010203040506070809", "1:00010203040506070809"},
    {"Success,0001,5a3c", "1:5a"},    // not more than announced
    {"Success,0004,5a3c", "1:5a3c"},  // not more than there is
    {"Success,0002,5a3", "1:5a"},     // nor half of one
    {"Success,ffffffff,5a", "1:5a"},
    {"Success,0001,5", "1"},
    {"Success,0000,5a", "1"},
    {"Success,zz,5a", "1"},
    {"Success,,0001,,,5a", "1:5a"},
    {"Success,0001,5a,", "1:5a"},
    {"Success,0001,5a,more", "1:5a"},
    {"Success", "128"},
    {"Success,", "128"},
    {"Success,,", "128"},
    {"Success,0001", "128"},
    {"Success,0001,", "128"},
    {"Success,0001,,", "128"},
};

TEST_F(Responses, OfReadsBringBytesBehindFourTokens) {
    for (const char *front : {"00000062,0001,08,1c,", ",,00000062,,,0001,08,,1c,,,", "a,b,c,d,"}) {
        for (const TextCase &tail : kReadTails) {
            const std::string data = std::string(front) + tail.data;
            const Interpretation result = interpret(DIAG_REQ_READ, data);
            EXPECT_EQ(result.status, 0U) << data;
            EXPECT_EQ(result.outcome, tail.outcome) << data;
        }
    }
}

TEST_F(Responses, OfReadsWithoutCountOrBytesAreReportedAtLevelZero) {
    for (const char *tail : {"Success", "Success,", "Success,0001", "Success,0001,"}) {
        EXPECT_EQ(logged_for(DIAG_REQ_READ, std::string("1,1,8,1c,") + tail),
                  (Messages{{0, "Data format error in the rx response\n"}}))
            << tail;
    }
    EXPECT_EQ(logged_for(DIAG_REQ_READ, "1,1,8,1c,Success,0001,5a"), Messages{});
    EXPECT_EQ(logged_for(DIAG_REQ_READ, "1,1,8,1c,Busy"), Messages{});
}

TEST_F(Responses, CarryAsManyBytesAsADatagramHolds) {
    std::string digits;
    for (int i = 0; i < 1900; i++) {
        digits += hex(static_cast<uint8_t>(i), 2);
    }
    EXPECT_EQ(interpret(DIAG_REQ_READ, "1,1,8,1c,Success," + hex(1900, 4) + "," + digits).outcome,
              "1:" + digits);
}

// ---- writes ----

constexpr TextCase kWriteTails[] = {
    {"Rx Ack", "2"},          {"Rx Ack,1c", "2"},      {"Busy", "64"},       {"success", "64"},
    {"Success ", "64"},       {"1c,5a,Success", "64"}, {"Success", "1"},     {"Success,", "1"},
    {"Success,,", "1"},       {"Success,1c", "1"},     {"Success,,1c", "1"}, {"Success,1c,", "128"},
    {"Success,1c,5a", "128"}, {"Success,1c,,", "128"},
};

TEST_F(Responses, OfWritesHaveAStatusBehindThreeTokens) {
    for (const char *front : {"00000062,0001,08,", ",,00000062,,,0001,,08,,", "a,b,c,"}) {
        for (const TextCase &tail : kWriteTails) {
            const std::string data = std::string(front) + tail.data;
            const Interpretation result = interpret(DIAG_REQ_WRITE, data);
            EXPECT_EQ(result.status, 0U) << data;
            EXPECT_EQ(result.outcome, tail.outcome) << data;
        }
    }
}

TEST_F(Responses, OfWritesThatGoOnAreErrors) {
    EXPECT_EQ(logged_for(DIAG_REQ_WRITE, "1,1,8,Success,1c,5a"),
              error_in(kFunction, "Data format error in the rx response\n"));
    for (const char *tail : {"Success", "Success,1c", "Busy", "Rx Ack"}) {
        EXPECT_EQ(logged_for(DIAG_REQ_WRITE, std::string("1,1,8,") + tail), Messages{}) << tail;
    }
}

TEST_F(Responses, WithoutTheEchoOfTheAccessSayNothing) {
    struct {
        uint32_t type;
        const char *data;
    } const cases[] = {
        {2, ""},
        {2, ","},
        {2, ",,,,"},
        {2, "Success"},
        {2, "1"},
        {2, "1,"},
        {2, "1,2,3"},
        {2, "1,2,3,"},
        {2, "1,2,3,4"},
        {2, ",,1,,2,,3"},
        {2, "1,2,3,Success"},
        {2, "1,2,3,Rx Ack"},
        {3, ""},
        {3, ","},
        {3, ",,,"},
        {3, "Success"},
        {3, "1"},
        {3, "1,2"},
        {3, "1,2,"},
        {3, "1,2,3"},
        {3, "1,2,Success"},
    };
    for (const auto &answer : cases) {
        const Interpretation result = interpret(answer.type, answer.data);
        EXPECT_EQ(result.status, DIAG_E_INVAL) << answer.type << ' ' << answer.data;
        EXPECT_EQ(result.outcome, "none") << answer.type << ' ' << answer.data;
    }
    EXPECT_EQ(logged_for(2, "1,2,3,Success"), error_in(kFunction, "Invalid request data format\n"));
    EXPECT_EQ(logged_for(3, "1,2"), error_in(kFunction, "Invalid request data format\n"));
}

// ---- dynamic device ids ----

TEST_F(Responses, OfDynamicIdsBringTheTokenBehindSuccess) {
    for (const char *data :
         {"Success,DEV7", ",,Success,,,DEV7", "Success,DEV7,", "Success,DEV7,x"}) {
        TransportClient client;
        client.queue("frame", kNumber);
        Record record(DIAG_REQ_DYN_DEV_ID, data);
        EXPECT_EQ(busbroker_parse_update_queues(&client.info(), nullptr, &record), 0U) << data;
        const rx_entry *entry = client->rx_queue;
        ASSERT_NE(entry, nullptr) << data;
        EXPECT_EQ(entry->status, DIAG_RESP_SUCCESS);
        EXPECT_EQ(entry->data_len, 4U) << "without the NUL";
        EXPECT_STREQ(reinterpret_cast<const char *>(entry->data), "DEV7");
    }
}

TEST_F(Responses, OfDynamicIdsWithAnyOtherTextSayNothing) {
    for (const char *data : {"", ",", "Success", "Success,", "Success,,", "success,DEV7", "Rx Ack",
                             "SuccessX,DEV7", "DEV7", "Req not found", "Busy,DEV7", " Success,D"}) {
        const Interpretation result = interpret(DIAG_REQ_DYN_DEV_ID, data);
        EXPECT_EQ(result.status, DIAG_E_INVAL) << data;
        EXPECT_EQ(result.outcome, "none") << data;
    }
}

// ---- all of them ----

TEST_F(Responses, OfOtherTypesAreDiscarded) {
    for (const uint32_t type : {7U, 8U, UINT32_MAX}) {
        const Interpretation result = interpret(type, "Success");
        EXPECT_EQ(result.status, DIAG_E_INVAL);
        EXPECT_EQ(result.outcome, "none");
        EXPECT_EQ(logged_for(type, "Success"),
                  error_in(kFunction, "Unknown request type received. Discarding the response\n"));
    }
}

TEST_F(Responses, ToRequestsThatAreNotQueuedAreDropped) {
    for (const auto &[type, data] : {std::pair{0, "Success"},
                                     {2, "1,1,8,1c,Success,1,5a"},
                                     {3, "1,1,8,Success"},
                                     {5, "Success,DEV7"}}) {
        TransportClient client;
        client.queue("frame", kNumber + 1);
        Record record(static_cast<uint32_t>(type), data);
        EXPECT_EQ(busbroker_parse_update_queues(&client.info(), nullptr, &record), 0U);
        EXPECT_EQ(outcome_in(client.info()), "none");
    }
}

TEST_F(Responses, NeedAContextAndARecord) {
    TransportClient client;
    Record record(0, "Success");
    const auto without_context = [&] {
        EXPECT_EQ(busbroker_parse_update_queues(nullptr, nullptr, &record), DIAG_E_INVAL);
    };
    const auto without_record = [&] {
        EXPECT_EQ(busbroker_parse_update_queues(&client.info(), nullptr, nullptr), DIAG_E_INVAL);
    };
    const Messages expected = error_in(kFunction, "Null pointer rx to parse the data \n");
    EXPECT_EQ(logged_by(without_context), expected);
    EXPECT_EQ(logged_by(without_record), expected);
}

// The bytes, then the entry.
TEST_F(Responses, WithoutMemoryAreReportedAndQueueNothing) {
    struct {
        uint32_t type;
        const char *data;
    } const cases[] = {{2, "1,1,8,1c,Success,1,5a"}, {5, "Success,DEV7"}};
    for (const auto &answer : cases) {
        std::vector<std::string> texts;
        const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
            TransportClient client;
            client.queue("frame", kNumber);
            Record record(answer.type, answer.data);
            uint32_t status = 0;
            texts.push_back(printed([&] {
                watch.start();
                status = busbroker_parse_update_queues(&client.info(), nullptr, &record);
                watch.stop();
            }));
            EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0U);
            EXPECT_EQ(outcome_in(client.info()) == "none", watch.has_failed());
        });
        EXPECT_EQ(failed, 2);
        EXPECT_EQ(texts, (std::vector<std::string>{
                             error_text(kFunction, "Mem alloc error\n"),
                             error_text("enqueue_rx_queues", "Mem alloc error \n"), ""}));
    }
}

TEST_F(Responses, LeaveTheRecordAsItWas) {
    for (const auto &[type, data] : {std::pair{0U, "Success"},
                                     {2U, ",,1,1,,8,1c,Success,,1,5a"},
                                     {3U, "1,1,8,Success"},
                                     {5U, "Success,DEV7"}}) {
        TransportClient client;
        client.queue("frame", kNumber);
        Record record(type, data);
        busbroker_parse_update_queues(&client.info(), nullptr, &record);
        EXPECT_EQ(record.text, data);
        EXPECT_EQ(record.actual_data, record.text.data());
    }
}

}  // namespace
}  // namespace diag::test
