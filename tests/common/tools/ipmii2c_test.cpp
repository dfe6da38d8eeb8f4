// SPDX-License-Identifier: MIT
#include <csignal>
#include <gtest/gtest.h>
#include <ostream>
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

constexpr uint32_t kRefused = 0xFFFFFFFF;

struct Getter {
    const char *name;
    decltype(&ipmii2c_get) call;
    const char *behind_register;
    const char *opening;  // what stands around the text in its log line
    const char *closing;
};

std::ostream &operator<<(std::ostream &stream, const Getter &getter) {
    return stream << getter.name;
}

constexpr Getter kGetters[] = {{"ipmii2c_get", ipmii2c_get, " ", "[", "]"},
                               {"ipmii2c2_get", ipmii2c2_get, "", "", ""}};

class Ipmii2cGet : public diag::test::IpmiTest, public testing::WithParamInterface<Getter> {
  protected:
    // Reads register 0x1234 of the device 0xA0 on bus 5; what is stored goes to `stored_`.
    uint32_t get(const reg_info *info, int count, const char *bus_path = "i2c-5") {
        Result result(700);
        uint32_t status = 99;
        text_ = printed([&] {
            status = GetParam().call(bus_path, 0xA0, 0x1234, info, count, nullptr, result.data());
        });
        stored_ = result.stored();
        return status;
    }
    Messages logged_for(const reg_info *info, int count, const char *bus_path = "i2c-5") {
        return logged_by([&] {
            Result result(700);
            GetParam().call(bus_path, 0xA0, 0x1234, info, count, nullptr, result.data());
        });
    }
    diag::test::Message shown_text(const std::string &text) const {
        return {
            2, std::string("ipmii2c_get:") + GetParam().opening + text + GetParam().closing + "\n"};
    }
    const std::string name_ = GetParam().name;
    Bytes stored_;
};

INSTANTIATE_TEST_SUITE_P(Calls, Ipmii2cGet, testing::ValuesIn(kGetters), name_of<Getter>);

// ---- the command ----

TEST_P(Ipmii2cGet, SixteenBitRegisterGoesHighByteFirst) {
    const auto before = open_descriptors();
    prints(" 0a\n");
    EXPECT_EQ(get(&reg16_data8, 1), 0U);
    EXPECT_EQ(stored_, Bytes{0x0A});
    const std::string blank = GetParam().behind_register;
    EXPECT_EQ(tool_.calls(),
              std::vector<std::string>{"raw 0x3a 0x01 0x05 0xa0 0x01 0x12" + blank + "0x34"});
    EXPECT_EQ(text_, "");
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(logged_for(&reg16_data8, 1)[1],
              (diag::test::Message{1, "ipmii2c_get: ipmitool raw 0x3a 0x01 0x05 0xa0 0x01 0x12" +
                                          blank + "0x34" + blank + " 2>/dev/null\n"}));
}

TEST_P(Ipmii2cGet, CommandNamesBusDeviceCountAndRegister) {
    struct Case {
        const char *bus_path;
        unsigned int device;
        int count;
        reg_info info;
        unsigned int reg;
        const char *call;
    };
    const Case cases[] = {
        {"ipmi-0", 0, 0, reg8_data8, 0, "raw 0x3a 0x01 0x00 0x00 0x00 0x00"},
        {"bmc-12", 0x1A0, 16, reg8_data8, 0x7F, "raw 0x3a 0x01 0x0c 0xa0 0x10 0x7f"},
        {"ipmi-300", 0xFFFFFFFF, 256, reg8_data8, 5, "raw 0x3a 0x01 0x12c 0xff 0x100 0x05"},
        {"ipmi-5-6", 1, 2, {0, 2, 1}, 0x12, "raw 0x3a 0x01 0x05 0x01 0x02 0x12"},
        {"ipmi-5x", 1, 2, reg8_data16, 0xABCDEFFF, "raw 0x3a 0x01 0x05 0x01 0x02 0xff"},
        {"ipmi-5", 1, -1, reg8_data8, 0x1, "raw 0x3a 0x01 0x05 0x01 0xffffffff 0x01"}};
    prints(" 00 00\n");
    for (const Case &test : cases) {
        Result result(600);
        EXPECT_EQ(GetParam().call(test.bus_path, test.device, test.reg, &test.info, test.count,
                                  nullptr, result.data()),
                  0U);
        EXPECT_EQ(last_call(), test.call);
    }
}

TEST_P(Ipmii2cGet, SixteenBitRegisterIsCutToItsWidth) {
    prints(" 00\n");
    for (const reg_info &info : {reg16_data8, reg16_data8_le, reg_info{1, 1, 0}}) {
        Result result(2);
        EXPECT_EQ(GetParam().call("ipmi-5", 1, 0xABCD0506, &info, 1, nullptr, result.data()), 0U);
        EXPECT_EQ(last_call(), std::string("raw 0x3a 0x01 0x05 0x01 0x01 0x05") +
                                   GetParam().behind_register + "0x06");
    }
}

