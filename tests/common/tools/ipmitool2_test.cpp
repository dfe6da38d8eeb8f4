// SPDX-License-Identifier: MIT
#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "diag_util.h"
#include "tool_calls.h"

#include "tests/common/library_test.h"
#include "tests/common/process_state.h"
#include "tests/common/tools/ipmi_test.h"

using diag::test::counting_bytes;
using diag::test::error_in;
using diag::test::error_text;
using diag::test::logged_by;
using diag::test::Messages;
using diag::test::name_of;
using diag::test::open_descriptors;
using diag::test::printed;
using diag::test::raw_answer;
using diag::test::Result;

namespace {

using Bytes = std::vector<uint8_t>;
using Request = diag::test::IpmiCall<decltype(&ipmitool2_get)>;

constexpr uint32_t kFailed = 0xFFFFFFFF;
constexpr Request kRequests[] = {{"ipmitool2_get", ipmitool2_get},
                                 {"ipmitool2_set", ipmitool2_set}};

// Both calls do the same; the second one reports in the name of the first.
class Ipmitool2 : public diag::test::IpmiTest, public testing::WithParamInterface<Request> {
  protected:
    // Sends a request of two bytes; what is stored of the response goes to `stored_`.
    uint32_t send(int response_length) {
        constexpr uint8_t kRequest[] = {0x01, 0xAB};
        Result result(700);
        uint32_t status = 99;
        text_ = printed([&] {
            status = GetParam().call(0x3A, 0x5, 2, kRequest, response_length, result.data());
        });
        stored_ = result.stored();
        return status;
    }
    Messages logged_for(int response_length) {
        constexpr uint8_t kRequest[] = {0x01, 0xAB};
        return logged_by([&] {
            Result result(700);
            GetParam().call(0x3A, 0x5, 2, kRequest, response_length, result.data());
        });
    }
    const std::string command_ = "ipmitool raw 0x3a 0x05  0x01 0xab";
    const diag::test::Message shown_{1, "ipmitool_get: " + command_ + "\n"};

