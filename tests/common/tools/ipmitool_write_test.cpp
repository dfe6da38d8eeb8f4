// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
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
using diag::test::Messages;
using diag::test::open_descriptors;
using diag::test::printed;

namespace {

using Bytes = std::vector<uint8_t>;
using Calls = std::vector<std::string>;

constexpr uint32_t kRefused = 0xFFFFFFFF;
constexpr char kFunction[] = "ipmitool_set";
constexpr unsigned int kWriteOem = 0x19;

class IpmitoolSet : public diag::test::IpmiTest {
  protected:
    // Writes `count` of the bytes to a register of the device 0x150, cut to 0x50, on bus 3.
    uint32_t set(const reg_info *info, const Bytes &data, int count, unsigned int flags = 0,
                 unsigned int reg = 0x10, const char *bus_path = "ipmi-3") {
        uint32_t status = 99;
        text_ = printed(
            [&] { status = ipmitool_set(bus_path, 0x150, reg, info, data.data(), count, flags); });
        return status;
    }
    uint32_t set_oem(unsigned int command, unsigned int reg, int count) {
        constexpr uint8_t kData[] = {0x12, 0x0, 0x5, 0xFF};
        uint32_t status = 99;
        text_ = printed(
            [&] { status = ipmitool_set(nullptr, command, reg, nullptr, kData, count, 1); });
        return status;
    }
};

TEST_F(IpmitoolSet, RequestFollowsFlagAndWidth) {
    struct Case {
        unsigned int flags;
        reg_info info;
        const char *call;
    };
    const Case cases[] = {{0, reg8_data8, "raw 0x38 0x3 0x3 0x50 0x10 0xab"},
                          {0, {0, 2, 1}, "raw 0x38 0x3 0x3 0x50 0x10 0xab"},
                          {0, reg8_data16, "raw 0x38 0x4 0x3 0x50 0x10 0xab 0x5"},
                          {1, reg8_data8, "raw 0x38 0x7 0x3 0x50 0x10 0xab"},
                          {1, {0, 2, 0}, "raw 0x38 0x7 0x3 0x50 0x10 0xab"},
                          {1, reg8_data16, "raw 0x38 0x8 0x3 0x50 0x10 0xab 0x5"},
                          {2, reg8_data8, "raw 0x38 0x3 0x3 0x50 0x10 0xab"},
                          {0xFFFFFFFE, reg8_data16, "raw 0x38 0x4 0x3 0x50 0x10 0xab 0x5"},
                          {3, reg8_data8, "raw 0x38 0x7 0x3 0x50 0x10 0xab"},
                          {0xFFFFFFFF, reg8_data16, "raw 0x38 0x8 0x3 0x50 0x10 0xab 0x5"}};
    for (const Case &test : cases) {
        EXPECT_EQ(set(&test.info, {0xAB, 0x05}, test.info.data_width == 1 ? 2 : 1, test.flags), 0U);
        EXPECT_EQ(last_call(), test.call) << test.flags;
        EXPECT_EQ(text_, "");
    }
    EXPECT_EQ(tool_.calls().size(), std::size(cases));
}

TEST_F(IpmitoolSet, OneCommandPerItemWithTheNextRegister) {
    EXPECT_EQ(set(&reg8_data8, {1, 0, 0xFF}, 3), 0U);
    EXPECT_EQ(tool_.calls(),
              (Calls{"raw 0x38 0x3 0x3 0x50 0x10 0x1", "raw 0x38 0x3 0x3 0x50 0x11 0x0",
                     "raw 0x38 0x3 0x3 0x50 0x12 0xff"}));
}

TEST_F(IpmitoolSet, RegisterGrowsByOneWithWideItemsToo) {
    EXPECT_EQ(set(&reg8_data16, {1, 2, 3, 4}, 4), 0U);
    EXPECT_EQ(tool_.calls(),
              (Calls{"raw 0x38 0x4 0x3 0x50 0x10 0x1 0x2", "raw 0x38 0x4 0x3 0x50 0x11 0x3 0x4"}));
}

TEST_F(IpmitoolSet, OddCountOfWideItemsSendsOneByteMore) {
    EXPECT_EQ(set(&reg8_data16, {1, 2, 3, 4}, 3), 0U);
    EXPECT_EQ(tool_.calls(),
              (Calls{"raw 0x38 0x4 0x3 0x50 0x10 0x1 0x2", "raw 0x38 0x4 0x3 0x50 0x11 0x3 0x4"}));
    EXPECT_EQ(set(&reg8_data16, {7, 8}, 1), 0U);
    EXPECT_EQ(last_call(), "raw 0x38 0x4 0x3 0x50 0x10 0x7 0x8");
}

TEST_F(IpmitoolSet, RegisterIsCutToEightBitsWithEachCommand) {
    EXPECT_EQ(set(&reg8_data8, {1, 2}, 2, 0, 0x12FF), 0U);
    EXPECT_EQ(tool_.calls(),
              (Calls{"raw 0x38 0x3 0x3 0x50 0xff 0x1", "raw 0x38 0x3 0x3 0x50 0x0 0x2"}));
}

TEST_F(IpmitoolSet, NoMoreThan256BytesAreWritten) {
    tool_.runs_script("");
    EXPECT_EQ(set(&reg8_data16, Bytes(600, 7), 600), 0U);
    const Calls calls = tool_.calls();
    ASSERT_EQ(calls.size(), 128U);
    EXPECT_EQ(calls.back(), "raw 0x38 0x4 0x3 0x50 0x8f 0x7 0x7");
    EXPECT_EQ(set(&reg8_data8, Bytes(257, 7), 257), 0U);
    EXPECT_EQ(tool_.calls().size(), 128U + 256U);
    EXPECT_EQ(last_call(), "raw 0x38 0x3 0x3 0x50 0xf 0x7");
}

TEST_F(IpmitoolSet, CountsBelow1WriteNothing) {
    for (const int count : {0, -1, -2147483647 - 1}) {
        for (const reg_info *info : {&reg8_data8, &reg8_data16}) {
            EXPECT_EQ(set(info, {1}, count), 0U);
            EXPECT_EQ(text_, "");
        }
    }
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(IpmitoolSet, ControllersOwnRegisterTakesFourBytesWhateverTheCount) {
    for (const int count : {4, 0, 1, -1, 1000}) {
        EXPECT_EQ(set_oem(kWriteOem, 0xA1234, count), 0U);
        EXPECT_EQ(last_call(), "raw 0x3c 0x19 0x12 0x34 0x12 0x0 0x5 0xff");
    }
    EXPECT_EQ(set_oem(0x519, 0x5, 4), 0U) << "the command is cut to eight bits";
    EXPECT_EQ(last_call(), "raw 0x3c 0x19 0x0 0x5 0x12 0x0 0x5 0xff");
    EXPECT_EQ(tool_.calls().size(), 6U);
}

// ---- refusals ----

TEST_F(IpmitoolSet, OtherOemCommandsAreRefused) {
    struct Case {
        unsigned int command;
        const char *shown;
    };
    constexpr Case kCases[] = {{0x18, "24"}, {0, "0"}, {0x12FF, "255"}};
    for (const Case &test : kCases) {
        EXPECT_EQ(set_oem(test.command, 1, 4), kRefused);
        EXPECT_EQ(text_,
                  error_text(kFunction, std::string("Unsupport OEM command ") + test.shown + "\n"));
    }
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(IpmitoolSet, RefusalsComeInOrderAndBeforeTheCountIsLookedAt) {
    struct Case {
        reg_info info;
        const char *bus_path;
        const char *message;
    };
    constexpr Case kCases[] = {{{9, 3, 0}, "none", "ERR:Invalid width size 3\n"},
                               {{0, 0xFFFFFFFF, 0}, "ipmi-3", "ERR:Invalid width size -1\n"},
                               {{1, 1, 0}, "none", "Unsupport Addressing mode 1\n"},
                               {{2, 2, 0}, "ipmi-3", "Unsupport Addressing mode 2\n"},
                               {{0xFFFFFFFF, 0, 0}, "ipmi-3", "Unsupport Addressing mode -1\n"},
                               {{0, 0, 0}, "none", "Invalid bus path none"},
                               {{0, 1, 0}, "", "Invalid bus path "},
                               {{0, 1, 0}, "ipmi-", "Invalid bus path ipmi-"}};
    for (const Case &test : kCases) {
        for (const int count : {1, 0}) {
            EXPECT_EQ(set(&test.info, {1, 2}, count, 0, 0x10, test.bus_path), kRefused);
            EXPECT_EQ(text_, error_text(kFunction, test.message));
        }
    }
    EXPECT_EQ(set(nullptr, {1}, 1), kRefused);
    EXPECT_EQ(text_, error_text(kFunction, "Invalid reg_info pointer\n"));
    EXPECT_TRUE(tool_.calls().empty());
}

// ---- running ----

TEST_F(IpmitoolSet, FirstCommandThatFailsIsTheLastOneSent) {
    const auto before = open_descriptors();
    tool_.runs_script("case \"$*\" in *0x11*) exit 1;; esac\n");
    EXPECT_EQ(set(&reg8_data8, {1, 2, 3}, 3), kRefused);
    EXPECT_EQ(tool_.calls().size(), 2U);
    EXPECT_EQ(text_, error_text(kFunction,
                                "shell command(ipmitool raw 0x38 0x3 0x3 0x50 0x11 0x2 > "
                                "/dev/null) failed\n"));
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(IpmitoolSet, ToolThatIsKilledOrMissingFails) {
    const std::string failed = error_text(
        kFunction,
        "shell command(ipmitool raw 0x3c 0x19 0x0 0x1 0x12 0x0 0x5 0xff > /dev/null) failed\n");
    tool_.runs_script("kill -KILL $$\n");
    EXPECT_EQ(set_oem(kWriteOem, 1, 4), kRefused);
    EXPECT_EQ(text_, failed);
    tool_.is_missing();
    EXPECT_EQ(set_oem(kWriteOem, 1, 4), kRefused);
    EXPECT_EQ(text_, failed);
}

TEST_F(IpmitoolSet, WhatTheToolPrintsIsHiddenAndItsErrorsAreSeen) {
    tool_.runs_script("echo out\necho wrong >&2\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(set(&reg8_data8, {1}, 1), 0U);
    EXPECT_EQ(set_oem(kWriteOem, 1, 4), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "wrong\nwrong\n");
    EXPECT_EQ(text_, "");
}

TEST_F(IpmitoolSet, EachCommandIsShownAtLevel3) {
    constexpr uint8_t kData[] = {0x1, 0x2, 0x3, 0x4};
    EXPECT_EQ(
        logged_by([&] { ipmitool_set("ipmi-3", 0x50, 0x10, &reg8_data16, kData, 4, 1); }),
        (Messages{{3, "ipmitool_set: ipmitool raw 0x38 0x8 0x3 0x50 0x10 0x1 0x2 > /dev/null\n"},
                  {3, "ipmitool_set: ipmitool raw 0x38 0x8 0x3 0x50 0x11 0x3 0x4 > /dev/null\n"}}));
    tool_.answers("", 1);
    const std::string command = "ipmitool raw 0x3c 0x19 0x0 0x1 0x1 0x2 0x3 0x4 > /dev/null";
    Messages expected{{3, "ipmitool_set: " + command + "\n"}};
    for (const auto &message : error_in(kFunction, "shell command(" + command + ") failed\n")) {
        expected.push_back(message);
    }
    EXPECT_EQ(logged_by([&] { ipmitool_set(nullptr, kWriteOem, 1, nullptr, kData, 4, 0); }),
              expected);
}

TEST_F(IpmitoolSet, RunsInADryRunAsWell) {
    set_debug_enable(1);
    EXPECT_EQ(set(&reg8_data8, {1}, 1), 0U);
    EXPECT_EQ(set_oem(kWriteOem, 1, 4), 0U);
    EXPECT_EQ(tool_.calls().size(), 2U);
    EXPECT_EQ(text_, "");
}

}  // namespace
