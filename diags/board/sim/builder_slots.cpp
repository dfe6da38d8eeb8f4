// SPDX-License-Identifier: MIT
// Optional-module slots, shown as the board shows them to programs.
#include <algorithm>

#include "diags/board/sim/board_error.h"
#include "diags/board/sim/builder.h"
#include "diags/board/sim/bus_kind.h"

namespace diag::board::sim {
namespace {

void put(Cell *cell, unsigned shift, uint32_t mask, uint32_t value) {
    cell->readable |= mask << shift;
    cell->value = (cell->value & ~(mask << shift)) | value << shift;
}

constexpr Cell kIdRegister = {.value = 0,
                              .readable = 0xFF,
                              .writable = 0,
                              .clear_on_read = 0,
                              .stuck_high = 0,
                              .stuck_low = 0};

}  // namespace

void Builder::show(const Slots &slots) {
    for (const PresenceBit &bit : slots.presence) {
        show(bit);
    }
    for (const CardId &card : slots.cards) {
        show(card);
    }
}

void Builder::show(const PresenceBit &bit) {
    const uint32_t mask = uint32_t{1} << bit.bit;
    bool is_shown = false;
    for (const Device &device : image_.devices) {
        const auto lane =
            device.kind == BusKind::kLpc ? lane_at(device, bit.address) : std::nullopt;
        if (lane) {
            put(&image_.cells[lane->cell], lane->shift, mask, bit.is_empty ? mask : 0);
            is_shown = true;
        }
    }
    if (!is_shown) {
        const auto byte = static_cast<uint8_t>(bit.is_empty ? mask : 0);
        add_plain_bytes(BusKind::kLpc, bit.address, 1, {&byte, 1});
    }
}

// The card has the register even when its type's section does not describe it.
void Builder::show(const CardId &card) {
    const BuiltChip *chip = card.chip < chips_.size() ? &chips_[card.chip] : nullptr;
    const auto kind = chip != nullptr ? bus_kind_of(*chip->node) : std::nullopt;
    if (kind != BusKind::kI2c && kind != BusKind::kBmc) {
        throw BoardError(kExitBadDescription,
                         card.place +
                             ": a card's type is read over i2c or bmc: the card must be "
                             "a chip on one of them");
    }
    Device &device = image_.devices[*chip->device];
    if (card.number > (device.pointer_bytes > 1 ? 0xFFFFU : 0xFFU)) {
        throw BoardError(kExitBadDescription, card.place +
                                                  ": the card-id register needs a card "
                                                  "with register numbers of 16 bits");
    }
    if (find_range(ranges_of(device), card.number) == nullptr) {
        const std::span<const Range> before = ranges_of(device);
        std::vector<Range> ranges(before.begin(), before.end());
        ranges.push_back({.first = card.number,
                          .count = 1,
                          .next = card.number + 1,
                          .cell = static_cast<uint32_t>(image_.cells.size()),
                          .skip = 0,
                          .unit_bytes = 1,
                          .flags = 0,
                          .reserved = {}});
        std::ranges::sort(ranges, {}, &Range::first);
        image_.cells.push_back(kIdRegister);
        add_ranges(&device, ranges);
    }
    const Lane lane = lane_of(*find_range(ranges_of(device), card.number), card.number, 0);
    put(&image_.cells[lane.cell], lane.shift, 0xFF, card.type);
}

}  // namespace diag::board::sim
