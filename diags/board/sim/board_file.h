// SPDX-License-Identifier: MIT
// The board file of a simulated board: JSON with comments that says what a device description
// cannot say. docs/simulated-board.md describes it.
#ifndef DIAGS_BOARD_SIM_BOARD_FILE_H
#define DIAGS_BOARD_SIM_BOARD_FILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace diag::board::sim {

struct RegisterSetting {
    std::string place;  // in the file, for messages
    std::string name;   // of the register, or its number as 0x...
    enum class Kind : uint8_t { kNone, kNumber, kList, kText } kind = Kind::kNone;
    std::vector<uint32_t> units;  // one for a number
    uint32_t stuck_high = 0;
    uint32_t stuck_low = 0;
};

struct ChipSetting {
    std::string place;
    std::string name;  // NAME, or NAME#N for the Nth of several chips of that name
    bool no_answer = false;
    uint32_t delay_ms = 0;
    std::vector<RegisterSetting> registers;
};

struct BoardFile {
    std::string path;
    std::string description;  // path, relative ones taken from the board file's folder
    std::vector<ChipSetting> chips;
    bool verbosity_override = false;
    int32_t verbosity = 0;
};

// `path` is for messages and for relative paths in `text`. Throws BoardError: one line that says
// where and what.
BoardFile parse_board_file(const std::string &path, const std::string &text);

}  // namespace diag::board::sim

#endif
