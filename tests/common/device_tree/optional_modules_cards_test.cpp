// SPDX-License-Identifier: MIT
// How the card in a slot is asked for its type, and cards that do not answer.
#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/common/device_tree/optional_modules_test.h"

namespace diag::test {
namespace {

using Calls = std::vector<std::string>;

// One slot, whose card is given as a "C" line of its own.
std::string one_slot(const std::string &card, const std::string &card_id = "CARD_ID_REG:5") {
    return slots_header(1, 1, card_id) + "Slot|LPC|100|0:" + card + "\n" + chip_and_sections(1);
}

class ModuleCard : public OptionalModulesTest {
  protected:
    void SetUp() override {
        OptionalModulesTest::SetUp();
        tools_.presence(0x100, 0);
    }

    // The command lines behind the one that asks whether a card is there.
    Calls calls_for(const std::string &text) {
        TextLoad load(text);
        status_ = load.status;
        Calls calls = tools_.calls();
        if (!calls.empty()) {
            calls.erase(calls.begin());
        }
        return calls;
    }

    uint32_t status_ = 0;
};

// ---- buses ----

// The number of a bus is read as hexadecimal and written as decimal.
struct BusCase {
    const char *name;
    const char *location;
    const char *bus;
};

constexpr BusCase kBuses[] = {
    {"OneDigit", "9", "/dev/i2c-9"},         {"Letter", "a", "/dev/i2c-10"},
    {"TwoDigits", "10", "/dev/i2c-16"},      {"Highest", "7fffffff", "/dev/i2c-2147483647"},
    {"AsSigned", "ffffffff", "/dev/i2c--1"},
};

class ModuleBus : public ModuleCard, public testing::WithParamInterface<BusCase> {};

TEST_P(ModuleBus, IsNamedInDecimal) {
    tools_.card(0x51, 1);
    const Calls calls =
        calls_for(one_slot("C| FPGA|51|one|i2c|" + std::string(GetParam().location) + "| -|ID"));
    EXPECT_EQ(status_, 0U);
    EXPECT_EQ(calls, (Calls{std::string("i2ctool --read --bus=") + GetParam().bus +
                            " --addr=0x51 --count=1 --pipe=/tmp/pl_i2c_pipe --width=8 "
                            "--reg=0x05"}));
}

INSTANTIATE_TEST_SUITE_P(All, ModuleBus, testing::ValuesIn(kBuses),
                         [](const auto &bus) { return bus.param.name; });

TEST_F(ModuleCard, BehindTheControllerIsAskedThroughIt) {
    tools_.does("ipmitool", "raw", "echo ' 01'; exit 0");
    TextLoad load(one_slot("C| FPGA|51|one|bmc|3| -|ID"));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(offsets_of(load.chip()), (Offsets{0x11, 0x12}));
    ASSERT_EQ(tools_.calls().size(), 2U);
    EXPECT_EQ(tools_.calls()[1], "ipmitool raw 0x38 0x2 0x3 0x51 0x5 0x1");
}

TEST_F(ModuleCard, BehindTheControllerHasItsBusInDecimal) {
    tools_.does("ipmitool", "raw", "echo ' 01'; exit 0");
    const Messages logged = logged_for_modules(one_slot("C| FPGA|51|one|bmc|1f| -|ID"));
    EXPECT_EQ(logged.back(), (Message{1, "Slot 1 -> 1 : ID\n"}));
    // bmc-31
    EXPECT_EQ(tools_.calls()[1], "ipmitool raw 0x38 0x2 0x1f 0x51 0x5 0x1");
}

TEST_F(ModuleCard, MoreThanOneByteFromTheControllerIsDropped) {
    tools_.does("ipmitool", "raw", "echo ' 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10'");
    TextLoad load(one_slot("C| FPGA|51|one|bmc|3| -|ID"));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(offsets_of(load.chip()), (Offsets{0x11, 0x12}));
}

TEST_F(ModuleCard, MoreThanOneByteFromItsBusIsDropped) {
    tools_.does("i2ctool", "--read", "printf '\\001\\002\\003\\004' >\"$pipe\"; exit 0");
    TextLoad load(one_slot("C| FPGA|51|one|i2c|3| -|ID"));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(offsets_of(load.chip()), (Offsets{0x11, 0x12}));
}

TEST_F(ModuleCard, OnAnotherBusIsNotSupported) {
    for (const char *bus : {"pci", "mem", "lpc", "io", "mtd", "other"}) {
        const std::string text = one_slot("C| FPGA|51|one|" + std::string(bus) + "|3| -|ID");
        TextLoad load(text);
        EXPECT_EQ(load.status, DIAG_E_INVAL) << bus;
        EXPECT_EQ(load.names(), (Names{"one", "chip"}));
        EXPECT_EQ(load.chip()->reg_list, nullptr);
        EXPECT_EQ(logged_for_modules(text).back(), (Message{0, "Interface not supported yet\n"}));
    }
    for (const std::string &call : tools_.calls()) {
        EXPECT_TRUE(call.starts_with("lpctool ")) << call;
    }
}

// What its bus is shows only when the way to it has been made.
TEST_F(ModuleCard, OnAnotherBusHasItsMuxesSetAllTheSame) {
    const std::string text = one_slot("C| FPGA|51|one|lpc|3|/dev/i2c-2 70:0:ff:1|ID");
    EXPECT_EQ(calls_for(text), (Calls{"i2ctool --write --bus=/dev/i2c-2 --addr=0x70 --width=8 "
                                      "--reg=0x00 --val=0x01"}));
    EXPECT_EQ(status_, DIAG_E_INVAL);
    const Messages logged = logged_for_modules(text);
    EXPECT_EQ(
        (Messages{logged.end() - 2, logged.end()}),
        (Messages{{1, "Reading I2C device 0x51 reg 0x5\n"}, {0, "Interface not supported yet\n"}}));
}

// ---- register descriptors, addresses ----

TEST_F(ModuleCard, OffsetLengthTellsTheWidthOfTheRegister) {
    struct Case {
        const char *length;
        const char *reg;
    };
    for (const Case &offset : {Case{"", "--reg=0x1234"},
                               {"|8", "--reg=0x1234"},
                               {"|16", "--reg16=0x1234"},
                               {"|32", "--reg=0x1234"}}) {
        SlotTools tools;
        tools.presence(0x100, 0);
        tools.card(0x51, 1);
        const TextLoad load(one_slot(std::string("C| FPGA|51|one|i2c|3| -|ID|0|0") + offset.length,
                                     "CARD_ID_REG:1234"));
        EXPECT_EQ(load.status, 0U);
        ASSERT_EQ(tools.calls().size(), 2U);
        EXPECT_TRUE(tools.calls()[1].ends_with(std::string(" --width=8 ") + offset.reg))
            << tools.calls()[1];
    }
}

TEST_F(ModuleCard, TheAddressIsCutForTheToolAndToldWhole) {
    tools_.card(0x51, 1);
    const std::string text = one_slot("C| FPGA|1F51|one|i2c|3| -|ID", "CARD_ID_REG:10034");
    const Messages logged = logged_for_modules(text);
    EXPECT_EQ(logged[6], (Message{1, "Reading I2C device 0x1f51 reg 0x10034\n"}));
    EXPECT_EQ(logged.back(), (Message{1, "Slot 1 -> 1 : ID\n"}));
}

TEST_F(ModuleCard, BehindMuxesIsAskedAfterTheyAreSet) {
    tools_.card(0x51, 1);
    EXPECT_EQ(calls_for(one_slot("C| FPGA|51|one|i2c|3|/dev/i2c-2 70:0:ff:1:x:71:1:ff:2|ID")),
              (Calls{"i2ctool --write --bus=/dev/i2c-2 --addr=0x70 --width=8 --reg=0x00 --val=0x01",
                     "i2ctool --write --bus=/dev/i2c-2 --addr=0x71 --width=8 --reg=0x01 --val=0x02",
                     "i2ctool --read --bus=/dev/i2c-3 --addr=0x51 --count=1 "
                     "--pipe=/tmp/pl_i2c_pipe --width=8 --reg=0x05"}));
    EXPECT_EQ(status_, 0U);
}

TEST_F(ModuleCard, IsAskedEvenWhenAMuxCannotBeSet) {
    tools_.card(0x51, 1);
    tools_.does("i2ctool", "--write", "exit 1");
    TextLoad load(one_slot("C| FPGA|51|one|i2c|3|/dev/i2c-2 70:0:ff:1|ID"));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(offsets_of(load.chip()), (Offsets{0x11, 0x12}));
}

// ---- cards that do not answer ----

Messages not_powered_on(const std::string &tool_message, const std::string &bus) {
    return error_in(tool_message.substr(0, tool_message.find(':')),
                    tool_message.substr(tool_message.find(':') + 1)) +
           Messages{{0, "\n IOM Slot 1 present but not powered on\n"},
                    {1, "Error reading " + bus + " 0x51 0x5\n"}};
}

// What is logged behind the message that the card is going to be read.
Messages logged_behind_reading(const std::string &text) {
    Messages messages = logged_by([&] { TextLoad{text}; });
    auto from = messages.begin();
    while (from != messages.end() && from->text != "Reading I2C device 0x51 reg 0x5\n") {
        ++from;
    }
    EXPECT_NE(from, messages.end());
    Messages behind;
    for (++from; from < messages.end(); ++from) {
        if (!from->text.starts_with("i2ctool_get: ") && !from->text.starts_with("ipmitool_get: ")) {
            behind.push_back(*from);
        }
    }
    return behind;
}

const char *const kI2cCard = "C| FPGA|51|one|i2c|3| -|ID";
const char *const kBmcCard = "C| FPGA|51|one|bmc|3| -|ID";

TEST_F(ModuleCard, ThatDoesNotAnswerIsReportedAndNoFailure) {
    for (const char *failure : {"exit 1", "exit 255", "kill -9 $$"}) {
        tools_.does("i2ctool", "--read", failure);
        TextLoad load(one_slot(kI2cCard));
        EXPECT_EQ(load.status, 0U) << failure;
        EXPECT_EQ(load.names(), (Names{"one", "chip"}));
        EXPECT_EQ(load.chip()->reg_list, nullptr);
        const Messages logged = logged_behind_reading(one_slot(kI2cCard));
        EXPECT_EQ(logged.back(), (Message{1, "Error reading /dev/i2c-3 0x51 0x5\n"}));
        EXPECT_EQ(logged[logged.size() - 2],
                  (Message{0, "\n IOM Slot 1 present but not powered on\n"}));
    }
}

TEST_F(ModuleCard, ThatAnswersAndFailsHasNoType) {
    tools_.does("i2ctool", "--read", "printf '\\001' >\"$pipe\"; exit 3");
    TextLoad load(one_slot(kI2cCard));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.chip()->reg_list, nullptr);
}

TEST_F(ModuleCard, BehindTheControllerThatDoesNotAnswerIsReported) {
    tools_.does("ipmitool", "raw", "echo 'Unable to send RAW command' >&2; exit 1");
    EXPECT_EQ(TextLoad(one_slot(kBmcCard)).status, 0U);
    EXPECT_EQ(logged_behind_reading(one_slot(kBmcCard)),
              not_powered_on("ipmitool_get:Error reading at offset 0x05\n", "bmc-3"));
}

TEST_F(ModuleCard, BehindTheControllerHasNoSixteenBitRegisters) {
    const std::string text = one_slot(std::string(kBmcCard) + "|0|0|16");
    EXPECT_EQ(TextLoad(text).status, 0U);
    EXPECT_EQ(logged_behind_reading(text),
              not_powered_on("ipmitool_get:Unsupport Addressing mode 1\n", "bmc-3"));
}

TEST_F(ModuleCard, OfAToolThatIsMissingIsReported) {
    tools_.is_missing("i2ctool");
    tools_.is_missing("ipmitool");
    for (const char *card : {kI2cCard, kBmcCard}) {
        TextLoad load(one_slot(card));
        EXPECT_EQ(load.status, 0U) << card;
        EXPECT_EQ(load.names(), (Names{"one", "chip"}));
        const Messages logged = logged_behind_reading(one_slot(card));
        ASSERT_GE(logged.size(), 2U);
        EXPECT_EQ(logged[logged.size() - 2],
                  (Message{0, "\n IOM Slot 1 present but not powered on\n"}));
    }
}

TEST_F(ModuleCard, OfAToolThatSaysNothingHasType0) {
    TextLoad load(one_slot(kI2cCard));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.chip()->reg_list, nullptr);
    EXPECT_EQ(
        logged_behind_reading(one_slot(kI2cCard)),
        (Messages{{2, "-1 bytes read from the fifo\n"}, {1, "List of available iom modules\n"}}));
}

