// SPDX-License-Identifier: MIT
// The optional-module block of a text description: slots, cards, and the registers of their types.
#include "tests/common/device_tree/optional_modules_test.h"

#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/common/process_state.h"

namespace diag::test {
namespace {

using OptionalModules = OptionalModulesTest;

constexpr char kLpcRead[] =
    "lpctool --get --addr=0x00000100 --size=b --count=1 --pipe=/tmp/pl_lpc_pipe";

std::string card_read(const std::string &address) {
    return "i2ctool --read --bus=/dev/i2c-3 --addr=0x" + address +
           " --count=1 --pipe=/tmp/pl_i2c_pipe --width=8 --reg=0x05";
}

// Two slots on the bits 0 and 1 of one register.
std::string two_slots(int card_types = 2) {
    return slots_header(2, card_types) + slot_line("100", "0", "one", "51") +
           slot_line("100", "1", "two", "52") + chip_and_sections(card_types);
}

// ---- the whole ----

TEST_F(OptionalModules, CardsComeFirstWithTheRegistersOfTheirType) {
    tools_.presence(0x100, 0xFC);
    tools_.card(0x51, 2);
    tools_.card(0x52, 1);
    TextLoad load(two_slots());
    EXPECT_EQ(load.status, 0U);
    ASSERT_EQ(load.names(), (Names{"one", "two", "chip"}));
    EXPECT_EQ(offsets_of(load.chip(0)), (Offsets{0x21, 0x22}));
    EXPECT_EQ(offsets_of(load.chip(1)), (Offsets{0x11, 0x12}));
    EXPECT_EQ(offsets_of(load.chip(2)), (Offsets{1}));
    EXPECT_EQ(tools_.calls(),
              (std::vector<std::string>{kLpcRead, card_read("51"), kLpcRead, card_read("52")}));
}

TEST_F(OptionalModules, EachStepIsTold) {
    tools_.presence(0x100, 0x02);
    tools_.card(0x51, 2);
    EXPECT_EQ(logged_for_modules(two_slots()),
              (Messages{{2, "This platform supports 2 optional modules and 2 card types\n"},
                        {1, "CARD_ID_REG\n"},
                        {1, "0x5 Cardid reg\n"},
                        {1, "Presence Reg 0x100 bit 0\n"},
                        {1, "Slot 1 is present \n"},
                        {3, "Setting Mux for access to Device \n"},
                        {1, "Reading I2C device 0x51 reg 0x5\n"},
                        {1, "Presence Reg 0x100 bit 1\n"},
                        {1, "Slot 2 is not present \n"},
                        {1, "List of available iom modules\n"},
                        {1, "Slot 1 -> 2 : ID-one\n"}}));
}

TEST_F(OptionalModules, LeaveNoPipeAndNoDescriptor) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    const auto before = open_descriptors();
    EXPECT_EQ(TextLoad(two_slots()).status, 0U);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_FALSE(std::filesystem::exists("/tmp/pl_lpc_pipe"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/pl_i2c_pipe"));
}

TEST_F(OptionalModules, EmptySlotsGetNoChip) {
    tools_.presence(0x100, 0x03);
    TextLoad load(two_slots());
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.names(), (Names{"chip"}));
    EXPECT_EQ(offsets_of(load.chip()), (Offsets{1}));
    EXPECT_EQ(tools_.calls(), (std::vector<std::string>{kLpcRead, kLpcRead}));
    const Messages logged = logged_for_modules(two_slots());
    EXPECT_EQ(logged.back(), (Message{1, "Slot 2 is not present \n"})) << "no list of cards";
}

TEST_F(OptionalModules, ReadsWithCarriageReturnsAndEmptyLines) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 2);
    tools_.card(0x52, 1);
    std::string text;
    for (const char c : two_slots()) {
        text += c == '\n' ? "\r\n\n\r\n" : std::string(1, c);
    }
    TextLoad load(text);
    EXPECT_EQ(load.status, 0U);
    ASSERT_EQ(load.names(), (Names{"one", "two", "chip"}));
    EXPECT_STREQ(load.chip(0)->chip_id, "ID-one");
    EXPECT_EQ(offsets_of(load.chip(0)), (Offsets{0x21, 0x22}));
}

