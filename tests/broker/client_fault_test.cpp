// SPDX-License-Identifier: MIT
// The client on a bad day: a daemon that is away, slow or talks nonsense.
#include <atomic>
#include <csignal>

#include "tests/broker/client_test.h"

namespace diag::test {
namespace {

using broker::Client;
using broker::Outcome;
using broker::Result;

Datagrams silence(const BrokerRequest & /*request*/) {
    return {};
}

bool is_unanswered(const Result &result) {
    return result.kind == Result::Kind::kNoAnswer;
}

TEST(ClientFaultTest, TellsThatNobodyAnswers) {
    const BrokerDouble daemon(silence);
    Client client(settings_for(daemon.port()));
    Bytes bytes(1, 0x77);
    EXPECT_TRUE(is_unanswered(client.read("X", {}, bytes)));
    EXPECT_EQ(bytes, Bytes{0x77});
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), 6U) << "three sends, and three of the question why";
    EXPECT_EQ(requests[1].datagram, requests[0].datagram);
    EXPECT_EQ(requests[2].datagram, requests[0].datagram);
    EXPECT_TRUE(is_question_for_refusal(requests[3]));
    EXPECT_EQ(requests[3].number, requests[0].number + 1);
}

TEST(ClientFaultTest, TellsThatNobodyIsThere) {
    Client client(settings_for(unused_port()));
    EXPECT_TRUE(is_unanswered(client.ping()));
}

TEST(ClientFaultTest, GoesOnAfterSilence) {
    std::atomic<bool> is_away = true;
    const BrokerDouble daemon(
        [&](const BrokerRequest &request) { return is_away ? Datagrams{} : success(request); });
    Client client(settings_for(daemon.port()));
    EXPECT_TRUE(is_unanswered(client.ping()));
    is_away = false;
    EXPECT_TRUE(client.ping().is_done());
}

TEST(ClientFaultTest, SendsAgainWhatWasLost) {
    int arrivals = 0;
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        return ++arrivals < 3 ? Datagrams{} : success(request, {0x5A});
    });
    Client client(settings_for(daemon.port()));
    Bytes bytes(1);
    EXPECT_TRUE(client.read("X", {}, bytes).is_done());
    EXPECT_EQ(bytes, Bytes{0x5A});
    EXPECT_EQ(daemon.requests().size(), 3U);
}

// All three sends lost, but somebody is there.
TEST(ClientFaultTest, RepeatsARequestWhenTheDaemonHasNotRefusedIt) {
    int arrivals = 0;
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        if (is_question_for_refusal(request)) {
            return success(request);
        }
        return ++arrivals < 4 ? Datagrams{} : success(request);
    });
    Client client(settings_for(daemon.port()));
    EXPECT_TRUE(client.write("X", {}, Bytes{1}).is_done());
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), 5U);
    EXPECT_EQ(requests[4].datagram, requests[0].datagram) << "it is the same request";
}

TEST(ClientFaultTest, WaitsForItsTurnLongerThanThreeSends) {
    int arrivals = 0;
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        return ++arrivals < 6 ? Datagrams{broker_answer(request, "Rx Ack")}
                              : success(request, {0x12});
    });
    Client client(settings_for(daemon.port()));
    Bytes bytes(1);
    EXPECT_TRUE(client.read("X", {}, bytes).is_done());
    EXPECT_EQ(bytes, Bytes{0x12});
    for (const BrokerRequest &request : daemon.requests()) {
        EXPECT_EQ(request.datagram, daemon.requests()[0].datagram);
    }
    EXPECT_TRUE(client.ping().is_done());
    EXPECT_EQ(daemon.requests().back().number, daemon.requests()[0].number + 1);
}

TEST(ClientFaultTest, NoticesADaemonThatDiesWhileARequestWaits) {
    int arrivals = 0;
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        return ++arrivals > 2 ? Datagrams{} : Datagrams{broker_answer(request, "Rx Ack")};
    });
    Client client(settings_for(daemon.port()));
    EXPECT_TRUE(is_unanswered(client.write("X", {}, Bytes{1})));
}

TEST(ClientFaultTest, GivesARequestUpThatWaitsForTooLong) {
    const BrokerDouble daemon([](const BrokerRequest &request) {
        return Datagrams{
            broker_answer(request, request.type == broker::kGiveUpRequest ? "Success" : "Rx Ack")};
    });
    auto settings = settings_for(daemon.port());
    settings.patience_ms = 1;
    Client client(settings);
    EXPECT_TRUE(client.write("X", {}, Bytes{1}).is_refused(Outcome::kTimedOut));
    EXPECT_EQ(daemon.requests().back().type, broker::kGiveUpRequest)
        << "what nobody waits for must not be performed later";
}

