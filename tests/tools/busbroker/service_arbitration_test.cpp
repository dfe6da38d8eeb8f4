// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "tests/tools/busbroker/service_test.h"

namespace diag::daemon {
namespace {

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

// ---- transactions that end with a request that is not queued ----

class RefusedRequestTest : public ServiceTest {
  protected:
    // Whether the first client's transaction on the CPLD is over.
    bool is_free() {
        return ask(kSecondClient, read_request("2", 0, 1)) == "00000000,0001,08,1c,Success,0001,00";
    }
};

TEST_F(RefusedRequestTest, EndsItsTransactionWhateverIsWrongWithIt) {
    FrameFields with_option = read_request("2", 0, 1);
    with_option.support = ",10";
    for (const uint32_t indication : {1U, 2U, 5U}) {
        for (const FrameFields &bad : {FrameFields{.device_id = "2", .type = 2, .data = "nonsense"},
                                       read_request("2", 0, 1901), read_request("2", 0, 1, 64),
                                       read_request("i2c:1:31", 0, 1901), with_option}) {
            hold_cpld();
            const std::string text = ask(kFirstClient, with_indication(bad, indication));
            EXPECT_EQ(text.find("Success"), std::string::npos) << text;
            EXPECT_TRUE(is_free()) << indication << " " << text;
        }
    }
}

TEST_F(RefusedRequestTest, EndsItsTransactionWhenAFaultRefusesIt) {
    hold_cpld();
    faults_.refuse = 100;
    service().replace_ground(ground());
    EXPECT_EQ(ask(kFirstClient, with_indication(read_request("2", 0, 1), 2)),
              "00000000,0001,08,1c,Refused");
    faults_.refuse = 0;
    service().replace_ground(ground());
    EXPECT_TRUE(is_free());
}

TEST_F(RefusedRequestTest, EndsItsTransactionWhenTheQueueIsFull) {
    EXPECT_EQ(ask(kSecondClient, of_type(6, "00,00,00,00,30,3")), "Success");
    hold_cpld();
    for (uint32_t i = 0; i < kMaxWaitingPerClient; ++i) {
        send(kFirstClient, numbered(read_request("3", 0, 1), i));
    }
    texts(kFirstClient);
    EXPECT_EQ(ask(kFirstClient, with_indication(read_request("2", 0, 1), 2)),
              "00000000,0001,08,1c,Queue full");
    EXPECT_TRUE(is_free());
}

TEST_F(RefusedRequestTest, ComesBehindWhatItsClientHasSentBefore) {
    send_bytes(kFirstClient,
               request_frame(numbered(with_indication(read_request("2", 0, 1), 1), 1)));
    send_bytes(kFirstClient,
               request_frame(numbered(with_indication(read_request("2", 0, 1901), 2), 2)));
    perform();
    EXPECT_EQ(texts(kFirstClient),
              (Texts{"00000000,0001,08,1c,Success,0001,00", "00000000,076d,08,1c,Too long"}));
    EXPECT_TRUE(is_free());
}

TEST_F(RefusedRequestTest, EndsNoTransactionThatItHasNothingToDoWith) {
    hold_cpld();
    for (const FrameFields &bad :
         {read_request("2", 0, 1901), read_request("3", 0, 1901), read_request("nothing", 0, 1)}) {
        const uint32_t indication = bad.device_id == "2" ? 0 : 2;
        ask(kFirstClient, with_indication(bad, indication));
    }
    ask(kSecondClient, with_indication(read_request("2", 0, 1901), 2));
    send(kSecondClient, read_request("2", 0, 1));
    EXPECT_EQ(texts(kSecondClient), Texts{"00000000,0001,08,1c,Rx Ack"});
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

}  // namespace
}  // namespace diag::daemon