    Bytes stored_;
};

INSTANTIATE_TEST_SUITE_P(Calls, Ipmitool2, testing::ValuesIn(kRequests), name_of<Request>);

TEST_P(Ipmitool2, StoresTheResponse) {
    const auto before = open_descriptors();
    prints(" 0a 1b\n");
    EXPECT_EQ(send(2), 0U);
    EXPECT_EQ(stored_, (Bytes{0x0A, 0x1B}));
    EXPECT_EQ(tool_.calls(), std::vector<std::string>{"raw 0x3a 0x05 0x01 0xab"});
    EXPECT_EQ(text_, "");
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(Ipmitool2, NumbersAndRequestLengthAreCutToEightBits) {
    const Bytes request(300, 0x7);
    uint8_t response = 0;
    prints(" 0a\n");
    EXPECT_EQ(GetParam().call(0x13A, 0xFFFFFF05, 0x102, request.data(), 1, &response), 0U);
    EXPECT_EQ(last_call(), "raw 0x3a 0x05 0x07 0x07");
    EXPECT_EQ(GetParam().call(0, 0xFF, 0x100, request.data(), 1, &response), 0U);
    EXPECT_EQ(last_call(), "raw 0x00 0xff");
    EXPECT_EQ(GetParam().call(0, 0, 0, nullptr, 1, &response), 0U);
    EXPECT_EQ(last_call(), "raw 0x00 0x00");
}

TEST_P(Ipmitool2, RequestOf255BytesIsSentWhole) {
    std::string words = "raw 0x38 0x01";
    for (const uint8_t byte : counting_bytes(255)) {
        char word[8];
        std::snprintf(word, sizeof word, " 0x%02x", byte);
        words += word;
    }
    uint8_t response = 0;
    prints(" 0a\n");
    EXPECT_EQ(GetParam().call(0x38, 1, 255, counting_bytes(255).data(), 1, &response), 0U);
    EXPECT_EQ(last_call(), words);
}

// ---- responses ----

TEST_P(Ipmitool2, AsManyBytesAsAskedForAreStored) {
    prints(" 0a 1b 2c\n");
    EXPECT_EQ(send(1), 0U);
    EXPECT_EQ(stored_, Bytes{0x0A});
    EXPECT_EQ(send(3), 0U);
    EXPECT_EQ(stored_, (Bytes{0x0A, 0x1B, 0x2C}));
    EXPECT_EQ(send(5), 0U);
    EXPECT_EQ(stored_, (Bytes{0x0A, 0x1B, 0x2C, 0, 0})) << "what is not there reads as 0";
}

TEST_P(Ipmitool2, OnlyTheFirstLineIsRead) {
    prints(raw_answer(counting_bytes(33)));
    Bytes expected = counting_bytes(16);
    EXPECT_EQ(send(16), 0U);
    EXPECT_EQ(stored_, expected);
    expected.resize(33, 0);
    EXPECT_EQ(send(33), 0U);
    EXPECT_EQ(stored_, expected);
}

TEST_P(Ipmitool2, BytesStandAtFixedPlacesOfTheLine) {
    struct Case {
        std::string_view text;
        Bytes bytes;
    };
    const Case cases[] = {{" 0a 1b", {0x0A, 0x1B, 0x00}},     // no line end
                          {" 0A1b1C\n", {0x0A, 0xB1, 0x00}},  // whatever stands between
                          {" a 1b 2c\n", {0x0A, 0x0B, 0x0C}}, {" zz 1b 2z\n", {0x00, 0x1B, 0x02}},
                          {" 0a\r\n", {0x0A, 0x00, 0x00}},    {" \n 0a", {0x00, 0x00, 0x00}}};
    for (const Case &test : cases) {
        prints(test.text);
        EXPECT_EQ(send(3), 0U);
        EXPECT_EQ(stored_, test.bytes) << test.text;
    }
}

TEST_P(Ipmitool2, LineOfMoreThan499CharactersIsCut) {
    std::string line;
    for (int i = 0; i < 200; i++) {
        line += " 7f";
    }
    prints(line + "\n");
    Bytes expected(166, 0x7F);  // the last one ends at character 498
    expected.resize(200, 0);
    EXPECT_EQ(send(200), 0U);
    EXPECT_EQ(stored_, expected);
    EXPECT_EQ(send(600), 0U);
    expected.resize(600, 0);
    EXPECT_EQ(stored_, expected);
}

TEST_P(Ipmitool2, MegabyteOfTextDoesNotHoldUpTheTool) {
    tool_.runs_script("printf ' 0a'\nyes ' 0a' | head -c 1000000\necho done >&2\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(send(1), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "done\n");
    EXPECT_EQ(stored_, Bytes{0x0A});
}

TEST_P(Ipmitool2, ResponseWithoutDataIsASuccessThatStoresNothing) {
    prints("\n");
    for (const int length : {0, 1, 5, -1}) {
        EXPECT_EQ(send(length), 0U);
        EXPECT_EQ(stored_, Bytes{});
        EXPECT_EQ(text_, "");
    }
    EXPECT_EQ(logged_for(2), (Messages{shown_, {1, "ipmii2c_get : \n\n"}}));
}

TEST_P(Ipmitool2, AnythingElseThanBytesIsAFailure) {
    for (const std::string_view text :
         {std::string_view("Unable to send\n"), std::string_view("0a 1b\n"),
          std::string_view("\r\n"), std::string_view("\t0a\n"), std::string_view("\0 0a\n", 5)}) {
        prints(text);
        for (const int length : {0, 2, -1}) {
            EXPECT_EQ(send(length), kFailed) << text;
            EXPECT_EQ(stored_, Bytes{});
            EXPECT_EQ(text_, "");
        }
    }
    prints("Unable to send\n");
    EXPECT_EQ(logged_for(2), (Messages{shown_, {1, "ipmii2c_get : Unable to send\n\n"}}));
}

TEST_P(Ipmitool2, NothingPrintedIsAFailureWhenBytesWereAskedFor) {
    prints("");
    for (const int length : {1, 300, -1}) {
        EXPECT_EQ(send(length), kFailed);
        EXPECT_EQ(stored_, Bytes{});
        EXPECT_EQ(text_, "");
    }
    EXPECT_EQ(logged_for(2),
              (Messages{shown_, {2, "FAILED <<<---\nError Reading 0 bytes from IPMII2C\n"}}));
    EXPECT_EQ(send(0), 0U);
    EXPECT_EQ(logged_for(0), (Messages{shown_, {2, "0 bytes read from the fifo\n"}}));
}

TEST_P(Ipmitool2, BytesThatNobodyAskedForAreNotStored) {
    prints(" 0a\n");
    EXPECT_EQ(send(0), 0U);
    EXPECT_EQ(stored_, Bytes{});
    EXPECT_EQ(
        logged_for(0),
        (Messages{shown_, {1, "ipmii2c_get :  0a\n\n"}, {2, "0 bytes read from the fifo\n"}}));
    EXPECT_EQ(send(-3), kFailed);
    EXPECT_EQ(stored_, Bytes{});
    EXPECT_EQ(logged_for(-3),
              (Messages{shown_,
                        {1, "ipmii2c_get :  0a\n\n"},
                        {2, "FAILED <<<---\nError Reading 0 bytes from IPMII2C\n"}}));
}

TEST_P(Ipmitool2, CommandAndLineAreShownAtLevel1AndTheCountAtLevel2) {
    prints(" 0a\n 1b\n");
    EXPECT_EQ(
        logged_for(3),
        (Messages{shown_, {1, "ipmii2c_get :  0a\n\n"}, {2, "3 bytes read from the fifo\n"}}));
}

// ---- how the tool ends ----

TEST_P(Ipmitool2, HowTheToolEndsDoesNotCount) {
    prints(" 0a\n", 1);
    EXPECT_EQ(send(1), 0U);
    EXPECT_EQ(stored_, Bytes{0x0A});
    tool_.runs_script("echo wrong >&2\nexit 1\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(send(1), kFailed);
    EXPECT_EQ(send(0), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "wrong\nwrong\n");
    tool_.is_missing();
    EXPECT_EQ(send(1), kFailed);
    EXPECT_EQ(send(0), 0U);
    EXPECT_EQ(text_, "");
}

TEST_P(Ipmitool2, ReadsInAProcessThatIgnoresItsChildren) {
    const diag::test::SignalAction ignored(SIGCHLD, SIG_IGN);
    prints(" 0a\n");
    EXPECT_EQ(send(1), 0U);
    EXPECT_EQ(stored_, Bytes{0x0A});
    EXPECT_EQ(text_, "");
}

TEST_P(Ipmitool2, CommandThatCannotBeStartedIsReported) {
    for (const unsigned int dry_run : {0U, 1U}) {
        set_debug_enable(dry_run);
        uint8_t byte = 0xEE;
        uint32_t status = 0;
        EXPECT_EQ(printed([&] {
                      const diag::test::NoMoreDescriptors limit;
                      status = GetParam().call(1, 2, 0, nullptr, 1, &byte);
                  }),
                  error_text("ipmitool2_get", "sys cmd exec failed!\n"));
        EXPECT_EQ(status, kFailed);
        EXPECT_EQ(byte, 0xEE);
    }
}

// ---- dry runs ----

TEST_P(Ipmitool2, DryRunSendsTheRequestAndShowsIt) {
    const std::string shown = error_text("ipmitool2_get", command_ + "\n");
    set_debug_enable(1);
    prints(" 0a\n");
    EXPECT_EQ(send(1), 0U);
    EXPECT_EQ(stored_, Bytes{0x0A});
    EXPECT_EQ(text_, shown);
    EXPECT_EQ(send(0), 0U);
    EXPECT_EQ(text_, shown);
    EXPECT_EQ(send(-1), 0U) << "no failure in a dry run";
    EXPECT_EQ(text_, shown);
    prints("");
    for (const int length : {1, 0, -1}) {
        EXPECT_EQ(send(length), 0U) << "no failure in a dry run";
        EXPECT_EQ(text_, shown);
    }
    EXPECT_EQ(tool_.calls().size(), 6U);
}

TEST_P(Ipmitool2, DryRunChangesNothingForAnEmptyOrUnusableResponse) {
    set_debug_enable(1);
    prints("\n");
    EXPECT_EQ(send(1), 0U);
    EXPECT_EQ(text_, "");
    prints("Unable to send\n");
    EXPECT_EQ(send(1), kFailed);
    EXPECT_EQ(text_, "");
}

TEST_P(Ipmitool2, DryRunShowsTheCommandLast) {
    prints(" 0a\n");
    set_debug_enable(1);
    Messages expected{shown_, {1, "ipmii2c_get :  0a\n\n"}, {2, "1 bytes read from the fifo\n"}};
    for (const auto &message : error_in("ipmitool2_get", command_ + "\n")) {
        expected.push_back(message);
    }
    EXPECT_EQ(logged_for(1), expected);
}

}  // namespace
