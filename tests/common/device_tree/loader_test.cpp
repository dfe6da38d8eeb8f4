// SPDX-License-Identifier: MIT
#include "tests/common/device_tree/loader_test.h"

#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/support/without_leak_check.h"

namespace diag::test {
namespace {

using LoadDeviceTree = DeviceTreeTest;

// ---- the whole ----

TEST_F(LoadDeviceTree, ReadsABoard) {
    const Loaded load(R"(
  <system><ip>127.0.0.1</ip><PortNo>5000</PortNo></system>
  <busbroker-support>1</busbroker-support>
  <opticstool-present>0</opticstool-present>
  <chip>
    <chip-type>CPLD</chip-type>
    <chip-name>Power</chip-name>
    <reg>
      <reg-offset>10</reg-offset>
      <bit>
        <bit-range>7:4</bit-range>
        <info><info-val>1</info-val><info-desc>on</info-desc></info>
      </bit>
    </reg>
  </chip>
  <chip>
    <chip-name>Main</chip-name>
  </chip>
)");
    ASSERT_EQ(load.status, 0U);
    EXPECT_STREQ(load.socket.ip, "127.0.0.1");
    EXPECT_EQ(load.socket.PortNo, 5000);
    EXPECT_EQ(load.busbroker_supported, 1);
    EXPECT_EQ(load.opticstool_present, 0);
    ASSERT_EQ(load.chips(), 2U);
    const device_node *power = load.tree.head.node;
    EXPECT_STREQ(power->name, "Power");
    const reg_def *reg = power->reg_list->reg;
    EXPECT_EQ(reg->offset, 0x10U);
    EXPECT_EQ(reg->bits->end, 7);
    EXPECT_STREQ(reg->bits->infos->desc, "on");
    EXPECT_STREQ(load.tree.head.next->node->name, "Main");
    EXPECT_NE(load.document, nullptr);
}

TEST_F(LoadDeviceTree, BeginsWithALineAtLevelOneAndSaysNothingElse) {
    EXPECT_EQ(logged_for("<busbroker-support>1</busbroker-support><chip/>"), Messages{});
}

TEST_F(LoadDeviceTree, AppendsToATreeThatHoldsChips) {
    Load load;
    load.from_text("<config><chip><chip-name>a</chip-name></chip></config>");
    load.from_text("<config><chip><chip-name>b</chip-name></chip><chip/></config>");
    EXPECT_EQ(load.chips(), 3U);
    EXPECT_STREQ(load.tree.head.node->name, "a");
    EXPECT_STREQ(load.tree.head.next->node->name, "b");
}

TEST_F(LoadDeviceTree, LoadsTheSameIntoATreeThatWasFreed) {
    Load load;
    for (int round = 0; round < 10; round++) {
        load.from_text(
            "<config><chip><reg><bit> <bit-range>1</bit-range></bit></reg></chip>"
            "</config>");
        ASSERT_EQ(load.status, 0U);
        ASSERT_EQ(load.chips(), 1U);
        EXPECT_EQ(length_of(load.tree.head.node->reg_list->reg->bits), 1U);
        free_tree(&load.tree.head);
    }
}

TEST_F(LoadDeviceTree, LoadsSeveralTreesSideBySide) {
    const Loaded first("<chip><chip-name>a</chip-name><reg/></chip>");
    const Loaded second("<chip><chip-name>b</chip-name><reg/><reg/></chip>");
    EXPECT_EQ(first.chips(), 1U);
    EXPECT_EQ(second.chips(), 1U);
    EXPECT_EQ(registers_of(first.tree.head.node->reg_list).size(), 1U);
    EXPECT_EQ(registers_of(second.tree.head.node->reg_list).size(), 2U);
}

// ---- arguments ----

TEST_F(LoadDeviceTree, NeedsTheBusbrokerFlag) {
    const auto load = [] {
        device_tree head{};
        uint8_t opticstool_present = 77;
        EXPECT_EQ(
            load_device_tree("board.xml", &head, 1, nullptr, nullptr, nullptr, &opticstool_present),
            DIAG_E_INVAL);
        EXPECT_EQ(opticstool_present, 77);
    };
    Messages expected{{1, kLoading}};
    for (const Message &message : error_in(
             "load_device_tree", "&busbroker_supported needs to be passed to this function\n")) {
        expected.push_back(message);
    }
    EXPECT_EQ(logged_by(load), expected);
}

TEST_F(LoadDeviceTree, SetsTheFlagsBeforeAnythingCanFail) {
    Load load;
    load.from_path("/nowhere/board.xml");
    EXPECT_EQ(load.busbroker_supported, 0);
    EXPECT_EQ(load.opticstool_present, 1);
}

TEST_F(LoadDeviceTree, OptionalArgumentsMayBeMissing) {
    const TemporaryFolder folder;
    const std::string path = folder.write("board.xml", "<config><chip/></config>");
    TreeOwner tree;
    uint8_t busbroker_supported = 77;
    EXPECT_EQ(load_device_tree(path.c_str(), &tree.head, 1, nullptr, &busbroker_supported, nullptr,
                               nullptr),
              0U);
    EXPECT_EQ(busbroker_supported, 0);
    EXPECT_NE(tree.head.node, nullptr);
}

TEST_F(LoadDeviceTree, WithoutATreeTheFileIsReadAllTheSame) {
    const WithoutLeakCheck chips_are_never_handed_back;
    const TemporaryFolder folder;
    const std::string path = folder.write(
        "board.xml", "<config><chip/><chip/><busbroker-support>1</busbroker-support></config>");
    uint8_t busbroker_supported = 0;
    EXPECT_EQ(
        load_device_tree(path.c_str(), nullptr, 1, nullptr, &busbroker_supported, nullptr, nullptr),
        0U);
    EXPECT_EQ(busbroker_supported, 1);
}

TEST_F(LoadDeviceTree, AnyLowByteAsksForTheXmlForm) {
    const TemporaryFolder folder;
    const std::string path = folder.write("board.xml", "<config><chip/></config>");
    for (const int is_xml : {1, 2, 0x80, 0xFF, -1, 0x101}) {
        Load load;
        load.from_path(path.c_str(), is_xml);
        EXPECT_EQ(load.status, 0U) << is_xml;
        EXPECT_EQ(load.chips(), 1U);
    }
}

// ---- the switches ----

struct SwitchCase {
    const char *name;
    const char *text;
    int expected;
};

constexpr SwitchCase kSwitchCases[] = {
    {"One", "1", 1},
    {"Zero", "0", 0},
    {"Two", "2", 0},
    {"BelowZero", "-1", 0},
    {"Blanks", " 1 ", 1},
    {"Lines", "\n1\n", 1},
    {"Behind", "1x", 1},
    {"Word", "true", 0},
    {"Decimal", "0x1", 0},
    {"Zeroes", "01", 1},
    {"Sign", "+1", 1},
    {"Huge", "99999999999999999999", 0},
    {"Above32Bits", "4294967297", 0},
};

class Switch : public DeviceTreeTest, public testing::WithParamInterface<SwitchCase> {};

TEST_P(Switch, IsOnForTheNumberOne) {
    const Loaded load("<busbroker-support>" + std::string(GetParam().text) +
                      "</busbroker-support><opticstool-present>" + GetParam().text +
                      "</opticstool-present>");
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.busbroker_supported, GetParam().expected);
    EXPECT_EQ(load.opticstool_present, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(All, Switch, testing::ValuesIn(kSwitchCases),
                         [](const auto &value) { return value.param.name; });

TEST_F(LoadDeviceTree, SwitchesThatAreNotMentionedHaveTheirDefaults) {
    const Loaded load("<chip/>");
    EXPECT_EQ(load.busbroker_supported, 0);
    EXPECT_EQ(load.opticstool_present, 1);
}

TEST_F(LoadDeviceTree, TheLastOfSeveralSwitchesHolds) {
    const Loaded load(
        "<busbroker-support>1</busbroker-support><chip/>"
        "<busbroker-support>0</busbroker-support>");
    EXPECT_EQ(load.busbroker_supported, 0);
}

TEST_F(LoadDeviceTree, ASwitchWithoutTextEndsTheLoad) {
    for (const char *name : {"busbroker-support", "opticstool-present"}) {
        for (const char *inner : {"", "<x/>", "<!-- 1 -->1", "<![CDATA[1]]>"}) {
            const std::string content =
                std::string("<chip/><") + name + ">" + inner + "</" + name + "><chip/>";
            const Loaded load(content);
            EXPECT_EQ(load.status, DIAG_E_INVAL) << content;
            EXPECT_EQ(load.chips(), 1U);  // what was read before stays
            EXPECT_NE(load.document, nullptr);
            EXPECT_EQ(logged_for(content),
                      error_in("load_device_tree", "Invalid Element Structure\n"));
        }
    }
}

// Loads the content with the optional arguments null.
uint32_t load_with_nulls(const std::string &content) {
    const TemporaryFolder folder;
    const std::string path = folder.write("board.xml", "<config>" + content + "</config>");
    TreeOwner tree;
    uint8_t busbroker_supported = 0;
    return load_device_tree(path.c_str(), &tree.head, 1, nullptr, &busbroker_supported, nullptr,
                            nullptr);
}

Messages logged_with_nulls(const std::string &content) {
    Messages messages = logged_by([&] { load_with_nulls(content); });
    messages.erase(messages.begin());
    return messages;
}

TEST_F(LoadDeviceTree, AnOpticstoolSwitchNeedsItsFlag) {
    const std::string content = "<opticstool-present>1</opticstool-present>";
    EXPECT_EQ(load_with_nulls(content), DIAG_E_INVAL);
    EXPECT_EQ(logged_with_nulls(content),
              error_in("load_device_tree", "Rx NULL pointer as opticstool support flag\n"));
    // The structure is looked at first.
    EXPECT_EQ(logged_with_nulls("<opticstool-present/>"),
              error_in("load_device_tree", "Invalid Element Structure\n"));
}

// ---- "system" ----

TEST_F(LoadDeviceTree, SystemNeedsASocketConfiguration) {
    const std::string content = "<system><ip>1.2.3.4</ip></system>";
    EXPECT_EQ(load_with_nulls(content), DIAG_E_INVAL);
    EXPECT_EQ(logged_with_nulls(content),
              error_in("load_device_tree", "Rx NULL pointer for socket config\n"));
}

TEST_F(LoadDeviceTree, AMalformedSystemEndsTheLoad) {
    const std::string content = "<chip/><system><ip/></system><chip/>";
    const Loaded load(content);
    EXPECT_EQ(load.status, DIAG_E_INVAL);
    EXPECT_EQ(load.chips(), 1U);
    Messages expected = error_in("parse_socket_cfg", "Invalid Element Structure\n");
    for (const Message &message : error_in("load_device_tree", "Socket config parsing error\n")) {
        expected.push_back(message);
    }
    EXPECT_EQ(logged_for(content), expected);
}

TEST_F(LoadDeviceTree, AnEmptySystemIsNoError) {
    const Loaded load("<system/>");
    EXPECT_EQ(load.status, 0U);
    EXPECT_STREQ(load.socket.ip, "");
}

// ---- lines after a load ----

TEST_F(LoadDeviceTree, LinesAfterALoadAttachToItsLastRecords) {
    const Loaded load("<chip><reg/><reg><bit> <bit-name>A</bit-name></bit></reg></chip>");
    std::string info = "I|1|one";
    std::string bit = "B|3|B";
    std::string other = "R|7";
    device_node *node = load.tree.head.node;
    EXPECT_EQ(parse_reg_config(info.data(), node, 0, nullptr), 0U);
    EXPECT_EQ(parse_reg_config(bit.data(), node, 0, nullptr), 0U);
    EXPECT_EQ(parse_reg_config(other.data(), node, 0, nullptr), 0U);
    const std::vector<reg_def *> registers = registers_of(node->reg_list);
    ASSERT_EQ(registers.size(), 3U);
    EXPECT_EQ(registers[0]->bits, nullptr);
    EXPECT_EQ(length_of(registers[1]->bits), 2U);
    EXPECT_STREQ(registers[1]->bits->infos->desc, "one");
    EXPECT_EQ(registers[2]->offset, 7U);
}

TEST_F(LoadDeviceTree, LinesNeverAttachToATreeFromBefore) {
    {
        const Loaded gone("<chip><reg><bit> <bit-name>A</bit-name></bit></reg></chip>");
        ASSERT_EQ(gone.status, 0U);
    }
    const Loaded load("<chip/>");
    for (const char *text : {"B|1|N", "I|1|x"}) {
        std::string line = text;
        EXPECT_EQ(parse_reg_config(line.data(), load.tree.head.node, 0, nullptr), DIAG_E_INVAL);
    }
}

}  // namespace
}  // namespace diag::test
