// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/request_text.h"

#include <gtest/gtest.h>

#include "tests/tools/busbroker/frame_maker.h"

namespace diag::daemon {
namespace {

using broker::Outcome;

TEST(AccessText, OfAReadHasFourNumbers) {
    const auto access = parse_access("00000102,0010,20,1c", "", false);
    ASSERT_TRUE(access);
    EXPECT_FALSE(access->is_write);
    EXPECT_EQ(access->address, 0x102U);
    EXPECT_EQ(access->count, 16U);
    EXPECT_EQ(access->width, 32U);
    EXPECT_EQ(access->flags, 28U);
    EXPECT_EQ(access->options, 0);
    EXPECT_TRUE(access->data.empty());
}

TEST(AccessText, OfAWriteHasItsBytesToo) {
    const auto access = parse_access("fffffffe,0003,08,00,01,02,ff", ",02", true);
    ASSERT_TRUE(access);
    EXPECT_TRUE(access->is_write);
    EXPECT_EQ(access->address, 0xFFFFFFFEU);
    EXPECT_EQ(access->data, (std::vector<uint8_t>{1, 2, 0xFF}));
    EXPECT_TRUE(access->has(broker::kPec));
    EXPECT_FALSE(access->has(broker::kNoData));
}

TEST(AccessText, OfAWriteOfNothingEndsBehindTheFlags) {
    const auto access = parse_access("00000001,0000,08,1c", "", true);
    ASSERT_TRUE(access);
    EXPECT_TRUE(access->data.empty());
}

TEST(AccessText, OfAnotherShapeIsRefused) {
    for (const char *text :
         {"", ",", "00000000", "00000000,0001,08", "00000000,0001,08,", "00000000,0001,08,1c,",
          "00000000,0001,08,1c,00", "00000000,0001,08,1C", "0000000,00001,08,1c",
          "00000000;0001,08,1c", "00000000,0001,08,1g", "00000000,0001,08,1c ",
          "-0000001,0001,08,1c", "0x000001,0001,08,1c", "00000000,0001,08,\xff\xff"}) {
        EXPECT_FALSE(parse_access(text, "", false)) << text;
    }
    for (const char *text :
         {"00000000,0001,08,1c", "00000000,0001,08,1c,", "00000000,0001,08,1c,0",
          "00000000,0001,08,1c,000", "00000000,0001,08,1c,0g", "00000000,0001,08,1c;00",
          "00000000,0002,08,1c,00", "00000000,0001,08,1c,00,00", "00000000,0000,08,1c,00",
          "00000000,0001,08,1c,00,", "00000000,ffff,08,1c,00"}) {
        EXPECT_FALSE(parse_access(text, "", true)) << text;
    }
}

TEST(AccessText, TakesOneByteOfOptions) {
    EXPECT_EQ(parse_access("00000000,0001,08,1c", ",0f", false)->options, 0x0F);
    for (const char *support : {",", ",1", "01", ",10", ",ff", ",01,00", ",0g", " 01", ",001"}) {
        EXPECT_FALSE(parse_access("00000000,0001,08,1c", support, false)) << support;
    }
}

TEST(ReservationText, NamesADeviceBySelectors) {
    const auto wanted = parse_reservation("01,04,03,50,10");
    ASSERT_TRUE(wanted);
    EXPECT_TRUE(wanted->by_index);
    EXPECT_EQ(wanted->selector_a, 4U);
    EXPECT_EQ(wanted->selector_b, 3U);
    EXPECT_EQ(wanted->selector_c, 0x50U);
    EXPECT_EQ(wanted->seconds, 10U) << "seconds are decimal";
}

TEST(ReservationText, NamesADeviceByItsAsset) {
    const auto wanted = parse_reservation("00,00,00,00,30,QSFP 1");
    ASSERT_TRUE(wanted);
    EXPECT_FALSE(wanted->by_index);
    EXPECT_EQ(wanted->seconds, 30U);
    EXPECT_EQ(wanted->asset, "QSFP 1");
    EXPECT_EQ(parse_reservation("00,00,00,00,30,a,b")->asset, "a,b");
}

TEST(ReservationText, OfAnotherShapeIsRefused) {
    for (const std::string &text : std::vector<std::string>{
             "", "01,04,03,50", "01,04,03,50,1", "01,04,03,50,1a", "01,04,03,50,100",
             "01,04,03,50,10,", "01,04,03,50,10,QSFP 1", "00,04,03,50,10", "00,04,03,50,10,",
             "00,04,03,50,10;a", "0g,04,03,50,10", "00,04,03,50,10," + std::string(32, 'a')}) {
        EXPECT_FALSE(parse_reservation(text)) << text;
    }
}

TEST(DynamicIdText, HasAPlaceAndAWidth) {
    const auto wanted = parse_dynamic_id("1350,0016");
    ASSERT_TRUE(wanted);
    EXPECT_EQ(wanted->bus, 0x13U);
    EXPECT_EQ(wanted->address, 0x50U);
    EXPECT_TRUE(wanted->wide_register);
    EXPECT_FALSE(parse_dynamic_id("1350,0000")->wide_register);
    EXPECT_FALSE(parse_dynamic_id("1350,0008")->wide_register);
}

TEST(DynamicIdText, OfAnotherShapeIsRefused) {
    for (const char *text : {"", "1350", "1350,", "1350,16", "1350,0032", "1350,001a", "1350,0016,",
                             "135g,0016", "1350;0016"}) {
        EXPECT_FALSE(parse_dynamic_id(text)) << text;
    }
}

std::string answer_text(const Access &access, Outcome outcome,
                        const std::vector<uint8_t> &bytes = {}) {
    std::string text = "before";
    write_access_answer(access, outcome, bytes, &text);
    return text;
}

TEST(AnswerText, OfAReadCarriesItsBytes) {
    const auto read = parse_access("00000102,0002,08,1c", "", false);
    EXPECT_EQ(answer_text(*read, Outcome::kSuccess, {0x0A, 0xFF}),
              "00000102,0002,08,1c,Success,0002,0aff");
    EXPECT_EQ(answer_text(*read, Outcome::kAcknowledged), "00000102,0002,08,1c,Rx Ack");
    EXPECT_EQ(answer_text(*read, Outcome::kNoAnswer), "00000102,0002,08,1c,No answer");
}

TEST(AnswerText, OfAWriteHasNoFlags) {
    const auto write = parse_access("00000102,0001,08,1c,55", "", true);
    EXPECT_EQ(answer_text(*write, Outcome::kSuccess), "00000102,0001,08,Success");
    EXPECT_EQ(answer_text(*write, Outcome::kTimedOut), "00000102,0001,08,Timed out");
}

TEST(AnswerText, OfTheLongestReadFitsIntoADatagram) {
    const auto read = parse_access(test::read_text(0, broker::kMaxReadBytes), "", false);
    const std::vector<uint8_t> bytes(broker::kMaxReadBytes);
    const size_t frame = 60 + 2 * broker::kMaxIdLength;
    EXPECT_LE(frame + answer_text(*read, Outcome::kSuccess, bytes).size(), broker::kMaxDatagram);
}

TEST(AnswerText, ALongestWriteFitsIntoADatagram) {
    const std::vector<uint8_t> bytes(broker::kMaxWriteBytes);
    const size_t frame = 60 + 2 * broker::kMaxIdLength + 3;
    EXPECT_LE(frame + test::write_text(0, bytes).size(), broker::kMaxDatagram);
}

}  // namespace
}  // namespace diag::daemon
