// SPDX-License-Identifier: MIT
#include "diags/board/sim/settings.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <string_view>

#include "diag_util.h"

#include "diags/board/number.h"
#include "diags/board/sim/board_error.h"
#include "diags/board/sim/nearest.h"
#include "diags/board/sim/range.h"

namespace diag::board::sim {
namespace {

using Kind = RegisterSetting::Kind;

class Applier {
  public:
    Applier(const BoardFile &file, Builder *builder) : file_(file), builder_(*builder) {}

    void apply(const ChipSetting &setting);

  private:
    [[noreturn]] void fail(const std::string &place, const std::string &message) const {
        throw BoardError(kExitBadDescription, file_.path + ": " + place + ": " + message);
    }

    const BuiltChip &find_chip(const ChipSetting &setting) const;
    const MappedRegister &find_register(const BuiltChip &chip,
                                        const RegisterSetting &setting) const;
    void check(const MappedRegister &target, const RegisterSetting &setting) const;
    void apply(const BuiltChip &chip, const RegisterSetting &setting);

    // The unit's cell, and by how much its value is shifted in it.
    Lane unit_of(const Device &device, const MappedRegister &target, uint32_t unit) const;

    const BoardFile &file_;
    Builder &builder_;
};

// "NAME#2" is the second chip of that name.
struct ChipName {
    std::string_view base;
    uint32_t ordinal;  // 0: the text names no ordinal
};

ChipName split_ordinal(std::string_view text) {
    const size_t hash = text.rfind('#');
    if (hash == std::string_view::npos) {
        return {text, 0};
    }
    const auto ordinal = parse_decimal(text.substr(hash + 1), UINT32_MAX);
    return ordinal ? ChipName{text.substr(0, hash), *ordinal} : ChipName{text, 0};
}

void put_value(Cell *cell, uint32_t lane, uint32_t value) {
    // A bit that the description does not know reads as the board file says.
    cell->readable |= value & ~(cell->readable | cell->writable) & lane;
    cell->value = (cell->value & ~lane) | value;
}

std::vector<const BuiltChip *> chips_named(const std::vector<BuiltChip> &chips,
                                           std::string_view name) {
    std::vector<const BuiltChip *> found;
    for (const BuiltChip &chip : chips) {
        if (chip.node->name != nullptr && chip.node->name == name) {
            found.push_back(&chip);
        }
    }
    return found;
}

const BuiltChip &Applier::find_chip(const ChipSetting &setting) const {
    const auto exact = chips_named(builder_.chips(), setting.name);
    if (exact.size() == 1) {
        return *exact.front();
    }
    if (exact.size() > 1) {
        fail(setting.place, std::to_string(exact.size()) + " chips carry that name: say " +
                                setting.name + "#1 to " + setting.name + "#" +
                                std::to_string(exact.size()));
    }
    const ChipName name = split_ordinal(setting.name);
    const auto numbered = chips_named(builder_.chips(), name.base);
    if (name.ordinal >= 1 && name.ordinal <= numbered.size()) {
        return *numbered[name.ordinal - 1];
    }
    std::vector<std::string> names;
    for (const BuiltChip &chip : builder_.chips()) {
        names.emplace_back(chip.node->name != nullptr ? chip.node->name : "");
    }
    fail(setting.place, "no such chip" + nearest_hint(setting.name, names));
}

const MappedRegister &Applier::find_register(const BuiltChip &chip,
                                             const RegisterSetting &setting) const {
    const bool by_number = setting.name.starts_with("0x");
    const auto number = parse_number(setting.name, UINT32_MAX);
    const MappedRegister *found = nullptr;
    std::vector<std::string> names;
    for (const MappedRegister &candidate : chip.registers) {
        const reg_def &definition = *candidate.definition;
        names.emplace_back(definition.name != nullptr ? definition.name : "");
        const bool matches =
            names.back() == setting.name || (by_number && number == definition.offset);
        if (!matches) {
            continue;
        }
        if (found != nullptr && !by_number) {
            fail(setting.place, "several registers carry that name: give the number (0x...)");
        }
        found = found != nullptr ? found : &candidate;
    }
    if (found == nullptr) {
        fail(setting.place, "no such register" + nearest_hint(setting.name, names));
    }
    return *found;
}

void Applier::check(const MappedRegister &target, const RegisterSetting &setting) const {
    if (setting.kind == Kind::kText && target.unit_bytes != 1) {
        fail(setting.place, "a text needs a register of 8-bit units");
    }
    if (setting.kind == Kind::kNumber && target.units != 1) {
        fail(setting.place,
             "the register has " + std::to_string(target.units) + " units: give a list or a text");
    }
    if (setting.units.size() > target.units) {
        fail(setting.place, std::to_string(setting.units.size()) +
                                " units given, the register has " + std::to_string(target.units));
    }
    const uint32_t highest = unit_mask(target.unit_bytes);
    const auto too_large = [highest](uint32_t value) { return value > highest; };
    if (std::ranges::any_of(setting.units, too_large) || too_large(setting.stuck_high) ||
        too_large(setting.stuck_low)) {
        fail(setting.place, "out of range: the register has units of " +
                                std::to_string(target.unit_bytes * 8) + " bits");
    }
}

// A block of bytes may have registers inside, which own their numbers: the value goes to whoever
// answers at the number.
Lane Applier::unit_of(const Device &device, const MappedRegister &target, uint32_t unit) const {
    const Lane own = {target.first_cell + uint64_t{unit}, 0};
    if (target.unit_bytes != 1) {
        return own;
    }
    const auto &ranges = builder_.image().ranges;
    const std::span<const Range> mine =
        std::span(ranges).subspan(device.first_range, device.range_count);
    const uint32_t number = target.definition->offset + unit;
    const Range *range = find_range(mine, number);
    return range != nullptr ? lane_of(*range, number, 0) : own;
}

void Applier::apply(const BuiltChip &chip, const RegisterSetting &setting) {
    const MappedRegister &target = find_register(chip, setting);
    check(target, setting);
    StateImage &image = builder_.image();
    const uint32_t mask = unit_mask(target.unit_bytes);
    for (uint32_t unit = 0; unit < target.units; ++unit) {
        const Lane lane = unit_of(image.devices[*chip.device], target, unit);
        Cell &cell = image.cells[lane.cell];
        cell.stuck_high |= setting.stuck_high << lane.shift;
        cell.stuck_low |= setting.stuck_low << lane.shift;
        if (unit < setting.units.size()) {
            put_value(&cell, mask << lane.shift, setting.units[unit] << lane.shift);
        }
    }
}

const char *why_unreached(const device_node &node) {
    return node.bus_type == DIAG_BUS_PCI
               ? "the description does not say which PCI function the chip is (bus:device.function)"
               : "nobody reaches the chip: its bus is none of i2c, bmc, lpc, pci and mem";
}

void Applier::apply(const ChipSetting &setting) {
    const BuiltChip &chip = find_chip(setting);
    if (!chip.device) {
        fail(setting.place, why_unreached(*chip.node));
    }
    Device &device = builder_.image().devices[*chip.device];
    device.no_answer = device.no_answer != 0 || setting.no_answer ? 1 : 0;
    device.delay_ms = setting.delay_ms;
    for (const RegisterSetting &item : setting.registers) {
        apply(chip, item);
    }
}

// The value stands in the controller's answer most significant byte first.
void apply_oem_registers(const BoardFile &file, StateImage *image) {
    std::map<uint32_t, uint32_t> values;
    for (const OemSetting &setting : file.oem_registers) {
        values[setting.number] = setting.value;
    }
    for (const auto &[number, value] : values) {
        OemRegister &made = image->oem_registers.emplace_back();
        made.number = number;
        for (unsigned i = 0; i < sizeof made.bytes; ++i) {
            made.bytes[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
        }
    }
}

void apply_nvram(const BoardFile &file, StateImage *image) {
    auto &nvram = image->nvram;
    const auto verbosity = file.verbosity;
    nvram[offsetof(nvram_record, verb_override)] = file.verbosity_override ? 1 : 0;
    std::memcpy(nvram.data() + offsetof(nvram_record, verb_level), &verbosity, sizeof verbosity);
}

}  // namespace

void apply_settings(const BoardFile &file, Builder *builder) {
    Applier applier(file, builder);
    for (const ChipSetting &setting : file.chips) {
        applier.apply(setting);
    }
    for (const GpioSetting &setting : file.gpio) {
        builder->line(setting.chip, setting.line).is_high = setting.is_high ? 1 : 0;
    }
    apply_oem_registers(file, &builder->image());
    apply_nvram(file, &builder->image());
}

}  // namespace diag::board::sim