TEST_F(OptionalModules, NineSlotsOfNineTypes) {
    std::string text = "before\n" + slots_header(9, 9);
    for (int i = 1; i <= 9; i++) {
        const std::string digit = std::to_string(i);
        text += slot_line("20" + digit, "7", "n" + digit, "5" + digit);
        tools_.presence(0x200U + static_cast<uint32_t>(i), 0x7F);
        tools_.card(0x50U + static_cast<uint32_t>(i), static_cast<uint8_t>(10 - i));
    }
    TextLoad load(text + "behind\n" + chip_and_sections(9));
    EXPECT_EQ(load.status, 0U);
    ASSERT_EQ(load.chips(), 10U);
    for (uint32_t i = 1; i <= 9; i++) {
        EXPECT_EQ(offsets_of(load.chip(i - 1)), (Offsets{16 * (10 - i) + 1, 16 * (10 - i) + 2}));
    }
    EXPECT_STREQ(load.chip(9)->name, "chip");
}

TEST_F(OptionalModules, OfOneTypeShareItsSection) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    tools_.card(0x52, 1);
    TextLoad load(two_slots());
    EXPECT_EQ(offsets_of(load.chip(0)), (Offsets{0x11, 0x12}));
    EXPECT_EQ(offsets_of(load.chip(1)), (Offsets{0x11, 0x12}));
    EXPECT_NE(load.chip(0)->reg_list->reg, load.chip(1)->reg_list->reg);
}

// ---- counts: one character behind the first colon ----

TEST_F(OptionalModules, OneCharacterCounts) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    for (const char *support : {"OPTIONAL_MODULE_SUPPORT:1", "OPTIONAL_MODULE_SUPPORT:12",
                                "OPTIONAL_MODULE_SUPPORTED | x :1:7 of them"}) {
        for (const char *types : {"CARD_TYPE_SUPPORT:1", "CARD_TYPE_SUPPORTED :19 | 5"}) {
            const TextLoad load(std::string(support) + "\n" + types + "\nCARD_ID_REG:5\n" +
                                slot_line("100", "0", "one", "51") + chip_and_sections(1));
            EXPECT_EQ(load.status, 0U) << support << types;
            EXPECT_EQ(load.names(), (Names{"one", "chip"}));
        }
    }
}

// ---- the card-id register ----

struct CardIdCase {
    const char *name;
    const char *line;
    const char *reg;  // as the tool is asked for it
    Messages messages;
};

const Messages kExpected = {{0, "CPLD CardID Register expected\n"}};

Messages found(const std::string &name, const std::string &reg) {
    return {{1, name + "\n"}, {1, "0x" + reg + " Cardid reg\n"}};
}

const CardIdCase kCardIds[] = {
    {"Usual", "CARD_ID_REG : 0x1F |", "0x1f", found("CARD_ID_REG", "1f")},
    {"WithoutBlanks", "CARD_ID_REG:7", "0x07", found("CARD_ID_REG", "7")},
    {"FieldsBehind", "CARD_ID_REG: a0 | 5 | 6", "0xa0", found("CARD_ID_REG", "a0")},
    {"ColonBehind", "CARD_ID_REG:8:9", "0x08", found("CARD_ID_REG", "8")},
    {"LongerName", " CARD_ID_REGISTER of all :9", "0x09", found("CARD_ID_REGISTER of all", "9")},
    {"CutToSixteenBits", "CARD_ID_REG:12345678", "0x5678", found("CARD_ID_REG", "12345678")},
    {"NoNumber", "CARD_ID_REG:zz|", "0x00", found("CARD_ID_REG", "0")},
    {"BlankNumber", "CARD_ID_REG: |", "0x00", found("CARD_ID_REG", "0")},
    {"AnotherName", "CARD_REG:5", "0x00", Messages{{1, "CARD_REG\n"}} + kExpected},
    {"LowerCase", "card_id_reg:5", "0x00", Messages{{1, "card_id_reg\n"}} + kExpected},
    {"ADelimiter", "=====", "0x00", Messages{{1, "=====\n"}} + kExpected},
    {"Blank", " ", "0x00", Messages{{1, "\n"}} + kExpected},
};

class CardIdRegister : public OptionalModulesTest,
                       public testing::WithParamInterface<CardIdCase> {};

TEST_P(CardIdRegister, IsHexadecimalBehindTheColon) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    const std::string text = slots_header(1, 1, GetParam().line) +
                             slot_line("100", "0", "one", "51") + chip_and_sections(1);
    EXPECT_EQ(TextLoad(text).status, 0U);
    ASSERT_EQ(tools_.calls().size(), 2U);
    EXPECT_TRUE(tools_.calls()[1].ends_with(std::string(" --reg=") + GetParam().reg));
    const Messages logged = logged_for_modules(text);
    ASSERT_GE(logged.size(), 3U);
    EXPECT_EQ((Messages{logged[1], logged[2]}), GetParam().messages);
}

