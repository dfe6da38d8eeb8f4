// SPDX-License-Identifier: MIT
#include "diags/board/sim/module_expansion.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <vector>

#include "diags/board/sim/board_error.h"
#include "diags/board/sim/text_lines.h"

namespace diag::board::sim {
namespace {

constexpr std::string_view kSlotCount = "OPTIONAL_MODULE_SUPPORT";
constexpr std::string_view kTypeCount = "CARD_TYPE_SUPPORT";
constexpr std::string_view kIdRegister = "CARD_ID_REG";
constexpr std::string_view kTypeSection = "IOMTYPE";
constexpr std::string_view kDelimiter = "=====\n";
constexpr uint32_t kHighestRegister = 0xFFFF;
constexpr uint32_t kHighestBit = 7;  // programs read the presence register as one byte

struct ModuleSlot {
    TextLine line;
    uint32_t presence_register;
    uint32_t presence_bit;
    std::string_view chip;  // the card's C line
};

struct Modules {
    std::vector<ModuleSlot> slots;
    uint32_t id_register = 0;
    std::vector<std::span<const TextLine>> sections;  // register lines of card type 1, 2, ...
};

class Reader {
  public:
    Reader(const std::string &path, std::span<const TextLine> lines) : path_(path), lines_(lines) {}

    // Leaves the reader at the device part.
    Modules read_header();

    std::span<const TextLine> read_device_part();

    [[noreturn]] void fail(const TextLine &line, const std::string &message) const {
        throw BoardError(kExitBadDescription, place_of(line) + ": " + message);
    }
    std::string place_of(const TextLine &line) const {
        return path_ + ":" + std::to_string(line.number);
    }

  private:
    // The line that must come next in the list of slots.
    const TextLine &expect(const std::string &what);
    uint32_t count_in(const TextLine &line) const;
    uint32_t hexadecimal(const TextLine &line, const std::string &what, std::string_view text,
                         uint32_t max) const;

    Modules read_modules(uint32_t slots);
    uint32_t read_id_register();
    ModuleSlot read_slot(size_t number);
    void read_sections(size_t types, const TextLine &type_count, Modules *modules) const;

