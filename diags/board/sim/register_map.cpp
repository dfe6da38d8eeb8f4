// SPDX-License-Identifier: MIT
#include "diags/board/sim/register_map.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <tuple>

#include "diags/board/sim/board_error.h"
#include "diags/board/sim/bus_kind.h"
#include "diags/board/sim/range.h"

namespace diag::board::sim {
namespace {

constexpr uint32_t kHighestPointer = 0xFFFF;
constexpr uint32_t kHighestByte = UINT32_MAX - 1;      // so that the end of a range has 32 bits
constexpr uint64_t kMaxRegisterBytes = 1024UL * 1024;  // each takes a record in the state

uint32_t field_mask(const bit_def &field) {
    const int low = std::max(0, std::min(field.start, field.end));
    const int high = std::min(31, std::max(field.start, field.end));
    uint32_t mask = 0;
    for (int bit = low; bit <= high; ++bit) {
        mask |= uint32_t{1} << bit;
    }
    return mask;
}

// A field takes rights away from its register's bits and never adds any.
void narrow(Cell *cell, int32_t access, uint32_t bits) {
    switch (access) {
        case DIAG_ACCESS_RO:
            cell->writable &= ~bits;
            cell->clear_on_read &= ~bits;
            break;
        case DIAG_ACCESS_RC:
            cell->writable &= ~bits;
            cell->clear_on_read |= bits & cell->readable;
            break;
        case DIAG_ACCESS_WO:
            cell->readable &= ~bits;
            cell->clear_on_read &= ~bits;
            break;
        default:
            break;
    }
}

[[noreturn]] void refuse(const device_node &node, const reg_def &definition,
                         const std::string &why) {
    const auto name = [](const char *text) { return text != nullptr ? text : "without a name"; };
    throw BoardError(kExitBadDescription, std::string("chip ") + name(node.name) + ", register " +
                                              name(definition.name) + ": " + why);
}

// Ranges under construction, by first register number. What is painted later lies on top.
class Canvas {
  public:
    void paint(const Range &range) {
        cut(range.first, range.first + range.count);
        ranges_[range.first] = range;
    }

    std::vector<Range> take() const {
        std::vector<Range> result;
        result.reserve(ranges_.size());
        for (const auto &[first, range] : ranges_) {
            result.push_back(range);
        }
        return result;
    }

  private:
    void cut(uint32_t first, uint32_t end) {
        auto at = ranges_.lower_bound(first);
        if (at != ranges_.begin()) {
            --at;
        }
        while (at != ranges_.end() && at->first < end) {
            const Range old = at->second;
            if (old.first + old.count <= first) {
                ++at;
                continue;
            }
            at = ranges_.erase(at);
            if (old.first < first) {
                ranges_[old.first] = part(old, old.first, first);
            }
            if (old.first + old.count > end) {
                ranges_[end] = part(old, end, old.first + old.count);
            }
        }
    }

    static Range part(const Range &whole, uint32_t first, uint32_t end) {
        Range result = whole;
        const uint32_t moved = first - whole.first;
        result.first = first;
        result.count = end - first;
        if ((whole.flags & kRangeByUnit) != 0) {
            result.cell += moved;
        } else {
            result.skip += moved;
        }
        return result;
    }

