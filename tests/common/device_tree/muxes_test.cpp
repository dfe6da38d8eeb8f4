// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/common/device_tree/device_tree_test.h"
#include "tests/support/fake_tool.h"

namespace diag::test {
namespace {

constexpr uint32_t kFailed = 0xFFFFFFFFU;

// A chain of muxes whose bus texts are the test's own.
class Chain {
  public:
    explicit Chain(std::vector<mux_entry> muxes) : muxes_(std::move(muxes)) {
        for (size_t i = 0; i + 1 < muxes_.size(); i++) {
            muxes_[i].next = &muxes_[i + 1];
        }
    }

    mux_entry *first() { return muxes_.data(); }
    mux_entry &operator[](size_t index) { return muxes_[index]; }

  private:
    std::vector<mux_entry> muxes_;
};

mux_entry mux(char *bus, uint32_t addr, uint32_t reg, uint32_t val) {
    return {bus, addr, reg, 0, val, nullptr};
}

class SetMuxes : public DeviceTreeTest {
  protected:
    FakeTool tool_{"i2ctool"};
    char bus_[11] = "/dev/i2c-2";
    char other_bus_[4] = "spi";
};

TEST_F(SetMuxes, ANullChainIsDone) {
    EXPECT_EQ(set_muxes(nullptr), 0U);
    EXPECT_TRUE(tool_.calls().empty());
    EXPECT_EQ(logged_by([] { set_muxes(nullptr); }),
              (Messages{{3, "Setting Mux for access to Device \n"}}));
}

TEST_F(SetMuxes, WritesTheSelectValueThroughTheTool) {
    Chain chain({mux(bus_, 0x70, 0x01, 0x04)});
    EXPECT_EQ(set_muxes(chain.first()), 0U);
    EXPECT_EQ(tool_.calls(), std::vector<std::string>{"--write --bus=/dev/i2c-2 --addr=0x70 "
                                                      "--width=8 --reg=0x01 --val=0x04"});
}

TEST_F(SetMuxes, DeeperMuxesShareTheFirstBus) {
    Chain chain({mux(bus_, 0x70, 0, 1), mux(nullptr, 0x71, 1, 2), mux(nullptr, 0x72, 2, 4)});
    EXPECT_EQ(set_muxes(chain.first()), 0U);
    EXPECT_EQ(tool_.calls(),
              (std::vector<std::string>{
                  "--write --bus=/dev/i2c-2 --addr=0x70 --width=8 --reg=0x00 --val=0x01",
                  "--write --bus=/dev/i2c-2 --addr=0x71 --width=8 --reg=0x01 --val=0x02",
                  "--write --bus=/dev/i2c-2 --addr=0x72 --width=8 --reg=0x02 --val=0x04"}));
    EXPECT_EQ(chain[1].bus, bus_);  // the same text, not a copy
    EXPECT_EQ(chain[2].bus, bus_);
}

TEST_F(SetMuxes, AMuxWithABusOfItsOwnKeepsIt) {
    char deeper[] = "/dev/i2c-7";
    Chain chain({mux(bus_, 0x70, 0, 1), mux(deeper, 0x71, 0, 2), mux(nullptr, 0x72, 0, 3)});
    EXPECT_EQ(set_muxes(chain.first()), 0U);
    const std::vector<std::string> calls = tool_.calls();
    ASSERT_EQ(calls.size(), 3U);
    EXPECT_NE(calls[1].find("--bus=/dev/i2c-7 --addr=0x71"), std::string::npos);
    EXPECT_NE(calls[2].find("--bus=/dev/i2c-2 --addr=0x72"), std::string::npos);
}

TEST_F(SetMuxes, NumbersAreCutToTheToolsWidth) {
    Chain chain({mux(bus_, 0x1F70, 0x12345, 0xABCD)});
    chain[0].mask = 0x0F;  // not used on I2C: the whole register is written
    EXPECT_EQ(set_muxes(chain.first()), 0U);
    EXPECT_EQ(tool_.calls(), std::vector<std::string>{"--write --bus=/dev/i2c-2 --addr=0x70 "
                                                      "--width=8 --reg=0x45 --val=0xcd"});
}

TEST_F(SetMuxes, TheWordMayStandAnywhereInTheBus) {
    char bus[] = "main-i2c-bus";
    Chain chain({mux(bus, 1, 2, 3)});
    EXPECT_EQ(set_muxes(chain.first()), 0U);
    EXPECT_EQ(tool_.calls().size(), 1U);
}

TEST_F(SetMuxes, LogsEachMuxAsTheChipHasIt) {
    Chain chain({mux(bus_, 0x1F70, 0x12345, 0xABCD), mux(nullptr, 0x71, 0, 0)});
    EXPECT_EQ(logged_by([&] { set_muxes(chain.first()); }),
              (Messages{{3, "Setting Mux for access to Device \n"},
                        {3, "Setting I2C Mux /dev/i2c-2 0x1f70 0x12345 0xcd\n"},
                        {1,
                         "i2ctool_set: i2ctool --write --bus=/dev/i2c-2 --addr=0x70 --width=8 "
                         "--reg=0x45 --val=0xcd\n"},
                        {3, "Setting I2C Mux /dev/i2c-2 0x71 0 0\n"},
                        {1,
                         "i2ctool_set: i2ctool --write --bus=/dev/i2c-2 --addr=0x71 --width=8 "
                         "--reg=0x00 --val=0x00\n"}}));
}

// ---- statuses ----

TEST_F(SetMuxes, AFailingWriteDoesNotStopTheWalk) {
    tool_.runs_script("case \"$*\" in *addr=0x71*) exit 3;; esac\n");
    Chain chain({mux(bus_, 0x70, 0, 1), mux(nullptr, 0x71, 0, 2), mux(nullptr, 0x72, 0, 3)});
    EXPECT_EQ(set_muxes(chain.first()), 0U);  // the last one's
    EXPECT_EQ(tool_.calls().size(), 3U);
}

TEST_F(SetMuxes, AnswersTheStatusOfTheLastWrite) {
    tool_.runs_script("case \"$*\" in *addr=0x71*) exit 3;; esac\n");
    Chain chain({mux(bus_, 0x70, 0, 1), mux(nullptr, 0x71, 0, 2)});
    EXPECT_EQ(set_muxes(chain.first()), kFailed);
}

TEST_F(SetMuxes, AMissingToolFails) {
    tool_.is_missing();
    Chain chain({mux(bus_, 0x70, 0, 1)});
    EXPECT_EQ(set_muxes(chain.first()), kFailed);
}

TEST_F(SetMuxes, ADryRunShowsTheCommandAndRunsNothing) {
    set_debug_enable(1);
    Chain chain({mux(bus_, 0x70, 0, 1)});
    EXPECT_EQ(set_muxes(chain.first()), 0U);
    EXPECT_TRUE(tool_.calls().empty());
}

// ---- buses that cannot be set ----

TEST_F(SetMuxes, AnUnknownBusIsToldAtLevelZeroAndNothingIsWritten) {
    Chain chain({mux(other_bus_, 0x70, 0, 1), mux(bus_, 0x71, 0, 1)});
    EXPECT_EQ(set_muxes(chain.first()), 0U);
    EXPECT_TRUE(tool_.calls().empty());
    EXPECT_EQ(logged_by([&] { set_muxes(chain.first()); }),
              (Messages{{3, "Setting Mux for access to Device \n"},
                        {0, "Unknown Bus Type specified\n"}}));
}

TEST_F(SetMuxes, AnUnknownBusAnswersTheStatusBeforeIt) {
    Chain good({mux(bus_, 0x70, 0, 1), mux(other_bus_, 0x71, 0, 1), mux(bus_, 0x72, 0, 1)});
    EXPECT_EQ(set_muxes(good.first()), 0U);
    EXPECT_EQ(tool_.calls().size(), 1U);
    tool_.answers("", 1);
    Chain bad({mux(bus_, 0x70, 0, 1), mux(other_bus_, 0x71, 0, 1), mux(bus_, 0x72, 0, 1)});
    EXPECT_EQ(set_muxes(bad.first()), kFailed);
    EXPECT_EQ(tool_.calls().size(), 2U);
}

TEST_F(SetMuxes, AChainWithoutAnyBusIsUnknown) {
    Chain chain({mux(nullptr, 0x70, 0, 1), mux(nullptr, 0x71, 0, 1)});
    EXPECT_EQ(set_muxes(chain.first()), 0U);
    EXPECT_EQ(chain[0].bus, nullptr);
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(SetMuxes, AnEmptyBusAndAnotherCaseAreUnknown) {
    for (std::string text : {"", "I2C", "i2 c"}) {
        Chain chain({mux(text.data(), 0x70, 0, 1)});
        EXPECT_EQ(set_muxes(chain.first()), 0U);
        EXPECT_TRUE(tool_.calls().empty()) << text;
    }
}

// ---- parse_mux_xml ----

using MuxXml = DeviceTreeTest;

Messages logged_for_xml_mux(const std::string &content) {
    return logged_by([&] { Mux().read_xml(content); });
}

TEST_F(MuxXml, AllFieldsAreReadAndEchoedAtLevelThree) {
    const std::string content =
        "<bus>/dev/i2c-1</bus><addr>0x70</addr><reg>1f</reg><mask>ff</mask><val>ffffffff</val>";
    Mux mux;
    EXPECT_EQ(mux.read_xml(content), 0U);
    EXPECT_STREQ(mux.entry.bus, "/dev/i2c-1");
    EXPECT_EQ(mux.entry.addr, 0x70U);
    EXPECT_EQ(mux.entry.reg, 0x1FU);
    EXPECT_EQ(mux.entry.mask, 0xFFU);
    EXPECT_EQ(mux.entry.val, 0xFFFFFFFFU);
    EXPECT_EQ(logged_for_xml_mux(content), (Messages{{3, "Load mux bus : /dev/i2c-1\n"},
                                                     {3, "Load psu mux addr : 112\n"},
                                                     {3, "Load mux reg : 31\n"},
                                                     {3, "Load mux mask : 255\n"},
                                                     {3, "Load mux val : -1\n"}}));
}

TEST_F(MuxXml, ANullEntryIsRefused) {
    const XmlText text("<mux><bus>b</bus></mux>");
    EXPECT_EQ(parse_mux_xml(text.root(), nullptr), DIAG_E_INVAL);
    EXPECT_EQ(logged_by([&] { parse_mux_xml(text.root(), nullptr); }),
              error_in("parse_mux_xml", "Input mux tree is NULL\n"));
}

TEST_F(MuxXml, AnyStartOfAWordNamesTheField) {
    struct Name {
        const char *name;
        uint32_t mux_entry::*member;
    };
    constexpr Name kNames[] = {
        {"a", &mux_entry::addr},  {"ad", &mux_entry::addr},  {"add", &mux_entry::addr},
        {"r", &mux_entry::reg},   {"re", &mux_entry::reg},   {"m", &mux_entry::mask},
        {"ma", &mux_entry::mask}, {"mas", &mux_entry::mask}, {"v", &mux_entry::val},
        {"va", &mux_entry::val},
    };
    for (const Name &name : kNames) {
        Mux mux;
        ASSERT_EQ(mux.read_xml(std::string("<") + name.name + ">2a</" + name.name + ">"), 0U);
        EXPECT_EQ(mux.entry.*name.member, 0x2AU) << name.name;
    }
    for (const char *name : {"b", "bu", "bus"}) {
        Mux mux;
        ASSERT_EQ(mux.read_xml(std::string("<") + name + ">2a</" + name + ">"), 0U);
        EXPECT_STREQ(mux.entry.bus, "2a") << name;
    }
}

TEST_F(MuxXml, OtherNamesAndWhatIsNoElementArePassedOverInSilence) {
    const std::string content =
        "t<!-- bus --><?bus b?><![CDATA[b]]><buses>b</buses><address>1"
        "</address><regs/><value>1</value><Bus>b</Bus><us>b</us>";
    Mux mux;
    EXPECT_EQ(mux.read_xml(content), 0U);
    EXPECT_EQ(mux.entry.bus, nullptr);
    EXPECT_EQ(mux.entry.addr, 0U);
    EXPECT_EQ(mux.entry.val, 0U);
    EXPECT_EQ(logged_for_xml_mux(content), Messages{});
}

TEST_F(MuxXml, AChildWithoutTextIsToldAtLevelZeroAndPassedOver) {
    for (const char *child : {"<bus/>", "<addr></addr>", "<reg><x/></reg>", "<m><!-- 1 -->1</m>",
                              "<val><![CDATA[1]]></val>"}) {
        const std::string content = std::string(child) + "<addr>70</addr>";
        Mux mux;
        EXPECT_EQ(mux.read_xml(content), 0U);
        EXPECT_EQ(mux.entry.addr, 0x70U);
        EXPECT_EQ(logged_for_xml_mux(content),
                  (Messages{{0, "Invalid Element Structure\n"}, {3, "Load psu mux addr : 112\n"}}));
    }
}

TEST_F(MuxXml, MissingChildrenAndNextKeepTheirValues) {
    Mux mux;
    mux_entry deeper{};
    mux.entry.addr = 1;
    mux.entry.val = 2;
    mux.entry.next = &deeper;
    EXPECT_EQ(mux.read_xml("<reg>3</reg>"), 0U);
    EXPECT_EQ(mux.entry.addr, 1U);
    EXPECT_EQ(mux.entry.reg, 3U);
    EXPECT_EQ(mux.entry.val, 2U);
    EXPECT_EQ(mux.entry.bus, nullptr);
    EXPECT_EQ(mux.entry.next, &deeper);
    mux.entry.next = nullptr;
}

TEST_F(MuxXml, ABusThatFitsIsStoredInPlace) {
    char shared[] = "/dev/i2c-1";
    mux_entry entry{};
    entry.bus = shared;
    for (const char *bus : {"/dev/i2c-2", "bmc-1", "b"}) {
        const XmlText text(std::string("<mux><bus>") + bus + "</bus></mux>");
        EXPECT_EQ(parse_mux_xml(text.root(), &entry), 0U);
        EXPECT_EQ(entry.bus, shared);
        EXPECT_STREQ(shared, bus);
    }
}

TEST_F(MuxXml, ALongerBusLeavesTheSharedTextAlone) {
    char shared[] = "bmc-1";
    Mux mux;
    mux.entry.bus = shared;
    EXPECT_EQ(mux.read_xml("<bus>/dev/i2c-1</bus>"), 0U);
    EXPECT_STREQ(mux.entry.bus, "/dev/i2c-1");
    EXPECT_STREQ(shared, "bmc-1");
}

TEST_F(MuxXml, TheLastOfSeveralBusesHoldsAndNoneIsLost) {
    Mux mux;
    EXPECT_EQ(mux.read_xml("<bus>a</bus><bus>longer</bus><bus>much longer</bus><bus>b</bus>"), 0U);
    EXPECT_STREQ(mux.entry.bus, "b");
    char shared[] = "s";
    Mux with_bus;
    with_bus.entry.bus = shared;
    EXPECT_EQ(with_bus.read_xml("<bus>longer</bus><bus>much longer</bus>"), 0U);
    EXPECT_STREQ(with_bus.entry.bus, "much longer");
    EXPECT_STREQ(shared, "s");
}

TEST_F(MuxXml, BusOfAMegabyteIsKept) {
    const std::string bus(1 << 20, 'b');
    Mux mux;
    EXPECT_EQ(mux.read_xml("<bus>" + bus + "</bus>"), 0U);
    EXPECT_EQ(mux.entry.bus, bus);
}

TEST_F(MuxXml, NumbersWrap) {
    Mux mux;
    EXPECT_EQ(mux.read_xml("<addr>123456789</addr>"), 0U);
    EXPECT_EQ(mux.entry.addr, 0x23456789U);
}

// ---- parse_mux_setting ----

using MuxSetting = DeviceTreeTest;

Messages logged_for_text_mux(const std::string &text) {
    return logged_by([&] { Mux().read_text(text); });
}

TEST_F(MuxSetting, OneMuxIsRead) {
    Mux mux;
    EXPECT_EQ(mux.read_text(" /dev/i2c-1 0x70:1f:ff:4 "), 0U);
    EXPECT_STREQ(mux.entry.bus, "/dev/i2c-1");
    EXPECT_EQ(mux.entry.addr, 0x70U);
    EXPECT_EQ(mux.entry.reg, 0x1FU);
    EXPECT_EQ(mux.entry.mask, 0xFFU);
    EXPECT_EQ(mux.entry.val, 4U);
    EXPECT_EQ(mux.entry.next, nullptr);
    EXPECT_EQ(logged_for_text_mux("bmc-1 1:2:3:4"), Messages{});
}

TEST_F(MuxSetting, DeeperMuxesFollowAWordThatIsPassedOver) {
    Mux mux;
    EXPECT_EQ(mux.read_text("/dev/i2c-1 70:0:ff:1:/dev/i2c-9 :71:1:fe:2:x:72:2:fd:3"), 0U);
    ASSERT_EQ(length_of(&mux.entry), 3U);
    const mux_entry *second = mux.entry.next;
    EXPECT_EQ(second->bus, nullptr);
    EXPECT_EQ(second->addr, 0x71U);
    EXPECT_EQ(second->reg, 1U);
    EXPECT_EQ(second->mask, 0xFEU);
    EXPECT_EQ(second->val, 2U);
    EXPECT_EQ(second->next->bus, nullptr);
    EXPECT_EQ(second->next->addr, 0x72U);
    EXPECT_EQ(second->next->val, 3U);
}

TEST_F(MuxSetting, RunsOfSeparatorsCountAsOne) {
    Mux mux;
    EXPECT_EQ(mux.read_text("    bmc-1 ::70:::1::2:3:::w::71:4::5:6::"), 0U);
    EXPECT_STREQ(mux.entry.bus, "bmc-1");
    EXPECT_EQ(mux.entry.addr, 0x70U);
    EXPECT_EQ(mux.entry.val, 3U);
    ASSERT_EQ(length_of(&mux.entry), 2U);
    EXPECT_EQ(mux.entry.next->addr, 0x71U);
    EXPECT_EQ(mux.entry.next->val, 6U);
}

TEST_F(MuxSetting, AColonBehindACompleteMuxMeansNothingFollows) {
    for (const char *text : {"lpc 1:2:3:4:", "lpc 1:2:3:4: ", "lpc 1:2:3:4::  :"}) {
        Mux mux;
        EXPECT_EQ(mux.read_text(text), 0U) << text;
        EXPECT_EQ(mux.entry.next, nullptr) << text;
    }
}

TEST_F(MuxSetting, AWordBeforeADeeperMuxMayBeBlank) {
    Mux mux;
    EXPECT_EQ(mux.read_text("lpc 1:2:3:4: :5:6:7:8"), 0U);
    ASSERT_EQ(length_of(&mux.entry), 2U);
    EXPECT_EQ(mux.entry.next->val, 8U);
}

struct MissingCase {
    const char *name;
    const char *text;
    const char *what;
    size_t muxes;
};

constexpr MissingCase kMissingCases[] = {
    {"Everything", "", "address", 1},
    {"OnlyBlanks", "   ", "address", 1},
    {"Address", "/dev/i2c-1", "address", 1},
    {"AddressBehindABlank", "/dev/i2c-1 ", "address", 1},
    {"AddressBehindColons", "/dev/i2c-1 ::", "address", 1},
    {"Register", "/dev/i2c-1 70", "register", 1},
    {"RegisterBehindAColon", "/dev/i2c-1 70:", "register", 1},
    {"Mask", "/dev/i2c-1 70:1", "mask", 1},
    {"Value", "/dev/i2c-1 70:1:ff:", "Value", 1},
    {"DeeperAddress", "/dev/i2c-1 70:1:ff:4:x", "address", 2},
    {"DeeperRegister", "/dev/i2c-1 70:1:ff:4:x:71", "register", 2},
    {"DeeperMask", "/dev/i2c-1 70:1:ff:4:x:71:1", "mask", 2},
    {"DeeperValue", "/dev/i2c-1 70:1:ff:4:x:71:1:ff", "Value", 2},
};

class MissingNumber : public DeviceTreeTest, public testing::WithParamInterface<MissingCase> {};

TEST_P(MissingNumber, IsNamedAtLevelOne) {
    Mux mux;
    EXPECT_EQ(mux.read_text(GetParam().text), DIAG_E_INVAL);
    EXPECT_EQ(length_of(&mux.entry), GetParam().muxes);  // what was read stays
    EXPECT_EQ(logged_for_text_mux(GetParam().text),
              (Messages{{1, std::string("Invalid MUX specification. Expecting a Mux ") +
                                GetParam().what + "\n"}}));
}

INSTANTIATE_TEST_SUITE_P(All, MissingNumber, testing::ValuesIn(kMissingCases),
                         [](const auto &missing) { return missing.param.name; });

TEST_F(MuxSetting, WhatWasReadBeforeAMissingNumberStays) {
    Mux mux;
    mux.read_text("bmc-1 70:1");
    EXPECT_STREQ(mux.entry.bus, "bmc-1");
    EXPECT_EQ(mux.entry.addr, 0x70U);
    EXPECT_EQ(mux.entry.reg, 1U);
    EXPECT_EQ(mux.entry.mask, 0U);
}

TEST_F(MuxSetting, DebugEchoesTheLineAndEachMuxAtLevelThree) {
    set_config_debug_enable(1);
    EXPECT_EQ(logged_for_text_mux(" bmc-1 70:0:ff:1"),
              (Messages{{3, "Mux Line:  bmc-1 70:0:ff:1\n"},
                        {3, "Mux: bmc-1 0x70 0 0xff 0x1\n"},
                        {3, "No Next Level Mux found \n"}}));
    EXPECT_EQ(logged_for_text_mux("bmc-1 70:0:ff:1:x:71:1:2:3"),
              (Messages{{3, "Mux Line: bmc-1 70:0:ff:1:x:71:1:2:3\n"},
                        {3, "Mux: bmc-1 0x70 0 0xff 0x1\n"},
                        {3, "next level mux found\n"},
                        {3, "Mux:  0x71 0x1 0x2 0x3\n"},
                        {3, "No Next Level Mux found \n"}}));
}

TEST_F(MuxSetting, NumbersWrapAndWhatIsNoNumberIsZero) {
    Mux mux;
    EXPECT_EQ(mux.read_text("lpc 123456789:x:zz: 0x1 2"), 0U);
    EXPECT_EQ(mux.entry.addr, 0x23456789U);
    EXPECT_EQ(mux.entry.reg, 0U);
    EXPECT_EQ(mux.entry.mask, 0U);
    EXPECT_EQ(mux.entry.val, 0x12U);
}

TEST_F(MuxSetting, ABusFromBeforeIsLeftToThoseWhoShareIt) {
    char shared[] = "bmc-1";
    Mux mux;
    mux.entry.bus = shared;
    EXPECT_EQ(mux.read_text("lpc 1:2:3:4"), 0U);
    EXPECT_STREQ(mux.entry.bus, "lpc");
    EXPECT_STREQ(shared, "bmc-1");
}

TEST_F(MuxSetting, AHundredThousandMuxesAndABusOfAMegabyte) {
    constexpr size_t kMany = 100000;
    const std::string bus(1 << 20, 'b');
    Mux mux;
    EXPECT_EQ(mux.read_text(bus + " 1:2:3:4" + repeat(":w:1:2:3:4", kMany)), 0U);
    EXPECT_EQ(mux.entry.bus, bus);
    EXPECT_EQ(length_of(&mux.entry), kMany + 1);
}

// ---- from a description to the bus ----

TEST_F(SetMuxes, SetsTheChainOfAChip) {
    TreeOwner tree;
    const XmlText text(
        "<chip><chip-mux><bus>/dev/i2c-3</bus><addr>70</addr><val>1</val></chip-mux>"
        "<chip-mux><addr>71</addr><reg>2</reg><val>8</val></chip-mux></chip>");
    device_node *node = parse_device_config(nullptr, &tree.head, 1, text.root(), 0);
    EXPECT_EQ(set_muxes(node->mux_list), 0U);
    EXPECT_EQ(tool_.calls(),
              (std::vector<std::string>{
                  "--write --bus=/dev/i2c-3 --addr=0x70 --width=8 --reg=0x00 --val=0x01",
                  "--write --bus=/dev/i2c-3 --addr=0x71 --width=8 --reg=0x02 --val=0x08"}));
}

}  // namespace
}  // namespace diag::test
