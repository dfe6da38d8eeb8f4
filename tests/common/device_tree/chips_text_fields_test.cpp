// SPDX-License-Identifier: MIT
// The fields of a "C" line that hold numbers and texts, and its place in the tree.
#include <filesystem>
#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/common/device_tree/loader_text_test.h"
#include "tests/support/without_leak_check.h"

namespace diag::test {
namespace {

// A line with one field of it given, read into a tree of its own.
class Line : public TreeOwner {
  public:
    std::string address = "40";
    std::string name = "N";
    std::string bus = "i2c";
    std::string location = "3";
    std::string tail = " -|ID|1|2";  // from the muxes on

    std::string text() const {
        return "C| FPGA|" + address + "|" + name + "|" + bus + "|" + location + "|" + tail;
    }
    device_node *read() {
        std::string line = text();
        return parse_device_config(line.data(), &head, 0, nullptr, 0);
    }
    Messages logged() const {
        return logged_by([this] {
            TreeOwner tree;
            std::string line = text();
            parse_device_config(line.data(), &tree.head, 0, nullptr, 0);
        });
    }
};

using ChipField = DeviceTreeTest;

// ---- numbers ----

TEST_F(ChipField, NumbersAreHexadecimalAndWrap) {
    Line line;
    line.address = " 0x1FFFFFFFE ";
    line.location = " 100000001 ";
    line.tail = " -|ID| 0x123456789 | fffffffff ";
    const device_node *node = line.read();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->address, 0xFFFFFFFEU);
    EXPECT_EQ(node->bus_no, 1U);
    EXPECT_EQ(node->version_reg, 0x23456789U);
    EXPECT_EQ(node->version_mask, 0xFFFFFFFFU);
}

TEST_F(ChipField, WhatIsNoNumberIsZero) {
    Line line;
    line.address = " none ";
    line.location = "-1";
    line.tail = " -|ID| zz | |";
    const device_node *node = line.read();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->address, 0U);
    EXPECT_EQ(node->bus_no, 0U);
    EXPECT_EQ(node->version_reg, 0U);
    EXPECT_EQ(node->version_mask, 0U);
}

// ---- texts ----

struct TextCase {
    const char *name;
    std::string text;
    std::string expected;
};

const TextCase kTexts[] = {
    {"AsItStands", "Text", "Text"},
    {"Trimmed", " Text ", "Text"},
    {"BlanksInside", " two words ", "two words"},
    {"Blank", " ", ""},
    {"Blanks", "    ", ""},
    {"LeftoverOfTwoBlanks", "  ab ", "aba"},
    {"TrimsNoTabs", "\tText\t", "\tText\t"},
    {"OfTwentyNine", std::string(29, 'x'), std::string(29, 'x')},
    {"OfThirty", std::string(30, 'x'), std::string(30, 'x')},
    {"OfThirtyOne", std::string(31, 'x'), std::string(30, 'x')},
    {"OfAMegabyte", std::string(1 << 20, 'x'), std::string(30, 'x')},
    {"TrimmedBeforeItIsCut", " " + std::string(30, 'x') + "y ", std::string(30, 'x')},
    {"CutBehindABlank", std::string(29, 'x') + " yz", std::string(29, 'x') + " "},
};

class ChipText : public DeviceTreeTest, public testing::WithParamInterface<TextCase> {};

TEST_P(ChipText, OfTheNameIsTrimmedAndCut) {
    Line line;
    line.name = GetParam().text;
    const device_node *node = line.read();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->name, GetParam().expected);
}

TEST_P(ChipText, OfTheIdentifierIsTrimmedAndCut) {
    Line line;
    line.tail = " -|" + GetParam().text + "|1";
    const device_node *node = line.read();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->chip_id, GetParam().expected);
    EXPECT_EQ(node->version_reg, 1U);
}

INSTANTIATE_TEST_SUITE_P(All, ChipText, testing::ValuesIn(kTexts),
                         [](const auto &text) { return text.param.name; });

TEST_F(ChipField, DebugEchoesTextsTrimmedAndCut) {
    set_config_debug_enable(1);
    Line line;
    line.name = " " + std::string(31, 'n') + " ";
    line.tail = " -| " + std::string(31, 'i') + " ";
    const Messages logged = line.logged();
    EXPECT_EQ(logged.at(4), (Message{3, std::string(30, 'n') + " "}));
    EXPECT_EQ(logged.at(8), (Message{3, std::string(30, 'i') + " "}));
}

