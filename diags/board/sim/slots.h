// SPDX-License-Identifier: MIT
// Optional-module slots: how a board shows which of them hold a card, and of which type.
#ifndef DIAGS_BOARD_SIM_SLOTS_H
#define DIAGS_BOARD_SIM_SLOTS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace diag::board::sim {

// A bit of the LPC address space, which reads 1 when the slot is empty.
struct PresenceBit {
    uint32_t address;
    unsigned bit;  // 0 to 7
    bool is_empty;
};

// The register of a card that tells its type.
struct CardId {
    std::string place;  // in the description, for messages
    size_t chip;        // in the order of the description
    uint32_t number;
    uint8_t type;
};

struct Slots {
    std::vector<PresenceBit> presence;
    std::vector<CardId> cards;
};

}  // namespace diag::board::sim

#endif
