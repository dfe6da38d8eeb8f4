// SPDX-License-Identifier: MIT
#include "tests/tools/busbroker/service_test.h"

#include <gtest/gtest.h>

namespace diag::daemon {
namespace {

TEST_F(ServiceTest, AnswersAPing) {
    EXPECT_EQ(ask(kFirstClient, of_type(4)), "Success");
    EXPECT_EQ(ask(kFirstClient, {.device_id = "whatever", .type = 4, .data = "x"}), "Success");
}

TEST_F(ServiceTest, WritesAndReads) {
    EXPECT_EQ(ask(kFirstClient, write_request("2", 5, {0x12, 0x34})), "00000005,0002,08,Success");
    EXPECT_EQ(ask(kFirstClient, read_request("2", 5, 2)), "00000005,0002,08,1c,Success,0002,1234");
    EXPECT_EQ(service().counts().performed, 2U);
}

TEST_F(ServiceTest, AnswersToWhereTheRequestCameFrom) {
    const FrameFields fields = {.tool = 3,
                                .instance = 9,
                                .transaction = 77,
                                .device_id = "2",
                                .device_name = "CPLD",
                                .priority = 1,
                                .type = 2,
                                .indication = 0,
                                .data = test::read_text(0, 1)};
    send_bytes(0x1234, request_frame(fields));
    perform();
    const auto sent = answers();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].to, (Endpoint{0x7F000001, 0x1234}));
    EXPECT_EQ(sent[0].fields.tool, 3U);
    EXPECT_EQ(sent[0].fields.instance, 9U);
    EXPECT_EQ(sent[0].fields.transaction, 77U);
    EXPECT_EQ(sent[0].fields.device_name, "CPLD");
    EXPECT_EQ(sent[0].fields.priority, 1U);
    EXPECT_EQ(sent[0].fields.indication, 0U);
}

TEST_F(ServiceTest, RefusesWhatItDoesNotUnderstand) {
    EXPECT_EQ(ask(kFirstClient, {.device_id = "2", .type = 2, .data = "nonsense"}),
              "00000000,0000,00,00,Invalid request");
    EXPECT_EQ(ask(kFirstClient, {.device_id = "2", .type = 3, .data = ""}),
              "00000000,0000,00,Invalid request");
    EXPECT_EQ(ask(kFirstClient, of_type(5, "nonsense")), "Invalid request");
    EXPECT_EQ(ask(kFirstClient, of_type(6, "nonsense")), "Invalid request");
    FrameFields with_option = read_request("2", 0, 1);
    with_option.support = ",10";
    EXPECT_EQ(ask(kFirstClient, with_option), "00000000,0000,00,00,Invalid request");
}

TEST_F(ServiceTest, RefusesWhatCannotBe) {
    EXPECT_EQ(ask(kFirstClient, read_request("nothing", 0, 1)),
              "00000000,0001,08,1c,Unknown device");
    EXPECT_EQ(ask(kFirstClient, read_request("2", 0, 1901)), "00000000,076d,08,1c,Too long");
    EXPECT_EQ(ask(kFirstClient, read_request("2", 0, 1, 64)), "00000000,0001,40,1c,Not supported");
    EXPECT_EQ(ask(kFirstClient, read_request("i2c:1:33", 0, 1)), "00000000,0001,08,1c,No answer");
}

TEST_F(ServiceTest, TellsWhyARequestWasRefused) {
    EXPECT_EQ(refusal(kFirstClient), "");
    ask(kFirstClient, read_request("nothing", 0, 1));
    EXPECT_EQ(refusal(kFirstClient), "Unknown device");
    ask(kFirstClient, read_request("i2c:1:33", 0, 1));
    EXPECT_EQ(refusal(kFirstClient), "No answer");
    ask(kFirstClient, read_request("2", 0, 1));
    EXPECT_EQ(refusal(kFirstClient), "No answer") << "the latest refused one";
    EXPECT_EQ(refusal(kSecondClient), "") << "each client its own";
}

