// SPDX-License-Identifier: MIT
// The frame of a request and its CRC; the check and the end of a received record.
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "busbroker.h"
#include "diag_util.h"

#include "tests/common/busbroker/answer.h"
#include "tests/common/busbroker/request_record.h"
#include "tests/common/library_test.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

constexpr char kExample[] =
    "RQS03000000010000000705mbox003lpc00000000000000030500160000000062,0001,08,1c,5ae77dc783RQE";

class Frame : public LibraryTest {
  protected:
    Frame() {
        req_.access_addr = 0x62;
        req_.access_count = 1;
        req_.access_width = 8;
        req_.access_flags = 28;
        req_.write_buf = &byte_;
        EXPECT_EQ(req_.update(3), 0U);
    }

    uint8_t byte_ = 0x5A;
    RequestRecord req_;
};

// What the record should be framed and summed as, but for the start and end marks.
Answer expected_of(const busbroker_req &req) {
    return {req.tool_id,     req.inst_id,
            req.transac_id,  req.dev_id,
            req.dev_name,    req.req_prio,
            req.req_type,    req.transac_ind,
            req.actual_data, req.support_data != nullptr ? req.support_data : ""};
}

std::string request_frame(const busbroker_req &req) {
    std::vector<std::string> pieces = expected_of(req).pieces();
    pieces[kHeader] = "RQS";
    pieces[kFooter] = "RQE";
    return joined(pieces);
}

TEST_F(Frame, OfAWriteIsTheKnownText) {
    EXPECT_EQ(req_.crc, 0xE77DC783U);
    EXPECT_EQ(req_.actual_datalen, 22);
    EXPECT_EQ(calculate_req_len_in_ascii(&req_), 90U);
    EXPECT_EQ(req_.frame(), kExample);
}

TEST_F(Frame, EndsWithANulThatDoesNotCount) {
    std::string buffer(100, '#');
    EXPECT_EQ(frame_ascii_request(&req_, buffer.data(), 91), 90U);
    EXPECT_EQ(buffer, std::string(kExample) + '\0' + std::string(9, '#'));
}

TEST_F(Frame, HasEveryFieldAtItsFullWidth) {
    std::vector<uint8_t> bytes = {0xFE, 0x01};
    req_.tool_id = 0xAB;
    req_.inst_id = 0xFEDCBA98;
    req_.transac_id = 0xFFFFFFFF;
    req_.support_bytes = bytes.data();
    req_.support_count = 2;
    EXPECT_EQ(req_.update(0xCAFEF00D, "device", "", 0x89ABCDEF, 0xFF), 0U);
    EXPECT_EQ(joined(expected_of(req_).pieces()).substr(3, 18), "abfedcba98ffffffff");
    EXPECT_EQ(req_.frame(), request_frame(req_));
    EXPECT_NE(req_.frame().find("06device0089abcdefcafef00dff000006,fe,01"), std::string::npos);
}

TEST_F(Frame, OfEachTypeIsWhatTheLengthSays) {
    std::vector<uint8_t> support(85, 0x7F);
    req_.support_bytes = support.data();
    for (const uint8_t support_count : std::initializer_list<uint8_t>{0, 1, 85}) {
        req_.support_count = support_count;
        for (uint32_t type = 0; type < 8; type++) {
            EXPECT_EQ(req_.update(type), 0U);
            EXPECT_EQ(req_.frame(), request_frame(req_)) << "type " << type;
            EXPECT_EQ(req_.frame().size(), calculate_req_len_in_ascii(&req_));
        }
    }
}

TEST_F(Frame, WithoutTextsHasSixtyCharacters) {
    EXPECT_EQ(req_.update(0, "", ""), 0U);
    EXPECT_EQ(calculate_req_len_in_ascii(&req_), 60U);
    EXPECT_EQ(req_.frame(), request_frame(req_));
    EXPECT_EQ(req_.frame().size(), 60U);
}

TEST_F(Frame, TakesNamesOfTheLargestLength) {
    const std::string id(255, 'i');
    const std::string name(255, 'n');
    EXPECT_EQ(req_.update(2, id.c_str(), name.c_str()), 0U);
    EXPECT_EQ(calculate_req_len_in_ascii(&req_), 60U + 255 + 255 + 19);
    EXPECT_EQ(req_.frame(), request_frame(req_));
}

// A name of 256 characters has a length of 0; the frame is cut to the length that was computed.
TEST_F(Frame, OfANameThatIsTooLongStaysInItsBuffer) {
    const std::string id(256, 'i');
    EXPECT_EQ(req_.update(0, id.c_str()), 0U);
    EXPECT_EQ(req_.dev_id_len, 0);
    EXPECT_EQ(calculate_req_len_in_ascii(&req_), 63U);
    EXPECT_EQ(req_.frame().size(), 63U);
}