    const std::string &path_;
    std::span<const TextLine> lines_;
    size_t next_ = 0;
};

const TextLine &Reader::expect(const std::string &what) {
    if (next_ == lines_.size() || lines_[next_].is_delimiter()) {
        const TextLine &last = lines_[next_ < lines_.size() ? next_ : next_ - 1];
        fail(last, "the list of optional modules ends before " + what);
    }
    return lines_[next_++];
}

// One digit after the first colon.
uint32_t Reader::count_in(const TextLine &line) const {
    const size_t colon = line.text.find(':');
    const std::string_view rest =
        colon != std::string_view::npos ? line.text.substr(colon + 1) : std::string_view();
    if (rest.empty() || rest[0] < '0' || rest[0] > '9') {
        fail(line, "expected a digit right after the colon");
    }
    return static_cast<uint32_t>(rest[0] - '0');
}

uint32_t Reader::hexadecimal(const TextLine &line, const std::string &what, std::string_view text,
                             uint32_t max) const {
    const std::optional<uint32_t> value = parse_hexadecimal(text);
    if (!value) {
        fail(line, what + ": \"" + std::string(text) + "\" is no hexadecimal number");
    }
    if (*value > max) {
        fail(line, what + ": " + std::string(text) + " is too large");
    }
    return *value;
}

Modules Reader::read_header() {
    Modules modules;
    while (next_ < lines_.size()) {
        const TextLine &line = lines_[next_++];
        if (line.is_delimiter()) {
            return modules;
        }
        if (!line.text.starts_with(kSlotCount)) {
            continue;
        }
        const uint32_t slots = count_in(line);
        if (slots != 0 && !modules.slots.empty()) {
            fail(line, "the optional modules are listed a second time");
        }
        if (slots != 0) {
            modules = read_modules(slots);
        }
    }
    throw BoardError(kExitBadDescription,
                     path_ + ": not a board description: no line of ===== ends its header");
}

Modules Reader::read_modules(uint32_t slots) {
    Modules modules;
    const TextLine &type_count = expect("the number of card types");
    if (!type_count.text.starts_with(kTypeCount)) {
        fail(type_count, "expected " + std::string(kTypeCount) + ":N");
    }
    const uint32_t types = count_in(type_count);
    if (types == 0) {
        fail(type_count, "expected at least one card type");
    }
    modules.id_register = read_id_register();
    for (uint32_t number = 1; number <= slots; ++number) {
        modules.slots.push_back(read_slot(number));
    }
    read_sections(types, type_count, &modules);
    return modules;
}

uint32_t Reader::read_id_register() {
    const TextLine &line = expect("the card-id register");
    const size_t colon = line.text.find(':');
    if (!trimmed(line.text.substr(0, colon)).starts_with(kIdRegister) ||
        colon == std::string_view::npos) {
        fail(line, "expected " + std::string(kIdRegister) + ":REGISTER");
    }
    const std::string_view rest = line.text.substr(colon + 1);
    return hexadecimal(line, "card-id register", trimmed(rest.substr(0, rest.find('|'))),
                       kHighestRegister);
}

// Slot | LPC | register | bit : C line
ModuleSlot Reader::read_slot(size_t number) {
    const std::string name = "slot " + std::to_string(number);
    const TextLine &line = expect(name);
    const size_t colon = line.text.find(':');
    const auto fields = fields_of(line.text.substr(0, colon), '|');
    if (fields.size() < 4 || !fields[0].starts_with("Slot") || colon == std::string_view::npos) {
        fail(line, name + ": expected Slot|LPC|REGISTER|BIT:C|...");
    }
    if (!fields[1].starts_with("LPC")) {
        fail(line, name + ": its presence can be read over LPC alone");
    }
    return {
        .line = line,
        .presence_register = hexadecimal(line, name + ", presence register", fields[2], UINT32_MAX),
        .presence_bit = hexadecimal(line, name + ", presence bit", fields[3], kHighestBit),
        .chip = line.text.substr(colon + 1)};
}

void Reader::read_sections(size_t types, const TextLine &type_count, Modules *modules) const {
    for (size_t start = next_; start < lines_.size(); ++start) {
        if (!lines_[start].text.starts_with(kTypeSection)) {
            continue;
        }
        size_t end = start + 1;
        while (end < lines_.size() && !lines_[end].is_delimiter()) {
            if (lines_[end].text.starts_with(kTypeSection)) {
                fail(lines_[end], "a line of ===== must end the section before");
            }
            ++end;
        }
        modules->sections.push_back(lines_.subspan(start + 1, end - start - 1));
    }
    if (modules->sections.size() != types) {
        fail(type_count, std::to_string(types) + " card types announced, the file has " +
                             std::to_string(modules->sections.size()) + " sections " +
                             std::string(kTypeSection));
    }
}

std::span<const TextLine> Reader::read_device_part() {
    const auto rest = lines_.subspan(next_);
    const auto end = std::ranges::find_if(
        rest, [](const TextLine &line) { return line.text.starts_with(kTypeSection); });
    return rest.first(static_cast<size_t>(end - rest.begin()));
}

void append(std::span<const TextLine> lines, std::string *text) {
    for (const TextLine &line : lines) {
        text->append(line.text).push_back('\n');
    }
}

const SlotSetting *setting_of(const BoardFile &board_file, size_t number) {
    const auto found = std::ranges::find(board_file.slots, number, &SlotSetting::number);
    return found != board_file.slots.end() && found->is_present ? &*found : nullptr;
}

void append_card(const Modules &modules, const ModuleSlot &slot, uint8_t type, std::string *text) {
    text->append(slot.chip).push_back('\n');
    if (type >= 1 && type <= modules.sections.size()) {
        append(modules.sections[type - 1], text);
    }
    text->append(kDelimiter);
}

void check_slots(const BoardFile &board_file, size_t count) {
    for (const SlotSetting &slot : board_file.slots) {
        if (slot.number == 0 || slot.number > count) {
            refuse_slot(board_file, slot,
                        count == 0 ? "the description has no optional-module slots"
                                   : "no such slot, the description has slots 1 to " +
                                         std::to_string(count));
        }
    }
}

}  // namespace

void refuse_slot(const BoardFile &board_file, const SlotSetting &slot, const std::string &why) {
    throw BoardError(kExitBadDescription, board_file.path + ": " + slot.place + ": " + why);
}

Expansion expand_modules(const std::string &text, const BoardFile &board_file) {
    const std::vector<TextLine> lines = lines_of(text);
    Reader reader(board_file.description, lines);
    const Modules modules = reader.read_header();
    check_slots(board_file, modules.slots.size());
    Expansion result;
    result.text = kDelimiter;
    for (size_t i = 0; i < modules.slots.size(); ++i) {
        const ModuleSlot &slot = modules.slots[i];
        const SlotSetting *card = setting_of(board_file, i + 1);
        result.slots.presence.push_back(
            {slot.presence_register, slot.presence_bit, card == nullptr});
        if (card == nullptr) {
            continue;
        }
        if (!trimmed(slot.chip).starts_with('C')) {
            reader.fail(slot.line, "expected a C line behind the colon");
        }
        result.slots.cards.push_back({.place = reader.place_of(slot.line),
                                      .chip = result.slots.cards.size(),
                                      .number = modules.id_register,
                                      .type = card->card_type});
        append_card(modules, slot, card->card_type, &result.text);
    }
    append(reader.read_device_part(), &result.text);
    return result;
}

}  // namespace diag::board::sim
