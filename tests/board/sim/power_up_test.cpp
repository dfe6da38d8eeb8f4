// SPDX-License-Identifier: MIT
#include "diags/board/sim/power_up.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "diags/board/sim/sim_board.h"
#include "tests/support/temporary_folder.h"

namespace diag::board::sim {
namespace {

namespace fs = std::filesystem;

constexpr const char *kDescription = R"(<config>
  <chip>
    <chip-type>CPLD</chip-type>
    <chip-name>CPLD</chip-name>
    <chip-bus>/dev/i2c-1</chip-bus>
    <chip-address>31</chip-address>
    <chip-offset-length>8</chip-offset-length>
    <reg>
      <reg-offset>2</reg-offset>
      <reg-name>SCRATCH</reg-name>
      <reg-size>8</reg-size>
      <reg-access>RW</reg-access>
      <reg-default>11</reg-default>
      <reg-mask>ff</reg-mask>
    </reg>
  </chip>
</config>
)";

class PowerUpTest : public testing::Test {
  protected:
    PowerUpTest() {
        setenv("DIAG_BOARD_DIR", folder_.file("run").c_str(), 1);
        folder_.write("a.xml", kDescription);
        write_board(R"({"description": "a.xml"})");
    }

    void write_board(const std::string &text) { path_ = folder_.write("a.board", text); }

    std::string power_up_board(bool fresh = false) { return power_up(path_, fresh); }

    static uint8_t scratch(const std::string &state) {
        SimBoard board;
        EXPECT_EQ(board.open(state.c_str()), Status::kOk);
        const uint8_t number = 2;
        uint8_t value = 0;
        EXPECT_EQ(board.i2c_transfer(
                      {.bus = 1, .address = 0x31, .write = {&number, 1}, .read = {&value, 1}}),
                  Status::kOk);
        return value;
    }

    static void set_scratch(const std::string &state, uint8_t value) {
        SimBoard board;
        EXPECT_EQ(board.open(state.c_str()), Status::kOk);
        const uint8_t bytes[] = {2, value};
        EXPECT_EQ(board.i2c_transfer({.bus = 1, .address = 0x31, .write = bytes, .read = {}}),
                  Status::kOk);
    }

    ExitStatus failure(std::string *line) {
        try {
            power_up_board();
        } catch (const BoardError &error) {
            *line = error.what();
            return error.exit_status();
        }
        return kExitDone;
    }

    test::TemporaryFolder folder_;
    std::string path_;
};

TEST_F(PowerUpTest, BuildsTheStateOfTheBoard) {
    const std::string state = power_up_board();
    EXPECT_EQ(fs::path(state).parent_path(), folder_.file("run"));
    EXPECT_EQ(scratch(state), 0x11);
}

TEST_F(PowerUpTest, LetsARunningBoardGoOn) {
    const std::string state = power_up_board();
    set_scratch(state, 0x5A);
    EXPECT_EQ(power_up_board(), state);
    EXPECT_EQ(scratch(state), 0x5A);
}

TEST_F(PowerUpTest, StartsAfreshOnRequest) {
    const std::string state = power_up_board();
    set_scratch(state, 0x5A);
    EXPECT_EQ(power_up_board(true), state);
    EXPECT_EQ(scratch(state), 0x11);
}

TEST_F(PowerUpTest, StartsAfreshWhenTheBoardFileHasChanged) {
    set_scratch(power_up_board(), 0x5A);
    write_board(R"({"description": "a.xml",
                    "chips": {"CPLD": {"registers": {"SCRATCH": "0x22"}}}})");
    EXPECT_EQ(scratch(power_up_board()), 0x22);
}

TEST_F(PowerUpTest, StartsAfreshWhenTheDescriptionHasChanged) {
    set_scratch(power_up_board(), 0x5A);
    folder_.write("a.xml", std::string(kDescription) + "\n");
    EXPECT_EQ(scratch(power_up_board()), 0x11);
}

TEST_F(PowerUpTest, ReplacesADamagedState) {
    const std::string state = power_up_board();
    fs::resize_file(state, 100);
    EXPECT_EQ(power_up_board(), state);
    EXPECT_EQ(scratch(state), 0x11);
}

TEST_F(PowerUpTest, CleansUpAfterABuilderThatWasKilled) {
    const std::string state = power_up_board();
    fs::remove(state);
    folder_.write("run/" + fs::path(state).filename().string() + ".new", "half a state");
    EXPECT_EQ(scratch(power_up_board()), 0x11);
    EXPECT_FALSE(fs::exists(state + ".new"));
}

TEST_F(PowerUpTest, KnowsABoardByItsFileAndNotByTheWayThere) {
    const std::string state = power_up_board();
    fs::create_symlink(path_, folder_.file("link.board"));
    EXPECT_EQ(power_up(folder_.path() / "." / "a.board", false), state);
}

TEST_F(PowerUpTest, KeepsBoardsApart) {
    fs::create_directory(folder_.file("other"));
    folder_.write("other/a.xml", kDescription);
    const std::string other = folder_.write("other/a.board", R"({"description": "a.xml"})");
    EXPECT_NE(power_up(other, false), power_up_board());
}

