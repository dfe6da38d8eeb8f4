// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/frame.h"

#include <gtest/gtest.h>
#include <set>

#include "tests/tools/busbroker/frame_maker.h"

namespace diag::daemon {
namespace {

using test::bytes_of;
using test::FrameFields;
using test::request_frame;

Problem problem_of(const std::string &frame) {
    Request request;
    return parse_request(bytes_of(frame), &request);
}

Problem problem_of(const FrameFields &fields) {
    return problem_of(request_frame(fields));
}

const FrameFields kWrite = {.tool = 3,
                            .instance = 1,
                            .transaction = 7,
                            .device_id = "mbox0",
                            .device_name = "lpc",
                            .type = 3,
                            .data = "00000062,0001,08,1c,5a"};

TEST(Frame, OfAKnownRequestIsRead) {
    const std::string frame =
        "RQS03000000010000000705mbox003lpc0000000000000003050016000000006"
        "2,0001,08,1c,5ae77dc783RQE";
    ASSERT_EQ(frame, request_frame(kWrite)) << "the frame maker of these tests is wrong";
    Request request;
    ASSERT_EQ(parse_request(bytes_of(frame), &request), Problem::kNone);
    EXPECT_EQ(request.head.tool, 3);
    EXPECT_EQ(request.head.instance, 1U);
    EXPECT_EQ(request.head.transaction, 7U);
    EXPECT_EQ(request.head.device_id.view(), "mbox0");
    EXPECT_EQ(request.head.device_name.view(), "lpc");
    EXPECT_EQ(request.head.priority, 0U);
    EXPECT_EQ(request.head.type, 3U);
    EXPECT_EQ(request.head.indication, 5);
    EXPECT_EQ(request.data, "00000062,0001,08,1c,5a");
    EXPECT_EQ(request.support, "");
    EXPECT_EQ(request.head.crc, 0xE77DC783U);
}

TEST(Frame, CarriesTheLargestNumbersAndLongestIds) {
    const FrameFields fields = {.tool = 22,
                                .instance = UINT32_MAX,
                                .transaction = UINT32_MAX,
                                .device_id = std::string(32, 'd'),
                                .device_name = std::string(32, ' '),
                                .priority = 2,
                                .type = 6,
                                .indication = 5,
                                .data = "x",
                                .support = ",0f"};
    const std::string frame = request_frame(fields);
    Request request;
    ASSERT_EQ(parse_request(bytes_of(frame), &request), Problem::kNone);
    EXPECT_EQ(request.head.transaction, UINT32_MAX);
    EXPECT_EQ(request.head.device_id.view(), fields.device_id);
    EXPECT_EQ(request.support, ",0f");
}

struct BadField {
    const char *what;
    FrameFields fields;
    Problem problem;
};

class FrameWithABadField : public testing::TestWithParam<BadField> {};

TEST_P(FrameWithABadField, IsRefusedThoughItsCrcIsRight) {
    EXPECT_EQ(problem_of(GetParam().fields), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    , FrameWithABadField,
    testing::Values(
        BadField{"ToolId", {.tool = 23}, Problem::kToolId},
        BadField{"Priority", {.priority = 3}, Problem::kPriority},
        BadField{"TypeOfNobody", {.type = 7}, Problem::kType},
        BadField{"Type", {.type = 8}, Problem::kType},
        BadField{"Indication", {.indication = 6}, Problem::kIndication},
        BadField{"LongId", {.device_id = std::string(33, 'a')}, Problem::kIdLength},
        BadField{"LongName", {.device_name = std::string(255, 'a')}, Problem::kIdLength},
        BadField{"ControlCharacterInId", {.device_id = "a\nb"}, Problem::kIdText},
        BadField{"DeleteInName", {.device_name = "\x7f"}, Problem::kIdText},
        BadField{"EightBitsInId", {.device_id = "\xc3\xa4"}, Problem::kIdText},
        BadField{"NulInId", {.device_id = std::string("a\0b", 3)}, Problem::kNul},
        BadField{"NulInData", {.data = std::string("a\0b", 3)}, Problem::kNul},
        BadField{"TooLongData", {.data = std::string(4096 - 60 + 1, 'a')}, Problem::kTooLong}),
    [](const auto &row) { return row.param.what; });

TEST(Frame, OfTheGreatestSizeIsRead) {
    EXPECT_EQ(problem_of(FrameFields{.data = std::string(4096 - 60, 'a')}), Problem::kNone);
}

TEST(Frame, NeedsItsMarkers) {
    const std::string good = request_frame(kWrite);
    EXPECT_EQ(problem_of("RPS" + good.substr(3)), Problem::kStartMarker);
    EXPECT_EQ(problem_of(good.substr(0, good.size() - 3) + "RPE"), Problem::kEndMarker);
    EXPECT_EQ(problem_of(good + "\n"), Problem::kEndMarker);
    EXPECT_EQ(problem_of("R" + good), Problem::kStartMarker);
    EXPECT_EQ(problem_of(""), Problem::kTooShort);
    EXPECT_EQ(problem_of(std::string(5000, 'R')), Problem::kTooLong);
}

TEST(Frame, ComesAloneInItsDatagram) {
    const std::string good = request_frame(kWrite);
    EXPECT_EQ(problem_of(good + good), Problem::kLength);
}

TEST(Frame, HasLengthsThatAddUp) {
    std::string frame = request_frame(kWrite);
    frame.replace(frame.find("0016"), 4, "0017");
    EXPECT_NE(problem_of(frame), Problem::kNone);
    frame = request_frame(kWrite);
    frame.insert(frame.size() - 3, "0");
    EXPECT_EQ(problem_of(frame), Problem::kLength);
}

TEST(Frame, HasDigitsInLowerCase) {
    std::string frame = request_frame({.instance = 0xA});
    frame.replace(frame.find("0000000a"), 8, "0000000A");
    EXPECT_EQ(problem_of(frame), Problem::kDigits);
    frame.replace(frame.find("0000000A"), 8, "      0a");
    EXPECT_EQ(problem_of(frame), Problem::kDigits);
}

TEST(Frame, NeedsItsCrc) {
    EXPECT_EQ(problem_of(test::request_frame_with_crc(kWrite, test::crc_of(kWrite) + 1)),
              Problem::kCrc);
}

TEST(Frame, ThatWasCutAnywhereIsRefused) {
    const std::string good = request_frame(kWrite);
    for (size_t size = 0; size < good.size(); ++size) {
        EXPECT_NE(problem_of(good.substr(0, size)), Problem::kNone) << size;
        EXPECT_NE(problem_of(good.substr(good.size() - size)), Problem::kNone) << size;
    }
}

// A change of one byte is what the CRC finds with certainty, wherever it covers the byte.
TEST(Frame, WithAnyOneByteChangedIsRefused) {
    const std::string good = request_frame(kWrite);
    for (size_t at = 0; at < good.size(); ++at) {
        for (int change = 1; change < 256; ++change) {
            std::string bad = good;
            bad[at] = static_cast<char>(bad[at] ^ change);
            EXPECT_NE(problem_of(bad), Problem::kNone) << at << " ^ " << change;
        }
    }
}

TEST(Frame, WithAnyOneByteLeftOutOrDoubledIsRefused) {
    const std::string good = request_frame(kWrite);
    for (size_t at = 0; at < good.size(); ++at) {
        std::string bad = good;
        EXPECT_NE(problem_of(bad.erase(at, 1)), Problem::kNone) << at;
        bad = good;
        EXPECT_NE(problem_of(bad.insert(at, 1, good[at])), Problem::kNone) << at;
    }
}

TEST(Frame, EachProblemHasATextOfItsOwn) {
    std::set<std::string_view> texts;
    for (size_t i = 0; i < kProblems; ++i) {
        texts.insert(problem_text(static_cast<Problem>(i)));
    }
    EXPECT_EQ(texts.size(), kProblems);
    EXPECT_FALSE(texts.contains(""));
}

TEST(Answer, RepeatsItsRequest) {
    const FrameFields fields = {.tool = 22,
                                .instance = 0xABCDEF,
                                .transaction = 0x1234,
                                .device_id = "9-1.10",
                                .device_name = "QSFP 1",
                                .priority = 1,
                                .type = 2,
                                .indication = 1,
                                .data = "whatever",
                                .support = ",04"};
    Request request;
    const std::string frame = request_frame(fields);
    ASSERT_EQ(parse_request(bytes_of(frame), &request), Problem::kNone);
    std::string answer = "what was there before";
    write_answer(request.head, "Success", &answer);
    const auto seen = test::parse_answer(answer);
    ASSERT_TRUE(seen) << answer;
    EXPECT_EQ(seen->tool, 22U);
    EXPECT_EQ(seen->instance, 0xABCDEFU);
    EXPECT_EQ(seen->transaction, 0x1234U);
    EXPECT_EQ(seen->device_id, "9-1.10");
    EXPECT_EQ(seen->device_name, "QSFP 1");
    EXPECT_EQ(seen->priority, 1U);
    EXPECT_EQ(seen->type, 2U);
    EXPECT_EQ(seen->indication, 1U);
    EXPECT_EQ(seen->data, "Success");
    EXPECT_EQ(seen->support, "");
}

}  // namespace
}  // namespace diag::daemon
