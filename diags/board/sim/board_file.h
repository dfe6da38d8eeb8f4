// SPDX-License-Identifier: MIT
// The board file of a simulated board: JSON with comments that says what a device description
// cannot say. docs/simulated-board.md describes it.
#ifndef DIAGS_BOARD_SIM_BOARD_FILE_H
#define DIAGS_BOARD_SIM_BOARD_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "diags/board/sim/layout.h"

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

// Plain bytes beside those of the chips.
struct RegionSetting {
    BusKind kind = BusKind::kMemory;
    uint64_t address = 0;
    uint32_t size = 0;
    std::vector<uint8_t> bytes;  // the first ones; the others start at 0
};

struct GpioSetting {
    uint32_t chip = 0;
    uint32_t line = 0;
    bool is_high = false;
};

// A register of the board management controller itself.
struct OemSetting {
    uint32_t number = 0;
    uint32_t value = 0;
};

struct SlotSetting {
    std::string place;
    uint32_t number = 0;  // from 1
    bool is_present = false;
    uint8_t card_type = 0;
};

// What the bus broker is to do wrong: percentages of datagrams.
struct BrokerFaults {
    uint32_t lose = 0;            // requests and answers
    uint32_t double_percent = 0;  // requests and answers
    uint32_t corrupt = 0;         // requests and answers
    uint32_t reorder = 0;         // answers that leave behind the next one
    uint32_t late = 0;            // answers that leave late
    uint32_t late_ms = 50;
    uint32_t refuse = 0;  // requests that are refused
    bool silent = false;  // no answer at all
    uint32_t seed = 1;    // of the random sequence
};

struct BoardFile {
    std::string path;
    std::string description;  // path, relative ones taken from the board file's folder
    std::vector<ChipSetting> chips;
    std::vector<RegionSetting> regions;
    std::vector<GpioSetting> gpio;
    std::vector<OemSetting> oem_registers;
    std::vector<SlotSetting> slots;  // each number once
    bool verbosity_override = false;
    int32_t verbosity = 0;
    BrokerFaults broker_faults;
};

// `path` is for messages and for relative paths in `text`. Throws BoardError: one line that says
// where and what.
BoardFile parse_board_file(const std::string &path, const std::string &text);

}  // namespace diag::board::sim

#endif
