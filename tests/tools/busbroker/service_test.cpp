// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/service.h"

#include <gtest/gtest.h>

#include "tests/tools/busbroker/service_fixture.h"

namespace diag::daemon {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using test::FrameFields;
using test::numbered;
using test::read_request;
using test::request_frame;
using test::with_indication;
using test::write_request;
using Texts = std::vector<std::string>;

constexpr uint16_t kFirstClient = 1;
constexpr uint16_t kSecondClient = 2;

FrameFields of_type(uint32_t type, const std::string &data = "") {
    return {.type = type, .data = data};
}

class ServiceTest : public test::ServiceFixture {
  protected:
    // A transaction of the first client on the CPLD.
    void hold_cpld() {
        EXPECT_EQ(ask(kFirstClient, with_indication(read_request("2", 0, 1), 1)),
                  "00000000,0001,08,1c,Success,0001,00");
    }
    void release_cpld() {
        EXPECT_EQ(ask(kFirstClient, read_request("2", 0, 1)),
                  "00000000,0001,08,1c,Success,0001,00");
    }
    std::string refusal(uint16_t port) {
        const std::string text = ask(port, read_request("busbroker", 0x80000000, 64));
        const std::string hex = text.substr(text.rfind(',') + 1);
        std::string result;
        for (size_t i = 0; i + 1 < hex.size(); i += 2) {
            result.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        }
        return result;
    }
    uint64_t dropped(Problem problem) {
        return service().counts().dropped[static_cast<size_t>(problem)];
    }
};

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

// ---- arbitration ----

TEST_F(ServiceTest, LetsOthersWaitForATransaction) {
    hold_cpld();
    send(kSecondClient, read_request("2", 0, 1));
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,1c,Rx Ack"});
    EXPECT_EQ(ask(kSecondClient + 1, read_request("3", 0, 1)),
              "00000000,0001,08,1c,Success,0001,00");
    EXPECT_EQ(service().deadline(), now_ + seconds(2));
    pass(seconds(2));
    perform();
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,1c,Success,0001,00"});
    EXPECT_FALSE(service().deadline());
}

TEST_F(ServiceTest, SeesTheSamePlaceUnderEachOfItsNames) {
    hold_cpld();
    send(kSecondClient, read_request("i2c:1:31", 0, 1));
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,1c,Rx Ack"});
}

TEST_F(ServiceTest, TellsTheTransactionsThatAreNone) {
    EXPECT_EQ(ask(kFirstClient, with_indication(read_request("2", 0, 1), 2)),
              "00000000,0001,08,1c,No transaction");
    hold_cpld();
    pass(seconds(2));
    EXPECT_EQ(ask(kFirstClient, with_indication(read_request("2", 0, 1), 2)),
              "00000000,0001,08,1c,Transaction expired");
    EXPECT_EQ(refusal(kFirstClient), "Transaction expired");
}

TEST_F(ServiceTest, EndsATransactionWhoseAccessFails) {
    settings_ = R"("chips": {"FPGA": {"no_answer": true}})";
    EXPECT_EQ(ask(kFirstClient, with_indication(read_request("3", 0, 1), 1)),
              "00000000,0001,08,1c,No answer");
    EXPECT_EQ(ask(kSecondClient, read_request("3", 0, 1)), "00000000,0001,08,1c,No answer");
}

TEST_F(ServiceTest, TimesOutARequestThatWaitsTooLong) {
    EXPECT_EQ(ask(kFirstClient, of_type(6, "00,00,00,00,30,2")), "Success");
    send(kSecondClient, write_request("2", 0, {1}));
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,Rx Ack"});
    pass(seconds(10));
    perform();
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,Timed out"});
    EXPECT_EQ(refusal(kSecondClient), "Timed out");
}

TEST_F(ServiceTest, ReservesADeviceAndGivesItBack) {
    EXPECT_EQ(ask(kFirstClient, of_type(6, "01,04,01,31,10")), "Success");
    send(kSecondClient, of_type(6, "00,00,00,00,30,CPLD"));
    EXPECT_EQ(texts(kSecondClient), Texts{"Rx Ack"});
    EXPECT_EQ(ask(kFirstClient, of_type(6, "01,04,01,31,00")), "Success");
    EXPECT_EQ(texts(kSecondClient), Texts{"Success"});
    send(kFirstClient, read_request("2", 0, 1));
    EXPECT_EQ(texts(kFirstClient), Texts{"00000000,0001,08,1c,Rx Ack"});
}

TEST_F(ServiceTest, ServesHigherPrioritiesFirstWithinABatch) {
    FrameFields low = write_request("2", 0, {1});
    FrameFields high = write_request("2", 0, {2});
    high.priority = 2;
    send_bytes(kFirstClient, request_frame(low));
    send_bytes(kSecondClient, request_frame(high));
    perform();
    EXPECT_EQ(ask(kFirstClient, read_request("2", 0, 1)), "00000000,0001,08,1c,Success,0001,01");
}

TEST_F(ServiceTest, AcknowledgesALongAccessBeforeItIsMade) {
    send(kFirstClient, read_request("PLD", 0, 257));
    const Texts found = texts(kFirstClient);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0], "00000000,0101,08,1c,Rx Ack");
    EXPECT_EQ(found[1].substr(0, 33), "00000000,0101,08,1c,Success,0101,");
    EXPECT_EQ(ask(kFirstClient, read_request("PLD", 0, 256)).substr(0, 28),
              "00000000,0100,08,1c,Success,");
}

