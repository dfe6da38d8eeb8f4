// SPDX-License-Identifier: MIT
#include "tests/broker/client_test.h"

#include <atomic>
#include <csignal>
#include <future>
#include <unistd.h>

#include "diags/broker/farewell.h"

namespace diag::test {
namespace {

using broker::Client;
using broker::Outcome;
using broker::Result;

Datagrams always_success(const BrokerRequest &request) {
    return success(request);
}

TEST(ClientTest, ReadsBytes) {
    const BrokerDouble daemon([](const BrokerRequest &request) {
        return success(request, {0xA5, 0x00, 0xFF});
    });
    Client client(settings_for(daemon.port()));
    Bytes bytes(3);
    EXPECT_TRUE(client.read("SYSCPLD", {.address = 0x1234, .width = 16}, bytes).is_done());
    EXPECT_EQ(bytes, (Bytes{0xA5, 0x00, 0xFF}));
    ASSERT_EQ(daemon.requests().size(), 1U);
    const BrokerRequest request = daemon.requests()[0];
    EXPECT_EQ(request.tool, 16U);
    EXPECT_EQ(request.instance, static_cast<uint32_t>(getpid()));
    EXPECT_EQ(request.device, "SYSCPLD");
    EXPECT_EQ(request.type, broker::kReadRequest);
    EXPECT_EQ(request.indication, broker::kLast);
    EXPECT_EQ(request.data, "00001234,0003,10,1c");
    EXPECT_EQ(request.support, "");
}

TEST(ClientTest, WritesBytesWithOptions) {
    const BrokerDouble daemon(always_success);
    Client client(settings_for(daemon.port()));
    const Bytes bytes = {0x10, 0xFE};
    EXPECT_TRUE(client
                    .write("i2c:3:50",
                           {.address = 7,
                            .indication = broker::kFirst,
                            .options = broker::kNoRegister | broker::kPec},
                           bytes)
                    .is_done());
    const BrokerRequest request = daemon.requests().at(0);
    EXPECT_EQ(request.type, broker::kWriteRequest);
    EXPECT_EQ(request.indication, broker::kFirst);
    EXPECT_EQ(request.data, "00000007,0002,08,1c,10,fe");
    EXPECT_EQ(request.support, ",0a");
}

TEST(ClientTest, WritesTheAddressAlone) {
    const BrokerDouble daemon(always_success);
    Client client(settings_for(daemon.port()));
    EXPECT_TRUE(client.write("i2c:3:50", {.options = broker::kNoData}, {}).is_done());
    EXPECT_EQ(daemon.requests().at(0).data, "00000000,0001,08,1c,ff");
    EXPECT_EQ(daemon.requests().at(0).support, ",01");
}

TEST(ClientTest, CarriesTheLargestAccesses) {
    const BrokerDouble daemon([](const BrokerRequest &request) {
        return success(request,
                       Bytes(request.type == broker::kReadRequest ? request.count() : 0, 7));
    });
    Client client(settings_for(daemon.port()));
    Bytes bytes(broker::kMaxReadBytes);
    EXPECT_TRUE(client.read("mem", {}, bytes).is_done());
    EXPECT_EQ(bytes, Bytes(broker::kMaxReadBytes, 7));
    EXPECT_TRUE(client.write("mem", {}, Bytes(broker::kMaxWriteBytes)).is_done());
    for (const BrokerRequest &request : daemon.requests()) {
        EXPECT_LE(request.datagram.size(), broker::kMaxDatagram);
    }
}

TEST(ClientTest, SendsNothingThatTheDaemonWouldDrop) {
    const BrokerDouble daemon(always_success);
    Client client(settings_for(daemon.port()));
    Bytes bytes(broker::kMaxReadBytes + 1);
    EXPECT_TRUE(client.read("mem", {}, bytes).is_refused(Outcome::kTooLong));
    EXPECT_TRUE(
        client.write("mem", {}, Bytes(broker::kMaxWriteBytes + 1)).is_refused(Outcome::kTooLong));
    bytes.resize(1);
    for (const std::string &device : {std::string(33, 'x'), std::string("TAB\t"),
                                      std::string("\xC3\xBC"), std::string("DEL\x7F")}) {
        EXPECT_TRUE(client.read(device, {}, bytes).is_refused(Outcome::kUnknownDevice)) << device;
    }
    EXPECT_TRUE(client.reserve(std::string(32, 'x'), 10).is_refused(Outcome::kUnknownDevice));
    EXPECT_TRUE(daemon.requests().empty());
}

TEST(ClientTest, GivesTheReasonOfARefusal) {
    const BrokerDouble daemon([](const BrokerRequest &request) {
        return Datagrams{broker_answer(request, "Unknown device")};
    });
    Client client(settings_for(daemon.port()));
    Bytes bytes(1, 0x77);
    for (const Result &result :
         {client.read("X", {}, bytes), client.write("X", {}, bytes), client.reserve("X", 10)}) {
        EXPECT_TRUE(result.is_refused(Outcome::kUnknownDevice));
        EXPECT_EQ(result.refusal, "Unknown device");
        EXPECT_FALSE(result.is_done());
    }
    EXPECT_EQ(bytes, Bytes{0x77}) << "a refused reading stores nothing";
    EXPECT_EQ(daemon.requests().size(), 3U) << "a refusal is the last word";
}

TEST(ClientTest, NumbersItsRequests) {
    const BrokerDouble daemon(always_success);
    Client client(settings_for(daemon.port()));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(client.ping().is_done());
    }
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].type, broker::kPingRequest);
    EXPECT_EQ(requests[0].data, "");
    EXPECT_EQ(requests[1].number, requests[0].number + 1);
    EXPECT_EQ(requests[2].number, requests[0].number + 2);
}

