// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/ground.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>

#include "diags/board/open_board.h"
#include "diags/board/sim/board_error.h"
#include "diags/board/sim/power_up.h"
#include "diags/board/tool_folders.h"
#include "diags/tools/busbroker/captured_output.h"
#include "diags/tools/busbroker/description.h"
#include "diags/tools/busbroker/start_error.h"

namespace diag::daemon {
namespace {

BrokerFaults faults_of(const std::string &board_path) {
    const std::ifstream file(board_path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return board::sim::parse_board_file(board_path, text.str()).broker_faults;
}

// Powering up loads a description, during which the library talks.
BrokerFaults power_up(const std::string &board_path) {
    try {
        std::string state_path;
        {
            const CapturedOutput capture;
            state_path = board::sim::power_up(board_path, false);
        }
        setenv(board::kBoardVariable, state_path.c_str(), 1);
        return faults_of(board_path);
    } catch (const board::sim::BoardError &error) {
        throw StartError(error.exit_status(), error.what());
    }
}

std::shared_ptr<board::Board> open_board() {
    const auto slot = std::make_shared<board::BoardSlot>();
    const board::Status status = slot->open();
    if (status == board::Status::kNoBoard) {
        throw StartError(exit_status_of(status),
                         "no board: say --board FILE.board, or set DIAG_BOARD to the state file of "
                         "a running simulated board");
    }
    if (status != board::Status::kOk) {
        throw StartError(exit_status_of(status),
                         std::string(slot->subject()) + ": " + status_text(status));
    }
    return {slot, &slot->board()};
}

// A variable of the environment that has another value for a while.
class ChangedVariable {
  public:
    ChangedVariable(const char *name, const std::string &value) : name_(name) {
        if (const char *usual = std::getenv(name); usual != nullptr) {
            usual_ = usual;
        }
        setenv(name, value.c_str(), 1);
    }
    ~ChangedVariable() {
        if (usual_) {
            setenv(name_, usual_->c_str(), 1);
        } else {
            unsetenv(name_);
        }
    }
    ChangedVariable(const ChangedVariable &) = delete;
    ChangedVariable &operator=(const ChangedVariable &) = delete;

  private:
    const char *name_;
    std::optional<std::string> usual_;
};

class ScratchFolder {
  public:
    ScratchFolder() : path_(std::filesystem::temp_directory_path() / "busbroker-XXXXXX") {
        if (mkdtemp(path_.data()) == nullptr) {
            throw StartError(kExitAccessFailed,
                             path_ + ": " + std::generic_category().message(errno));
        }
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;

    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

// A board of the board file for a trial, in DIAG_BOARD for as long as it lives.
class ScratchBoard {
  public:
    explicit ScratchBoard(const std::string &board_path)
        : folder_variable_(kBoardFolderVariable, folder_.path()),
          board_variable_(board::kBoardVariable, ""),
          faults_(power_up(board_path)) {}

    const BrokerFaults &faults() const { return faults_; }

  private:
    ScratchFolder folder_;
    ChangedVariable folder_variable_;
    ChangedVariable board_variable_;
    BrokerFaults faults_;
};

// Once: a reload finds them there.
void put_tool_folders_on_path() {
    static const std::string path = [] {
        const char *usual = std::getenv("PATH");
        return board::with_tool_folders(usual != nullptr ? usual : "/bin:/usr/bin");
    }();
    setenv("PATH", path.c_str(), 1);
}

std::string board_name(const Options &options) {
    if (!options.board.empty()) {
        return options.board;
    }
    const char *path = std::getenv(board::kBoardVariable);
    return path != nullptr ? path : "";
}

void read_description(const Options &options, LoadedGround *loaded) {
    const Description description(options.description);
    loaded->ground.identity = {options.description, board_name(options)};
    loaded->ground.directory = std::make_shared<const Directory>(description.tree());
    loaded->address = description.address();
}

}  // namespace

LoadedGround check_ground(const Options &options) {
    put_tool_folders_on_path();
    LoadedGround loaded;
    std::optional<ScratchBoard> scratch;
    if (!options.board.empty()) {
        scratch.emplace(options.board);
        loaded.ground.faults = scratch->faults();
    }
    read_description(options, &loaded);
    return loaded;
}

// The description is read twice: on a running board there may be other cards than on a new one.
LoadedGround load_ground(const Options &options) {
    put_tool_folders_on_path();
    LoadedGround loaded;
    if (!options.board.empty()) {
        check_ground(options);
        loaded.ground.faults = power_up(options.board);
    }
    loaded.ground.board = open_board();
    read_description(options, &loaded);
    return loaded;
}

}  // namespace diag::daemon