TEST_F(ServiceTest, AcknowledgesALongAccessThatWaitedOnce) {
    EXPECT_EQ(ask(kFirstClient, of_type(6, "00,00,00,00,10,PLD")), "Success");
    send(kSecondClient, write_request("PLD", 0, test::Bytes(300)));
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,012c,08,Rx Ack"});
    EXPECT_EQ(ask(kFirstClient, of_type(6, "00,00,00,00,00,PLD")), "Success");
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,012c,08,Success"});
}

TEST_F(ServiceTest, LooksAtNewRequestsAfterASlowAccess) {
    send_bytes(kFirstClient, request_frame(read_request("2", 0, 1)));
    send_bytes(kSecondClient, request_frame(read_request("2", 0, 1)));
    service_.reset();
    // A clock that shows an access of one second.
    std::vector<std::string> sent;
    daemon::TimePoint time = now_;
    Service slow({.ground = ground(),
                  .times = {},
                  .now = [&time] { return time += seconds(1); },
                  .send =
                      [&sent](const Endpoint &, const std::string &frame) {
                          sent.push_back(test::parse_answer(frame)->data);
                      }});
    slow.receive({1, 1}, test::bytes_of(request_frame(read_request("2", 0, 1))));
    slow.receive({1, 2}, test::bytes_of(request_frame(read_request("2", 0, 1))));
    EXPECT_TRUE(slow.perform());
    EXPECT_EQ(sent, (Texts{"00000000,0001,08,1c,Success,0001,00", "00000000,0001,08,1c,Rx Ack"}));
}

// ---- limits ----

TEST_F(ServiceTest, QueuesSoManyRequestsOfOneClient) {
    hold_cpld();
    for (uint32_t i = 0; i < kMaxWaitingPerClient; ++i) {
        send(kSecondClient, numbered(read_request("2", 0, 1), i));
    }
    EXPECT_EQ(texts(kSecondClient), Texts(kMaxWaitingPerClient, "00000000,0001,08,1c,Rx Ack"));
    EXPECT_EQ(ask(kSecondClient, read_request("2", 0, 1)), "00000000,0001,08,1c,Queue full");
    EXPECT_EQ(ask(kSecondClient, of_type(4)), "Success") << "not queued";
    release_cpld();
    EXPECT_EQ(texts(kSecondClient).size(), kMaxWaitingPerClient);
}

TEST_F(ServiceTest, ServesALongBatchOfOneClientWithoutRefusals) {
    for (uint32_t i = 0; i < 3 * kMaxWaitingPerClient; ++i) {
        send_bytes(kFirstClient, request_frame(numbered(read_request("2", 0, 1), i)));
    }
    perform();
    EXPECT_EQ(texts(kFirstClient),
              Texts(3 * kMaxWaitingPerClient, "00000000,0001,08,1c,Success,0001,00"));
}

TEST_F(ServiceTest, QueuesSoManyRequestsInAll) {
    hold_cpld();
    for (uint32_t i = 0; i < kMaxWaiting; ++i) {
        send(static_cast<uint16_t>(100 + i / kMaxWaitingPerClient),
             numbered(read_request("2", 0, 1), i));
    }
    EXPECT_EQ(ask(kSecondClient, read_request("2", 0, 1)), "00000000,0001,08,1c,Queue full");
    EXPECT_EQ(ask(kSecondClient, read_request("3", 0, 1)), "00000000,0001,08,1c,Success,0001,00")
        << "need not wait";
    answers();
    release_cpld();
    EXPECT_EQ(answers().size(), kMaxWaiting);
    EXPECT_EQ(ask(kSecondClient, read_request("2", 0, 1)), "00000000,0001,08,1c,Success,0001,00");
}

TEST_F(ServiceTest, IsBusyWhenEveryClientWaits) {
    hold_cpld();
    for (uint16_t i = 1; i < kMaxClients; ++i) {
        send(static_cast<uint16_t>(100 + i), read_request("2", 0, 1));
    }
    EXPECT_EQ(ask(9000, of_type(4)), "Busy");
    EXPECT_EQ(ask(9000, read_request("3", 0, 1)), "00000000,0000,00,00,Busy");
    release_cpld();
    EXPECT_EQ(ask(9000, of_type(4)), "Success");
}

// ---- the daemon itself ----

TEST_F(ServiceTest, CannotBeWritten) {
    EXPECT_EQ(ask(kFirstClient, write_request("busbroker", 0, {1})),
              "00000000,0001,08,Not supported");
}

TEST_F(ServiceTest, KeepsTheStatusDocumentWhileItIsRead) {
    const std::string first = ask(kFirstClient, read_request("busbroker", 0, 10));
    pass(seconds(100));
    ask(kSecondClient, read_request("busbroker", 0, 1900));
    std::string document;
    for (uint32_t offset = 0; offset < 4000; offset += 10) {
        const std::string text = ask(kFirstClient, read_request("busbroker", 10 + offset, 10));
        document += text.substr(text.rfind(',') + 1);
    }
    const std::string uptime = "22757074696d65223a302c";  // "uptime":0,
    EXPECT_NE(document.find(uptime), std::string::npos);
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
