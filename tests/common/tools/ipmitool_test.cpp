// SPDX-License-Identifier: MIT
#include "diags/common/src/tools/ipmitool.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "diag_util.h"
#include "tool_calls.h"

#include "tests/common/library_test.h"
#include "tests/common/process_state.h"
#include "tests/common/tools/ipmi_test.h"
#include "tests/support/failing_allocations.h"

using diag::test::counting_bytes;
using diag::test::error_in;
using diag::test::error_text;
using diag::test::logged_by;
using diag::test::Messages;
using diag::test::open_descriptors;
using diag::test::printed;
using diag::test::raw_answer;
using diag::test::Result;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kRefused = 0xFFFFFFFF;
constexpr char kFunction[] = "ipmitool_get";
constexpr unsigned int kReadOem = 0x18;

class IpmitoolGet : public diag::test::IpmiTest {
  protected:
    // Reads `count` bytes of register 0x10 of the device 0x50; what is stored goes to `stored_`.
    uint32_t get(const char *bus_path = "ipmi-3", int count = 2, const reg_info *info = &reg8_data8,
                 unsigned int device = 0x50, unsigned int reg = 0x10) {
        Result result(2000);
        uint32_t status = 99;
        text_ = printed([&] {
            status = ipmitool_get(bus_path, device, reg, info, count, nullptr, result.data());
        });
        stored_ = result.stored();
        return status;
    }
    uint32_t get_oem(unsigned int command, unsigned int reg, const reg_info *info = nullptr) {
        return get(nullptr, 4, info, command, reg);
    }

    Bytes stored_;
};