INSTANTIATE_TEST_SUITE_P(All, CardIdRegister, testing::ValuesIn(kCardIds),
                         [](const auto &id) { return id.param.name; });

// ---- presence ----

struct PresenceCase {
    const char *name;
    const char *bit;
    uint8_t byte;
    bool present;
    int shown;
};

constexpr PresenceCase kPresences[] = {
    {"Bit0Clear", "0", 0xFE, true, 0},
    {"Bit0Set", "0", 0x01, false, 0},
    {"Bit7Clear", "7", 0x7F, true, 7},
    {"Bit7Set", " 0x7 ", 0x80, false, 7},
    {"Hexadecimal", "10", 0xFF, true, 16},
    {"Bit8OfAByteIsClear", "8", 0xFF, true, 8},
    {"Bit31OfAByteIsClear", "1f", 0xFF, true, 31},
    {"TheLowFiveBitsCount", "20", 0x01, false, 32},
    {"NoNumber", "z", 0x01, false, 0},
    {"Blank", " ", 0xFE, true, 0},
};

class Presence : public OptionalModulesTest, public testing::WithParamInterface<PresenceCase> {};

TEST_P(Presence, IsAClearBit) {
    tools_.presence(0xABCD, GetParam().byte);
    tools_.card(0x51, 1);
    const std::string text = slots_header(1, 1) + slot_line("0xABCD", GetParam().bit, "one", "51") +
                             chip_and_sections(1);
    EXPECT_EQ(TextLoad(text).names(), GetParam().present ? (Names{"one", "chip"}) : Names{"chip"});
    const Messages logged = logged_for_modules(text);
    ASSERT_GE(logged.size(), 5U);
    EXPECT_EQ(logged[3],
              (Message{1, "Presence Reg 0xabcd bit " + std::to_string(GetParam().shown) + "\n"}));
    EXPECT_EQ(logged[4], (Message{1, GetParam().present ? "Slot 1 is present \n"
                                                        : "Slot 1 is not present \n"}));
}

INSTANTIATE_TEST_SUITE_P(All, Presence, testing::ValuesIn(kPresences),
                         [](const auto &presence) { return presence.param.name; });

TEST_F(OptionalModules, SlotLinesAreReadByTheFrontsOfTheirFields) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    for (const char *slot : {"Slot|LPC|100|0|more", "Slot 1 | LPC bus | 0x100 | 0 | x ",
                             "||Slotted||LPCs|||100||0||", " Slot | LPC | 100 | 0"}) {
        const TextLoad load(slots_header(1, 1) + slot + ": C | FPGA | 51 | one | i2c | 3\n" +
                            chip_and_sections(1));
        EXPECT_EQ(load.status, 0U) << slot;
        EXPECT_EQ(load.names(), (Names{"one", "chip"})) << slot;
    }
}

TEST_F(OptionalModules, AnEmptySlotNeedsNoCard) {
    tools_.presence(0x100, 1);
    for (const char *line : {"Slot|LPC|100|0\n", "Slot|LPC|100|0:\n", "Slot|LPC|100|0:X\n"}) {
        const TextLoad load(slots_header(1, 1) + line + chip_and_sections(1));
        EXPECT_EQ(load.status, 0U) << line;
        EXPECT_EQ(load.names(), (Names{"chip"}));
    }
}

// ---- where cards and chips meet ----

TEST_F(OptionalModules, TheHeaderGoesOnBehindTheSlots) {
    tools_.presence(0x100, 1);
    set_config_debug_enable(1);
    const Messages logged =
        logged_for_modules(slots_header(1, 1) + slot_line("100", "0", "one", "51") +
                           "more header\n=====\n=====\nIOMTYPE1\n");
    EXPECT_EQ((Messages{logged.end() - 3, logged.end()}),
              (Messages{{2, "Found header data\n more header\n\n"},
                        {2, "Found first Delimiter\n"},
                        {2, "Found End of Device\n"}}));
}

// The walk through the tree does not step past a card without registers.
TEST_F(OptionalModules, ACardOfType0LeavesItsPlaceToTheNextOne) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 0);
    tools_.card(0x52, 2);
    TextLoad load(two_slots());
    EXPECT_EQ(load.status, 0U);
    ASSERT_EQ(load.names(), (Names{"one", "two", "chip"}));
    EXPECT_EQ(offsets_of(load.chip(0)), (Offsets{0x21, 0x22}));
    EXPECT_EQ(load.chip(1)->reg_list, nullptr);
    EXPECT_EQ(logged_for_modules(two_slots()).back(), (Message{1, "Slot 2 -> 2 : ID-one\n"}));
}