TEST_F(Frame, IsCutWhereTheBufferEnds) {
    for (const int size : {1, 2, 4, 50, 90}) {
        std::string buffer(100, '#');
        EXPECT_EQ(frame_ascii_request(&req_, buffer.data(), size), static_cast<uint32_t>(size - 1));
        EXPECT_EQ(buffer, std::string(kExample, static_cast<size_t>(size - 1)) + '\0' +
                              std::string(static_cast<size_t>(100 - size), '#'));
    }
}

TEST_F(Frame, LeavesSupportDataOfNoLengthOut) {
    char support[] = ",01";
    req_.support_data = support;
    EXPECT_EQ(req_.frame(), kExample);
    req_.support_data = nullptr;
}

TEST_F(Frame, RefusalsAreReported) {
    char buffer[100] = "#";
    const auto refusal = [&](const busbroker_req *req, int size) {
        return logged_by([&] {
            EXPECT_EQ(frame_ascii_request(req, buffer, size), 0U);
            EXPECT_EQ(buffer[0], '#');
        });
    };
    EXPECT_EQ(refusal(&req_, 0), (Messages{{0, "Given dest buf size 0 is invalid \n"}}));
    EXPECT_EQ(refusal(&req_, -5), (Messages{{0, "Given dest buf size -5 is invalid \n"}}));
    EXPECT_EQ(refusal(nullptr, 0), (Messages{{0, "Given dest buf size 0 is invalid \n"}}));
    EXPECT_EQ(refusal(nullptr, 91), (Messages{{0, "Input request pointer is NULL\n"}}));
    req_.dev_name = nullptr;
    EXPECT_EQ(refusal(&req_, 91), (Messages{{0, "Device name pointer can't be NULL\n"}}));
    req_.dev_id = nullptr;
    EXPECT_EQ(refusal(&req_, 91), (Messages{{0, "Device id pointer can't be NULL\n"}}));
}

// In a process of its own: a null pointer that is followed would end the other tests.
TEST_F(Frame, IntoNoBufferIsRefused) {
    EXPECT_EXIT(std::_Exit(static_cast<int>(frame_ascii_request(&req_, nullptr, 91))),
                testing::ExitedWithCode(0), "");
}

TEST_F(Frame, IsLogged) {
    char buffer[100];
    EXPECT_EQ(logged_by([&] { frame_ascii_request(&req_, buffer, 91); }),
              (Messages{{3, "Prepared request is " + std::string(kExample) + "\n"}}));
}

TEST_F(Frame, LengthIsLogged) {
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(calculate_req_len_in_ascii(&req_), 90U); }),
              (Messages{{3, "Calculated length required is 90 \n"}}));
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(calculate_req_len_in_ascii(nullptr), 0U); }),
              error_in("calculate_req_len_in_ascii",
                       "Request raw pointer is NULL, can't calculate length\n"));
}

TEST_F(Frame, LengthIsThatOfTheLengthFields) {
    busbroker_req req{};
    EXPECT_EQ(calculate_req_len_in_ascii(&req), 60U);
    req.dev_id_len = req.dev_name_len = req.suprt_data_len = 255;
    req.actual_datalen = 65535;
    EXPECT_EQ(calculate_req_len_in_ascii(&req), 60U + 3 * 255 + 65535);
}

// ---- CRC ----

class Crc : public Frame {};

TEST_F(Crc, IsTheStandardOne) {
    ASSERT_EQ(crc32_of("123456789"), 0xCBF43926U) << "the tests' own";
    EXPECT_EQ(calculate_crc(&req_), 0xE77DC783U);
    EXPECT_EQ(expected_of(req_).crc(), 0xE77DC783U);
}

TEST_F(Crc, CoversEveryField) {
    uint8_t support = 1;
    req_.support_bytes = &support;
    req_.support_count = 1;
    EXPECT_EQ(req_.update(3, "mbox0", "lpc", 1, 5), 0U);
    char other_id[] = "mbox1";
    char other_name[] = "lpd";
    char other_data[] = "00000062,0001,08,1c,5b";
    char other_support[] = ",02";
    const std::vector<void (*)(busbroker_req &)> changes = {
        [](busbroker_req &req) { req.tool_id = 0x80; },
        [](busbroker_req &req) { req.inst_id = 0x01020384; },
        [](busbroker_req &req) { req.transac_id = 0xF1020304; },
        [](busbroker_req &req) { req.req_prio = 0x81020304; },
        [](busbroker_req &req) { req.req_type = 0x91020304; },
        [](busbroker_req &req) { req.transac_ind = 0xFF; }};
    for (const auto change : changes) {
        busbroker_req changed = req_;
        change(changed);
        EXPECT_EQ(calculate_crc(&changed), expected_of(changed).crc());
        EXPECT_NE(calculate_crc(&changed), req_.crc);
    }
    for (const auto &[field, text] : {std::pair{&busbroker_req::dev_id, other_id},
                                      {&busbroker_req::dev_name, other_name},
                                      {&busbroker_req::actual_data, other_data},
                                      {&busbroker_req::support_data, other_support}}) {
        busbroker_req changed = req_;
        changed.*field = text;
        EXPECT_EQ(calculate_crc(&changed), expected_of(changed).crc());
        EXPECT_NE(calculate_crc(&changed), req_.crc);
    }
}

