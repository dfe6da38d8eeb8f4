// SPDX-License-Identifier: MIT
#include "diags/board/sim/description.h"

#include <gtest/gtest.h>

#include "diags/board/sim/board_error.h"
#include "tests/support/temporary_folder.h"

namespace diag::board::sim {
namespace {

BoardFile board_of(const std::string &path) {
    BoardFile board_file;
    board_file.path = "x.board";
    board_file.description = path;
    return board_file;
}

std::string complaint(const std::string &path) {
    try {
        const Description description(board_of(path));
    } catch (const BoardError &error) {
        EXPECT_EQ(error.exit_status(), kExitBadDescription);
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
        return error.what();
    }
    return "accepted";
}

TEST(Description, LoadsTheXmlForm) {
    const test::TemporaryFolder folder;
    const std::string path =
        folder.write("a.xml",
                     "<config>\n <chip>\n  <chip-name>A</chip-name>\n </chip>\n <chip>\n "
                     "<chip-name>B</chip-name>\n </chip>\n</config>\n");
    const Description description(board_of(path));
    ASSERT_NE(description.tree().node, nullptr);
    EXPECT_STREQ(description.tree().node->name, "A");
    ASSERT_NE(description.tree().next, nullptr);
    EXPECT_STREQ(description.tree().next->node->name, "B");
}

TEST(Description, NamesAFileThatIsNotThere) {
    EXPECT_EQ(complaint("/absent/a.xml"), "/absent/a.xml: the board description cannot be read");
}

TEST(Description, PointsAtAnXmlError) {
    const test::TemporaryFolder folder;
    const std::string path = folder.write("a.xml", "<config>\n<chip>\n</config>\n");
    const std::string line = complaint(path);
    EXPECT_EQ(line.rfind(path + ":3: ", 0), 0U) << line;
}

TEST(Description, RefusesAnotherRootElement) {
    const test::TemporaryFolder folder;
    const std::string path = folder.write("a.xml", "<board>\n</board>\n");
    EXPECT_EQ(complaint(path), path + ": not a usable board description (status 0x8a008016)");
}

TEST(Description, RefusesWhatIsNoXml) {
    const test::TemporaryFolder folder;
    for (const char *contents : {"", "\n\n", "Just text\n"}) {
        const std::string path = folder.write("a.xml", contents);
        EXPECT_NE(complaint(path), "accepted") << contents;
    }
}

constexpr const char *kTextForm =
    "OPTIONAL_MODULE_SUPPORT:2\n"
    "CARD_TYPE_SUPPORT:1\n"
    "CARD_ID_REG:0x1f|\n"
    "Slot 1|LPC|0x600|0:C | CPLD | 0x31 | CARD1 | i2c | 4 | - | a | 0 | 0\n"
    "Slot 2|LPC|0x600|1:C | CPLD | 0x32 | CARD2 | i2c | 4 | - | b | 0 | 0\n"
    "=====\n"
    "C | FPGA | 0x40 | MAIN | i2c | 3 | - | m | 0 | 0\n"
    "R | 0x0 | 8 | 0xFF | ID | RO | 0xA5 | 0 | 0 |\n"
    "=====\n"
    "IOMTYPE 1\n"
    "R | 0x2 | 8 | 0xFF | LANES | RW | 0x11 | 0 | 0 |\n";

TEST(Description, LoadsTheTextFormWithoutItsEmptySlots) {
    const test::TemporaryFolder folder;
    const Description description(board_of(folder.write("a.txt", kTextForm)));
    ASSERT_NE(description.tree().node, nullptr);
    EXPECT_STREQ(description.tree().node->name, "MAIN");
    EXPECT_EQ(description.tree().next, nullptr);
    EXPECT_EQ(description.slots().presence.size(), 2U);
    EXPECT_TRUE(description.slots().cards.empty());
}

TEST(Description, LoadsCardsWithTheRegistersOfTheirTypes) {
    const test::TemporaryFolder folder;
    BoardFile board_file = board_of(folder.write("a.txt", kTextForm));
    board_file.slots.push_back({"/slots/2", 2, true, 1});
    const Description description(board_file);
    const device_node *card = description.tree().node;
    ASSERT_NE(card, nullptr);
    EXPECT_STREQ(card->name, "CARD2");
    ASSERT_NE(card->reg_list, nullptr);
    EXPECT_STREQ(card->reg_list->reg->name, "LANES");
    EXPECT_EQ(card->reg_list->reg->def_val, 0x11U);
    ASSERT_NE(description.tree().next, nullptr);
    EXPECT_STREQ(description.tree().next->node->name, "MAIN");
    ASSERT_EQ(description.slots().cards.size(), 1U);
    EXPECT_EQ(description.slots().cards[0].type, 1);
}

TEST(Description, RefusesALineThatTheLibraryCannotRead) {
    const test::TemporaryFolder folder;
    const std::string path = folder.write("a.txt", "=====\nX | what is this\n");
    EXPECT_EQ(complaint(path), path + ": not a usable board description (status 0xffffffff)");
}

TEST(Description, RefusesSlotsOfABoardThatHasNone) {
    const test::TemporaryFolder folder;
    BoardFile board_file = board_of(folder.write("a.xml", "<config>\n</config>\n"));
    board_file.slots.push_back({"/slots/2", 2, true, 1});
    try {
        const Description description(board_file);
        FAIL() << "loaded";
    } catch (const BoardError &error) {
        EXPECT_STREQ(error.what(),
                     "x.board: /slots/2: the description has no optional-module slots");
    }
}

}  // namespace
}  // namespace diag::board::sim
