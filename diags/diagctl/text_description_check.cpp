// SPDX-License-Identifier: MIT
#include "diags/diagctl/text_description_check.h"

#include <fmt/format.h>
#include <utility>

#include "diags/diagctl/text.h"
#include "diags/diagctl/text_fields.h"
#include "diags/diagctl/text_line_check.h"
#include "diags/diagctl/text_values.h"

namespace diag::diagctl {
namespace {

constexpr std::string_view kDelimiter = "=====";
constexpr std::string_view kModulesWord = "OPTIONAL_MODULE_SUPPORT";
constexpr std::string_view kCardTypesWord = "CARD_TYPE_SUPPORT";
constexpr std::string_view kCardIdWord = "CARD_ID_REG";
constexpr std::string_view kSectionWord = "IOMTYPE";

Complaint check_slot_word(std::string_view text) {
    return without_blanks(text).starts_with("Slot") ? Complaint() : "is not \"Slot\"";
}

Complaint check_interface(std::string_view text) {
    return without_blanks(text).starts_with("LPC") ? Complaint() : "is not \"LPC\"";
}

constexpr FieldRule kSlotFields[] = {
    {"word", check_slot_word, true},
    {"interface", check_interface, true},
    {"presence register", check_hexadecimal, true},
    {"presence bit", check_presence_bit_field, true},
};

constexpr FieldRule kCardIdFields[] = {{"number", check_hexadecimal, true}};

// The one digit directly behind the colon, or -1.
int digit_behind_colon(std::string_view line) {
    const std::string_view text = line.substr(std::min(line.find(':'), line.size() - 1) + 1);
    const std::string_view digit = text.substr(0, text.find_last_not_of(" \t") + 1);
    return digit.size() == 1 && digit[0] >= '0' && digit[0] <= '9' ? digit[0] - '0' : -1;
}

// Walks the lines as the loader does.
class TextCheck {
  public:
    explicit TextCheck(std::string_view text) : lines_(text) {}

    TextDescriptionFacts run() {
        TextDescriptionFacts facts;
        while (const auto line = lines_.next()) {
            if (LineError error = check_line(*line)) {
                facts.error = DescriptionError{lines_.number(), std::move(*error)};
                return facts;
            }
        }
        facts.error = check_end();
        facts.has_modules = card_types_ > 0;
        return facts;
    }

  private:
    enum class Part { kHeader, kCardTypes, kCardId, kSlots, kDevices, kSections };

    LineError check_line(std::string_view line) {
        if (line.find('\0') != line.npos) {
            return "a NUL byte: this is no text";
        }
        switch (part_) {
            case Part::kHeader:
                return check_header_line(line);
            case Part::kCardTypes:
            case Part::kCardId:
            case Part::kSlots:
                return check_module_line(line);
            case Part::kDevices:
                return check_device_line(line);
            case Part::kSections:
                return check_section_line(line);
        }
        return std::nullopt;
    }

    LineError check_header_line(std::string_view line) {
        if (line.starts_with(kDelimiter)) {
            part_ = Part::kDevices;
            return std::nullopt;
        }
        if (line.starts_with(kSectionWord)) {
            return fmt::format("{} in front of the devices: card types stand behind them",
                               kSectionWord);
        }
        if (!line.starts_with(kModulesWord)) {
            return check_other_header_line(line);
        }
        slots_ = digit_behind_colon(line);
        if (slots_ < 0 || card_types_ > 0) {
            return card_types_ > 0
                       ? fmt::format("a second {}", kModulesWord)
                       : fmt::format("{} without one digit directly behind a colon", kModulesWord);
        }
        part_ = slots_ > 0 ? Part::kCardTypes : Part::kHeader;
        return std::nullopt;
    }

    // Nobody reads these lines, which is a pity for a chip that ends up among them.
    static LineError check_other_header_line(std::string_view line) {
        if (line.starts_with('=')) {
            return fmt::format("this line does not begin with \"{}\", so the header goes on",
                               kDelimiter);
        }
        TextFields fields(line, "|");
        if (without_blanks(fields.next().value_or(std::string_view())) == "C" && fields.rest()) {
            return fmt::format("a chip in the header: no line of \"{}\" stands in front of it",
                               kDelimiter);
        }
        return std::nullopt;
    }

