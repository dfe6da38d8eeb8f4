// SPDX-License-Identifier: MIT
#include "diags/diagctl/lookup.h"

#include <algorithm>
#include <map>

#include "diags/diagctl/candidates.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/name_index.h"
#include "diags/diagctl/number.h"
#include "diags/diagctl/text.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

// ---- chips ----

NameIndex index_chips(const std::vector<Chip> &chips) {
    NameIndex index;
    std::map<std::string, int> numbers;
    for (std::size_t i = 0; i < chips.size(); ++i) {
        const device_node &node = *chips[i].node;
        const std::string name = one_line(node.name);
        index.add(chips[i].label, i);
        index.add(name, i);
        index.add(one_line(node.chip_id), i);
        index.add(one_line(node.dev_id), i);
        if (!name.empty()) {
            index.add(fmt::format("{}#{}", name, ++numbers[name]), i);
        }
    }
    return index;
}

std::vector<std::string> chip_labels(const std::vector<Chip> &chips) {
    std::vector<std::string> labels;
    labels.reserve(chips.size());
    for (const Chip &chip : chips) {
        labels.push_back(chip.label);
    }
    return labels;
}

const Chip &only_chip(const Description &description, const std::vector<std::size_t> &found,
                      std::string_view name) {
    if (found.size() == 1) {
        return description.chips()[found.front()];
    }
    std::vector<std::string> choices;
    choices.reserve(found.size());
    for (const std::size_t i : found) {
        const Chip &chip = description.chips()[i];
        choices.push_back(
            fmt::format("{} ({} {})", chip.label, bus_name(*chip.node), hex(chip.node->address)));
    }
    fail(kExitNoDevice, "{} chips are called \"{}\": say which, {}", found.size(), one_line(name),
         join(choices, " or "));
}

[[noreturn]] void fail_unknown_chip(const Description &description, std::string_view text,
                                    const NameIndex &index) {
    const std::string name = likely_name(text, index.names());
    // What kept optional modules from being looked for may be why a chip is missing.
    const std::string why = description.remarks().empty()
                                ? std::string()
                                : fmt::format(" ({})", description.remarks().front());
    fail(kExitNoDevice, "no chip \"{}\" in {}{}{}", name, description.path(),
         nearest_hint(name, chip_labels(description.chips())), why);
}

// ---- registers ----

std::vector<std::size_t> registers_at(const std::vector<const reg_def *> &registers,
                                      std::string_view text) {
    std::vector<std::size_t> found;
    const auto offset = parse_number(one_line(text));
    for (std::size_t i = 0; offset && i < registers.size(); ++i) {
        if (registers[i]->offset == *offset) {
            found.push_back(i);
        }
    }
    return found;
}

std::string register_choice(const reg_def &reg) {
    return fmt::format("{} ({})", register_name(reg), hex(reg.offset));
}

// The registers whose offsets come nearest to a number that is none's.
std::string nearest_offsets(std::vector<const reg_def *> registers, std::uint64_t offset) {
    std::stable_sort(registers.begin(), registers.end(),
                     [offset](const reg_def *a, const reg_def *b) {
                         const auto distance = [offset](const reg_def *reg) {
                             return std::max<std::uint64_t>(reg->offset, offset) -
                                    std::min<std::uint64_t>(reg->offset, offset);
                         };
                         return distance(a) < distance(b);
                     });
    std::vector<std::string> choices;
    for (std::size_t i = 0; i < std::min<std::size_t>(registers.size(), 3); ++i) {
        choices.push_back(register_choice(*registers[i]));
    }
    return choices.empty() ? std::string() : "; nearest: " + join(choices, ", ");
}

[[noreturn]] void fail_unknown_register(const Chip &chip, std::string_view text,
                                        const std::vector<const reg_def *> &registers,
                                        const NameIndex &index) {
    if (registers.empty()) {
        fail(kExitNoDevice, "chip \"{}\" has no registers in its description", chip.label);
    }
    const std::string first = one_line(text.substr(0, text.find('.')));
    if (const auto offset = parse_number(first)) {
        fail(kExitNoDevice, "chip \"{}\" has no register at {}{}", chip.label, hex(*offset),
             nearest_offsets(registers, *offset));
    }
    const std::string name = likely_name(text, index.names());
    fail(kExitNoDevice, "chip \"{}\" has no register \"{}\"{}", chip.label, name,
         nearest_hint(name, index.names()));
}

const reg_def &only_register(const Chip &chip, const std::vector<const reg_def *> &registers,
                             const std::vector<std::size_t> &found, std::string_view name) {
    if (found.size() == 1) {
        return *registers[found.front()];
    }
    std::vector<std::string> choices;
    choices.reserve(found.size());
    for (const std::size_t i : found) {
        choices.push_back(register_choice(*registers[i]));
    }
    fail(kExitNoDevice, "{} registers of chip \"{}\" are called \"{}\": say which, {}",
         found.size(), chip.label, one_line(name), join(choices, " or "));
}

// ---- fields ----

std::vector<Field> fields_of(const reg_def &reg) {
    std::vector<Field> fields;
    for (const bit_def *bit = reg.bits; bit != nullptr; bit = bit->next) {
        fields.push_back(field_of(*bit));
    }
    return fields;
}

