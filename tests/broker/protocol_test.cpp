// SPDX-License-Identifier: MIT
#include "diags/broker/protocol.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace diag::broker {
namespace {

using Kind = RawPlace::Kind;

struct IdCase {
    const char *id;
    RawPlace place;
};

const IdCase kIds[] = {
    {"i2c:3:50", {.kind = Kind::kI2c, .bus = 3, .device = 0x50}},
    {"i2c:10:07", {.kind = Kind::kI2c, .bus = 0x10, .device = 7}},
    {"i2c16:2:40", {.kind = Kind::kI2c, .wide_register = true, .bus = 2, .device = 0x40}},
    {"lpc", {.kind = Kind::kLpc}},
    {"mem", {.kind = Kind::kMemory}},
    {"pci:03:1f.7", {.kind = Kind::kPci, .bus = 3, .device = 0x1F, .function = 7}},
    {"gpio:1a", {.kind = Kind::kGpio, .bus = 0x1A}},
};

TEST(RawId, IsReadAndWritten) {
    for (const IdCase &row : kIds) {
        EXPECT_EQ(parse_raw_id(row.id), row.place) << row.id;
        EXPECT_EQ(format_raw_id(row.place), row.id);
    }
}

TEST(RawId, MayHaveFewerAndCapitalDigits) {
    EXPECT_EQ(parse_raw_id("i2c:0003:5"), parse_raw_id("i2c:3:05"));
    EXPECT_EQ(parse_raw_id("pci:3:1F.7"), parse_raw_id("pci:03:1f.7"));
}

TEST(RawId, OfAnotherShapeIsNone) {
    for (const char *id : {"",
                           "i2c",
                           "i2c:",
                           "i2c:3",
                           "i2c:3:",
                           "i2c::50",
                           "i2c:3:80",
                           "i2c:3:50 ",
                           "i2c: 3:50",
                           "i2c:10000:50",
                           "i2c:0x3:50",
                           "i2c:3:50:0",
                           "i2c8:3:50",
                           "I2C:3:50",
                           "lpc:",
                           "LPC",
                           "memory",
                           "pci",
                           "pci:3:0",
                           "pci:3:20.0",
                           "pci:3:0.8",
                           "pci:100:0.0",
                           "pci:3:0.0.0",
                           "gpio",
                           "gpio:",
                           "gpio:g",
                           "gpio:-1",
                           "gpio:100000000",
                           "busbroker",
                           "2"}) {
        EXPECT_FALSE(parse_raw_id(id)) << id;
    }
}

TEST(RawId, OfEveryPlaceFitsIntoARequest) {
    EXPECT_LE(format_raw_id(
                  {.kind = Kind::kI2c, .wide_register = true, .bus = UINT32_MAX, .device = 0x7F})
                  .size(),
              kMaxIdLength);
}

TEST(Outcome, HasATextThatLeadsBack) {
    for (size_t i = 0; i < kOutcomes; ++i) {
        const auto outcome = static_cast<Outcome>(i);
        EXPECT_FALSE(outcome_text(outcome).empty());
        EXPECT_EQ(parse_outcome(outcome_text(outcome)), outcome);
    }
    EXPECT_FALSE(parse_outcome("success"));
    EXPECT_FALSE(parse_outcome(""));
}

TEST(Outcome, TextsAreThoseThatClientsLookFor) {
    EXPECT_EQ(outcome_text(Outcome::kSuccess), "Success");
    EXPECT_EQ(outcome_text(Outcome::kAcknowledged), "Rx Ack");
    EXPECT_EQ(outcome_text(Outcome::kNotFound), "Req not found");
    EXPECT_EQ(outcome_text(Outcome::kTransactionExpired), "Transaction expired");
    EXPECT_EQ(outcome_text(Outcome::kShuttingDown), "Shutting down");
}

TEST(Outcome, ThatIsARefusalIsToldFromTheOthers) {
    EXPECT_FALSE(is_refusal(Outcome::kSuccess));
    EXPECT_FALSE(is_refusal(Outcome::kAcknowledged));
    EXPECT_FALSE(is_refusal(Outcome::kNotFound));
    EXPECT_TRUE(is_refusal(Outcome::kUnknownDevice));
    EXPECT_TRUE(is_refusal(Outcome::kShuttingDown));
}

TEST(BrokerAddress, IsHostAndPort) {
    EXPECT_EQ(parse_address("10.0.0.1:99"), (Address{"10.0.0.1", 99}));
    EXPECT_EQ(parse_address("10.0.0.1"), (Address{"10.0.0.1", 7811}));
    EXPECT_EQ((Address{"10.0.0.1", 99}).text(), "10.0.0.1:99");
}

TEST(BrokerAddress, OfAnotherShapeIsNone) {
    for (const char *text :
         {"", ":7811", "localhost:7811", "127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65536",
          "127.0.0.1:1x", "127.0.0.1:-1", "127.0.0:1", "127.0.0.1.1:1", "256.0.0.1:1",
          "127.0.0.0001:1", "127.0..1:1", " 127.0.0.1:1", "127.0.0.1:1:2"}) {
        EXPECT_FALSE(parse_address(text)) << text;
    }
}

TEST(BrokerAddress, ComesFromTheEnvironment) {
    setenv("DIAG_BROKER", "127.0.0.2:4711", 1);
    EXPECT_EQ(address_from_environment(), (Address{"127.0.0.2", 4711}));
    setenv("DIAG_BROKER", "somewhere", 1);
    EXPECT_FALSE(address_from_environment());
    setenv("DIAG_BROKER", "", 1);
    EXPECT_EQ(address_from_environment(), (Address{"127.0.0.1", 7811}));
    unsetenv("DIAG_BROKER");
    EXPECT_EQ(address_from_environment(), (Address{"127.0.0.1", 7811}));
}

}  // namespace
}  // namespace diag::broker