    LineError check_module_line(std::string_view line) {
        if (line.starts_with(kDelimiter)) {
            return fmt::format("the optional-module block ends here, but {} is missing",
                               missing_module_line());
        }
        switch (part_) {
            case Part::kCardTypes:
                return check_card_types(line);
            case Part::kCardId:
                return check_card_id(line);
            default:
                return check_slot(line);
        }
    }

    std::string missing_module_line() const {
        switch (part_) {
            case Part::kCardTypes:
                return std::string(kCardTypesWord);
            case Part::kCardId:
                return std::string(kCardIdWord);
            default:
                return fmt::format("slot {} of {}", slot_ + 1, slots_);
        }
    }

    LineError check_card_types(std::string_view line) {
        const int types = line.starts_with(kCardTypesWord) ? digit_behind_colon(line) : -1;
        if (types <= 0) {
            return fmt::format("\"{}:\" with one digit from 1 to 9 directly behind it is expected",
                               kCardTypesWord);
        }
        card_types_ = types;
        card_types_line_ = lines_.number();
        part_ = Part::kCardId;
        return std::nullopt;
    }

    LineError check_card_id(std::string_view line) {
        TextFields parts(line, ":");
        const std::string_view name = without_blanks(parts.next().value_or(std::string_view()));
        if (!name.starts_with(kCardIdWord)) {
            return fmt::format("\"{}:\" with a register number is expected", kCardIdWord);
        }
        part_ = Part::kSlots;
        TextFields fields(parts.rest().value_or(std::string_view()), "|");
        return check_fields(fields, kCardIdFields, std::string(kCardIdWord));
    }

    LineError check_slot(std::string_view line) {
        const std::size_t colon = line.find(':');
        const std::string where = fmt::format("slot {}", ++slot_);
        TextFields fields(line.substr(0, colon), "|");
        if (LineError error = check_fields(fields, kSlotFields, where)) {
            return error;
        }
        if (colon == line.npos) {
            return where + ": no colon with a chip, \"C | ...\", behind it";
        }
        if (LineError error = check_chip_line(line.substr(colon + 1), ++chips_, true)) {
            return fmt::format("{}, {}", where, *error);
        }
        part_ = slot_ == slots_ ? Part::kHeader : Part::kSlots;
        return std::nullopt;
    }

    LineError check_device_line(std::string_view line) {
        if (line.starts_with(kDelimiter)) {
            registers_.reset();
            return std::nullopt;
        }
        if (line.starts_with(kSectionWord)) {
            part_ = Part::kSections;
            registers_.reset();
            return check_section_line(line);
        }
        if (registers_) {
            return registers_->check(line);
        }
        registers_.emplace(chip_place(line, ++chips_));
        return check_chip_line(line, chips_);
    }

    LineError check_section_line(std::string_view line) {
        if (line.starts_with(kDelimiter)) {
            registers_.reset();
            return std::nullopt;
        }
        if (line.starts_with(kSectionWord)) {
            if (registers_) {
                return fmt::format("card type {} does not end with \"{}\"", sections_, kDelimiter);
            }
            registers_.emplace(fmt::format("card type {}", ++sections_));
            return std::nullopt;
        }
        if (!registers_) {
            return fmt::format("nothing is read here, behind the \"{}\" of card type {}",
                               kDelimiter, sections_);
        }
        return registers_->check(line);
    }

    std::optional<DescriptionError> check_end() const {
        if (part_ == Part::kHeader) {
            return DescriptionError{
                lines_.number(),
                fmt::format("no line begins with \"{}\": all of it is header, and no device "
                            "description",
                            kDelimiter)};
        }
        if (part_ < Part::kDevices) {
            return DescriptionError{
                lines_.number(),
                fmt::format("the file ends here, but {} is missing", missing_module_line())};
        }
        if (card_types_ > 0 && sections_ != card_types_) {
            return DescriptionError{
                card_types_line_,
                fmt::format("{} says {}, but the file has {} {} section{}", kCardTypesWord,
                            card_types_, sections_, kSectionWord, sections_ == 1 ? "" : "s")};
        }
        return std::nullopt;
    }

    TextLines lines_;
    Part part_ = Part::kHeader;
    int slots_ = 0;  // of the optional-module block
    int slot_ = 0;   // read so far
    int card_types_ = 0;
    long card_types_line_ = 0;
    int sections_ = 0;
    int chips_ = 0;
    std::optional<RegisterLines> registers_;  // of the chip or card type that is being read
};

}  // namespace

TextDescriptionFacts check_text_description(std::string_view text) {
    return TextCheck(text).run();
}

}  // namespace diag::diagctl