std::optional<Field> field_by_range(const Chip &chip, const reg_def &reg, std::string_view text) {
    const auto range = parse_bit_range(text);
    if (!range) {
        return std::nullopt;
    }
    if (range->high >= static_cast<int>(reg.size)) {
        fail(kExitNoDevice, "register \"{}\" of chip \"{}\" has no bit {}: its bits are {}:0",
             register_name(reg), chip.label, range->high, reg.size - 1);
    }
    for (Field &field : fields_of(reg)) {
        if (field.low == range->low && field.high == range->high) {
            return std::move(field);
        }
    }
    return Field{range_text(range->low, range->high), range->low, range->high, nullptr};
}

Field find_field(const Chip &chip, const reg_def &reg, std::string_view text) {
    const std::vector<Field> fields = fields_of(reg);
    NameIndex index;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        index.add(fields[i].name, i);
    }
    const std::vector<std::size_t> found = index.matches(text);
    if (found.size() == 1) {
        return fields[found.front()];
    }
    if (found.size() > 1) {
        fail(kExitNoDevice, "{} fields of register \"{}\" are called \"{}\": say which by its bits",
             found.size(), register_name(reg), one_line(text));
    }
    if (auto field = field_by_range(chip, reg, one_line(text))) {
        return *field;
    }
    if (fields.empty()) {
        fail(kExitNoDevice, "register \"{}\" of chip \"{}\" has no fields: bits go by number",
             register_name(reg), chip.label);
    }
    fail(kExitNoDevice, "register \"{}\" of chip \"{}\" has no field \"{}\"{}", register_name(reg),
         chip.label, one_line(text), nearest_hint(one_line(text), index.names()));
}

// ---- several names in a row ----

// Tries the ways to take `text` apart, the longest name first: `take` answers whether the name
// of a split is known and throws when what follows it is not. When nothing works, what was wrong
// behind the longest name that is known is the thing to tell.
template <typename Take>
std::optional<Target> first_that_fits(std::string_view text, Take take) {
    std::optional<CliError> first_error;
    for (const NameSplit &split : name_splits(text)) {
        try {
            if (std::optional<Target> target = take(split)) {
                return target;
            }
        } catch (const CliError &error) {
            if (!first_error) {
                first_error = error;
            }
        }
    }
    if (first_error) {
        throw CliError(*first_error);
    }
    return std::nullopt;
}

Target find_register_target(const Chip &chip, std::string_view text) {
    const std::vector<const reg_def *> registers = registers_of(*chip.node);
    NameIndex index;
    for (std::size_t i = 0; i < registers.size(); ++i) {
        index.add(one_line(registers[i]->name), i);
    }
    auto target = first_that_fits(text, [&](const NameSplit &split) -> std::optional<Target> {
        std::vector<std::size_t> found = index.matches(split.name);
        if (found.empty()) {
            found = registers_at(registers, split.name);
        }
        if (found.empty()) {
            return std::nullopt;
        }
        const reg_def &reg = only_register(chip, registers, found, split.name);
        if (!split.has_rest) {
            return Target{&chip, &reg, std::nullopt};
        }
        return Target{&chip, &reg, find_field(chip, reg, split.rest)};
    });
    if (!target) {
        fail_unknown_register(chip, text, registers, index);
    }
    return *target;
}

}  // namespace

std::string Target::name() const {
    std::string text = chip->label;
    if (reg != nullptr) {
        text += "." + register_name(*reg);
    }
    if (field) {
        text += "." + field->name;
    }
    return text;
}

std::string range_text(int low, int high) {
    return low == high ? fmt::format("{}", low) : fmt::format("{}:{}", high, low);
}

std::string register_name(const reg_def &reg) {
    std::string name = one_line(reg.name);
    return name.empty() ? hex(reg.offset) : name;
}

std::vector<const reg_def *> registers_of(const device_node &node) {
    std::vector<const reg_def *> registers;
    for (const reg_list *element = node.reg_list; element != nullptr; element = element->next) {
        if (element->reg != nullptr) {
            registers.push_back(element->reg);
        }
    }
    return registers;
}

Field field_of(const bit_def &bit) {
    std::string name = one_line(bit.name);
    if (name.empty()) {
        name = range_text(bit.start, bit.end);
    }
    return {std::move(name), bit.start, bit.end, &bit};
}

const Chip &find_chip(const Description &description, std::string_view name) {
    const NameIndex index = index_chips(description.chips());
    const std::vector<std::size_t> found = index.matches(name);
    if (found.empty()) {
        fail_unknown_chip(description, name, index);
    }
    return only_chip(description, found, name);
}

Target find_target(const Description &description, std::string_view text) {
    const NameIndex index = index_chips(description.chips());
    const auto target = first_that_fits(text, [&](const NameSplit &split) -> std::optional<Target> {
        const std::vector<std::size_t> found = index.matches(split.name);
        if (found.empty()) {
            return std::nullopt;
        }
        const Chip &chip = only_chip(description, found, split.name);
        return split.has_rest ? find_register_target(chip, split.rest)
                              : Target{&chip, nullptr, std::nullopt};
    });
    if (!target) {
        fail_unknown_chip(description, text, index);
    }
    return *target;
}

}  // namespace diag::diagctl