TEST_F(ChipField, AnIdentifierThatIsNotThereIsEmpty) {
    for (const char *tail : {"", " -", " -|", " -| ", " -|\n"}) {
        Line line;
        line.tail = tail;
        const device_node *node = line.read();
        ASSERT_NE(node, nullptr) << tail;
        EXPECT_STREQ(node->chip_id, "") << tail;
        EXPECT_EQ(node->version_reg, 0U);
    }
}

// ---- the location ----

struct LocationCase {
    const char *name;
    const char *text;
    uint32_t bus;
    int32_t device;
    int32_t function;
    const char *not_found;  // null: nothing is looked for
};

// No machine has PCI buses of these numbers, but for those that begin at 0.
constexpr LocationCase kLocations[] = {
    {"Number", "10", 0x10, -1, -1, nullptr},
    {"Blanks", " 0x1f ", 0x1F, -1, -1, nullptr},
    {"DeviceAndFunction", "fb:1e.5", 0xFB, 0x1E, 5, "fb/1e.5"},
    {"Blanked", " fb : 1e . 5 ", 0xFB, 0x1E, 5, "fb/1e.5"},
    {"OneDigitEach", "f:2.0", 0xF, 2, 0, "0f/02.0"},
    {"Hexadecimal", "0xfb:0x1e.0x5", 0xFB, 0x1E, 5, "fb/1e.5"},
    {"Wide", "12345:678.9a", 0x12345, 0x678, 0x9A, "12345/678.9a"},
    {"NothingBehindTheDot", "fb:1e.", 0xFB, 0x1E, 0, "fb/1e.0"},
    {"NothingBehindTheColon", "fb:.", 0xFB, 0, 0, "fb/00.0"},
    {"WithoutADot", "fb:1e", 0xFB, -1, -1, nullptr},
    {"WithoutAColon", "fb.5", 0xFB, -1, -1, nullptr},
    {"ColonAtTheEnd", "fb:", 0xFB, -1, -1, nullptr},
};

class Location : public DeviceTreeTest, public testing::WithParamInterface<LocationCase> {};

TEST_P(Location, IsANumberOrBusDeviceAndFunction) {
    Line line;
    line.bus = "pci";
    line.location = GetParam().text;
    const device_node *node = line.read();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->bus_no, GetParam().bus);
    EXPECT_EQ(node->pci_dev, GetParam().device);
    EXPECT_EQ(node->pci_func, GetParam().function);
    Messages expected;
    if (GetParam().not_found != nullptr) {
        expected = {{1, std::string("PCI Device ") + GetParam().not_found + " not found \n"}};
    }
    EXPECT_EQ(line.logged(), expected);
}

INSTANTIATE_TEST_SUITE_P(All, Location, testing::ValuesIn(kLocations),
                         [](const auto &location) { return location.param.name; });

TEST_F(ChipField, ADotBeforeTheColonMakesNoFunction) {
    Line line;
    line.location = "3.5:1";
    const device_node *node = line.read();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->bus_no, 3U);
    EXPECT_EQ(node->pci_func, -1);
}

TEST_F(ChipField, AnyBusMayHaveAPciLocation) {
    Line line;
    line.bus = "mem";
    line.location = "fb:0.1";
    EXPECT_EQ(line.read()->bus_type, DIAG_BUS_MEM);
    EXPECT_EQ(line.head.node->pci_func, 1);
    EXPECT_EQ(line.logged(), (Messages{{1, "PCI Device fb/00.1 not found \n"}}));
}

TEST_F(ChipField, APciDeviceThatIsThereIsNotReported) {
    if (!std::filesystem::exists("/proc/bus/pci/00/00.0")) {
        GTEST_SKIP() << "this machine has no PCI device 00:00.0";
    }
    Line line;
    line.location = "0:0.0";
    EXPECT_EQ(line.logged(), Messages{});
}

// ---- muxes ----

TEST_F(ChipField, AMuxFieldThatBeginsWithBlankAndDashNamesNone) {
    for (const char *field : {" -", " - ", " --", " -1:2:3:4", " - /dev/i2c-1 1:2:3:4"}) {
        Line line;
        line.tail = std::string(field) + "|ID";
        const device_node *node = line.read();
        ASSERT_NE(node, nullptr) << field;
        EXPECT_EQ(node->mux_list, nullptr) << field;
        EXPECT_STREQ(node->chip_id, "ID");
        EXPECT_EQ(line.logged(), Messages{});
    }
}

TEST_F(ChipField, ABlankMuxFieldNamesNone) {
    for (const char *field : {" ", "    "}) {
        Line line;
        line.tail = std::string(field) + "|ID";
        const device_node *node = line.read();
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(node->mux_list, nullptr);
        EXPECT_STREQ(node->chip_id, "ID");
        EXPECT_EQ(line.logged(), Messages{});
    }
}