TEST_F(ModuleCard, ThatDoesNotAnswerDoesNotHideTheNextOne) {
    tools_.does("i2ctool", "--addr=0x51 ", "exit 1");
    tools_.card(0x52, 1);
    const std::string text = slots_header(2, 1) + slot_line("100", "0", "one", "51") +
                             slot_line("100", "1", "two", "52") + chip_and_sections(1);
    TextLoad load(text);
    EXPECT_EQ(load.status, 0U);
    ASSERT_EQ(load.names(), (Names{"one", "two", "chip"}));
    // The walk does not step past the one without a type.
    EXPECT_EQ(offsets_of(load.chip(0)), (Offsets{0x11, 0x12}));
    EXPECT_EQ(load.chip(1)->reg_list, nullptr);
    EXPECT_EQ(logged_for_modules(text).back(), (Message{1, "Slot 2 -> 1 : ID-one\n"}));
}

// ---- presence that cannot be read ----

TEST_F(ModuleCard, APresenceRegisterThatCannotBeReadEndsTheBlock) {
    tools_.does("lpctool", "--addr=0x00000100 ", "exit 1");
    const std::string text = slots_header(2, 1) + slot_line("100", "0", "one", "51") +
                             slot_line("101", "0", "two", "52") + chip_and_sections(1);
    const TextLoad load(text);
    EXPECT_EQ(load.status, DIAG_E_INVAL);
    EXPECT_EQ(load.names(), (Names{"chip"}));
    EXPECT_EQ(tools_.calls().size(), 1U) << "the second slot line is header data";
    const Messages logged = logged_for_modules(text);
    EXPECT_EQ(logged.back(), (Message{0, "Could not read lpc at 0x100\n"}));
    EXPECT_EQ(logged[3], (Message{1, "Presence Reg 0x100 bit 0\n"}));
}

