// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "diag_util.h"
#include "tool_calls.h"

#include "tests/common/library_test.h"
#include "tests/common/process_state.h"
#include "tests/common/tools/ipmi_test.h"

using diag::test::error_in;
using diag::test::error_text;
using diag::test::logged_by;
using diag::test::Message;
using diag::test::Messages;
using diag::test::name_of;
using diag::test::open_descriptors;
using diag::test::printed;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kRefused = 0xFFFFFFFF;

struct Setter {
    const char *name;
    decltype(&ipmii2c_set) call;
    const char *behind_register;
    const char *redirection;
};

std::ostream &operator<<(std::ostream &stream, const Setter &setter) {
    return stream << setter.name;
}

constexpr Setter kSetters[] = {{"ipmii2c_set", ipmii2c_set, " ", " 1>/dev/null"},
                               {"ipmii2c2_set", ipmii2c2_set, "", " 2>/dev/null"}};

class Ipmii2cSet : public diag::test::IpmiTest, public testing::WithParamInterface<Setter> {
  protected:
    // Writes `count` items to a register of the device 0x1A0, cut to 0xA0, on bus 5.
    uint32_t set(const reg_info *info, const Bytes &data, int count, unsigned int pec = 0,
                 unsigned int reg = 0x1234, const char *bus_path = "i2c-5") {
        uint32_t status = 99;
        text_ = printed(
            [&] { status = GetParam().call(bus_path, 0x1A0, reg, info, data.data(), count, pec); });
        return status;
    }
    Messages logged_for(const reg_info *info, const Bytes &data, int count, unsigned int pec = 0,
                        const char *bus_path = "i2c-5") {
        return logged_by(
            [&] { GetParam().call(bus_path, 0xA0, 0x1234, info, data.data(), count, pec); });
    }
    // The message of a command: its words from the register's on.
    Message shown(const std::string &words) const {
        return {1, "ipmii2c_set: ipmitool raw 0x3a 0x01 0x05 0xa0 0x00 " + words +
                       GetParam().redirection + "\n"};
    }
    const std::string name_ = GetParam().name;
    const std::string blank_ = GetParam().behind_register;
    const std::string head_ = "raw 0x3a 0x01 0x05 0xa0 0x00 ";
    const std::string failed_ = error_text(name_, "FAILED <<<---\nError writing to I2C device\n");
};

INSTANTIATE_TEST_SUITE_P(Calls, Ipmii2cSet, testing::ValuesIn(kSetters), name_of<Setter>);

// ---- the command ----

TEST_P(Ipmii2cSet, WritesRegisterAndBytes) {
    const auto before = open_descriptors();
    EXPECT_EQ(set(&reg8_data8, {0x01, 0x00, 0xAB}, 3), 0U);
    EXPECT_EQ(tool_.calls(), std::vector<std::string>{head_ + "0x34 0x01 0x00 0xab"});
    EXPECT_EQ(text_, "");
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(logged_for(&reg8_data8, {0x01, 0xAB}, 2),
              Messages{shown("0x34" + blank_ + " 0x01 0xab")});
}

TEST_P(Ipmii2cSet, SixteenBitRegisterGoesHighByteFirst) {
    for (const reg_info &info : {reg16_data8, reg16_data8_le}) {
        EXPECT_EQ(set(&info, {0xAB}, 1, 0, 0xFFFF1234), 0U);
        EXPECT_EQ(last_call(), head_ + "0x12 0x34 0xab");
    }
    EXPECT_EQ(logged_for(&reg16_data8, {0xAB}, 1),
              (Messages{{1, "Byte Swapping 0x1234 to 0x3412\n"},
                        shown("0x12" + blank_ + " 0x34" + blank_ + " 0xab")}));
}

TEST_P(Ipmii2cSet, WideItemsGoHighByteFirst) {
    EXPECT_EQ(set(&reg8_data16, {0x01, 0x02, 0x03, 0xF4}, 2), 0U);
    EXPECT_EQ(last_call(), head_ + "0x34 0x02 0x01 0xf4 0x03");
    const reg_info both{1, 1, 0};
    EXPECT_EQ(set(&both, {0x01, 0x02}, 1), 0U);
    EXPECT_EQ(last_call(), head_ + "0x12 0x34 0x02 0x01");
    EXPECT_EQ(logged_for(&reg8_data16, {0x01, 0x02}, 1),
              Messages{shown("0x34" + blank_ + " 0x02 0x01")});
}

TEST_P(Ipmii2cSet, BlockWidthMeansBytes) {
    const reg_info info{0, 2, 1};
    EXPECT_EQ(set(&info, {1, 2}, 2), 0U);
    EXPECT_EQ(last_call(), head_ + "0x34 0x01 0x02");
}