TEST_P(Ipmii2cGet, ErrorsOfTheToolAreHidden) {
    tool_.runs_script("echo wrong >&2\necho ' 0a'\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(get(&reg8_data8, 1), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(stored_, Bytes{0x0A});
}

// ---- refusals ----

TEST_P(Ipmii2cGet, MissingDescriptorIsRefused) {
    EXPECT_EQ(get(nullptr, 1, "no bus"), kRefused);
    EXPECT_EQ(text_, error_text(name_, "Invalid reg_info pointer\n"));
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_P(Ipmii2cGet, UnusableDescriptorsAreRefusedWidthFirst) {
    struct Case {
        reg_info info;
        const char *message;
    };
    constexpr Case kCases[] = {{{7, 3, 0}, "Invalid width size 3\n"},
                               {{0, 0xFFFFFFFF, 0}, "Invalid width size -1\n"},
                               {{2, 2, 0}, "Invalid Addressing mode 2\n"},
                               {{0xFFFFFFFF, 1, 0}, "Invalid Addressing mode -1\n"}};
    const std::string too_long(40, 'x');
    for (const Case &test : kCases) {
        for (const char *bus_path : {"ipmi-3", "no bus", too_long.c_str()}) {
            EXPECT_EQ(get(&test.info, 1, bus_path), kRefused);
            EXPECT_EQ(text_, error_text(name_, test.message));
        }
    }
    EXPECT_TRUE(tool_.calls().empty());
    EXPECT_EQ(stored_, Bytes{});
}

TEST_P(Ipmii2cGet, BusPathThatNamesNoBusIsInvalid) {
    for (const char *bus_path :
         {"", "ipmi5", "ipmi-", "ipmi--5", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(get(&reg8_data8, 1, bus_path), DIAG_E_INVAL);
        EXPECT_EQ(text_, error_text(name_, "Invalid ipmi i2c bus Format \n"));
    }
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_P(Ipmii2cGet, RegisterIsSwappedOnlyOnceTheBusIsKnown) {
    EXPECT_EQ(logged_for(&reg16_data8, 1, "no bus"),
              error_in(name_, "Invalid ipmi i2c bus Format \n"));
    prints(" 0a\n");
    EXPECT_EQ(logged_for(&reg16_data8, 1)[0],
              (diag::test::Message{1, "Byte Swapping 0x1234 to 0x3412\n"}));
}

TEST_P(Ipmii2cGet, BusPathOf29CharactersFits) {
    prints(" 0a\n");
    const std::string bus_path = std::string(27, 'x') + "-7";
    EXPECT_EQ(get(&reg8_data8, 1, bus_path.c_str()), 0U);
    EXPECT_TRUE(last_call().starts_with("raw 0x3a 0x01 0x07 ")) << last_call();
}

using Ipmii2cGetDeathTest = Ipmii2cGet;

INSTANTIATE_TEST_SUITE_P(Calls, Ipmii2cGetDeathTest, testing::ValuesIn(kGetters), name_of<Getter>);

TEST_P(Ipmii2cGetDeathTest, LongerBusPathEndsTheProcess) {
    for (const size_t length : {30U, 3000U}) {
        const std::string bus_path = std::string(length - 2, 'x') + "-7";
        uint8_t byte = 0;
        EXPECT_EXIT(GetParam().call(bus_path.c_str(), 1, 1, &reg8_data8, 1, nullptr, &byte),
                    testing::KilledBySignal(SIGABRT), name_ + ": text does not fit its buffer");
    }
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_P(Ipmii2cGet, OnlyTheFirstFormLooksAtTheResultBuffer) {
    prints(" 0a\n");
    const reg_info unusable{7, 7, 0};
    uint32_t status = 99;
    const bool checks = name_ == "ipmii2c_get";
    const std::string text =
        printed([&] { status = GetParam().call("no bus", 1, 1, &unusable, 0, nullptr, nullptr); });
    EXPECT_EQ(status, kRefused);
    EXPECT_EQ(text, error_text(name_, checks ? "r_data is NULL\n" : "Invalid width size 7\n"));
    printed([&] { status = GetParam().call("ipmi-1", 1, 1, &reg8_data8, 0, nullptr, nullptr); });
    EXPECT_EQ(status, checks ? kRefused : 0U);
    printed([&] { status = GetParam().call("ipmi-1", 1, 1, nullptr, 0, nullptr, nullptr); });
    EXPECT_EQ(status, kRefused);
}

// ---- the answer ----

TEST_P(Ipmii2cGet, BytesAreStoredAcrossLines) {
    for (const size_t size : {1U, 2U, 15U, 16U, 17U, 32U, 33U, 48U, 49U, 160U, 163U}) {
        prints(raw_answer(counting_bytes(size)));
        EXPECT_EQ(get(&reg8_data8, static_cast<int>(size)), 0U);
        EXPECT_EQ(stored_, counting_bytes(size)) << size;
    }
}

TEST_P(Ipmii2cGet, BlockWidthMeansBytes) {
    prints(raw_answer(counting_bytes(3)));
    const reg_info info{0, 2, 0};
    EXPECT_EQ(get(&info, 3), 0U);
    EXPECT_EQ(stored_, counting_bytes(3));
}

TEST_P(Ipmii2cGet, AsManyItemsAsAskedForAreStored) {
    prints(" 0a 1b 2c\n");
    EXPECT_EQ(get(&reg8_data8, 2), 0U);
    EXPECT_EQ(stored_, (Bytes{0x0A, 0x1B}));
    EXPECT_EQ(get(&reg8_data8, 5), 0U);
    EXPECT_EQ(stored_, (Bytes{0x0A, 0x1B, 0x2C, 0, 0})) << "what is not there reads as 0";
}

TEST_P(Ipmii2cGet, TextBeyond500CharactersIsNotRead) {
    prints(raw_answer(counting_bytes(255)));
    EXPECT_EQ(get(&reg8_data8, 255), 0U);
    Bytes expected = counting_bytes(163);
    expected.resize(255, 0);
    EXPECT_EQ(stored_, expected);
    EXPECT_EQ(get(&reg8_data8, 600), 0U);
    expected.resize(600, 0);
    EXPECT_EQ(stored_, expected);
}

TEST_P(Ipmii2cGet, OfASixteenBitItemTheByteThatIsPrintedSecondIsStored) {
    prints(" 0a 1b 2c 3d 4e 5f\n");
    EXPECT_EQ(get(&reg8_data16, 3), 0U);
    EXPECT_EQ(stored_, (Bytes{0x1B, 0xEE, 0x3D, 0xEE, 0x5F}));
    prints(raw_answer(counting_bytes(16)));
    EXPECT_EQ(get(&reg8_data16, 8), 0U);
    EXPECT_EQ(stored_,
              (Bytes{2, 0xEE, 4, 0xEE, 6, 0xEE, 8, 0xEE, 10, 0xEE, 12, 0xEE, 14, 0xEE, 16}));
}

// Three characters from pair to pair, four where the number of the item is a multiple of 16.
TEST_P(Ipmii2cGet, PlacesOfItemsFollowTheirNumber) {
    std::string text = " ";
    for (int i = 1; i < 500; i++) {
        text += "0123456789abcdef"[(i * 7 + i / 16) % 16];
    }
    prints(text);
    const auto pair_at = [&](size_t position) {
        return static_cast<uint8_t>(std::stoi(text.substr(position, 2), nullptr, 16));
    };
    Bytes bytes;
    Bytes wide;
    size_t byte_at = 1;
    size_t item_at = 1;
    for (size_t item = 1; item <= 40; item++) {
        const size_t step = item % 16 == 0 ? 4 : 3;
        bytes.push_back(pair_at(byte_at));
        byte_at += step;
        wide.push_back(pair_at(item_at + step));
        wide.push_back(Result::kUntouched);
        item_at += step + 3;
    }
    wide.pop_back();
    EXPECT_EQ(get(&reg8_data8, 40), 0U);
    EXPECT_EQ(stored_, bytes);
    EXPECT_EQ(get(&reg8_data16, 40), 0U);
    EXPECT_EQ(stored_, wide);
}

TEST_P(Ipmii2cGet, WhatIsNoDigitEndsANumber) {
    prints(" a 1b zz 3z\r\n");
    EXPECT_EQ(get(&reg8_data8, 2), 0U);
    EXPECT_EQ(stored_, (Bytes{0x0A, 0x0B}));
    prints(" zz 1b 3z\r\n");
    EXPECT_EQ(get(&reg8_data8, 4), 0U);
    EXPECT_EQ(stored_, (Bytes{0x00, 0x1B, 0x03, 0x00}));
}

TEST_P(Ipmii2cGet, CountsBelow1StoreNothing) {
    prints(" 0a 1b\n");
    for (const int count : {0, -1, -2147483647 - 1}) {
        EXPECT_EQ(get(&reg8_data8, count), 0U);
        EXPECT_EQ(get(&reg8_data16, count), 0U);
        EXPECT_EQ(stored_, Bytes{});
        EXPECT_EQ(text_, "");
    }
}

TEST_P(Ipmii2cGet, NothingPrintedIsAFailureUnlessNothingWasAskedFor) {
    prints("");
    for (const int count : {1, 255, -1}) {
        EXPECT_EQ(get(&reg8_data8, count), kRefused);
        EXPECT_EQ(stored_, Bytes{});
        EXPECT_EQ(text_, "");
    }
    EXPECT_EQ(logged_for(&reg8_data8, 2)[1],
              (diag::test::Message{2, "fgets read ERR from the fifo\n"}));
    EXPECT_EQ(logged_for(&reg8_data8, 2)[2],
              (diag::test::Message{2, "FAILED <<<---\nError Reading 1 bytes from IPMII2C\n"}));
    EXPECT_EQ(get(&reg8_data8, 0), 0U);
    const Messages messages = logged_for(&reg8_data8, 0);
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[1], (diag::test::Message{2, "fgets read ERR from the fifo\n"}));
    EXPECT_EQ(messages[2], (diag::test::Message{2, "1 bytes read from the fifo\n"}));
}

TEST_P(Ipmii2cGet, AnythingElseThanABlankInFrontIsAFailure) {
    struct Case {
        std::string_view text;
        const char *shown;
    };
    constexpr Case kCases[] = {{"0a 1b\n", "0x30"},
                               {"\n", "0xa"},
                               {"Unable to send\n", "0x55"},
                               {"\t0a\n", "0x9"},
                               {{"\0 0a\n", 5}, "0x0"}};
    for (const Case &test : kCases) {
        prints(test.text);
        for (const int count : {1, 0}) {
            EXPECT_EQ(get(&reg8_data8, count), kRefused) << test.text;
            EXPECT_EQ(stored_, Bytes{});
            EXPECT_EQ(text_, "");
        }
        EXPECT_EQ(
            logged_for(&reg8_data8, 1).back(),
            (diag::test::Message{2, std::string("ipmi read data err, ") + test.shown + "!\n"}));
    }
}

TEST_P(Ipmii2cGet, CommandTextAndCountAreShownInThisOrder) {
    prints(" 0a\n 1b\n");
    Result result(2);
    const auto read = [&] {
        GetParam().call("i2c-5", 0xA0, 0x12, &reg8_data8, 1, nullptr, result.data());
    };
    const std::string blank = GetParam().behind_register;
    EXPECT_EQ(logged_by(read),
              (Messages{{1, "ipmii2c_get: ipmitool raw 0x3a 0x01 0x05 0xa0 0x01 0x12" + blank +
                                " 2>/dev/null\n"},
                        shown_text(" 0a\n 1b\n"),
                        {2, "2 bytes read from the fifo\n"}}));
}

TEST_P(Ipmii2cGet, EightBitRegisterIsCutToItsWidth) {
    prints(" 0a\n");
    EXPECT_EQ(get(&reg8_data8, 1), 0U);
    EXPECT_EQ(last_call(), "raw 0x3a 0x01 0x05 0xa0 0x01 0x34");
}

// ---- how the tool ends ----

TEST_P(Ipmii2cGet, HowTheToolEndsDoesNotCount) {
    prints(" 0a\n", 1);
    EXPECT_EQ(get(&reg8_data8, 1), 0U);
    EXPECT_EQ(stored_, Bytes{0x0A});
    tool_.is_missing();
    EXPECT_EQ(get(&reg8_data8, 1), kRefused);
    EXPECT_EQ(get(&reg8_data8, 0), 0U);
    EXPECT_EQ(text_, "");
}

TEST_P(Ipmii2cGet, ReadsInAProcessThatIgnoresItsChildren) {
    const diag::test::SignalAction ignored(SIGCHLD, SIG_IGN);
    prints(" 0a\n");
    EXPECT_EQ(get(&reg8_data8, 1), 0U);
    EXPECT_EQ(stored_, Bytes{0x0A});
    EXPECT_EQ(text_, "");
}

TEST_P(Ipmii2cGet, CommandThatCannotBeStartedIsReported) {
    uint8_t byte = 0xEE;
    uint32_t status = 0;
    EXPECT_EQ(printed([&] {
                  const diag::test::NoMoreDescriptors limit;
                  status = GetParam().call("ipmi-1", 1, 2, &reg8_data8, 1, nullptr, &byte);
              }),
              error_text(name_, "sys cmd exec failed!\n"));
    EXPECT_EQ(status, kRefused);
    EXPECT_EQ(byte, 0xEE);
}

TEST_P(Ipmii2cGet, RunsInADryRunAsWell) {
    set_debug_enable(1);
    prints(" 0a\n");
    EXPECT_EQ(get(&reg8_data8, 1), 0U);
    EXPECT_EQ(stored_, Bytes{0x0A});
    EXPECT_EQ(text_, "");
}

}  // namespace