TEST_F(IpmitoolGet, StoresTheBytesThatTheToolPrints) {
    const auto before = open_descriptors();
    prints(" 0a 1b\n");
    EXPECT_EQ(get(), 0U);
    EXPECT_EQ(stored_, (Bytes{0x0A, 0x1B}));
    EXPECT_EQ(tool_.calls(), std::vector<std::string>{"raw 0x38 0x2 0x3 0x50 0x10 0x2"});
    EXPECT_EQ(text_, "");
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(IpmitoolGet, CommandNamesBusDeviceRegisterAndCount) {
    struct Case {
        const char *bus_path;
        unsigned int device;
        unsigned int reg;
        int count;
        const char *call;
    };
    constexpr Case kCases[] = {
        {"bmc-12", 0xA0, 0xFF, 16, "raw 0x38 0x2 0xc 0xa0 0xff 0x10"},
        {"ipmi-0", 0, 0, 0, "raw 0x38 0x2 0x0 0x0 0x0 0x0"},
        {"ipmi-3", 0x1A0, 0x1234, 255, "raw 0x38 0x2 0x3 0xa0 0x34 0xff"},
        {"ipmi-3", 0xFFFFFFFF, 0xFFFFFFFF, 256, "raw 0x38 0x2 0x3 0xff 0xff 0x100"},
        {"ipmi-3", 1, 2, -1, "raw 0x38 0x2 0x3 0x1 0x2 0xffffffff"},
        {"ipmi-300", 1, 2, 3, "raw 0x38 0x2 0x12c 0x1 0x2 0x3"},
        {"some/long text-7", 1, 2, 3, "raw 0x38 0x2 0x7 0x1 0x2 0x3"},
        {"ipmi-5-6", 1, 2, 3, "raw 0x38 0x2 0x5 0x1 0x2 0x3"},
        {"ipmi-08", 1, 2, 3, "raw 0x38 0x2 0x8 0x1 0x2 0x3"},
        {"ipmi-5th", 1, 2, 3, "raw 0x38 0x2 0x5 0x1 0x2 0x3"},
    };
    prints(" 00\n");
    for (const Case &test : kCases) {
        EXPECT_EQ(get(test.bus_path, test.count, &reg8_data8, test.device, test.reg), 0U);
        EXPECT_EQ(last_call(), test.call);
    }
}

TEST_F(IpmitoolGet, BusPathMayBeOfAnyLength) {
    prints(" 00\n");
    EXPECT_EQ(get((std::string(5000, 'x') + "-4").c_str()), 0U);
    EXPECT_EQ(last_call(), "raw 0x38 0x2 0x4 0x50 0x10 0x2");
}

TEST_F(IpmitoolGet, WidthAndByteOrderDoNotMatter) {
    prints(" 00\n");
    for (const reg_info &info : {reg_info{0, 1, 0}, reg_info{0, 2, 1}, reg_info{0, 99, 0}}) {
        EXPECT_EQ(get("ipmi-3", 2, &info), 0U);
        EXPECT_EQ(last_call(), "raw 0x38 0x2 0x3 0x50 0x10 0x2");
    }
}

TEST_F(IpmitoolGet, ControllersOwnRegisterHasSixteenBits) {
    prints(" 01 02 03 04\n");
    struct Case {
        unsigned int command;
        unsigned int reg;
        const char *call;
    };
    constexpr Case kCases[] = {{kReadOem, 0x1234, "raw 0x3c 0x18 0x12 0x34"},
                               {kReadOem, 0x5, "raw 0x3c 0x18 0x0 0x5"},
                               {kReadOem, 0xABCDEF01, "raw 0x3c 0x18 0xef 0x1"},
                               {0x718, 0xFFFF, "raw 0x3c 0x18 0xff 0xff"}};
    for (const Case &test : kCases) {
        EXPECT_EQ(get_oem(test.command, test.reg), 0U);
        EXPECT_EQ(last_call(), test.call);
        EXPECT_EQ(stored_, counting_bytes(4));
    }
    EXPECT_EQ(get_oem(kReadOem, 1, &reg16_data8), 0U) << "the descriptor is not looked at";
}

// ---- refusals ----

TEST_F(IpmitoolGet, OtherOemCommandsAreRefused) {
    struct Case {
        unsigned int command;
        const char *shown;
    };
    constexpr Case kCases[] = {
        {0x17, "17"}, {0x19, "19"}, {0, "0"}, {0x1234, "34"}, {0x18FF, "ff"}};
    for (const Case &test : kCases) {
        EXPECT_EQ(get_oem(test.command, 1), kRefused);
        EXPECT_EQ(text_,
                  error_text(kFunction, std::string("Unsupport OEM command ") + test.shown + "\n"));
    }
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(IpmitoolGet, OtherAddressingModesAreRefusedBeforeTheBusIsLookedAt) {
    for (const int mode : {1, 2, 3, -1}) {
        const reg_info info{static_cast<uint32_t>(mode), 0, 0};
        for (const char *bus_path : {"ipmi-3", "no bus"}) {
            EXPECT_EQ(get(bus_path, 2, &info), kRefused);
            EXPECT_EQ(text_, error_text(kFunction, "Unsupport Addressing mode " +
                                                       std::to_string(mode) + "\n"));
        }
    }
    EXPECT_TRUE(tool_.calls().empty());
    EXPECT_EQ(stored_, Bytes{});
}

TEST_F(IpmitoolGet, MissingDescriptorIsRefused) {
    EXPECT_EQ(get("ipmi-3", 2, nullptr), kRefused);
    EXPECT_EQ(text_, error_text(kFunction, "Invalid reg_info pointer\n"));
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(IpmitoolGet, BusPathThatNamesNoBusIsRefused) {
    for (const std::string bus_path : {"", "ipmi3", "ipmi-", "-", "ipmi--3"}) {
        EXPECT_EQ(get(bus_path.c_str()), kRefused) << bus_path;
        EXPECT_EQ(text_, error_text(kFunction, "Invalid bus path " + bus_path));
    }
    EXPECT_TRUE(tool_.calls().empty());
}

// ---- the text that the tool prints ----

TEST_F(IpmitoolGet, StoresAllBytesThatArePrintedWhateverTheCount) {
    for (const size_t size : {1U, 15U, 16U, 17U, 32U, 33U, 255U, 1024U}) {
        prints(raw_answer(counting_bytes(size)));
        for (const int count : {0, 2, -5}) {
            EXPECT_EQ(get("ipmi-3", count), 0U);
            EXPECT_EQ(stored_, counting_bytes(size)) << size;
        }
    }
}

TEST_F(IpmitoolGet, AnyTwoCharactersBehindBlanksAreAByte) {
    struct Case {
        std::string_view text;
        Bytes bytes;
    };
    const Case cases[] = {
        {" 0a 1b", {0x0A, 0x1B}},                 // no line end
        {"0a 1b\n", {0x0A, 0x1B}},                // no blank in front
        {"   0a     1b   \n", {0x0A, 0x1B}},      // more blanks
        {" 0a1b\n", {0x0A, 0x1B}},                // none between
        {" AB cD\n", {0xAB, 0xCD}},               // upper case
        {"\n\n 0a\n   \n\n 1b\n", {0x0A, 0x1B}},  // lines without bytes
        {" a\n b", {0x0A, 0x0B}},                 // one digit
        {" zz 1b\n", {0x00, 0x1B}},               // no digits
        {" 0x1b\n", {0x00, 0x1B}},                // a prefix is two characters as well
        {" 0a\r\n", {0x0A, 0x00}},                // so are a carriage return and its line feed
        {std::string_view(" 0a\0 1b\n 2c\n", 12), {0x0A, 0x2C}},  // a NUL ends its line
    };
    for (const Case &test : cases) {
        prints(test.text);
        EXPECT_EQ(get(), 0U) << test.text;
        EXPECT_EQ(stored_, test.bytes) << test.text;
    }
}

TEST_F(IpmitoolGet, LineOfAnyLengthIsRead) {
    std::string line;
    for (size_t i = 0; i < 100; i++) {
        line += raw_answer({static_cast<uint8_t>(i + 1)}).substr(0, 3);
    }
    prints(line + "\n");
    EXPECT_EQ(get(), 0U);
    EXPECT_EQ(stored_, counting_bytes(100));
}

TEST_F(IpmitoolGet, LineOfAMegabyteIsRead) {
    tool_.runs_script("yes ' 0a' | tr -d '\\n' | head -c 1000000\n");
    Result result(400000);
    EXPECT_EQ(ipmitool_get("ipmi-3", 0x50, 0x10, &reg8_data8, 1, nullptr, result.data()), 0U);
    EXPECT_EQ(result.stored(), Bytes(333333, 0x0A));
}

TEST_F(IpmitoolGet, MegabyteOfTextIsReadToItsEnd) {
    tool_.runs_script("printf ' 0a'\nyes '' | head -c 1000000\necho done >&2\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(get(), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "done\n") << "the tool was not held up";
    EXPECT_EQ(stored_, Bytes{0x0A});
}

TEST_F(IpmitoolGet, NothingPrintedIsAFailure) {
    for (const std::string_view text : {std::string_view(), std::string_view("\n"),
                                        std::string_view("   \n \n"), std::string_view("\0", 1)}) {
        prints(text);
        EXPECT_EQ(get("ipmi-3", 2, &reg8_data8, 0x50, 0x1205), kRefused);
        EXPECT_EQ(text_, error_text(kFunction, "Error reading at offset 0x05\n"));
        EXPECT_EQ(stored_, Bytes{});
        EXPECT_EQ(get_oem(kReadOem, 0x12AB), kRefused);
        EXPECT_EQ(text_, error_text(kFunction, "Error reading at offset 0xab\n"));
    }
}

// ---- how the tool ends ----

TEST_F(IpmitoolGet, HowTheToolEndsDoesNotCount) {
    prints(" 0a\n", 1);
    EXPECT_EQ(get(), 0U);
    EXPECT_EQ(stored_, Bytes{0x0A});
    tool_.runs_script("echo ' 1b'\nkill -KILL $$\n");
    EXPECT_EQ(get(), 0U);
    EXPECT_EQ(stored_, Bytes{0x1B});
    EXPECT_EQ(text_, "");
}

TEST_F(IpmitoolGet, ToolThatFailsWithoutBytesIsAFailureAndItsOwnErrorIsSeen) {
    tool_.runs_script("echo 'Unable to send' >&2\nexit 1\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(get(), kRefused);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unable to send\n");
    EXPECT_EQ(text_, error_text(kFunction, "Error reading at offset 0x10\n"));
}

TEST_F(IpmitoolGet, MissingToolPrintsNothing) {
    tool_.is_missing();
    EXPECT_EQ(get(), kRefused);
    EXPECT_EQ(text_, error_text(kFunction, "Error reading at offset 0x10\n"));
}

TEST_F(IpmitoolGet, ReadsInAProcessThatIgnoresItsChildren) {
    const diag::test::SignalAction ignored(SIGCHLD, SIG_IGN);
    prints(" 0a 1b\n");
    EXPECT_EQ(get(), 0U);
    EXPECT_EQ(stored_, (Bytes{0x0A, 0x1B}));
    EXPECT_EQ(text_, "");
}

TEST_F(IpmitoolGet, CommandThatCannotBeStartedIsReported) {
    uint8_t byte = 0xEE;
    uint32_t status = 0;
    EXPECT_EQ(
        printed([&] {
            const diag::test::NoMoreDescriptors limit;
            status = ipmitool_get("ipmi-3", 0x50, 0x10, &reg8_data8, 2, nullptr, &byte);
        }),
        error_text(kFunction, "shell command(ipmitool raw 0x38 0x2 0x3 0x50 0x10 0x2) failed\n"));
    EXPECT_EQ(status, kRefused);
    EXPECT_EQ(byte, 0xEE);
}

TEST_F(IpmitoolGet, AnswerThatMemoryCannotHoldIsReported) {
    prints(raw_answer(counting_bytes(2000)));
    const int failures = diag::test::for_each_failing_allocation([](auto &watch) {
        Result result(2100);
        uint32_t status = 99;
        const std::string text = printed([&] {
            watch.start();
            status = ipmitool_get("ipmi-3", 0x50, 0x10, &reg8_data8, 2, nullptr, result.data());
            watch.stop();
        });
        EXPECT_EQ(status, watch.has_failed() ? kRefused : 0U);
        EXPECT_EQ(result.stored(), watch.has_failed() ? Bytes{} : counting_bytes(2000));
        EXPECT_EQ(text, watch.has_failed() ? error_text(kFunction,
                                                        "No memory for the answer of "
                                                        "ipmitool raw 0x38 0x2 0x3 0x50 0x10 0x2\n")
                                           : "");
    });
    EXPECT_GE(failures, 1);
}

// ---- what is logged, and what does not matter ----

TEST_F(IpmitoolGet, CommandIsShownAtLevel3) {
    prints(" 0a\n");
    uint8_t byte = 0;
    EXPECT_EQ(
        logged_by([&] { ipmitool_get("ipmi-3", 0x50, 0x10, &reg8_data8, 2, nullptr, &byte); }),
        (Messages{{3, "ipmitool_get: ipmitool raw 0x38 0x2 0x3 0x50 0x10 0x2\n"}}));
    prints("");
    Messages expected{{3, "ipmitool_get: ipmitool raw 0x3c 0x18 0x12 0x34\n"}};
    for (const auto &message : error_in(kFunction, "Error reading at offset 0x34\n")) {
        expected.push_back(message);
    }
    EXPECT_EQ(
        logged_by([&] { ipmitool_get(nullptr, kReadOem, 0x1234, nullptr, 4, nullptr, &byte); }),
        expected);
}

TEST_F(IpmitoolGet, RunsInADryRunAsWell) {
    set_debug_enable(1);
    prints(" 0a\n");
    EXPECT_EQ(get(), 0U);
    EXPECT_EQ(stored_, Bytes{0x0A});
    EXPECT_EQ(tool_.calls().size(), 1U);
}

TEST_F(IpmitoolGet, PipePathIsNotUsed) {
    prints(" 0a\n");
    const std::string path = folder_.file("pipe");
    uint8_t byte = 0;
    EXPECT_EQ(ipmitool_get("ipmi-3", 0x50, 0x10, &reg8_data8, 1, path.c_str(), &byte), 0U);
    EXPECT_EQ(byte, 0x0A);
    EXPECT_FALSE(std::filesystem::exists(path));
}

// ---- for callers whose buffer has an end ----

TEST_F(IpmitoolGet, BytesBeyondTheRoomAreDropped) {
    prints(raw_answer(counting_bytes(40)));
    for (const size_t room : {1U, 2U, 16U, 17U, 39U, 40U, 41U}) {
        Result result(50);
        EXPECT_EQ(
            diag::read_ipmi_register({"ipmi-3", 0x50, 0x10, &reg8_data8}, 1, result.data(), room),
            0U);
        EXPECT_EQ(result.stored(), counting_bytes(std::min<size_t>(room, 40)));
    }
}

}  // namespace
