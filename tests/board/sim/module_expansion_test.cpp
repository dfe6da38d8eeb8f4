// SPDX-License-Identifier: MIT
#include "diags/board/sim/module_expansion.h"

#include <gtest/gtest.h>

#include "diags/board/sim/board_error.h"

namespace diag::board::sim {
namespace {

// Three slots, two card types, and a device part.
constexpr const char *kDescription =
    "Board 7\n"
    "OPTIONAL_MODULE_SUPPORT:3\n"
    "\n"
    "CARD_TYPE_SUPPORT:2\n"
    "CARD_ID_REG: 0x1f | read by everyone\n"
    "Slot 1|LPC|0x600|0:C| CPLD | 0x31 | CARD1 | i2c | 4 | - | a |0|0\n"
    "Slot 2 | LPC | 601 | 7 : C| CPLD | 0x32 | CARD2 | i2c | 4 | - | b |0|0\n"
    "Slot 3|LPC|0x600|2:C| CPLD | 0x33 | CARD3 | bmc | 5 | - | c |0|0\n"
    "more header\n"
    "===== devices\n"
    "C| FPGA | 0x40 | MAIN | i2c | 3 | - | m |0|0\n"
    "R | 0 | 8 | 0xFF | ID | RO | 0x1 | 0 | 0 |\n"
    "=====\n"
    "C| CPLD | 0x41 | SIDE | i2c | 3 | - | s |0|0\n"
    "IOMTYPE 1\n"
    "R | 1 | 8 | 0xFF | ONE | RW | 0x11 | 0 | 0 |\n"
    "\n"
    "B | 0 | BIT | RW | 0x0\n"
    "=====\n"
    "IOMTYPE 2\n"
    "R | 2 | 8 | 0xFF | TWO | RW | 0x22 | 0 | 0 |";

constexpr const char *kDevicePart =
    "C| FPGA | 0x40 | MAIN | i2c | 3 | - | m |0|0\n"
    "R | 0 | 8 | 0xFF | ID | RO | 0x1 | 0 | 0 |\n"
    "=====\n"
    "C| CPLD | 0x41 | SIDE | i2c | 3 | - | s |0|0\n";

BoardFile board_with(std::vector<SlotSetting> slots) {
    BoardFile board_file;
    board_file.path = "x.board";
    board_file.description = "x.txt";
    board_file.slots = std::move(slots);
    return board_file;
}

SlotSetting card(uint32_t number, uint8_t type) {
    return {"/slots/" + std::to_string(number), number, true, type};
}

std::string complaint(const std::string &text, std::vector<SlotSetting> slots = {}) {
    try {
        expand_modules(text, board_with(std::move(slots)));
    } catch (const BoardError &error) {
        EXPECT_EQ(error.exit_status(), kExitBadDescription);
        return error.what();
    }
    return "accepted";
}

// The description with one piece of text exchanged.
std::string with(const std::string &old_text, const std::string &new_text) {
    std::string text = kDescription;
    const size_t at = text.find(old_text);
    EXPECT_NE(at, std::string::npos) << old_text;
    return text.replace(at, old_text.size(), new_text);
}

TEST(ModuleExpansion, LeavesADescriptionWithoutSlotsAsItIs) {
    const Expansion made = expand_modules(
        "# header\nOPTIONAL_MODULE_SUPPORT:0\n=====\n\nC|x\nR|y\n"
        "=====\nC|z",
        board_with({}));
    EXPECT_EQ(made.text, "=====\nC|x\nR|y\n=====\nC|z\n");
    EXPECT_TRUE(made.slots.presence.empty());
    EXPECT_TRUE(made.slots.cards.empty());
}

TEST(ModuleExpansion, DropsWhatBelongsToEmptySlots) {
    const Expansion made = expand_modules(kDescription, board_with({}));
    EXPECT_EQ(made.text, std::string("=====\n") + kDevicePart);
    EXPECT_TRUE(made.slots.cards.empty());
}

TEST(ModuleExpansion, PutsTheCardsFirstEachWithTheRegistersOfItsType) {
    const Expansion made = expand_modules(kDescription, board_with({card(3, 1), card(2, 2)}));
    EXPECT_EQ(made.text, std::string("=====\n"
                                     " C| CPLD | 0x32 | CARD2 | i2c | 4 | - | b |0|0\n"
                                     "R | 2 | 8 | 0xFF | TWO | RW | 0x22 | 0 | 0 |\n"
                                     "=====\n"
                                     "C| CPLD | 0x33 | CARD3 | bmc | 5 | - | c |0|0\n"
                                     "R | 1 | 8 | 0xFF | ONE | RW | 0x11 | 0 | 0 |\n"
                                     "B | 0 | BIT | RW | 0x0\n"
                                     "=====\n") +
                             kDevicePart);
}

TEST(ModuleExpansion, GivesNoRegistersToACardWhoseTypeHasNoSection) {
    for (const uint8_t type : {uint8_t{0}, uint8_t{3}, uint8_t{255}}) {
        const Expansion made = expand_modules(kDescription, board_with({card(1, type)}));
        EXPECT_EQ(made.text,
                  std::string("=====\nC| CPLD | 0x31 | CARD1 | i2c | 4 | - | a |0|0\n=====\n") +
                      kDevicePart);
        EXPECT_EQ(made.slots.cards.at(0).type, type);
    }
}

TEST(ModuleExpansion, ListsThePresenceBits) {
    SlotSetting pulled = card(3, 1);
    pulled.is_present = false;
    const auto bits = expand_modules(kDescription, board_with({card(1, 1), pulled})).slots.presence;
    ASSERT_EQ(bits.size(), 3U);
    EXPECT_EQ(bits[0].address, 0x600U);
    EXPECT_EQ(bits[0].bit, 0U);
    EXPECT_FALSE(bits[0].is_empty);
    EXPECT_EQ(bits[1].address, 0x601U) << "hexadecimal with or without 0x";
    EXPECT_EQ(bits[1].bit, 7U);
    EXPECT_TRUE(bits[1].is_empty);
    EXPECT_EQ(bits[2].bit, 2U);
    EXPECT_TRUE(bits[2].is_empty);
}

TEST(ModuleExpansion, ListsTheCardIdsByTheirPlaceInTheExpandedText) {
    const auto cards =
        expand_modules(kDescription, board_with({card(3, 2), card(1, 1)})).slots.cards;
    ASSERT_EQ(cards.size(), 2U);
    EXPECT_EQ(cards[0].chip, 0U);
    EXPECT_EQ(cards[0].number, 0x1FU);
    EXPECT_EQ(cards[0].type, 1);
    EXPECT_EQ(cards[0].place, "x.txt:6");
    EXPECT_EQ(cards[1].chip, 1U);
    EXPECT_EQ(cards[1].type, 2);
    EXPECT_EQ(cards[1].place, "x.txt:8");
}

TEST(ModuleExpansion, RefusesSlotsThatTheDescriptionDoesNotHave) {
    EXPECT_EQ(complaint(kDescription, {card(4, 1)}),
              "x.board: /slots/4: no such slot, the description has slots 1 to 3");
    EXPECT_EQ(complaint(kDescription, {card(0, 1)}),
              "x.board: /slots/0: no such slot, the description has slots 1 to 3");
    EXPECT_EQ(complaint("=====\n", {card(1, 1)}),
              "x.board: /slots/1: the description has no optional-module slots");
}

TEST(ModuleExpansion, PointsAtWhatIsWrongWithTheHeader) {
    const struct {
        const char *old_text;
        const char *new_text;
        const char *complaint;
    } cases[] = {
        {"SUPPORT:3", "SUPPORT 3", "2: expected a digit right after the colon"},
        {"SUPPORT:3", "SUPPORT: 3", "2: expected a digit right after the colon"},
        {"CARD_TYPE_SUPPORT", "CARD_TYPES", "4: expected CARD_TYPE_SUPPORT:N"},
        {"SUPPORT:2", "SUPPORT:0", "4: expected at least one card type"},
        {"SUPPORT:2", "SUPPORT:", "4: expected a digit right after the colon"},
        {"SUPPORT:2", "SUPPORT:3", "4: 3 card types announced, the file has 2 sections IOMTYPE"},
        {"SUPPORT:2", "SUPPORT:1", "4: 1 card types announced, the file has 2 sections IOMTYPE"},
        {"CARD_ID_REG", "CARD_REG", "5: expected CARD_ID_REG:REGISTER"},
        {"REG: 0x1f", "REG 0x1f", "5: expected CARD_ID_REG:REGISTER"},
        {"0x1f", "id", "5: card-id register: \"id\" is no hexadecimal number"},
        {"0x1f", "10000", "5: card-id register: 10000 is too large"},
        {"Slot 1", "Port 1", "6: slot 1: expected Slot|LPC|REGISTER|BIT:C|..."},
        {"|0:C", "C", "6: slot 1: expected Slot|LPC|REGISTER|BIT:C|..."},
        {"| LPC | 601", "| I2C | 601", "7: slot 2: its presence can be read over LPC alone"},
        {"| 601", "| x", "7: slot 2, presence register: \"x\" is no hexadecimal number"},
        {"| 601", "| 100000000",
         "7: slot 2, presence register: \"100000000\" is no hexadecimal number"},
        {"| 7 :", "| 8 :", "7: slot 2, presence bit: 8 is too large"},
        {"| 7 :", "| ? :", "7: slot 2, presence bit: \"?\" is no hexadecimal number"},
        {"Slot 3|LPC|0x600|2:C| CPLD | 0x33 | CARD3 | bmc | 5 | - | c |0|0\nmore header\n", "",
         "8: the list of optional modules ends before slot 3"},
        {"more header", "OPTIONAL_MODULE_SUPPORT:1",
         "9: the optional modules are listed a second time"},
        {"=====\nIOMTYPE 2", "IOMTYPE 2", "19: a line of ===== must end the section before"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(complaint(with(row.old_text, row.new_text)),
                  std::string("x.txt:") + row.complaint)
            << row.new_text;
    }
}

TEST(ModuleExpansion, NeedsTheChipOfACardOnlyWhenItIsThere) {
    const std::string text = with("0:C| CPLD", "0:D| CPLD");
    EXPECT_EQ(complaint(text), "accepted");
    EXPECT_EQ(complaint(text, {card(1, 1)}), "x.txt:6: expected a C line behind the colon");
}

TEST(ModuleExpansion, ReportsAListThatTheFileCutsShort) {
    EXPECT_EQ(complaint("OPTIONAL_MODULE_SUPPORT:1\n"),
              "x.txt:1: the list of optional modules ends before the number of card types");
    EXPECT_EQ(complaint("OPTIONAL_MODULE_SUPPORT:1\nCARD_TYPE_SUPPORT:1\n"),
              "x.txt:2: the list of optional modules ends before the card-id register");
}

TEST(ModuleExpansion, RefusesATextWithoutADevicePart) {
    EXPECT_EQ(complaint("Just text\n"),
              "x.txt: not a board description: no line of ===== ends its header");
}

}  // namespace
}  // namespace diag::board::sim
