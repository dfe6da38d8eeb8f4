// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/request_text.h"

namespace diag::daemon {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

// Takes fields of fixed width off a text.
class TextReader {
  public:
    explicit TextReader(std::string_view rest) : rest_(rest) {}

    bool is_good() const { return is_good_; }
    bool is_at_end() const { return rest_.empty(); }
    std::string_view rest() const { return rest_; }

    uint32_t number(size_t digits, uint32_t base = 16) {
        if (rest_.size() < digits) {
            is_good_ = false;
            return 0;
        }
        uint32_t value = 0;
        for (const char c : rest_.substr(0, digits)) {
            value = value * base + digit(c, base);
        }
        rest_.remove_prefix(digits);
        return value;
    }

    void comma() {
        is_good_ = is_good_ && rest_.starts_with(',');
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
    }

  private:
    uint32_t digit(char c, uint32_t base) {
        const auto value = static_cast<uint32_t>(c >= 'a' ? c - 'a' + 10 : c - '0');
        const bool is_digit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
        is_good_ = is_good_ && is_digit && value < base;
        return value;
    }

    std::string_view rest_;
    bool is_good_ = true;
};

bool parse_options(std::string_view support, Access *access) {
    if (support.empty()) {
        return true;
    }
    TextReader reader(support);
    reader.comma();
    access->options = static_cast<uint8_t>(reader.number(2));
    return reader.is_good() && reader.is_at_end() && (access->options & ~broker::kAllOptions) == 0;
}

void append_number(uint32_t value, int digits, std::string *text) {
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        text->push_back(kDigits[value >> shift & 0xF]);
    }
}

}  // namespace

std::optional<Access> parse_access(std::string_view data, std::string_view support, bool is_write) {
    Access access;
    access.is_write = is_write;
    TextReader reader(data);
    access.address = reader.number(8);
    reader.comma();
    access.count = reader.number(4);
    reader.comma();
    access.width = reader.number(2);
    reader.comma();
    access.flags = reader.number(2);
    // The text of a write of no bytes is that of a read.
    if (!reader.is_good() || reader.rest().size() != (is_write ? 3 * access.count : 0)) {
        return std::nullopt;
    }
    access.data.reserve(is_write ? access.count : 0);
    while (!reader.is_at_end()) {
        reader.comma();
        access.data.push_back(static_cast<uint8_t>(reader.number(2)));
    }
    return reader.is_good() && parse_options(support, &access) ? std::optional(std::move(access))
                                                               : std::nullopt;
}

std::optional<Reservation> parse_reservation(std::string_view data) {
    Reservation result;
    TextReader reader(data);
    result.by_index = reader.number(2) != 0;
    for (uint32_t *selector : {&result.selector_a, &result.selector_b, &result.selector_c}) {
        reader.comma();
        *selector = reader.number(2);
    }
    reader.comma();
    result.seconds = reader.number(2, 10);
    if (!result.by_index) {
        reader.comma();
        result.asset = reader.rest();
    }
    const bool fits = result.by_index
                          ? reader.is_at_end()
                          : !result.asset.empty() && result.asset.size() <= broker::kMaxAssetLength;
    return reader.is_good() && fits ? std::optional(result) : std::nullopt;
}

std::optional<DynamicId> parse_dynamic_id(std::string_view data) {
    TextReader reader(data);
    const uint32_t key = reader.number(4);
    reader.comma();
    const uint32_t bits = reader.number(4, 10);
    const bool is_width = bits == 0 || bits == 8 || bits == 16;
    if (!reader.is_good() || !reader.is_at_end() || !is_width) {
        return std::nullopt;
    }
    return DynamicId{.bus = key >> 8, .address = key & 0xFF, .wide_register = bits == 16};
}

void write_access_answer(const Access &access, broker::Outcome outcome,
                         std::span<const uint8_t> bytes, std::string *text) {
    text->clear();
    append_number(access.address, 8, text);
    text->push_back(',');
    append_number(access.count, 4, text);
    text->push_back(',');
    append_number(access.width, 2, text);
    if (!access.is_write) {
        text->push_back(',');
        append_number(access.flags, 2, text);
    }
    text->push_back(',');
    text->append(broker::outcome_text(outcome));
    if (access.is_write || outcome != broker::Outcome::kSuccess) {
        return;
    }
    text->push_back(',');
    append_number(static_cast<uint32_t>(bytes.size()), 4, text);
    text->push_back(',');
    for (const uint8_t byte : bytes) {
        text->push_back(kDigits[byte >> 4]);
        text->push_back(kDigits[byte & 0xF]);
    }
}

}  // namespace diag::daemon