TEST_P(Ipmii2cSet, BusAndDeviceStandInTheCommand) {
    struct Case {
        const char *bus_path;
        const char *call;
    };
    constexpr Case kCases[] = {{"ipmi-0", "raw 0x3a 0x01 0x00 0xa0 0x00 0x05 0x07"},
                               {"ipmi-300", "raw 0x3a 0x01 0x12c 0xa0 0x00 0x05 0x07"},
                               {"ipmi-6-7", "raw 0x3a 0x01 0x06 0xa0 0x00 0x05 0x07"}};
    for (const Case &test : kCases) {
        EXPECT_EQ(set(&reg8_data8, {7}, 1, 0, 5, test.bus_path), 0U);
        EXPECT_EQ(last_call(), test.call);
    }
}

TEST_P(Ipmii2cSet, CountsBelow1WriteTheRegisterAlone) {
    for (const int count : {0, -1, -2147483647 - 1}) {
        EXPECT_EQ(set(&reg8_data8, {}, count), 0U);
        EXPECT_EQ(last_call(), head_ + "0x34");
        EXPECT_EQ(set(&reg8_data16, {}, count), 0U);
        EXPECT_EQ(last_call(), head_ + "0x34");
    }
}

// ---- the packet error code ----

TEST_P(Ipmii2cSet, PecIsTakenOverDeviceAndDataWithoutTheRegister) {
    // The code of 0xA0, 0x00, 0x12 is 0x36.
    for (const unsigned int pec : {1U, 2U, 0xFFFFFFFFU}) {
        EXPECT_EQ(set(&reg8_data8, {0x00, 0x12}, 2, pec), 0U);
        EXPECT_EQ(last_call(), head_ + "0x34 0x00 0x12 0x36");
        EXPECT_EQ(set(&reg16_data8, {0x00, 0x12}, 2, pec), 0U);
        EXPECT_EQ(last_call(), head_ + "0x12 0x34 0x00 0x12 0x36");
    }
}

TEST_P(Ipmii2cSet, PecOfWideItemsFollowsTheirOrderInMemory) {
    EXPECT_EQ(set(&reg8_data16, {0x00, 0x12}, 1, 1), 0U);
    EXPECT_EQ(last_call(), head_ + "0x34 0x12 0x00 0x36");
}

TEST_P(Ipmii2cSet, PecFrom0x80OnIsPrintedAsANegativeNumber) {
    bool has_small = false;
    bool has_large = false;
    for (const uint8_t byte : Bytes{0x00, 0x01, 0x34, 0x7F, 0x80, 0xC5, 0xFF}) {
        uint8_t buffer[2] = {byte};
        add_pec(0xA0, buffer, 1);
        const bool is_large = buffer[1] >= 0x80;
        (is_large ? has_large : has_small) = true;
        char words[32];
        std::snprintf(words, sizeof words, "0x34 0x%02x 0x%s%02x", byte, is_large ? "ffffff" : "",
                      buffer[1]);
        EXPECT_EQ(set(&reg8_data8, {byte}, 1, 1), 0U);
        EXPECT_EQ(last_call(), head_ + words);
    }
    EXPECT_TRUE(has_small && has_large);
}

TEST_P(Ipmii2cSet, PecWithoutDataIsThatOfTheDevice) {
    uint8_t buffer[1];
    add_pec(0xA0, buffer, 0);
    char expected[16];
    std::snprintf(expected, sizeof expected, "0x%02x", static_cast<signed char>(buffer[0]));
    for (const int count : {0, -3}) {
        EXPECT_EQ(set(&reg8_data8, {}, count, 1), 0U);
        EXPECT_EQ(last_call(), head_ + "0x34 " + expected);
    }
}

TEST_P(Ipmii2cSet, LongCommandIsCutAtTheEndOfItsBuffer) {
    std::string command = "ipmitool " + head_ + "0x34" + blank_;
    for (int i = 0; i < 600; i++) {
        command += " 0x07";
    }
    std::istringstream words(command.substr(0, 2047));
    std::string expected;
    for (std::string word; words >> word;) {
        expected += (expected.empty() ? "" : " ") + word;
    }
    EXPECT_EQ(set(&reg8_data8, Bytes(600, 7), 600, 1), 0U);
    EXPECT_EQ("ipmitool " + last_call(), expected);
}

// ---- refusals ----

