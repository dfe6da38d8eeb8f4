// SPDX-License-Identifier: MIT
// What is written and read again: the same, but for what the two forms are known to differ in.
#include <cstdio>
#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/common/device_tree/loader_text_test.h"

namespace diag::test {
namespace {

std::string saved(device_tree *head) {
    const TemporaryFolder folder;
    const std::string path = folder.file("saved.txt");
    FILE *stream = std::fopen(path.c_str(), "w");
    EXPECT_EQ(save_cfg_file(stream, head), 0);
    std::fclose(stream);
    return read_file(path);
}

// A description, the tree it makes, the file that is written of it, and the tree that one makes.
struct RoundTrip {
    TextLoad original;
    std::string text;
    TextLoad copy;

    explicit RoundTrip(const std::string &chips) {
        original.load("=====\n" + chips);
        EXPECT_EQ(original.status, 0U);
        text = saved(&original.tree.head);
        copy.load(text);
    }
};

using Saved = DeviceTreeTest;

constexpr char kChip[] = "C | FPGA | 0x1F40 | Main | i2c | 1f | - |   | 0x10 | 0xF0 | 16\n";

// ---- the same ----

TEST_F(Saved, ChipsReadBackWithTheirRegisters) {
    const RoundTrip trip(std::string(kChip) +
                         "R | 0x1f | 16 | 0xfff0 | CONTROL | RW | 0xbeef | 1\n"
                         "B | 15:4 | MODE | RW | 0x1a\n"
                         "I | 1f | on and off\n"
                         "I | 0 | off\n"
                         "B | 3 | READY | RO | 1\n"
                         "R | 0x123 | 32 | 0xffffffff | STATUS | RC | 0xffffffff | 0\n"
                         "=====\n"
                         "C | CPLD | 0x41 | Other | bmc | 2\n"
                         "R | 0x0 | 8 | 0xff | ID | WO | 0x0 | 0\n");
    ASSERT_EQ(trip.copy.status, 0U);
    ASSERT_EQ(trip.copy.names(), (Names{"Main", "Other"}));
    const device_node *main = trip.copy.tree.head.node;
    EXPECT_EQ(main->chip_type, DIAG_CHIP_FPGA);
    EXPECT_EQ(main->address, 0x1F40U);
    EXPECT_EQ(main->bus_type, DIAG_BUS_I2C);
    EXPECT_EQ(main->bus_no, 0x1FU);
    const std::vector<reg_def *> registers = registers_of(main->reg_list);
    ASSERT_EQ(registers.size(), 2U);
    EXPECT_EQ(registers[0]->offset, 0x1FU);
    EXPECT_EQ(registers[0]->size, 16U);
    EXPECT_EQ(registers[0]->mask, 0xFFF0U);
    EXPECT_STREQ(registers[0]->name, "CONTROL");
    EXPECT_EQ(registers[0]->access, DIAG_ACCESS_RW);
    EXPECT_EQ(registers[0]->def_val, 0xBEEFU);
    EXPECT_EQ(registers[0]->testable, 1U);
    const bit_def *mode = registers[0]->bits;
    ASSERT_EQ(length_of(mode), 2U);
    EXPECT_EQ(mode->start, 4);
    EXPECT_EQ(mode->end, 15);
    EXPECT_STREQ(mode->name, "MODE");
    EXPECT_EQ(mode->access, DIAG_ACCESS_RW);
    EXPECT_EQ(mode->def_val, 0x1AU);
    ASSERT_EQ(length_of(mode->infos), 2U);
    EXPECT_EQ(mode->infos->value, 0x1FU);
    EXPECT_STREQ(mode->infos->desc, "on and off");
    EXPECT_EQ(mode->next->end, 3);
    EXPECT_EQ(mode->next->access, DIAG_ACCESS_RO);
    EXPECT_EQ(registers[1]->mask, 0xFFFFFFFFU);
    EXPECT_EQ(registers[1]->access, DIAG_ACCESS_RC);
    const device_node *other = trip.copy.tree.head.next->node;
    EXPECT_EQ(other->chip_type, DIAG_CHIP_CPLD);
    EXPECT_EQ(other->bus_type, DIAG_BUS_BMC);
    EXPECT_EQ(other->reg_list->reg->access, DIAG_ACCESS_WO);
}

struct WordCase {
    const char *name;
    const char *word;
};

class SavedType : public DeviceTreeTest, public testing::WithParamInterface<WordCase> {};

TEST_P(SavedType, ReadsBack) {
    const RoundTrip trip("C | " + std::string(GetParam().word) + " | 1 | N | lpc | 0\n");
    ASSERT_EQ(trip.copy.status, 0U);
    EXPECT_EQ(trip.copy.tree.head.node->chip_type, trip.original.tree.head.node->chip_type);
}

INSTANTIATE_TEST_SUITE_P(All, SavedType,
                         testing::Values(WordCase{"Cpld", "CPLD"}, WordCase{"Fpga", "FPGA"},
                                         WordCase{"Tpm", "TPM"}, WordCase{"Nvram", "NVRAM"},
                                         WordCase{"Other", "other"}),
                         [](const auto &type) { return type.param.name; });

class SavedBus : public DeviceTreeTest, public testing::WithParamInterface<WordCase> {};

TEST_P(SavedBus, ReadsBack) {
    const RoundTrip trip("C | CPLD | 1 | N | " + std::string(GetParam().word) + " | 1f\n");
    ASSERT_EQ(trip.copy.status, 0U);
    EXPECT_EQ(trip.copy.tree.head.node->bus_type, trip.original.tree.head.node->bus_type);
    EXPECT_EQ(trip.copy.tree.head.node->bus_no, 0x1FU);
}

INSTANTIATE_TEST_SUITE_P(All, SavedBus,
                         testing::Values(WordCase{"I2c", "i2c"}, WordCase{"Bmc", "bmc"},
                                         WordCase{"Pci", "pci"}, WordCase{"Mem", "mem"},
                                         WordCase{"Lpc", "lpc"}, WordCase{"Io", "io"},
                                         WordCase{"Other", "other"}),
                         [](const auto &bus) { return bus.param.name; });

TEST_F(Saved, AnEmptyTreeReadsBackAsOne) {
    const RoundTrip trip("");
    EXPECT_EQ(trip.copy.status, 0U);
    EXPECT_EQ(trip.copy.chips(), 0U);
}

TEST_F(Saved, SavedAgainIsTheSameFromTheSecondTimeOn) {
    RoundTrip trip(std::string(kChip) +
                   "R | 1 | 8 | ff | R | RMW | 1 | 1 | 1 | v1\nB | 0 | B | RMW | 1\nI | 1 | i\n");
    ASSERT_EQ(trip.copy.status, 0U);
    // The version register has become the identifier, so the copy of the copy does not load.
    const std::string second = saved(&trip.copy.tree.head);
    EXPECT_NE(second.find("|0x10 | 0xf0 | 0x0\n"), std::string::npos);
    EXPECT_EQ(TextLoad(second).status, 0xFFFFFFFFU);
}

// ---- known differences ----

TEST_F(Saved, AnIdentifierIsReadAsAMuxAndFails) {
    const RoundTrip trip("C | FPGA | 40 | Main | i2c | 3 | - | ID | 10 | f0\n");
    EXPECT_NE(trip.text.find("| 3 |ID | 0x10 | 0xf0\n"), std::string::npos);
    EXPECT_EQ(trip.copy.status, 0xFFFFFFFFU);
    EXPECT_EQ(logged_for_description(trip.text),
              (Messages{{1, "Invalid MUX specification. Expecting a Mux address\n"}}));
}

// One that looks like muxes makes some.
TEST_F(Saved, AnIdentifierOfTheFormOfAMuxBecomesOne) {
    const RoundTrip trip("C | FPGA | 40 | Main | i2c | 3 | - | bmc-1 1:2:3:4 | 10 | f0\n");
    EXPECT_EQ(trip.copy.status, 0U);
    const device_node *copy = trip.copy.tree.head.node;
    EXPECT_EQ(length_of(copy->mux_list), 1U);
    EXPECT_STREQ(copy->chip_id, "0x10");
}

TEST_F(Saved, WithoutAnIdentifierTheVersionRegisterBecomesOne) {
    const RoundTrip trip(kChip);
    ASSERT_EQ(trip.copy.status, 0U);
    const device_node *original = trip.original.tree.head.node;
    const device_node *copy = trip.copy.tree.head.node;
    EXPECT_STREQ(original->chip_id, "");
    EXPECT_STREQ(copy->chip_id, "0x10");
    EXPECT_EQ(copy->version_reg, 0xF0U);
    EXPECT_EQ(copy->version_mask, 0U);
    EXPECT_EQ(original->offset_len, 16U);
    EXPECT_EQ(copy->offset_len, 8U);
}

TEST_F(Saved, MuxesAndThePciLocationAreLost) {
    const RoundTrip trip("C | FPGA | 40 | Main | pci | fb:1e.5 |/dev/i2c-1 1:2:3:4|\n");
    ASSERT_EQ(trip.copy.status, 0U);
    const device_node *original = trip.original.tree.head.node;
    const device_node *copy = trip.copy.tree.head.node;
    EXPECT_NE(original->mux_list, nullptr);
    EXPECT_EQ(copy->mux_list, nullptr);
    EXPECT_EQ(original->pci_func, 5);
    EXPECT_EQ(copy->bus_no, 0xFBU);
    EXPECT_EQ(copy->pci_dev, -1);
    EXPECT_EQ(copy->pci_func, -1);
}

TEST_F(Saved, BusMtdBecomesUnknown) {
    const RoundTrip trip("C | NVRAM | 40 | Flash | mtd | 2\n");
    ASSERT_EQ(trip.copy.status, 0U);
    EXPECT_EQ(trip.original.tree.head.node->bus_type, DIAG_BUS_MTD);
    EXPECT_EQ(trip.copy.tree.head.node->bus_type, DIAG_BUS_OTHER);
    EXPECT_EQ(trip.copy.tree.head.node->bus_no, 2U);
}

TEST_F(Saved, AccessRmwBecomesUnknown) {
    const RoundTrip trip(std::string(kChip) +
                         "R | 1 | 8 | ff | R | RMW | 1 | 1\nB | 0 | B | RMW | 1\n");
    ASSERT_EQ(trip.copy.status, 0U);
    const reg_def *original = trip.original.tree.head.node->reg_list->reg;
    const reg_def *copy = trip.copy.tree.head.node->reg_list->reg;
    EXPECT_EQ(original->access, DIAG_ACCESS_RMW);
    EXPECT_EQ(original->bits->access, DIAG_ACCESS_RMW);
    EXPECT_EQ(copy->access, DIAG_ACCESS_OTHER);
    EXPECT_EQ(copy->bits->access, DIAG_ACCESS_OTHER);
    EXPECT_EQ(copy->bits->def_val, 1U);
}

TEST_F(Saved, TheVersionOfARegisterBecomesItsValidateFlag) {
    const RoundTrip trip(std::string(kChip) +
                         "R | 1 | 8 | ff | R | RW | 1 | 1 | 1 | 7.2 | 4 | 5a | ones\n");
    ASSERT_EQ(trip.copy.status, 0U);
    const reg_def *original = trip.original.tree.head.node->reg_list->reg;
    const reg_def *copy = trip.copy.tree.head.node->reg_list->reg;
    EXPECT_EQ(original->validate, 1U);
    EXPECT_STREQ(original->version, "7.2");
    EXPECT_EQ(copy->validate, 7U);
    EXPECT_EQ(copy->version, nullptr);
}

TEST_F(Saved, TestRolesAreLost) {
    const RoundTrip trip(std::string(kChip) +
                         "R | 1 | 8 | ff | R | RW | 1 | 1 | 0 | v | 3 | ones\n");
    ASSERT_EQ(trip.copy.status, 0U);
    const device_node *original = trip.original.tree.head.node;
    const device_node *copy = trip.copy.tree.head.node;
    EXPECT_EQ(original->test_regs_a->count, 1U);
    EXPECT_EQ(original->test_regs_mode, 2U);
    EXPECT_EQ(copy->test_regs_a->count, 0U);
    EXPECT_EQ(copy->test_regs_mode, 0U);
    EXPECT_EQ(copy->reg_list->reg->test_desc, nullptr);
    EXPECT_EQ(copy->reg_list->reg->test_data, 0U);
}

// An empty text vanishes between its separators, and the fields behind it move up.
TEST_F(Saved, ARegisterWithoutANameDoesNotReadBack) {
    const RoundTrip trip(std::string(kChip) + "R | 1 | 8 | ff\n");
    ASSERT_EQ(trip.copy.status, 0U);
    const reg_def *copy = trip.copy.tree.head.node->reg_list->reg;
    EXPECT_EQ(trip.original.tree.head.node->reg_list->reg->name, nullptr);
    EXPECT_STREQ(copy->name, "RO");
    EXPECT_EQ(copy->access, DIAG_ACCESS_OTHER);
}

TEST_F(Saved, DeviceIdsByteOrderAndLengthsOfAnXmlBoardAreLost) {
    Load original;
    original.from_text(
        "<config><chip><chip-name>N</chip-name><chip-dev-id>dev</chip-dev-id>"
        "<chip-register-endian>1</chip-register-endian><chip-offset-length>10</chip-offset-length>"
        "<reg><reg-name>R</reg-name><reg-length>4</reg-length><reg-size>8</reg-size></reg>"
        "</chip></config>");
    ASSERT_EQ(original.status, 0U);
    const TextLoad copy(saved(&original.tree.head));
    ASSERT_EQ(copy.status, 0U);
    EXPECT_STREQ(original.tree.head.node->dev_id, "dev");
    EXPECT_EQ(copy.tree.head.node->dev_id, nullptr);
    EXPECT_EQ(copy.tree.head.node->reg_le, 0);
    EXPECT_EQ(copy.tree.head.node->offset_len, 8U);
    EXPECT_EQ(original.tree.head.node->reg_list->reg->length, 4U);
    EXPECT_EQ(copy.tree.head.node->reg_list->reg->length, 1U);
}

TEST_F(Saved, TheMaskCheckHoldsForWhatIsReadBack) {
    Load original;
    original.from_text(
        "<config><chip><chip-name>N</chip-name><reg><reg-name>R</reg-name><reg-size>8</reg-size>"
        "<reg-mask>ff</reg-mask><reg-access>RW</reg-access><reg-testable>1</reg-testable>"
        "<bit> <bit-range>0</bit-range><bit-name>B</bit-name><bit-access>RO</bit-access></bit>"
        "</reg></chip></config>");
    ASSERT_EQ(original.status, 0U);
    const TextLoad copy(saved(&original.tree.head));
    EXPECT_EQ(copy.status, DIAG_E_FAIL);
}

}  // namespace
}  // namespace diag::test