TEST_F(ServiceTest, DropsWhatIsNoRequest) {
    send_bytes(kFirstClient, "nonsense");
    send_bytes(kFirstClient, request_frame(of_type(7)));
    send_bytes(kFirstClient, "");
    perform();
    EXPECT_TRUE(answers().empty());
    EXPECT_EQ(dropped(Problem::kTooShort), 2U);
    EXPECT_EQ(dropped(Problem::kType), 1U);
    EXPECT_EQ(service().counts().received, 3U);
    EXPECT_TRUE(trace_.lines.empty());
}

TEST_F(ServiceTest, GivesIdsToPlaces) {
    EXPECT_EQ(ask(kFirstClient, of_type(5, "0131,0008")), "Success,2");
    EXPECT_EQ(ask(kFirstClient, of_type(5, "0131,0016")), "Success,i2c16:1:31");
    EXPECT_EQ(ask(kFirstClient, of_type(5, "0180,0008")), "Unknown device");
}

// ---- repeated requests ----

TEST_F(ServiceTest, AnswersARepeatedRequestFromMemory) {
    const FrameFields request = write_request("2", 5, {0x11});
    send(kFirstClient, request);
    send(kFirstClient, numbered(write_request("2", 5, {0x22}), 8));
    send(kFirstClient, request);
    EXPECT_EQ(texts(kFirstClient), Texts(3, "00000005,0001,08,Success"));
    EXPECT_EQ(ask(kFirstClient, read_request("2", 5, 1)), "00000005,0001,08,1c,Success,0001,22");
    EXPECT_EQ(service().counts().performed, 3U);
    EXPECT_EQ(service().counts().repeated, 1U);
}

TEST_F(ServiceTest, AnswersARepeatedRefusalFromMemoryToo) {
    send(kFirstClient, read_request("i2c:1:33", 0, 1));
    send(kFirstClient, read_request("i2c:1:33", 0, 1));
    EXPECT_EQ(texts(kFirstClient), Texts(2, "00000000,0001,08,1c,No answer"));
    EXPECT_EQ(service().counts().performed, 1U);
}

TEST_F(ServiceTest, TakesTheSameNumberWithOtherContentsForANewRequest) {
    send(kFirstClient, numbered(write_request("2", 5, {0x11}), 1));
    send(kFirstClient, numbered(write_request("2", 5, {0x22}), 1));
    EXPECT_EQ(service().counts().performed, 2U);
    EXPECT_EQ(service().counts().repeated, 0U);
}

TEST_F(ServiceTest, TakesTheSameRequestOfAnotherClientForANewOne) {
    send(kFirstClient, write_request("2", 5, {0x11}));
    send(kSecondClient, write_request("2", 5, {0x11}));
    EXPECT_EQ(service().counts().performed, 2U);
}

TEST_F(ServiceTest, RemembersSoManyAnswers) {
    for (uint32_t i = 0; i <= kRememberedAnswers; ++i) {
        send(kFirstClient, numbered(write_request("2", 5, {0x11}), i));
    }
    send(kFirstClient, numbered(write_request("2", 5, {0x11}), 1));
    EXPECT_EQ(service().counts().performed, kRememberedAnswers + 1);
    send(kFirstClient, numbered(write_request("2", 5, {0x11}), 0));
    EXPECT_EQ(service().counts().performed, kRememberedAnswers + 2);
}

TEST_F(ServiceTest, AcknowledgesARepeatedRequestThatWaits) {
    hold_cpld();
    const FrameFields request = read_request("2", 0, 1);
    send(kSecondClient, request);
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,1c,Rx Ack"});
    send(kSecondClient, request);
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,1c,Rx Ack"});
    release_cpld();
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,1c,Success,0001,00"});
    EXPECT_EQ(service().counts().acknowledged, 2U);
}

TEST_F(ServiceTest, DoesNotGiveUpTwiceForARepeatedGiveUp) {
    hold_cpld();
    const FrameFields give_up = numbered(of_type(1), 50);
    send(kSecondClient, give_up);
    send(kSecondClient, numbered(read_request("2", 0, 1), 51));
    send(kSecondClient, give_up);
    texts(kSecondClient);
    release_cpld();
    EXPECT_EQ(texts(kSecondClient).size(), 1U) << "the request behind it is still there";
}