TEST_F(OptionalModules, ATreeThatHoldsChipsGivesThemTheRegisters) {
    tools_.presence(0x100, 2);
    tools_.card(0x51, 1);
    TextLoad load;
    load.load("=====\n" + chip_line("first"));
    load.load(two_slots());
    EXPECT_EQ(load.status, 0U);
    ASSERT_EQ(load.names(), (Names{"first", "one", "chip"}));
    EXPECT_EQ(offsets_of(load.chip(0)), (Offsets{0x11, 0x12}));
    EXPECT_EQ(load.chip(1)->reg_list, nullptr);
}

TEST_F(OptionalModules, TwoBlocksAreTwoWalksFromTheFirstChipOn) {
    tools_.presence(0x100, 0);
    tools_.presence(0x101, 0);
    tools_.card(0x51, 1);
    tools_.card(0x52, 2);
    TextLoad load(slots_header(1, 2) + slot_line("100", "0", "one", "51") + slots_header(1, 2) +
                  slot_line("101", "0", "two", "52") + chip_and_sections(2));
    EXPECT_EQ(load.status, 0U);
    ASSERT_EQ(load.names(), (Names{"one", "two", "chip"}));
    EXPECT_EQ(offsets_of(load.chip(0)), (Offsets{0x11, 0x12, 0x21, 0x22}));
    EXPECT_EQ(load.chip(1)->reg_list, nullptr);
}

// ---- sections ----

TEST_F(OptionalModules, TheLastSectionMayEndWithTheFile) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    TextLoad load(slots_header(1, 1) + slot_line("100", "0", "one", "51") +
                  "=====\nIOMTYPE1\nR|11|8|ff|NAME\nB|1|BIT\nI|1|info");
    EXPECT_EQ(load.status, 0U);
    const reg_def *reg = load.chip()->reg_list->reg;
    EXPECT_STREQ(reg->name, "NAME");
    EXPECT_STREQ(reg->bits->infos->desc, "info");
}

TEST_F(OptionalModules, AnEmptySectionGivesNoRegisters) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    for (const char *section : {"IOMTYPE1\n=====\n", "IOMTYPE1", "IOMTYPE1\n\n=====\nR|5\n"}) {
        TextLoad load(slots_header(1, 1) + slot_line("100", "0", "one", "51") + "=====\n" +
                      section);
        EXPECT_EQ(load.status, 0U);
        EXPECT_EQ(load.chip()->reg_list, nullptr);
    }
}

// A section ends at a delimiter alone: the "I" of "IOMTYPE" makes an information line.
TEST_F(OptionalModules, ASectionWithoutADelimiterRunsIntoTheNext) {
    tools_.presence(0x100, 2);
    tools_.card(0x51, 1);
    TextLoad load(slots_header(2, 2) + slot_line("100", "0", "one", "51") +
                  slot_line("100", "1", "two", "52") +
                  "=====\nIOMTYPE1\nR|11\nB|1|b\nIOMTYPE2|7\nR|21\n");
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(offsets_of(load.chip(0)), (Offsets{0x11, 0x21}));
    EXPECT_EQ(load.chip(0)->reg_list->reg->bits->infos->value, 7U);
}

TEST_F(OptionalModules, SectionsMayStandAnywhereBehindTheSlots) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 2);
    tools_.card(0x52, 1);
    TextLoad load(slots_header(2, 2) + slot_line("100", "0", "one", "51") +
                  slot_line("100", "1", "two", "52") + "IOMTYPE\nR|11\n=====\n" +
                  chip_line("chip") + "=====\nIOMTYPE\nR|21\n");
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.names(), (Names{"one", "two", "chip"}));
    EXPECT_EQ(offsets_of(load.chip(0)), (Offsets{0x21}));
    EXPECT_EQ(offsets_of(load.chip(1)), (Offsets{0x11}));
}

TEST_F(OptionalModules, ManyRegistersOfACard) {
    constexpr size_t kMany = 50000;
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    TextLoad load(slots_header(1, 1) + slot_line("100", "0", "one", "51") + "=====\nIOMTYPE1\n" +
                  repeat("R|11\n", kMany));
    EXPECT_EQ(load.status, 0U);
    EXPECT_EQ(load.chip()->reg_list->count, kMany);
}

}  // namespace
}  // namespace diag::test