TEST_F(ModuleCard, WithoutLpctoolTheBlockEnds) {
    tools_.is_missing("lpctool");
    const TextLoad load(one_slot(kI2cCard));
    EXPECT_EQ(load.status, DIAG_E_INVAL);
    EXPECT_EQ(load.names(), (Names{"chip"}));
}

// A tool that ends well and says nothing leaves the byte 0: the card is looked for.
TEST_F(ModuleCard, AnLpctoolThatSaysNothingShowsACard) {
    tools_.does("lpctool", "--addr=0x00000100 ", "exit 0");
    tools_.card(0x51, 1);
    EXPECT_EQ(TextLoad(one_slot(kI2cCard)).names(), (Names{"one", "chip"}));
}

// ---- the debug switch ----

// Readings answer 26 without a tool: slots of the bits 1, 3 and 4 are empty, all cards have
// type 26.
TEST_F(ModuleCard, WithTheDebugSwitchNoToolRuns) {
    set_debug_enable(1);
    const TextLoad empty(slots_header(1, 1) + slot_line("100", "1", "one", "51") +
                         chip_and_sections(1));
    EXPECT_EQ(empty.status, 0U);
    EXPECT_EQ(empty.names(), (Names{"chip"}));
    const TextLoad load(one_slot(kI2cCard));
    EXPECT_EQ(load.status, DIAG_E_FAIL) << "there is no type 26";
    EXPECT_EQ(load.names(), (Names{"one", "chip"}));
    EXPECT_EQ(tools_.calls(), Calls{});
}

}  // namespace
}  // namespace diag::test