// ---- questions about requests ----

TEST_F(ServiceTest, TellsWhatHasBecomeOfARequest) {
    hold_cpld();
    EXPECT_EQ(ask(kSecondClient, of_type(4)), "Success");
    send(kSecondClient, numbered(of_type(0), 10));
    EXPECT_EQ(texts(kSecondClient), Texts{"Req not found"});
    send(kSecondClient, numbered(read_request("2", 0, 1), 10));
    texts(kSecondClient);
    send(kSecondClient, numbered(of_type(0), 10));
    EXPECT_EQ(texts(kSecondClient), Texts{"Rx Ack"});
    release_cpld();
    texts(kSecondClient);
    send(kSecondClient, numbered(of_type(0), 10));
    EXPECT_EQ(texts(kSecondClient), Texts{"Success"});
    send(kFirstClient, numbered(of_type(0), 10));
    EXPECT_EQ(texts(kFirstClient), Texts{"Req not found"}) << "not a request of this client";
}

TEST_F(ServiceTest, DropsAllOfAClientThatGivesUp) {
    hold_cpld();
    send(kSecondClient, numbered(read_request("2", 0, 1), 10));
    EXPECT_EQ(ask(kSecondClient, of_type(1)), "Success");
    EXPECT_EQ(ask(kFirstClient, of_type(1)), "Success");
    EXPECT_TRUE(texts(kSecondClient).empty()) << "nobody waits any more";
    EXPECT_EQ(ask(kSecondClient, read_request("2", 0, 1)), "00000000,0001,08,1c,Success,0001,00");
}

// ---- the daemon itself ----

TEST_F(ServiceTest, CannotBeWritten) {
    EXPECT_EQ(ask(kFirstClient, write_request("busbroker", 0, {1})),
              "00000000,0001,08,Not supported");
}

TEST_F(ServiceTest, KeepsTheStatusDocumentWhileItIsRead) {
    const std::string first = ask(kFirstClient, read_request("busbroker", 0, 10));
    pass(seconds(50));
    ask(kSecondClient, read_request("busbroker", 0, 1900));
    std::string document;
    for (uint32_t offset = 0; offset < 4000; offset += 10) {
        const std::string text = ask(kFirstClient, read_request("busbroker", 10 + offset, 10));
        document += text.substr(text.rfind(',') + 1);
    }
    const std::string uptime = "22757074696d65223a302c";  // "uptime":0,
    EXPECT_NE(document.find(uptime), std::string::npos);
}

TEST_F(ServiceTest, KeepsFewStatusDocuments) {
    for (size_t i = 0; i < kMaxClients; ++i) {
        ask(static_cast<uint16_t>(100 + i), read_request("busbroker", 0, 10));
        EXPECT_EQ(service().snapshots(), std::min(i + 1, kMaxSnapshots));
    }
    const auto ask_on = [this](size_t client) {
        return ask(static_cast<uint16_t>(100 + client), read_request("busbroker", 10, 4));
    };
    const size_t oldest = kMaxClients - kMaxSnapshots;
    EXPECT_EQ(ask_on(oldest - 1), "0000000a,0004,08,1c,Success,0000,") << "gone";
    EXPECT_EQ(ask_on(oldest).substr(0, 33), "0000000a,0004,08,1c,Success,0004,");
    const std::string anew =
        ask(static_cast<uint16_t>(100 + oldest - 1), read_request("busbroker", 0, 4));
    EXPECT_EQ(anew, "00000000,0004,08,1c,Success,0004,7b22666f");
    EXPECT_EQ(service().snapshots(), kMaxSnapshots);
}

TEST_F(ServiceTest, ForgetsAStatusDocumentThatWasReadToItsEnd) {
    ask(kFirstClient, read_request("busbroker", 0, 10));
    EXPECT_EQ(service().snapshots(), 1U);
    ask(kFirstClient, read_request("busbroker", 10, 1900));
    EXPECT_EQ(service().snapshots(), 0U) << "a read that brings less is the last";
}