TEST(ClientTest, ReservesDevices) {
    const BrokerDouble daemon(always_success);
    Client client(settings_for(daemon.port()));
    EXPECT_TRUE(client.reserve("SYSCPLD", 30).is_done());
    EXPECT_TRUE(client.reserve("SYSCPLD", 0).is_done());
    EXPECT_TRUE(client.reserve(broker::BusPlace{broker::kSelectI2c, 3, 0x50}, 10).is_done());
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].type, broker::kReserveRequest);
    EXPECT_EQ(requests[0].device, "");
    EXPECT_EQ(requests[0].data, "00,00,00,00,30,SYSCPLD");
    EXPECT_EQ(requests[1].data, "00,00,00,00,00,SYSCPLD");
    EXPECT_EQ(requests[2].data, "01,04,03,50,10");
}

TEST(ClientTest, ReservesForNoLongerThanARequestCanSay) {
    const BrokerDouble daemon(always_success);
    Client client(settings_for(daemon.port()));
    const broker::BusPlace place{broker::kSelectI2c, 3, 0x50};
    for (const unsigned seconds : {100U, 255U, 256U, 300U}) {
        EXPECT_TRUE(client.reserve("SYSCPLD", seconds).is_refused(Outcome::kInvalidRequest));
        EXPECT_TRUE(client.reserve(place, seconds).is_refused(Outcome::kInvalidRequest));
    }
    EXPECT_TRUE(daemon.requests().empty());
    EXPECT_TRUE(client.reserve("SYSCPLD", 99).is_done());
    EXPECT_EQ(daemon.requests().at(0).data, "00,00,00,00,99,SYSCPLD");
}

TEST(ClientTest, GivesUp) {
    const BrokerDouble daemon(always_success);
    Client client(settings_for(daemon.port()));
    EXPECT_TRUE(client.give_up().is_done());
    EXPECT_EQ(daemon.requests().at(0).type, broker::kGiveUpRequest);
}

// What is left of `text` from the address on, as the daemon answers.
Datagrams part_of(const std::string &text, const BrokerRequest &request) {
    const std::string part =
        text.substr(std::min<size_t>(request.address(), text.size()), request.count());
    return success(request, {part.begin(), part.end()});
}