TEST_F(ChipField, AChainOfMuxesIsReadFromTheHostSideOn) {
    Line line;
    line.tail = "  bmc-2  70:0:ff:1:x:71:1:fe:2|ID";
    const device_node *node = line.read();
    ASSERT_NE(node, nullptr);
    ASSERT_EQ(length_of(node->mux_list), 2U);
    EXPECT_STREQ(node->mux_list->bus, "bmc-2");
    EXPECT_EQ(node->mux_list->addr, 0x70U);
    EXPECT_EQ(node->mux_list->next->bus, nullptr);
    EXPECT_EQ(node->mux_list->next->val, 2U);
    EXPECT_STREQ(node->chip_id, "ID");
}

TEST_F(ChipField, AMuxThatCannotBeReadFailsTheNode) {
    struct Case {
        const char *field;
        const char *missing;
    };
    // A dash without a blank before it is a bus name.
    for (const Case &bad : {Case{"-", "address"},
                            {"- ", "address"},
                            {" ID", "address"},
                            {"b 1", "register"},
                            {"b 1:2", "mask"},
                            {"b 1:2:3", "Value"},
                            {"b 1:2:3:4:x", "address"},
                            {"b 1:2:3:4:x:5:6:7", "Value"}}) {
        Line line;
        line.tail = std::string(bad.field) + "|ID|1|2";
        EXPECT_EQ(line.read(), nullptr) << bad.field;
        ASSERT_NE(line.head.node, nullptr);
        EXPECT_EQ(line.head.node->chip_id, nullptr);
        EXPECT_NE(line.head.node->mux_list, nullptr) << "what was read stays";
        EXPECT_EQ(line.logged(),
                  (Messages{{1, std::string("Invalid MUX specification. Expecting a Mux ") +
                                    bad.missing + "\n"}}));
    }
}

// ---- bits of a register number ----

struct OffsetCase {
    const char *name;
    const char *text;
    uint32_t expected;
    bool reported;
};

constexpr OffsetCase kOffsets[] = {
    {"Eight", "|8", 8, false},         {"Sixteen", "|16", 16, false},
    {"Blanks", "| 16 \n", 16, false},  {"Behind", "|16 bits", 16, false},
    {"NotThere", "", 8, false},        {"Empty", "|", 8, false},
    {"EmptyLine", "|\n", 8, false},    {"Blank", "|  \n", 8, false},
    {"Hexadecimal", "|10", 0, true},   {"WithPrefix", "|0x10", 0, true},
    {"ThirtyTwo", "|32", 0, true},     {"Zero", "|0", 0, true},
    {"BelowZero", "|-8", 0, true},     {"NoNumber", "|x", 0, true},
    {"Wraps", "|4294967304", 0, true}, {"Huge", "|99999999999999999999", 0, true},
};

class OffsetLength : public DeviceTreeTest, public testing::WithParamInterface<OffsetCase> {};

TEST_P(OffsetLength, IsEightOrSixteenInDecimal) {
    Line line;
    line.tail += GetParam().text;
    const device_node *node = line.read();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->offset_len, GetParam().expected);
    EXPECT_EQ(line.logged(),
              GetParam().reported ? (Messages{{0, "Unsupported offset length \n"}}) : Messages{});
}

INSTANTIATE_TEST_SUITE_P(All, OffsetLength, testing::ValuesIn(kOffsets),
                         [](const auto &offset) { return offset.param.name; });

// ---- the tree ----

TEST_F(ChipField, ChipsAreAppendedInOrder) {
    TextLoad load;
    for (const char *name : {"a", "b", "c"}) {
        std::string line = chip_line(name);
        device_node *node = parse_device_config(line.data(), &load.tree.head, 0, nullptr, 1);
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(load.chip(load.chips() - 1), node);
    }
    EXPECT_EQ(load.names(), (Names{"a", "b", "c"}));
}

TEST_F(ChipField, TheBusbrokerFlagChangesNothing) {
    for (const uint8_t supported : {uint8_t{0}, uint8_t{1}, uint8_t{255}}) {
        TreeOwner tree;
        std::string line = chip_line("N");
        EXPECT_NE(parse_device_config(line.data(), &tree.head, 0, nullptr, supported), nullptr);
        EXPECT_EQ(tree.head.node->version_mask, 0xFFU);
    }
}

TEST_F(ChipField, WithoutATreeTheNodeIsAnsweredAllTheSame) {
    const WithoutLeakCheck the_head_is_never_handed_back;
    std::string line = chip_line("N");
    const device_node *node = parse_device_config(line.data(), nullptr, 0, nullptr, 0);
    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->name, "N");
}

}  // namespace
}  // namespace diag::test