TEST_F(Crc, TakesAsMuchOfATextAsItsLengthSays) {
    busbroker_req req = req_;
    req.dev_id_len = 2;
    req.actual_datalen = 4;
    Answer answer = expected_of(req_);
    answer.dev_id.resize(2);
    answer.data.resize(4);
    EXPECT_EQ(calculate_crc(&req), answer.crc());
}

TEST_F(Crc, LeavesAccessParametersAndItselfOut) {
    req_.crc = 1;
    req_.access_addr = req_.access_count = req_.support_count = 99;
    req_.write_buf = nullptr;
    EXPECT_EQ(calculate_crc(&req_), 0xE77DC783U);
}

TEST_F(Crc, LeavesSupportDataOfNoLengthOut) {
    char support[] = ",01";
    req_.support_data = support;
    EXPECT_EQ(calculate_crc(&req_), 0xE77DC783U);
    req_.support_data = nullptr;
}

TEST_F(Crc, TakesARecordWithoutTexts) {
    const busbroker_req req{};
    EXPECT_EQ(calculate_crc(&req), crc32_of(std::string(23, '\0')));
}

TEST_F(Crc, IsLogged) {
    EXPECT_EQ(logged_by([&] { calculate_crc(&req_); }),
              (Messages{{3, "Calculated CRC =0xe77dc783\n"}}));
}

TEST_F(Crc, OfNoRecordIsSafe) {
    EXPECT_EXIT(
        {
            calculate_crc(nullptr);
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), "");
}

// ---- the check ----

class Validation : public Frame {};

TEST_F(Validation, AcceptsAMatchingCrc) {
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(validate_busbroker_req_resp(&req_), 0U); }),
              (Messages{{3, "Calculated CRC =0xe77dc783\n"},
                        {3, "CRC Validation success,pushing the req to queues\n"}}));
}

TEST_F(Validation, RefusesAnotherCrcSilently) {
    req_.crc ^= 0x80000000;
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(validate_busbroker_req_resp(&req_), DIAG_E_INVAL); }),
              (Messages{{3, "Calculated CRC =0xe77dc783\n"}}));
}

TEST_F(Validation, RefusesToolsBeyondTheLast) {
    req_.tool_id = 22;
    req_.crc = calculate_crc(&req_);
    EXPECT_EQ(validate_busbroker_req_resp(&req_), 0U);
    req_.tool_id = 23;
    req_.crc = calculate_crc(&req_);
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(validate_busbroker_req_resp(&req_), DIAG_E_INVAL); }),
              (Messages{{0, "Invalid tool id 23 received \n"}}));
}

TEST_F(Validation, ReportsALongNameAndAcceptsIt) {
    const std::string longest(32, 'n');
    const std::string name(40, 'n');
    EXPECT_EQ(req_.update(2, "mbox0", longest.c_str()), 0U);
    EXPECT_EQ(
        text_logged_by([&] { EXPECT_EQ(validate_busbroker_req_resp(&req_), 0U); }).find("exceeded"),
        std::string::npos);
    EXPECT_EQ(req_.update(2, "mbox0", name.c_str()), 0U);
    const Messages messages = logged_by([&] { EXPECT_EQ(validate_busbroker_req_resp(&req_), 0U); });
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[0],
              (Message{3, "Req rx on socket id 40 has exceeded max allowed dev len 32\n"}));
}

TEST_F(Validation, RefusesNoRecord) {
    EXPECT_EQ(validate_busbroker_req_resp(nullptr), DIAG_E_INVAL);
}

// ---- the end of a record ----

TEST_F(Frame, ARecordIsFreedWithItsTexts) {
    free_req_memory(nullptr);
    const int rounds = for_each_failing_allocation([](AllocationWatch &watch) {
        watch.start();
        auto *record = static_cast<busbroker_req *>(std::calloc(1, sizeof(busbroker_req)));
        if (record != nullptr) {
            for (char **text : {&record->support_data, &record->actual_data, &record->dev_id,
                                &record->dev_name}) {
                *text = static_cast<char *>(std::malloc(8));
            }
        }
        free_req_memory(record);
        watch.stop();
    });
    EXPECT_EQ(rounds, 5) << "the record and each of its texts";
}

}  // namespace
}  // namespace diag::test
