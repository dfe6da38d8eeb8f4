// SPDX-License-Identifier: MIT
#include "diags/diagctl/text_line_check.h"

#include <array>
#include <fmt/format.h>

#include "diags/diagctl/text.h"
#include "diags/diagctl/text_values.h"

namespace diag::diagctl {
namespace {

constexpr FieldRule kChipFields[] = {
    {"chip type", check_chip_type_field, true},
    {"address", check_hexadecimal, true},
    {"name", check_text, true},
};

constexpr FieldRule kChipTail[] = {
    {"identifier", check_text},
    {"version register", check_hexadecimal},
    {"version mask", check_hexadecimal},
    {"offset length", check_offset_length_field},
};

constexpr FieldRule kMuxNumbers[] = {
    {"addr", check_hexadecimal, true},
    {"reg", check_hexadecimal, true},
    {"mask", check_hexadecimal, true},
    {"val", check_hexadecimal, true},
};

constexpr FieldRule kRegisterFields[] = {
    {"offset", check_hexadecimal, true},
    {"size", check_size_field, true},
    {"mask", check_hexadecimal},
    {"name", check_text},
    {"access", check_access_field},
    {"default", check_hexadecimal},
    {"testable", check_decimal_field},
    {"validate", check_decimal_field},
    {"version", check_text},
    {"test id", check_test_id_field},
};

// Which test roles have data behind their number.
constexpr std::array<bool, 6> kRoleHasData = {true, true, true, false, true, true};
constexpr FieldRule kTestData[] = {{"test data", check_hexadecimal}};

constexpr FieldRule kBitAccess[] = {{"access", check_access_field}};
constexpr FieldRule kInfoFields[] = {{"value", check_hexadecimal, true}};

// Fields of a register line behind its letter, counted from 0.
constexpr int kMaskField = 2;
constexpr int kNameField = 3;
constexpr int kAccessField = 4;
constexpr int kTestableField = 6;
constexpr int kTestIdField = 9;

std::string complaint_text(const std::string &where, std::string_view field, std::string_view text,
                           std::string_view complaint) {
    return fmt::format("{}: {} \"{}\" {}", where, field, one_line(text), complaint);
}

std::string_view field_behind_letter(std::string_view line, int number) {
    TextFields fields(line, "|");
    fields.next();
    for (int i = 0; i < number; ++i) {
        fields.next();
    }
    return fields.next().value_or(std::string_view());
}

LineError check_bus(TextFields &fields, const std::string &where, bool card) {
    const auto field = fields.next();
    if (!field) {
        return where + ": no bus";
    }
    TextFields words(*field, " ");
    const std::string_view bus = words.next().value_or(std::string_view());
    if (bus.empty()) {
        return where + ": bus without text";
    }
    auto location = words.rest();
    if (!location) {
        location = fields.next();
    }
    if (const Complaint complaint = check_bus_word(bus); !complaint.empty()) {
        return complaint_text(where, "bus", bus, complaint);
    }
    if (card && bus != "i2c" && bus != "bmc") {
        return complaint_text(where, "bus", bus, "is not searched for cards, only i2c and bmc are");
    }
    if (!location) {
        return where + ": no bus location";
    }
    if (const Complaint complaint = check_location(bus, *location); !complaint.empty()) {
        return complaint_text(where, "bus location", *location, complaint);
    }
    return std::nullopt;
}

// "BUS ADDR:REG:MASK:VAL[:WORD:ADDR:REG:MASK:VAL]...", or " -".
LineError check_muxes(TextFields &fields, const std::string &where) {
    const auto field = fields.next();
    if (!field || is_blank_field(*field) || field->starts_with(" -")) {
        return std::nullopt;
    }
    TextFields words(*field, " ");
    if (words.next()->starts_with('-')) {
        return where + ": the dash for no muxes is not known without exactly one blank in front";
    }
    TextFields numbers(words.rest().value_or(std::string_view()), ":");
    int mux = 0;
    do {
        const std::string mux_where = fmt::format("{}, mux {}", where, ++mux);
        if (LineError error = check_fields(numbers, kMuxNumbers, mux_where)) {
            return error;
        }
    } while (numbers.next());
    return std::nullopt;
}

// The library takes a field without an access, where the line ends early, for read-only.
bool reads_as_read_only(std::string_view access) {
    return access.empty() || access.starts_with(" RO ");
}

}  // namespace

LineError check_fields(TextFields &fields, std::span<const FieldRule> rules,
                       const std::string &where) {
    for (const FieldRule &rule : rules) {
        const auto field = fields.next();
        if (!field && !rule.is_required) {
            return std::nullopt;
        }
        if (!field) {
            return fmt::format("{}: no {}", where, rule.name);
        }
        if (is_blank_field(*field)) {
            if (rule.is_required) {
                return fmt::format("{}: {} without text", where, rule.name);
            }
            continue;
        }
        if (const Complaint complaint = rule.check(*field); !complaint.empty()) {
            return complaint_text(where, rule.name, *field, complaint);
        }
    }
    return std::nullopt;
}

std::string chip_place(std::string_view line, int number) {
    return named("chip", one_line(field_behind_letter(line, 2)), fmt::format("{}", number));
}

LineError check_chip_line(std::string_view line, int number, bool card) {
    TextFields fields(line, "|");
    const std::string_view letter = without_blanks(fields.next().value_or(std::string_view()));
    if (!letter.starts_with('C')) {
        return fmt::format("a chip, \"C | ...\", is expected here, not \"{}\"", one_line(letter));
    }
    const std::string where = chip_place(line, number);
    if (LineError error = check_fields(fields, kChipFields, where)) {
        return error;
    }
    if (LineError error = check_bus(fields, where, card)) {
        return error;
    }
    if (LineError error = check_muxes(fields, where)) {
        return error;
    }
    return check_fields(fields, kChipTail, where);
}

LineError RegisterLines::check(std::string_view line) {
    TextFields fields(line, "|");
    fields.next();
    switch (line.front()) {
        case 'R':
            return check_register(fields, line);
        case 'B':
            return check_bit(fields);
        case 'I':
            return check_info(fields);
        default:
            return fmt::format("{}: a line begins with \"R\", \"B\" or \"I\" here, not with \"{}\"",
                               where_, one_line(line.substr(0, line.find('|'))));
    }
}

LineError RegisterLines::check_register(TextFields fields, std::string_view line) {
    Register reg;
    const std::string offset = one_line(field_behind_letter(line, 0));
    reg.where = where_ + ", " +
                named("register", one_line(field_behind_letter(line, kNameField)),
                      offset.empty() ? "without offset" : "at " + offset);
    bit_where_.reset();
    register_.reset();
    if (LineError error = check_fields(fields, kRegisterFields, reg.where)) {
        return error;
    }
    const auto role = parse_decimal(field_behind_letter(line, kTestIdField));
    if (role && kRoleHasData[static_cast<std::size_t>(*role)]) {
        if (LineError error = check_fields(fields, kTestData, reg.where)) {
            return error;
        }
    }
    reg.bits = static_cast<int>(parse_decimal(field_behind_letter(line, 1)).value_or(0));
    reg.mask = static_cast<std::uint32_t>(hexadecimal_value(field_behind_letter(line, kMaskField)));
    reg.is_tested = parse_decimal(field_behind_letter(line, kTestableField)).value_or(0) != 0 &&
                    field_behind_letter(line, kAccessField).starts_with(" RW ");
    register_ = reg;
    return std::nullopt;
}

LineError RegisterLines::check_bit(TextFields fields) {
    if (!register_) {
        return where_ + ": a bit field (\"B\") before the first register (\"R\")";
    }
    const auto range = fields.next();
    const auto name = fields.next();
    const std::string where =
        register_->where + ", " +
        named("bit field", one_line(name.value_or(std::string_view())), "without a name");
    if (!range || is_blank_field(*range)) {
        return where + ": no range";
    }
    if (const Complaint complaint = check_range_field(*range, register_->bits);
        !complaint.empty()) {
        return complaint_text(where, "range", *range, complaint);
    }
    const std::string_view access = TextFields(fields).next().value_or(std::string_view());
    if (LineError error = check_fields(fields, kBitAccess, where)) {
        return error;
    }
    const std::string_view usual = fields.rest().value_or(std::string_view());
    if (const Complaint complaint = check_hexadecimal(usual);
        !is_blank_field(usual) && !complaint.empty()) {
        return complaint_text(where, "default", usual, complaint);
    }
    const std::string_view low = range->substr(range->find(':') + 1);
    if (register_->is_tested && (register_->mask & 1) != 0 && reads_as_read_only(access) &&
        parse_decimal(low) == 0) {
        return where + ": bit 0 is read-only, but the mask of the testable register has it";
    }
    bit_where_ = where;
    return std::nullopt;
}

LineError RegisterLines::check_info(TextFields fields) const {
    if (!bit_where_) {
        return register_.value_or(Register{where_}).where +
               ": a value (\"I\") before the first bit field (\"B\")";
    }
    return check_fields(fields, kInfoFields, *bit_where_ + ", info");
}

}  // namespace diag::diagctl