TEST_F(PowerUpTest, MakesAFolderForItsOwnerAlone) {
    power_up_board();
    EXPECT_EQ(fs::status(folder_.file("run")).permissions(), fs::perms::owner_all);
}

TEST_F(PowerUpTest, UsesTheRuntimeFolderOfTheSession) {
    unsetenv("DIAG_BOARD_DIR");
    setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
    EXPECT_EQ(fs::path(power_up_board()).parent_path(), folder_.file("diag-board"));
}

TEST_F(PowerUpTest, RefusesAFolderThatOthersCanWriteTo) {
    fs::create_directory(folder_.file("run"));
    fs::permissions(folder_.file("run"), fs::perms::all);
    std::string line;
    EXPECT_EQ(failure(&line), kExitNotPermitted);
    EXPECT_NE(line.find(folder_.file("run")), std::string::npos) << line;
    EXPECT_NE(line.find("DIAG_BOARD_DIR"), std::string::npos) << line;
}

TEST_F(PowerUpTest, RefusesALinkInPlaceOfItsFolder) {
    fs::create_directory(folder_.file("real"));
    fs::create_symlink(folder_.file("real"), folder_.file("run"));
    std::string line;
    EXPECT_NE(failure(&line), kExitDone);
    EXPECT_NE(line.find(folder_.file("run")), std::string::npos) << line;
}

TEST_F(PowerUpTest, NamesFilesThatCannotBeRead) {
    std::string line;
    write_board(R"({"description": "absent.xml"})");
    EXPECT_EQ(failure(&line), kExitBadDescription);
    EXPECT_EQ(line, folder_.file("absent.xml") + ": cannot be read");
    path_ = folder_.file("absent.board");
    EXPECT_EQ(failure(&line), kExitBadDescription);
    EXPECT_EQ(line, path_ + ": cannot be read");
    path_ = folder_.path();
    EXPECT_EQ(failure(&line), kExitBadDescription);
}

TEST_F(PowerUpTest, KeepsTheRunningBoardWhenTheNewFileIsBad) {
    const std::string state = power_up_board();
    set_scratch(state, 0x5A);
    write_board(R"({"description": "a.xml", "chips": {"NONE": {}}})");
    std::string line;
    EXPECT_EQ(failure(&line), kExitBadDescription);
    EXPECT_EQ(scratch(state), 0x5A);
}

constexpr const char *kTextForm = R"(OPTIONAL_MODULE_SUPPORT:2
CARD_TYPE_SUPPORT:1
CARD_ID_REG:1f
Slot 1|LPC|0x600|0:C | CPLD | 0x31 | CARD1 | i2c | 1 | - | a | 0 | 0
Slot 2|LPC|0x600|1:C | CPLD | 0x32 | CARD2 | i2c | 1 | - | b | 0 | 0
=====
C | FPGA | 0x40 | MAIN | mem | 0 | - | m | 0 | 0
R | 0x0 | 8 | 0xFF | ID | RO | 0xA5 | 0 | 0 |
=====
IOMTYPE 1
R | 0x2 | 8 | 0xFF | LANES | RW | 0x11 | 0 | 0 |
)";

TEST_F(PowerUpTest, TakesTheCardsOfABoardInTheTextForm) {
    folder_.write("a.txt", kTextForm);
    write_board(R"({"description": "a.txt", "slots": {"1": {"card_type": 1}},
                    "chips": {"CARD1": {"registers": {"LANES": "0x33"}}}})");
    const std::string state = power_up_board();
    EXPECT_EQ(scratch(state), 0x33);
    SimBoard board;
    ASSERT_EQ(board.open(state.c_str()), Status::kOk);
    uint8_t byte = 0;
    EXPECT_EQ(board.lpc_read(0x600, 1, {&byte, 1}), Status::kOk);
    EXPECT_EQ(byte, 0x02) << "slot 2 is empty";
    const uint8_t number = 0x1F;
    EXPECT_EQ(
        board.i2c_transfer({.bus = 1, .address = 0x31, .write = {&number, 1}, .read = {&byte, 1}}),
        Status::kOk);
    EXPECT_EQ(byte, 1);
    EXPECT_EQ(
        board.i2c_transfer({.bus = 1, .address = 0x32, .write = {&number, 1}, .read = {&byte, 1}}),
        Status::kNoAnswer);
    EXPECT_EQ(board.memory_read(0x40, 1, {&byte, 1}), Status::kOk);
    EXPECT_EQ(byte, 0xA5);
}

TEST_F(PowerUpTest, PointsAtWhatIsWrongWithSlots) {
    folder_.write("a.txt", kTextForm);
    write_board(R"({"description": "a.txt", "slots": {"3": {"card_type": 1}}})");
    std::string line;
    EXPECT_EQ(failure(&line), kExitBadDescription);
    EXPECT_EQ(line, path_ + ": /slots/3: no such slot, the description has slots 1 to 2");
}

TEST_F(PowerUpTest, GivesProgramsThatStartAtOnceOneBoard) {
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            _exit(scratch(power_up_board()) == 0x11 ? 0 : 1);
        }
        children.push_back(child);
    }
    for (pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
}

}  // namespace
}  // namespace diag::board::sim
