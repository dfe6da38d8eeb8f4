// SPDX-License-Identifier: MIT
#include <cinttypes>
#include <cstdio>
#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/common/device_tree/device_tree_test.h"
#include "tests/support/without_leak_check.h"

namespace diag::test {
namespace {

using ChipXml = DeviceTreeTest;
using ChipMuxXml = DeviceTreeTest;

// A chip read from an element.
struct XmlChip {
    TreeOwner tree;
    device_node *node;

    explicit XmlChip(const std::string &content) {
        const XmlText text("<chip>" + content + "</chip>");
        node = parse_device_config(nullptr, &tree.head, 1, text.root(), 0);
    }
};

std::string element(const std::string &tag, const std::string &text) {
    return "<" + tag + ">" + text + "</" + tag + ">";
}

Messages logged_for_chip(const std::string &content) {
    return logged_by([&] { XmlChip{content}; });
}

// ---- chip types ----

struct TypeCase {
    const char *name;
    const char *text;
    int32_t expected;
};

constexpr TypeCase kTypeCases[] = {
    {"Cpld", "CPLD", DIAG_CHIP_CPLD},
    {"Fpga", "FPGA", DIAG_CHIP_FPGA},
    {"Tpm", "TPM", DIAG_CHIP_TPM},
    {"Nvram", "NVRAM", DIAG_CHIP_NVRAM},
    {"InsideText", "main FPGA chip", DIAG_CHIP_FPGA},
    {"CpldBeforeFpga", "FPGA or CPLD", DIAG_CHIP_CPLD},
    {"TpmBeforeNvram", "NVRAM of the TPM", DIAG_CHIP_TPM},
    {"LowerCase", "cpld", DIAG_CHIP_OTHER},
    {"HalfAWord", "NVRA", DIAG_CHIP_OTHER},
    {"Unknown", "DIMM", DIAG_CHIP_OTHER},
};

class ChipType : public DeviceTreeTest, public testing::WithParamInterface<TypeCase> {};

TEST_P(ChipType, IsLookedForInTheText) {
    const XmlChip chip(element("chip-type", GetParam().text));
    ASSERT_NE(chip.node, nullptr);
    EXPECT_EQ(chip.node->chip_type, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(All, ChipType, testing::ValuesIn(kTypeCases),
                         [](const auto &type) { return type.param.name; });

// ---- buses ----

struct BusCase {
    const char *name;
    const char *text;
    int32_t type;
    uint32_t number;
};

constexpr BusCase kBusCases[] = {
    {"I2c", "/dev/i2c-3", DIAG_BUS_I2C, 3},
    {"I2cNumberIsHexadecimal", "/dev/i2c-10", DIAG_BUS_I2C, 16},
    {"I2cNumberWithPrefix", "/dev/i2c-0x1f", DIAG_BUS_I2C, 0x1F},
    {"I2cNumberStops", "/dev/i2c-5:2", DIAG_BUS_I2C, 5},
    {"I2cNumberWraps", "/dev/i2c-123456789", DIAG_BUS_I2C, 0x23456789},
    {"I2cWithoutNumber", "/dev/i2c", DIAG_BUS_I2C, 0},
    {"I2cWithoutDigits", "/dev/i2c-", DIAG_BUS_I2C, 0},
    {"I2cWithoutDash", "/dev/i2c3", DIAG_BUS_I2C, 0},
    {"I2cWithoutPath", "i2c-3", DIAG_BUS_OTHER, 0},
    {"Bmc", "bmc-2", DIAG_BUS_BMC, 2},
    {"BmcNumberIsHexadecimal", "bmc-1a", DIAG_BUS_BMC, 0x1A},
    {"BmcWithoutNumber", "bmc", DIAG_BUS_BMC, 0},
    {"Pci", "pci", DIAG_BUS_PCI, 0},
    {"PciWithNumber", "pci-3", DIAG_BUS_PCI, 0},
    {"Mem", "mem", DIAG_BUS_MEM, 0},
    {"MemPrefix", "memory", DIAG_BUS_MEM, 0},
    {"Lpc", "lpc", DIAG_BUS_LPC, 0},
    {"Io", "io", DIAG_BUS_IO, 0},
    {"IoPrefix", "ioport", DIAG_BUS_IO, 0},
    {"Mtd", "mtd-4", DIAG_BUS_MTD, 4},
    {"MtdNumberIsHexadecimal", "mtd-10", DIAG_BUS_MTD, 16},
    {"MtdWithoutNumber", "mtd", DIAG_BUS_MTD, 0},
    {"Unknown", "spi", DIAG_BUS_OTHER, 0},
    {"PrefixAlone", " lpc", DIAG_BUS_OTHER, 0},
    {"UpperCase", "LPC", DIAG_BUS_OTHER, 0},
};

class ChipBus : public DeviceTreeTest, public testing::WithParamInterface<BusCase> {};

TEST_P(ChipBus, IsMatchedAtTheFront) {
    const XmlChip chip(element("chip-bus", GetParam().text));
    ASSERT_NE(chip.node, nullptr);
    EXPECT_EQ(chip.node->bus_type, GetParam().type);
    EXPECT_EQ(chip.node->bus_no, GetParam().number);
    EXPECT_EQ(chip.node->pci_dev, -1);
    EXPECT_EQ(chip.node->pci_func, -1);
}

INSTANTIATE_TEST_SUITE_P(All, ChipBus, testing::ValuesIn(kBusCases),
                         [](const auto &bus) { return bus.param.name; });

// ---- all fields ----

TEST_F(ChipXml, AllFieldsAreRead) {
    const XmlChip chip(
        "<chip-type>FPGA</chip-type><chip-name>Main FPGA</chip-name>"
        "<chip-bus>/dev/i2c-2</chip-bus><chip-address>0x60</chip-address>"
        "<chip-identifier>FPGA0</chip-identifier><chip-version-reg>0x1f</chip-version-reg>"
        "<chip-version-mask>f0</chip-version-mask><chip-offset-length>10</chip-offset-length>"
        "<chip-register-endian>1</chip-register-endian><chip-dev-id>DEV 1</chip-dev-id>");
    const device_node *node = chip.node;
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(chip.tree.head.node, node);
    EXPECT_EQ(node->chip_type, DIAG_CHIP_FPGA);
    EXPECT_STREQ(node->name, "Main FPGA");
    EXPECT_EQ(node->bus_type, DIAG_BUS_I2C);
    EXPECT_EQ(node->bus_no, 2U);
    EXPECT_EQ(node->address, 0x60U);
    EXPECT_STREQ(node->chip_id, "FPGA0");
    EXPECT_EQ(node->version_reg, 0x1FU);
    EXPECT_EQ(node->version_mask, 0xF0U);
    EXPECT_EQ(node->offset_len, 16U);  // hexadecimal as the others
    EXPECT_EQ(node->reg_le, 1);
    EXPECT_STREQ(node->dev_id, "DEV 1");
    EXPECT_EQ(node->mux_list, nullptr);
    EXPECT_EQ(node->reg_list, nullptr);
}

TEST_F(ChipXml, EmptyElementGivesANodeOfUnknownKind) {
    const XmlChip chip("");
    ASSERT_NE(chip.node, nullptr);
    EXPECT_EQ(chip.node->chip_type, DIAG_CHIP_OTHER);
    EXPECT_EQ(chip.node->bus_type, DIAG_BUS_OTHER);
    EXPECT_EQ(chip.node->offset_len, 0U);
    EXPECT_EQ(chip.node->name, nullptr);
    EXPECT_EQ(chip.node->chip_id, nullptr);
    EXPECT_EQ(chip.node->dev_id, nullptr);
}

TEST_F(ChipXml, AddressHolds32Bits) {
    EXPECT_EQ(XmlChip("<chip-address>ffffffff</chip-address>").node->address, 0xFFFFFFFFU);
    EXPECT_EQ(XmlChip("<chip-address>123456789</chip-address>").node->address, 0x23456789U);
    EXPECT_EQ(XmlChip("<chip-version-reg>1ffffffff</chip-version-reg>").node->version_reg,
              0xFFFFFFFFU);
}

TEST_F(ChipXml, EndianIsLittleForExactlyOne) {
    const auto read = [](const char *text) {
        return XmlChip(element("chip-register-endian", text)).node->reg_le;
    };
    EXPECT_EQ(read("1"), 1);
    for (const char *text : {"0", "2", "01", "1 ", " 1", "11", "true"}) {
        EXPECT_EQ(read(text), 0) << text;
    }
    EXPECT_EQ(XmlChip("<chip-register-endian>1</chip-register-endian>"
                      "<chip-register-endian>0</chip-register-endian>")
                  .node->reg_le,
              0);
}

TEST_F(ChipXml, AnEmptyIdentifierIsAnEmptyText) {
    EXPECT_STREQ(XmlChip("<chip-identifier/>").node->chip_id, "");
    EXPECT_STREQ(XmlChip("<chip-identifier></chip-identifier>").node->chip_id, "");
    EXPECT_STREQ(XmlChip("<chip-identifier> </chip-identifier>").node->chip_id, " ");
    EXPECT_EQ(XmlChip("<chip-identifier><x/></chip-identifier>").node->chip_id, nullptr);
}

TEST_F(ChipXml, TagsWithoutTextAndUnknownOnesArePassedOverInSilence) {
    const std::string content =
        "text<!-- chip-name --><?chip-name n?><![CDATA[c]]><chip-name/><chip-type/><chip-bus/>"
        "<chip-address><x>60</x></chip-address><chip-version-reg/><chip-version-mask/>"
        "<chip-offset-length/><chip-register-endian/><chip-dev-id><!-- d --></chip-dev-id>"
        "<chip-names>N</chip-names><chip>inner</chip>";
    const XmlChip chip(content);
    ASSERT_NE(chip.node, nullptr);
    EXPECT_EQ(chip.node->name, nullptr);
    EXPECT_EQ(chip.node->chip_type, DIAG_CHIP_OTHER);
    EXPECT_EQ(chip.node->bus_type, DIAG_BUS_OTHER);
    EXPECT_EQ(chip.node->address, 0U);
    EXPECT_EQ(chip.node->dev_id, nullptr);
    EXPECT_EQ(chip.tree.head.next, nullptr);
    EXPECT_EQ(logged_for_chip(content), Messages{});
}

TEST_F(ChipXml, TheLastOfSeveralEqualTagsHolds) {
    const XmlChip chip(
        "<chip-name>a</chip-name><chip-name>second</chip-name><chip-dev-id>a</chip-dev-id>"
        "<chip-dev-id>b</chip-dev-id><chip-identifier>a</chip-identifier><chip-identifier/>"
        "<chip-type>CPLD</chip-type><chip-type>none</chip-type>"
        "<chip-bus>mtd-3</chip-bus><chip-bus>lpc</chip-bus>");
    EXPECT_STREQ(chip.node->name, "second");
    EXPECT_STREQ(chip.node->dev_id, "b");
    EXPECT_STREQ(chip.node->chip_id, "");
    EXPECT_EQ(chip.node->chip_type, DIAG_CHIP_OTHER);
    EXPECT_EQ(chip.node->bus_type, DIAG_BUS_LPC);
    EXPECT_EQ(XmlChip("<chip-bus>lpc</chip-bus><chip-bus>none</chip-bus>").node->bus_type,
              DIAG_BUS_OTHER);
}

TEST_F(ChipXml, NameOfAMegabyteIsKept) {
    const std::string name(1 << 20, 'n');
    set_config_debug_enable(1);
    testing::internal::CaptureStdout();
    set_verb_level(3);
    const XmlChip chip(element("chip-name", name));
    set_verb_level(0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(chip.node->name, name);
}

TEST_F(ChipXml, RegistersAreHandedToTheRegisterParser) {
    const XmlChip chip(
        "<reg><reg-offset>1</reg-offset></reg><chip-name>N</chip-name>"
        "<reg><reg-offset>2</reg-offset><reg-test-id>5</reg-test-id></reg><reg/>");
    const std::vector<reg_def *> registers = registers_of(chip.node->reg_list);
    ASSERT_EQ(registers.size(), 3U);
    EXPECT_EQ(registers[0]->offset, 1U);
    EXPECT_EQ(registers[1]->offset, 2U);
    EXPECT_EQ(registers[2]->offset, 0U);
    EXPECT_EQ(chip.node->reg_list->count, 3U);
    EXPECT_EQ(registers_of(chip.node->test_regs_c), std::vector{registers[1]});
}

TEST_F(ChipXml, NodesAreAppendedInOrder) {
    TreeOwner tree;
    const XmlText text("<chip><chip-name>N</chip-name></chip>");
    device_node *nodes[3];
    for (device_node *&node : nodes) {
        node = parse_device_config(nullptr, &tree.head, 1, text.root(), 1);
    }
    EXPECT_EQ(tree.head.node, nodes[0]);
    EXPECT_EQ(tree.head.next->node, nodes[1]);
    EXPECT_EQ(tree.head.next->next->node, nodes[2]);
    EXPECT_EQ(tree.head.next->next->next, nullptr);
}

TEST_F(ChipXml, WithoutATreeANodeIsReadAllTheSame) {
    const WithoutLeakCheck head_is_never_handed_back;
    const XmlText text("<chip><chip-name>N</chip-name></chip>");
    device_node *node = parse_device_config(nullptr, nullptr, 1, text.root(), 0);
    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->name, "N");
    free_node(node);
}

// ---- debug ----

TEST_F(ChipXml, DebugEchoesEachValueAndThenTheNodeAtLevelTwo) {
    set_config_debug_enable(1);
    const std::string content =
        "<chip-type>CPLD</chip-type><chip-name>N</chip-name><chip-bus>bmc-1</chip-bus>"
        "<chip-address>60</chip-address><chip-identifier>I</chip-identifier><chip-identifier/>"
        "<chip-version-reg>1</chip-version-reg><chip-version-mask>2</chip-version-mask>"
        "<chip-offset-length>8</chip-offset-length><chip-register-endian>0</chip-register-endian>"
        "<chip-dev-id>D</chip-dev-id><chip-mux><bus>B</bus><addr>70</addr></chip-mux>"
        "<reg><reg-size>16</reg-size></reg>";
    TreeOwner tree;
    const XmlText text("<chip>" + content + "</chip>");
    const Messages messages = logged_by([&] {
        free_tree(&tree.head);
        parse_device_config(nullptr, &tree.head, 1, text.root(), 0);
    });
    Messages expected;
    for (const char *value :
         {"CPLD", "N", "bmc-1", "60", "I", "", "1", "2", "8", "0", "D", "B", "70", "16"}) {
        expected.push_back({2, std::string("Debug: ") + value + " "});
    }
    expected.push_back({2, "tree: POINTER ptr: POINTER device: POINTER next 0\n"});
    expected.push_back({2, "dev: 0 addr: 0x60 desc: N intf: 6\n"});
    EXPECT_EQ(messages, expected);
}

std::string tree_line(const device_tree *head, const device_tree *last) {
    char line[200];
    std::snprintf(
        line, sizeof line, "tree: %#lx ptr: %#lx device: %#lx next %#lx\n",
        reinterpret_cast<unsigned long>(head), reinterpret_cast<unsigned long>(last),
        reinterpret_cast<unsigned long>(last->next != nullptr ? last->next->node : last->node),
        reinterpret_cast<unsigned long>(last->next));
    return line;
}

TEST_F(ChipXml, DebugNamesHeadElementNodeAndWhatFollows) {
    set_config_debug_enable(1);
    TreeOwner tree;
    const XmlText text("<chip/>");
    const auto read = [&] { parse_device_config(nullptr, &tree.head, 1, text.root(), 0); };
    const std::string node_line = "dev: -1 addr: 0 desc:  intf: -1\n";
    const std::string first = text_logged_by(read);
    EXPECT_EQ(first, tree_line(&tree.head, &tree.head) + node_line);
    // The element named is the last one before the call, so its `next` is the new element.
    const std::string second = text_logged_by(read);
    EXPECT_EQ(second, tree_line(&tree.head, &tree.head) + node_line);
    const std::string third = text_logged_by(read);
    EXPECT_EQ(third, tree_line(&tree.head, tree.head.next) + node_line);
}

TEST_F(ChipXml, WithoutDebugAllIsSilent) {
    EXPECT_EQ(logged_for_chip("<chip-name>N</chip-name><chip-mux><bus>b</bus></chip-mux>"),
              Messages{});
}

// ---- muxes of a chip ----

TEST_F(ChipMuxXml, AllFieldsAreRead) {
    const XmlChip chip(
        "<chip-mux><bus>/dev/i2c-1</bus><addr>0x70</addr><reg>1</reg>"
        "<mask>ff</mask><val>04</val></chip-mux>");
    const mux_entry *mux = chip.node->mux_list;
    ASSERT_NE(mux, nullptr);
    EXPECT_STREQ(mux->bus, "/dev/i2c-1");
    EXPECT_EQ(mux->addr, 0x70U);
    EXPECT_EQ(mux->reg, 1U);
    EXPECT_EQ(mux->mask, 0xFFU);
    EXPECT_EQ(mux->val, 4U);
    EXPECT_EQ(mux->next, nullptr);
}

TEST_F(ChipMuxXml, EachElementIsOneMuxTheFirstNearestTheHost) {
    const XmlChip chip(
        "<chip-mux><bus>bmc-1</bus><addr>1</addr></chip-mux><chip-name>N</chip-name>"
        "<chip-mux><addr>2</addr></chip-mux><chip-mux/>");
    const mux_entry *mux = chip.node->mux_list;
    ASSERT_EQ(length_of(mux), 3U);
    EXPECT_EQ(mux->addr, 1U);
    EXPECT_EQ(mux->next->addr, 2U);
    EXPECT_EQ(mux->next->bus, nullptr);
    EXPECT_EQ(mux->next->next->addr, 0U);
    EXPECT_EQ(mux->next->next->bus, nullptr);
}

TEST_F(ChipMuxXml, AnyStartOfAWordNamesTheField) {
    const XmlChip chip("<chip-mux><b>lpc</b><a>1</a><re>2</re><m>3</m><va>4</va></chip-mux>");
    const mux_entry *mux = chip.node->mux_list;
    EXPECT_STREQ(mux->bus, "lpc");
    EXPECT_EQ(mux->addr, 1U);
    EXPECT_EQ(mux->reg, 2U);
    EXPECT_EQ(mux->mask, 3U);
    EXPECT_EQ(mux->val, 4U);
}

TEST_F(ChipMuxXml, LongerNamesNonElementsAndTagsWithoutTextArePassedOverInSilence) {
    const std::string content =
        "<chip-mux>t<!-- addr --><?addr 1?><bus-no>1</bus-no><addrs>1</addrs><reg/><mask><x/>"
        "</mask><val><![CDATA[1]]></val><us>x</us></chip-mux>";
    const XmlChip chip(content);
    const mux_entry *mux = chip.node->mux_list;
    ASSERT_NE(mux, nullptr);
    EXPECT_EQ(mux->bus, nullptr);
    EXPECT_EQ(mux->addr, 0U);
    EXPECT_EQ(mux->reg, 0U);
    EXPECT_EQ(mux->mask, 0U);
    EXPECT_EQ(mux->val, 0U);
    EXPECT_EQ(logged_for_chip(content), Messages{});
}

TEST_F(ChipMuxXml, TheLastOfSeveralBusesHolds) {
    const XmlChip chip("<chip-mux><bus>a</bus><bus>longer</bus></chip-mux>");
    EXPECT_STREQ(chip.node->mux_list->bus, "longer");
}

}  // namespace
}  // namespace diag::test
