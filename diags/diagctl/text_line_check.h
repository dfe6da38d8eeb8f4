// SPDX-License-Identifier: MIT
// The lines of a text description, each by itself: a chip, and its registers.
#ifndef DIAGS_DIAGCTL_TEXT_LINE_CHECK_H
#define DIAGS_DIAGCTL_TEXT_LINE_CHECK_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "diags/diagctl/description_values.h"
#include "diags/diagctl/text_fields.h"

namespace diag::diagctl {

// What is wrong with a line, with chip, register and field; nothing when all is well.
using LineError = std::optional<std::string>;

struct FieldRule {
    std::string_view name;
    ValueCheck check;
    bool is_required = false;
};

// The next fields of a line against the rules. A line may end early, in front of what is not
// required.
LineError check_fields(TextFields &fields, std::span<const FieldRule> rules,
                       const std::string &where);

// A "C" line. `number` counts chips and names one that has no name. `card`: the chip sits in a
// slot, so it has to be on a bus that is searched for cards.
LineError check_chip_line(std::string_view line, int number, bool card = false);
std::string chip_place(std::string_view line, int number);  // chip "PUMP"

// The "R", "B" and "I" lines of one chip, or of one card type.
class RegisterLines {
  public:
    explicit RegisterLines(std::string where) : where_(std::move(where)) {}

    LineError check(std::string_view line);

  private:
    struct Register {
        std::string where;
        int bits = 0;
        std::uint32_t mask = 0;
        bool is_tested = false;  // testable and to be written
    };

    LineError check_register(TextFields fields, std::string_view line);
    LineError check_bit(TextFields fields);
    LineError check_info(TextFields fields) const;

    std::string where_;
    std::optional<Register> register_;
    std::optional<std::string> bit_where_;  // of the bit field that values belong to
};

}  // namespace diag::diagctl

#endif
