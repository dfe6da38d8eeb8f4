// SPDX-License-Identifier: MIT
#include "diags/diagctl/description_values.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fmt/format.h>
#include <iterator>

namespace diag::diagctl {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr long kMostUnits = 65536;

std::string_view without_trailing_blanks(std::string_view text) {
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

}  // namespace

Complaint check_text(std::string_view) {
    return {};
}

// The library passes over blanks (and no other white space) in front, and stops at the first
// character that is no digit: "0X1F" would be 0.
Complaint check_hexadecimal(std::string_view text) {
    std::string_view digits = without_trailing_blanks(text);
    digits.remove_prefix(std::min(digits.find_first_not_of(' '), digits.size()));
    if (digits.substr(0, 2) == "0x") {
        digits.remove_prefix(2);
    }
    if (digits.empty() || digits.find_first_not_of("0123456789abcdefABCDEF") != digits.npos) {
        return "is not hexadecimal";
    }
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits.size() > 8 ? "does not fit 32 bits" : Complaint();
}

std::optional<long> parse_c_number(std::string_view text) {
    const std::string copy(text);
    char *end = nullptr;
    errno = 0;
    const long value = std::strtol(copy.c_str(), &end, 0);
    const bool rest_is_blank =
        copy.find_first_not_of(kBlanks, static_cast<std::size_t>(end - copy.c_str())) == copy.npos;
    if (end == copy.c_str() || !rest_is_blank || errno != 0) {
        return std::nullopt;
    }
    return value;
}

Complaint check_number(std::string_view text) {
    const auto value = parse_c_number(text);
    if (!value) {
        return "is not a number";
    }
    return *value < 0 || *value > 0xFFFFFFFFL ? "does not fit 32 bits" : Complaint();
}

Complaint check_register_size(std::string_view text) {
    constexpr long kSizes[] = {8, 16, 32};
    const long size = parse_c_number(text).value_or(0);
    return std::find(std::begin(kSizes), std::end(kSizes), size) != std::end(kSizes)
               ? Complaint()
               : "is not 8, 16 or 32";
}

Complaint check_length(std::string_view text) {
    const auto value = parse_c_number(text);
    return value && *value >= 1 && *value <= kMostUnits
               ? Complaint()
               : fmt::format("is not a number from 1 to {}", kMostUnits);
}

// The kind is known by its first characters, and the number of a bus that has one follows a dash.
Complaint check_chip_bus(std::string_view text) {
    if (kBlanks.find(text.front()) != kBlanks.npos) {
        return "begins with a blank";
    }
    for (const std::string_view kind : {"/dev/i2c", "bmc", "mtd"}) {
        if (text.substr(0, kind.size()) != kind) {
            continue;
        }
        const std::string_view number = text.substr(kind.size());
        if (number.empty() || number[0] != '-' || !check_hexadecimal(number.substr(1)).empty()) {
            return fmt::format("is not {}- and a hexadecimal number", kind);
        }
    }
    return {};
}

// A mux bus goes into the tool's command line as it stands, and a blank would end it there.
Complaint check_mux_bus(std::string_view text) {
    return text.find_first_of(kBlanks) != text.npos ? "contains a blank" : Complaint();
}

std::string named(std::string_view kind, const std::string &name, const std::string &otherwise) {
    return name.empty() ? fmt::format("{} {}", kind, otherwise)
                        : fmt::format("{} \"{}\"", kind, name);
}

bool is_blank(const char *text) {
    return text == nullptr ||
           std::string_view(text).find_first_not_of(kBlanks) == std::string_view::npos;
}

}  // namespace diag::diagctl
