// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "tests/tools/busbroker/service_test.h"

namespace diag::daemon {
namespace {

// ---- trace ----

TEST_F(ServiceTest, TracesEachAnsweredRequest) {
    FrameFields request = write_request("2", 5, {0xAB, 0xCD});
    request.device_name = "CPLD";
    request.support = ",08";
    send(kFirstClient, request);
    send(kFirstClient, request);
    ASSERT_EQ(trace_.lines.size(), 2U);
    const nlohmann::json &line = trace_.lines[0];
    EXPECT_EQ(line["client"], "127.0.0.1:1");
    EXPECT_EQ(line["transaction"], 7);
    EXPECT_EQ(line["type"], 3);
    EXPECT_EQ(line["device_id"], "2");
    EXPECT_EQ(line["device_name"], "CPLD");
    EXPECT_EQ(line["address"], 5);
    EXPECT_EQ(line["count"], 2);
    EXPECT_EQ(line["flags"], 28);
    EXPECT_EQ(line["support"], 8);
    EXPECT_EQ(line["status"], "Success");
    EXPECT_EQ(line["bytes"], "abcd");
    EXPECT_EQ(line["repeated"], false);
    EXPECT_EQ(trace_.lines[1]["repeated"], true);
    EXPECT_EQ(trace_.lines[1]["status"], "Success");
}

TEST_F(ServiceTest, TracesHowLongARequestHasWaited) {
    hold_cpld();
    send(kSecondClient, read_request("2", 0, 1));
    pass(milliseconds(250));
    release_cpld();
    EXPECT_EQ(trace_.lines.back()["client"], "127.0.0.1:2");
    EXPECT_EQ(trace_.lines.back()["waited_us"], 250'000);
}

// ---- faults ----

TEST_F(ServiceTest, LosesRequestsWhenAskedTo) {
    faults_.lose = 100;
    send(kFirstClient, write_request("2", 0, {1}));
    EXPECT_TRUE(answers().empty());
    EXPECT_EQ(service().counts().performed, 0U);
    EXPECT_EQ(dropped(Problem::kFault), 1U);
}

TEST_F(ServiceTest, DoublesRequestsWhenAskedTo) {
    faults_.double_percent = 100;
    send(kFirstClient, write_request("2", 0, {1}));
    EXPECT_EQ(service().counts().performed, 1U);
    EXPECT_GE(answers().size(), 2U);
}

TEST_F(ServiceTest, CorruptsRequestsWhenAskedTo) {
    faults_.corrupt = 100;
    for (uint32_t i = 0; i < 100; ++i) {
        send(kFirstClient, numbered(write_request("2", 0, {1}), i));
    }
    EXPECT_EQ(service().counts().received, 100U);
    EXPECT_EQ(service().counts().performed, 0U);
    EXPECT_TRUE(answers().empty());
}

TEST_F(ServiceTest, RefusesRequestsWhenAskedTo) {
    faults_.refuse = 100;
    EXPECT_EQ(ask(kFirstClient, write_request("2", 0, {1})), "00000000,0001,08,Refused");
    EXPECT_EQ(ask(kFirstClient, of_type(5, "0131,0008")), "Refused");
    EXPECT_EQ(ask(kFirstClient, of_type(6, "00,00,00,00,10,2")), "Refused");
    EXPECT_EQ(ask(kFirstClient, of_type(4)), "Success");
    EXPECT_EQ(refusal(kFirstClient), "Refused") << "why can be asked all the same";
    EXPECT_EQ(service().counts().performed, 0U);
}

TEST_F(ServiceTest, SaysNothingWhenAskedTo) {
    faults_.silent = true;
    send(kFirstClient, write_request("2", 0, {1}));
    EXPECT_TRUE(answers().empty());
    EXPECT_EQ(service().counts().performed, 1U);
}

TEST_F(ServiceTest, SendsLateAnswersInTheEnd) {
    faults_.late = 100;
    send(kFirstClient, of_type(4));
    EXPECT_TRUE(answers().empty());
    EXPECT_EQ(service().deadline(), now_ + milliseconds(50));
    pass(milliseconds(50));
    service().flush();
    EXPECT_EQ(answers().size(), 1U);
}

// ---- anything at all ----

TEST_F(ServiceTest, SurvivesEveryDamagedDatagram) {
    const std::string good = request_frame(write_request("2", 0, {1, 2, 3}));
    uint64_t sent = 0;
    for (size_t at = 0; at < good.size(); ++at) {
        for (int change = 1; change < 256; ++change) {
            std::string bad = good;
            bad[at] = static_cast<char>(bad[at] ^ change);
            send_bytes(kFirstClient, bad);
            send_bytes(kFirstClient, bad.substr(0, at));
            sent += 2;
        }
    }
    perform();
    EXPECT_TRUE(answers().empty());
    EXPECT_EQ(service().counts().received, sent);
    EXPECT_EQ(service().counts().performed, 0U);
    EXPECT_EQ(ask(kFirstClient, read_request("2", 0, 1)), "00000000,0001,08,1c,Success,0001,00");
}

// Data texts that are damaged within a frame whose CRC is right.
TEST_F(ServiceTest, AnswersEveryDamagedRequestText) {
    const Texts data = {test::read_text(0, 1), test::write_text(0, {1, 2}), "0131,0008",
                        "01,04,01,31,10", "00,00,00,00,10,2"};
    const std::vector<uint32_t> types = {2, 3, 5, 6, 6};
    uint32_t number = 0;
    for (size_t row = 0; row < data.size(); ++row) {
        for (size_t at = 0; at < data[row].size(); ++at) {
            for (int change = 1; change < 256; ++change) {
                FrameFields request = {.transaction = ++number,
                                       .device_id = "2",
                                       .type = types[row],
                                       .data = data[row]};
                request.data[at] = static_cast<char>(request.data[at] ^ change);
                if (request.data[at] != '\0') {
                    send(kFirstClient, request);
                    EXPECT_FALSE(texts(kFirstClient).empty()) << request.data;
                }
            }
        }
    }
}

}  // namespace
}  // namespace diag::daemon