TEST_P(Ipmii2cSet, RefusalsComeInOrder) {
    struct Case {
        reg_info info;
        uint32_t status;
        const char *bus_path;
        const char *message;
    };
    constexpr Case kCases[] = {
        {{7, 3, 0}, kRefused, "none", "Invalid width size 3\n"},
        {{0, 0xFFFFFFFF, 0}, kRefused, "ipmi-3", "Invalid width size -1\n"},
        {{2, 2, 0}, kRefused, "none", "Invalid Addressing mode 2\n"},
        {{0xFFFFFFFF, 1, 0}, kRefused, "ipmi-3", "Invalid Addressing mode -1\n"},
        {{0, 0, 0}, DIAG_E_INVAL, "none", "Invalid ipmi i2c bus Format \n"},
        {{0, 1, 0}, DIAG_E_INVAL, "", "Invalid ipmi i2c bus Format \n"},
        {{0, 1, 0}, DIAG_E_INVAL, "ipmi-", "Invalid ipmi i2c bus Format \n"},
        {{0, 1, 0}, DIAG_E_INVAL, "ipmi--3", "Invalid ipmi i2c bus Format \n"},
        {{0, 2, 0}, DIAG_E_INVAL, nullptr, "Invalid ipmi i2c bus Format \n"}};
    for (const Case &test : kCases) {
        EXPECT_EQ(set(&test.info, {1, 2}, 1, 1, 0x10, test.bus_path), test.status);
        EXPECT_EQ(text_, error_text(name_, test.message));
    }
    EXPECT_EQ(set(nullptr, {1}, 1, 0, 0x10, "none"), kRefused);
    EXPECT_EQ(text_, error_text(name_, "Invalid reg_info pointer\n"));
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_P(Ipmii2cSet, RegisterIsSwappedOnlyOnceTheBusIsKnown) {
    EXPECT_EQ(logged_for(&reg16_data8, {1}, 1, 0, "no bus"),
              error_in(name_, "Invalid ipmi i2c bus Format \n"));
}

TEST_P(Ipmii2cSet, BusPathOf29CharactersFits) {
    EXPECT_EQ(set(&reg8_data8, {1}, 1, 0, 5, (std::string(27, 'x') + "-7").c_str()), 0U);
    EXPECT_EQ(last_call(), "raw 0x3a 0x01 0x07 0xa0 0x00 0x05 0x01");
}

using Ipmii2cSetDeathTest = Ipmii2cSet;

INSTANTIATE_TEST_SUITE_P(Calls, Ipmii2cSetDeathTest, testing::ValuesIn(kSetters), name_of<Setter>);

TEST_P(Ipmii2cSetDeathTest, LongerBusPathEndsTheProcess) {
    const std::string bus_path = std::string(28, 'x') + "-7";
    const uint8_t byte = 0;
    EXPECT_EXIT(GetParam().call(bus_path.c_str(), 1, 1, &reg8_data8, &byte, 1, 0),
                testing::KilledBySignal(SIGABRT), name_ + ": text does not fit its buffer");
    EXPECT_TRUE(tool_.calls().empty());
}

// ---- running ----

TEST_P(Ipmii2cSet, ToolThatFailsIsReported) {
    const auto before = open_descriptors();
    for (const char *script : {"exit 1\n", "kill -KILL $$\n"}) {
        tool_.runs_script(script);
        EXPECT_EQ(set(&reg8_data8, {1}, 1), kRefused);
        EXPECT_EQ(text_, failed_);
    }
    tool_.is_missing();
    EXPECT_EQ(set(&reg8_data8, {1}, 1), kRefused);
    EXPECT_EQ(text_, failed_);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(Ipmii2cSet, FailureFollowsTheCommand) {
    tool_.answers("", 1);
    Messages expected{shown("0x34" + blank_ + " 0x01")};
    for (const Message &message : error_in(name_, "FAILED <<<---\nError writing to I2C device\n")) {
        expected.push_back(message);
    }
    EXPECT_EQ(logged_for(&reg8_data8, {1}, 1), expected);
}

TEST_P(Ipmii2cSet, OneOutputOfTheToolIsHidden) {
    tool_.runs_script("echo out\necho wrong >&2\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(set(&reg8_data8, {1}, 1), 0U);
    const bool hides_errors = name_ == "ipmii2c2_set";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), hides_errors ? "" : "wrong\n");
    EXPECT_EQ(text_, hides_errors ? "out\n" : "");
}

TEST_P(Ipmii2cSet, RunsInADryRunAsWell) {
    set_debug_enable(1);
    EXPECT_EQ(set(&reg8_data8, {1}, 1), 0U);
    EXPECT_EQ(tool_.calls().size(), 1U);
    EXPECT_EQ(text_, "");
}

}  // namespace
