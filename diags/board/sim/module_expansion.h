// SPDX-License-Identifier: MIT
// Descriptions in the text form whose header lists optional-module slots. What a program learns
// from the hardware while it loads such a file (which slots hold a card, and of which type) is
// taken from the board file here: there is no hardware to ask while the board is being built.
#ifndef DIAGS_BOARD_SIM_MODULE_EXPANSION_H
#define DIAGS_BOARD_SIM_MODULE_EXPANSION_H

#include <string>

#include "diags/board/sim/board_file.h"
#include "diags/board/sim/slots.h"

namespace diag::board::sim {

struct Expansion {
    std::string text;  // a description of the same board without slots
    Slots slots;
};

// The chips of the cards that are present come first, in the order of their slots, each with the
// registers of its type; then those of the device part. Throws BoardError.
Expansion expand_modules(const std::string &text, const BoardFile &board_file);

// For a board whose description has no slots. Throws BoardError.
[[noreturn]] void refuse_slot(const BoardFile &board_file, const SlotSetting &slot,
                              const std::string &why);

}  // namespace diag::board::sim

#endif