TEST(ClientFaultTest, TakesNothingBadForAnAnswer) {
    const BrokerDouble daemon([](const BrokerRequest &request) {
        const std::string good = broker_answer(request, "Success", {0x5A});
        std::string bad_crc = broker_answer(request, "Success", {0x66});
        bad_crc[bad_crc.size() - 4] ^= 1;
        BrokerRequest other_number = request;
        other_number.number -= 1;
        BrokerRequest other_instance = request;
        other_instance.instance += 1;
        BrokerRequest other_tool = request;
        other_tool.tool += 1;
        BrokerRequest other_type = request;
        other_type.type = broker::kPingRequest;
        return Datagrams{"",
                         "x",
                         std::string("\0\xFF\n", 3),
                         std::string(4096, 'R'),
                         good.substr(3),
                         bad_crc,
                         broker_answer(other_number, "Success", {0x66}),
                         broker_answer(other_instance, "Success", {0x66}),
                         broker_answer(other_tool, "Busy"),
                         broker_answer(other_type, "Busy"),
                         good};
    });
    Client client(settings_for(daemon.port()));
    Bytes bytes(1);
    EXPECT_TRUE(client.read("X", {}, bytes).is_done());
    EXPECT_EQ(bytes, Bytes{0x5A});
}

TEST(ClientFaultTest, HearsAnAnswerBehindAnyPieceOfAFrame) {
    std::atomic<size_t> cut = 0;
    std::atomic<size_t> size = 0;
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        const std::string answer = broker_answer(request, "Success", {0x5A});
        size = answer.size();
        return Datagrams{answer.substr(0, cut), answer};
    });
    Client client(settings_for(daemon.port()));
    do {
        Bytes bytes(1);
        EXPECT_TRUE(client.read("X", {}, bytes).is_done()) << cut;
        EXPECT_EQ(bytes, Bytes{0x5A}) << cut;
    } while (++cut < size);
    EXPECT_EQ(daemon.requests().size(), cut) << "none was sent twice";
}

// One digit or letter is another, anywhere: a frame that is none, or whose CRC is wrong.
TEST(ClientFaultTest, TakesNoDamagedAnswer) {
    std::atomic<size_t> place = 0;
    std::atomic<size_t> size = 0;
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        const std::string answer = broker_answer(request, "Success", {0x5A});
        size = answer.size();
        std::string damaged = broker_answer(request, "Success", {0x66});
        damaged[place] = static_cast<char>(damaged[place] ^ 1);
        return Datagrams{damaged, answer};
    });
    Client client(settings_for(daemon.port()));
    do {
        Bytes bytes(1);
        EXPECT_TRUE(client.read("X", {}, bytes).is_done()) << place;
        EXPECT_EQ(bytes, Bytes{0x5A}) << place;
    } while (++place < size);
}

TEST(ClientFaultTest, TakesADoubledAnswerOnce) {
    std::atomic<uint8_t> value = 0;
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        const std::string answer = broker_answer(request, "Success", {++value});
        return Datagrams{answer, answer, answer};
    });
    Client client(settings_for(daemon.port()));
    for (const int expected : {1, 2, 3, 4, 5}) {
        Bytes bytes(1);
        EXPECT_TRUE(client.read("X", {}, bytes).is_done());
        EXPECT_EQ(bytes[0], expected);
    }
}

// The answer to the one before comes with the next request.
TEST(ClientFaultTest, IsNotMistakenAboutALateAnswer) {
    std::string late;
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        if (is_question_for_refusal(request) || request.device == "SLOW") {
            late = request.device == "SLOW" ? broker_answer(request, "Success", {0x66}) : late;
            return Datagrams{};
        }
        return Datagrams{late, broker_answer(request, "Success", {0x5A})};
    });
    Client client(settings_for(daemon.port()));
    Bytes bytes(1);
    EXPECT_TRUE(is_unanswered(client.read("SLOW", {}, bytes)));
    EXPECT_TRUE(client.read("X", {}, bytes).is_done());
    EXPECT_EQ(bytes, Bytes{0x5A});
}

TEST(ClientFaultTest, TakesNoMoreAndNoFewerBytesThanItAskedFor) {
    std::atomic<size_t> delivered = 0;
    const BrokerDouble daemon(
        [&](const BrokerRequest &request) { return success(request, Bytes(delivered, 0x66)); });
    Client client(settings_for(daemon.port()));
    Bytes bytes(4, 0x77);
    for (const size_t count : {3U, 5U, 1900U}) {
        delivered = count;
        const Result result = client.read("X", {}, bytes);
        EXPECT_TRUE(result.is_refused());
        EXPECT_EQ(result.refusal, "the answer brings " + std::to_string(count) + " of 4 bytes");
        EXPECT_EQ(bytes, Bytes(4, 0x77));
    }
}

TEST(ClientFaultTest, RefusesAnAnswerWhoseBytesDoNotAddUp) {
    std::atomic<const char *> tail = "";
    const BrokerDouble daemon([&](const BrokerRequest &request) {
        return Datagrams{broker_frame(request, request.data + ",Success" + tail.load())};
    });
    Client client(settings_for(daemon.port()));
    Bytes bytes(1, 0x77);
    for (const char *text : {"", ",", ",0001", ",0001,", ",0001,5", ",0002,5a", ",zz,5a"}) {
        tail = text;
        EXPECT_TRUE(client.read("X", {}, bytes).is_refused()) << text;
        EXPECT_EQ(bytes, Bytes{0x77}) << text;
    }
}

TEST(ClientFaultTest, HandsOnWhateverTextARefusalHas) {
    const std::string text(200, 'w');
    const BrokerDouble daemon(
        [&](const BrokerRequest &request) { return Datagrams{broker_answer(request, text)}; });
    Client client(settings_for(daemon.port()));
    EXPECT_EQ(client.write("X", {}, Bytes{1}).refusal, text);
}

}  // namespace
}  // namespace diag::test
