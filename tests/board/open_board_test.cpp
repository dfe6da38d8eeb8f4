// SPDX-License-Identifier: MIT
#include "diags/board/open_board.h"

#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

#include "tests/board/sim/running_board.h"
#include "tests/support/as_nobody.h"

namespace diag::board {
namespace {

Status open_with(const std::string &value) {
    setenv(kBoardVariable, value.c_str(), 1);
    BoardSlot slot;
    const Status status = slot.open();
    EXPECT_EQ(std::string(slot.subject()), value.empty() ? "no board" : value);
    return status;
}

TEST(OpenBoard, NeedsToBeToldWhichBoard) {
    unsetenv(kBoardVariable);
    BoardSlot slot;
    EXPECT_EQ(slot.open(), Status::kNoBoard);
    EXPECT_STREQ(slot.subject(), "no board");
    EXPECT_EQ(open_with(""), Status::kNoBoard);
}

TEST(OpenBoard, OpensARunningSimulatedBoard) {
    test::TreeMaker maker;
    device_node &chip = maker.chip("A", 1, 0x31);
    maker.reg(chip, "ID", 0).def_val = 0x42;
    const test::RunningBoard running(maker);
    setenv(kBoardVariable, running.path().c_str(), 1);
    BoardSlot slot;
    ASSERT_EQ(slot.open(), Status::kOk);
    const uint8_t number = 0;
    uint8_t value = 0;
    EXPECT_EQ(slot.board().i2c_transfer(
                  {.bus = 1, .address = 0x31, .write = {&number, 1}, .read = {&value, 1}}),
              Status::kOk);
    EXPECT_EQ(value, 0x42);
}

TEST(OpenBoard, TellsAnAbsentFileFromAnUnusableOne) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(open_with(folder.file("absent")), Status::kNoState);
    EXPECT_EQ(open_with(folder.write("file", "") + "/below"), Status::kNoState);
    EXPECT_EQ(open_with(folder.path().string()), Status::kNotAState);
    EXPECT_EQ(open_with(folder.write("text", std::string(5000, 'x'))), Status::kNotAState);
    EXPECT_EQ(open_with(folder.write("empty", "")), Status::kNotAState);
}

TEST(OpenBoard, DoesNotHangOnAFifo) {
    const test::TemporaryFolder folder;
    ASSERT_EQ(mkfifo(folder.file("fifo").c_str(), 0600), 0);
    EXPECT_EQ(open_with(folder.file("fifo")), Status::kNotAState);
}

TEST(OpenBoard, ReportsAFileThatMayNotBeWritten) {
    const test::AsNobody nobody;
    const test::TemporaryFolder folder;
    const std::string path = folder.write("state", "");
    ASSERT_EQ(chmod(path.c_str(), 0400), 0);
    EXPECT_EQ(open_with(path), Status::kNotPermitted);
}

class BareBoard final : public Board {};

TEST(Board, AnswersThatABusKindIsMissing) {
    BareBoard board;
    EXPECT_EQ(board.i2c_transfer({}), Status::kNotSupported);
    std::array<uint8_t, kNvramSize> block;
    EXPECT_EQ(board.nvram_read(block), Status::kNotSupported);
}

}  // namespace
}  // namespace diag::board