class StatusDocumentTest : public testing::TestWithParam<size_t> {};

TEST_P(StatusDocumentTest, ComesInPieces) {
    const std::string text = std::string(GetParam() - 1, 'j') + "\n";
    const BrokerDouble daemon([&](const BrokerRequest &request) { return part_of(text, request); });
    Client client(settings_for(daemon.port()));
    std::string document = "old";
    EXPECT_TRUE(client.read_status(&document).is_done());
    EXPECT_EQ(document, text);
    for (const BrokerRequest &request : daemon.requests()) {
        EXPECT_EQ(request.device, "busbroker");
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, StatusDocumentTest,
                         testing::Values(1, 2, broker::kMaxReadBytes - 1, broker::kMaxReadBytes,
                                         broker::kMaxReadBytes + 1, 3 * broker::kMaxReadBytes));

// As a daemon does that has too many readers.
TEST(ClientTest, ReadsAStatusDocumentAnewThatIsDroppedMeanwhile) {
    const std::string text = std::string(2 * broker::kMaxReadBytes, 'j') + "\n";
    std::atomic<int> drops = 1;
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        const bool is_dropped = request.address() > 0 && drops > 0 && drops-- > 0;
        return is_dropped ? success(request) : part_of(text, request);
    });
    Client client(settings_for(daemon.port()));
    std::string document;
    EXPECT_TRUE(client.read_status(&document).is_done());
    EXPECT_EQ(document, text);
    drops = 1000;
    EXPECT_TRUE(client.read_status(&document).is_done());
    EXPECT_EQ(document, text.substr(0, broker::kMaxReadBytes)) << "and no more";
}

TEST(ClientTest, ReadsWhyTheLatestRequestWasRefused) {
    std::atomic<const char *> refusal = "";
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        EXPECT_TRUE(is_question_for_refusal(request));
        const std::string said = refusal.load();
        return success(request, {said.begin(), said.end()});
    });
    Client client(settings_for(daemon.port()));
    std::string text = "old";
    EXPECT_TRUE(client.read_last_refusal(&text).is_done());
    EXPECT_EQ(text, "") << "none was";
    refusal = "Queue full";
    EXPECT_TRUE(client.read_last_refusal(&text).is_done());
    EXPECT_EQ(text, "Queue full");
}

TEST(ClientTest, LeavesTheSignalsOfItsThreadAsTheyWere) {
    sigset_t before;
    sigemptyset(&before);
    sigaddset(&before, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    const BrokerDouble daemon(always_success);
    { Client client(settings_for(daemon.port())); }
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int number = 1; number < SIGRTMIN; ++number) {
        EXPECT_EQ(sigismember(&after, number), sigismember(&before, number)) << number;
    }
}

TEST(FarewellTest, IsSaidByAClientThatIsThereAlone) {
    std::promise<BrokerRequest> heard;
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        if (request.type == broker::kGiveUpRequest) {
            heard.set_value(request);
        }
        return success(request);
    });
    broker::say_farewell();
    {
        Client client(settings_for(daemon.port()));
        const broker::Farewell farewell(client);
        EXPECT_TRUE(client.ping().is_done());
        broker::say_farewell();
        const BrokerRequest request = heard.get_future().get();
        EXPECT_EQ(request.tool, 16U);
        EXPECT_EQ(request.instance, client.instance());
        EXPECT_NE(request.number, daemon.requests().at(0).number);
        EXPECT_EQ(request.datagram.size(), 60U);
    }
    broker::say_farewell();
    EXPECT_EQ(daemon.requests().size(), 2U);
}

TEST(ClientTest, CanFollowAnother) {
    const BrokerDouble daemon(always_success);
    for (int i = 0; i < 3; ++i) {
        Client client(settings_for(daemon.port()));
        EXPECT_TRUE(client.ping().is_done());
    }
}

}  // namespace
}  // namespace diag::test