    std::map<uint32_t, Range> ranges_;
};

}  // namespace

Cell power_up_cell(const reg_def &definition, uint32_t unit_bytes) {
    const uint32_t all = unit_mask(unit_bytes);
    const uint32_t implemented = definition.mask != 0 ? definition.mask & all : all;
    Cell cell = {};
    cell.value = definition.def_val & all;
    cell.readable = implemented;
    cell.writable = definition.access == DIAG_ACCESS_RO ? 0 : implemented;
    narrow(&cell, definition.access, implemented);
    for (const bit_def *field = definition.bits; field != nullptr; field = field->next) {
        narrow(&cell, field->access, field_mask(*field) & implemented);
    }
    return cell;
}

Numbering numbering_of(const device_node &node) {
    const std::optional<BusKind> kind = bus_kind_of(node);
    if (kind && is_byte_addressed(*kind)) {
        return {.highest = kHighestByte, .little_endian = true, .may_count_units = false};
    }
    return {.highest = kHighestPointer, .little_endian = node.reg_le != 0, .may_count_units = true};
}

RegisterMap::RegisterMap(const device_node &node, std::vector<Cell> *cells) {
    const Numbering numbering = numbering_of(node);
    const uint64_t max_bytes =
        std::min<uint64_t>(uint64_t{numbering.highest} + 1, kMaxRegisterBytes);
    Twins twins;
    for (const reg_list *item = node.reg_list; item != nullptr; item = item->next) {
        if (item->reg != nullptr) {
            add_register(node, *item->reg, max_bytes, &twins, cells);
        }
    }
    lay_out(numbering);
}

void RegisterMap::add_register(const device_node &node, const reg_def &definition,
                               uint64_t max_bytes, Twins *twins, std::vector<Cell> *cells) {
    const uint32_t unit_bytes = definition.size / 8;
    const uint32_t units = std::max<uint32_t>(definition.length, 1);
    if (definition.size % 8 != 0 || unit_bytes == 0 || unit_bytes > kMaxUnitBytes) {
        refuse(node, definition,
               "a size of " + std::to_string(definition.size) + " bits cannot be simulated");
    }
    if (uint64_t{units} * unit_bytes > max_bytes) {
        refuse(node, definition, "a length of " + std::to_string(units) + " units is too much");
    }
    const auto next_cell = static_cast<uint32_t>(cells->size());
    const auto [twin, is_new] =
        twins->try_emplace({definition.offset, units, unit_bytes}, next_cell);
    if (is_new) {
        cells->insert(cells->end(), units, power_up_cell(definition, unit_bytes));
    }
    registers_.push_back({&definition, units, unit_bytes, twin->second});
}

// Where registers share numbers, the one that starts last counts, and of several that start
// together the first in the file. A register of wide units with another one starting inside means
// that the chip numbers its registers by unit, not by byte, unless its bus addresses bytes.
void RegisterMap::lay_out(const Numbering &numbering) {
    std::vector<const MappedRegister *> order;
    for (auto mapped = registers_.rbegin(); mapped != registers_.rend(); ++mapped) {
        const uint64_t bytes = uint64_t{mapped->units} * mapped->unit_bytes;
        const bool has_room = numbering.may_count_units ||
                              mapped->definition->offset + bytes <= uint64_t{numbering.highest} + 1;
        if (mapped->definition->offset <= numbering.highest && has_room) {
            order.push_back(&*mapped);
        }
    }
    const auto offset = [](const MappedRegister *mapped) { return mapped->definition->offset; };
    std::ranges::stable_sort(order, {}, offset);
    Canvas canvas;
    for (const MappedRegister *mapped : order) {
        const uint32_t first = offset(mapped);
        const uint32_t bytes = mapped->units * mapped->unit_bytes;
        const auto follower = std::ranges::upper_bound(order, first, {}, offset);
        const uint32_t span =
            follower != order.end() ? std::min(bytes, offset(*follower) - first) : bytes;
        const bool by_unit = numbering.may_count_units && mapped->unit_bytes > 1 && span < bytes;
        canvas.paint(
            {.first = first,
             .count = by_unit ? std::min(span, mapped->units) : bytes,
             .next = first + span,
             .cell = mapped->first_cell,
             .skip = 0,
             .unit_bytes = static_cast<uint8_t>(mapped->unit_bytes),
             .flags = static_cast<uint8_t>((numbering.little_endian ? kRangeLittleEndian : 0) |
                                           (by_unit ? kRangeByUnit : 0)),
             .reserved = {}});
    }
    ranges_ = canvas.take();
}

}  // namespace diag::board::sim