TEST_F(ServiceTest, ForgetsAStatusDocumentThatNobodyReadsOn) {
    ask(kFirstClient, read_request("busbroker", 0, 10));
    EXPECT_EQ(service().deadline(), now_ + kSnapshotLife);
    pass(kSnapshotLife);
    perform();
    EXPECT_EQ(service().snapshots(), 0U);
    EXPECT_FALSE(service().deadline());
}

TEST_F(ServiceTest, ReadsNothingBehindTheEndOfItsStatus) {
    EXPECT_EQ(ask(kFirstClient, read_request("busbroker", 0x10000, 10)),
              "00010000,000a,08,1c,Success,0000,");
    EXPECT_EQ(ask(kFirstClient, read_request("busbroker", 0, 1901)),
              "00000000,076d,08,1c,Too long");
}

TEST_F(ServiceTest, TellsItsStatus) {
    hold_cpld();
    send(kSecondClient, read_request("2", 0, 1));
    send_bytes(kSecondClient, "nonsense");
    ask(kFirstClient, read_request("nothing", 0, 1));
    pass(milliseconds(1500));
    const nlohmann::json document = status();
    EXPECT_EQ(document["format"], 1);
    EXPECT_EQ(document["pid"], getpid());
    EXPECT_EQ(document["uptime"], 1);
    EXPECT_EQ(document["description"], "made.xml");
    EXPECT_EQ(document["board"], "made.board");
    EXPECT_EQ(document["devices"], 3);
    ASSERT_EQ(document["clients"].size(), 3U);
    const nlohmann::json &holder = document["clients"][0];
    EXPECT_EQ(holder["address"], "127.0.0.1:1");
    EXPECT_EQ(holder["tool"], 16);
    EXPECT_EQ(holder["instance"], 1);
    EXPECT_EQ(holder["requests"], 2);
    EXPECT_EQ(holder["waiting"], 0);
    ASSERT_EQ(holder["holds"].size(), 1U);
    EXPECT_EQ(holder["holds"][0]["footprint"], "i2c 1 0x31");
    EXPECT_EQ(holder["holds"][0]["kind"], "transaction");
    EXPECT_EQ(holder["holds"][0]["ends_in_ms"], 500);
    EXPECT_EQ(document["clients"][1]["waiting"], 1);
    ASSERT_EQ(document["queue"].size(), 1U);
    EXPECT_EQ(document["queue"][0]["client"], "127.0.0.1:2");
    EXPECT_EQ(document["queue"][0]["device"], "2");
    EXPECT_EQ(document["queue"][0]["type"], 2);
    EXPECT_EQ(document["queue"][0]["waited_ms"], 1500);
    const nlohmann::json &counts = document["counts"];
    EXPECT_EQ(counts["performed"], 1);
    EXPECT_EQ(counts["acknowledged"], 1);
    EXPECT_EQ(counts["refused"], (nlohmann::json{{"Unknown device", 1}}));
    EXPECT_EQ(counts["dropped"], (nlohmann::json{{"too short", 1}}));
    EXPECT_EQ(document["limits"]["clients"], kMaxClients);
    EXPECT_EQ(document["limits"]["wait_ms"], 10'000);
}

TEST_F(ServiceTest, TellsThoseWhoWaitThatItEnds) {
    hold_cpld();
    send(kSecondClient, read_request("2", 0, 1));
    send(kSecondClient + 1, of_type(6, "00,00,00,00,10,2"));
    answers();
    service().shut_down();
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,1c,Shutting down"});
    EXPECT_EQ(texts(kSecondClient + 1), Texts{"Shutting down"});
}

TEST_F(ServiceTest, KeepsClientsHoldsAndRequestsWhenItsGroundIsReplaced) {
    hold_cpld();
    send(kSecondClient, read_request("2", 0, 1));
    texts(kSecondClient);
    test::TreeMaker maker;
    Ground replaced = ground();
    replaced.directory = std::make_shared<const Directory>(maker.tree());
    service().replace_ground(std::move(replaced));
    pass(seconds(2));
    perform();
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,1c,Success,0001,00"});
    EXPECT_EQ(ask(kSecondClient, read_request("2", 0, 1)), "00000000,0001,08,1c,Unknown device");
}

}  // namespace
}  // namespace diag::daemon
