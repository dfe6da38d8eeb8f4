// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/clients.h"

#include <gtest/gtest.h>

namespace diag::daemon {
namespace {

using broker::Outcome;
using std::chrono::seconds;

ClientKey key(uint16_t port, uint8_t tool = 16, uint32_t instance = 1) {
    return {{0x7F000001, port}, tool, instance};
}

RequestHead head(uint32_t transaction, uint32_t crc) {
    RequestHead result;
    result.transaction = transaction;
    result.crc = crc;
    return result;
}

TEST(Endpoint, IsShownAsAddressAndPort) {
    EXPECT_EQ((Endpoint{0x7F000001, 40000}).text(), "127.0.0.1:40000");
    EXPECT_EQ((Endpoint{0xC0A80AFF, 1}).text(), "192.168.10.255:1");
}

constexpr TimePoint kNow = TimePoint(std::chrono::seconds(1000));

TEST(AnswerMemory, KnowsAnAnswerByNumberAndCrc) {
    AnswerMemory memory;
    memory.add(head(1, 100), Outcome::kSuccess, "first", kNow);
    memory.add(head(1, 101), Outcome::kBusy, "second", kNow);
    ASSERT_NE(memory.find(1, 100, kNow), nullptr);
    EXPECT_EQ(memory.find(1, 100, kNow)->frame, "first");
    EXPECT_EQ(memory.find(1, 101, kNow)->frame, "second");
    EXPECT_EQ(memory.find(1, 101, kNow)->outcome, Outcome::kBusy);
    EXPECT_EQ(memory.find(1, 102, kNow), nullptr);
    EXPECT_EQ(memory.find(2, 100, kNow), nullptr);
    EXPECT_TRUE(memory.has(1, kNow));
    EXPECT_FALSE(memory.has(2, kNow));
}

TEST(AnswerMemory, KeepsTheLatestAndForgetsTheOldest) {
    AnswerMemory memory;
    const auto count = static_cast<uint32_t>(kRememberedAnswers);
    for (uint32_t i = 0; i < 2 * count + 3; ++i) {
        memory.add(head(i, i), Outcome::kSuccess, std::to_string(i), kNow);
    }
    for (uint32_t i = 0; i < 2 * count + 3; ++i) {
        EXPECT_EQ(memory.find(i, i, kNow) != nullptr, i >= count + 3) << i;
    }
    EXPECT_EQ(memory.find(2 * count, 2 * count, kNow)->frame, std::to_string(2 * count));
}

// A program that was started anew may have got the port of the one before.
TEST(AnswerMemory, ForgetsAnAnswerAfterAMinute) {
    AnswerMemory memory;
    memory.add(head(1, 100), Outcome::kSuccess, "old", kNow);
    EXPECT_NE(memory.find(1, 100, kNow + kAnswerLife), nullptr);
    EXPECT_TRUE(memory.has(1, kNow + kAnswerLife));
    const TimePoint later = kNow + kAnswerLife + std::chrono::milliseconds(1);
    EXPECT_EQ(memory.find(1, 100, later), nullptr);
    EXPECT_FALSE(memory.has(1, later));

    memory.add(head(1, 100), Outcome::kSuccess, "new", later);
    ASSERT_NE(memory.find(1, 100, later), nullptr);
    EXPECT_EQ(memory.find(1, 100, later)->frame, "new");
}

class ClientTableTest : public testing::Test {
  protected:
    Client *find(const ClientKey &of) { return clients_.find_or_add(of, now_); }

    void fill() {
        for (uint16_t port = 1; port <= kMaxClients; ++port) {
            ASSERT_NE(find(key(port)), nullptr);
            now_ += std::chrono::milliseconds(1);
        }
    }

    void hold(const Client &client) {
        const Job job = {.client = client.number,
                         .kind = JobKind::kReserve,
                         .footprint = {BusKind::kI2c, client.number, 0, 1},
                         .hold = std::chrono::hours(1)};
        scheduler_.finish(job, true, now_);
    }

    Scheduler scheduler_{Scheduler::Times()};
    ClientTable clients_{scheduler_};
    TimePoint now_ = TimePoint(seconds(1000));
};

TEST_F(ClientTableTest, TellsClientsByPlaceToolAndInstance) {
    Client *const client = find(key(1));
    EXPECT_EQ(find(key(1)), client);
    EXPECT_NE(find(key(2)), client);
    EXPECT_NE(find(key(1, 17)), client);
    EXPECT_NE(find(key(1, 16, 2)), client);
    EXPECT_NE(find({{0x7F000002, 1}, 16, 1}), client);
    EXPECT_EQ(find(key(1)), client);
    EXPECT_EQ(clients_.list(now_).size(), 5U);
}

TEST_F(ClientTableTest, ForgetsAClientAfterALongSilence) {
    find(key(1))->requests = 5;
    now_ += kClientSilence;
    EXPECT_EQ(find(key(1))->requests, 5U);
    now_ += kClientSilence + std::chrono::milliseconds(1);
    EXPECT_EQ(find(key(1))->requests, 0U) << "known, but as a new one";
    now_ += kClientSilence + std::chrono::milliseconds(1);
    EXPECT_TRUE(clients_.list(now_).empty());
}

TEST_F(ClientTableTest, KeepsASilentClientThatHoldsADevice) {
    Client *const client = find(key(1));
    client->requests = 5;
    hold(*client);
    now_ += 2 * kClientSilence;
    EXPECT_EQ(clients_.list(now_).size(), 1U);
    EXPECT_EQ(find(key(1))->requests, 5U);
}

TEST_F(ClientTableTest, MakesRoomByForgettingTheOneThatIsIdleLongest) {
    fill();
    find(key(1))->requests = 5;  // heard of: now 2 is the one
    EXPECT_NE(find(key(1000)), nullptr);
    EXPECT_EQ(clients_.list(now_).size(), kMaxClients);
    EXPECT_EQ(find(key(1))->requests, 5U);
    find(key(3))->requests = 5;
    find(key(2));  // a new one: takes the place of 4
    EXPECT_EQ(find(key(3))->requests, 5U);
}

TEST_F(ClientTableTest, MakesNoRoomAtTheCostOfABusyClient) {
    fill();
    for (uint16_t port = 1; port <= kMaxClients; ++port) {
        Client *const client = find(key(port));
        if (port % 2 == 0) {
            hold(*client);
        } else {
            client->waiting = {7};
        }
    }
    EXPECT_EQ(find(key(1000)), nullptr);
    EXPECT_NE(find(key(1)), nullptr);
    find(key(9))->waiting.clear();
    EXPECT_NE(find(key(1000)), nullptr);
}

TEST_F(ClientTableTest, GivesANewClientNothingOfTheOneBeforeIt) {
    Client *const old = find(key(1));
    old->refusal = "Busy";
    old->answers.add(head(1, 1), Outcome::kSuccess, "x", now_);
    scheduler_.enqueue({.client = old->number, .footprint = {BusKind::kI2c, 1, 0, 1}});
    const uint32_t number = old->number;
    now_ += 2 * kClientSilence;
    clients_.list(now_);
    Client *const fresh = find(key(2));
    EXPECT_EQ(fresh->number, number);
    EXPECT_EQ(fresh->refusal, "");
    EXPECT_FALSE(fresh->answers.has(1, now_));
    EXPECT_EQ(scheduler_.waiting(number), 0U);
}

}  // namespace
}  // namespace diag::daemon
