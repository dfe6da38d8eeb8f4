// SPDX-License-Identifier: MIT
#include "diags/diagctl/text_values.h"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <iterator>
#include <string>

#include "diags/diagctl/number.h"
#include "diags/diagctl/text_fields.h"

namespace diag::diagctl {
namespace {

// Starts of the fields, as the library compares them: blanks included. "UNKNOWN" is what the
// library writes for an access that the form has no word for.
constexpr std::string_view kChipTypes[] = {" CPLD", " FPGA", " TPM", " NVRA"};
constexpr std::string_view kAccesses[] = {" RO ", " RW ", " RC ", " WO ", " RMW", " UNKNOWN"};

constexpr unsigned long kHighestPciBus = 0xFF;
constexpr unsigned long kHighestPciDevice = 0x1F;
constexpr unsigned long kHighestPciFunction = 7;

template <std::size_t N>
bool starts_with_any(std::string_view text, const std::string_view (&starts)[N]) {
    return std::any_of(std::begin(starts), std::end(starts),
                       [text](std::string_view start) { return text.starts_with(start); });
}

bool is_hexadecimal_up_to(std::string_view text, unsigned long highest) {
    return check_hexadecimal(text).empty() && hexadecimal_value(text) <= highest;
}

Complaint check_pci_location(std::string_view text) {
    constexpr char kWrong[] = "is neither bus:device.function nor a bus number, in hexadecimal";
    const std::size_t colon = text.find(':');
    const std::size_t dot = colon == text.npos ? text.npos : text.find('.', colon);
    if (!is_hexadecimal_up_to(text.substr(0, colon), kHighestPciBus)) {
        return kWrong;
    }
    if (colon == text.npos) {
        return {};
    }
    const bool is_function =
        dot != text.npos &&
        is_hexadecimal_up_to(text.substr(colon + 1, dot - colon - 1), kHighestPciDevice) &&
        is_hexadecimal_up_to(text.substr(dot + 1), kHighestPciFunction);
    return is_function ? Complaint() : kWrong;
}

struct BusWord {
    std::string_view word;
    ValueCheck check_location;
};

// "unknown" is the library's own word for a bus that the form has none for. A bus without a number
// has a location all the same, which says nothing.
constexpr BusWord kBusWords[] = {
    {"i2c", check_hexadecimal}, {"bmc", check_hexadecimal}, {"pci", check_pci_location},
    {"mem", check_text},        {"lpc", check_text},        {"io", check_text},
    {"mtd", check_hexadecimal}, {"unknown", check_text},
};

}  // namespace

Complaint check_chip_type_field(std::string_view text) {
    if (starts_with_any(text, kChipTypes)) {
        return {};
    }
    const std::string word = " " + std::string(without_blanks(text));
    return starts_with_any(word, kChipTypes) ? "is not known without exactly one blank in front"
                                             : Complaint();
}

Complaint check_access_field(std::string_view text) {
    if (starts_with_any(text, kAccesses)) {
        return {};
    }
    const std::string word = " " + std::string(without_blanks(text)) + " ";
    return starts_with_any(word, kAccesses) ? "is not known without exactly one blank on each side"
                                            : "is none of RO, RW, RC, WO and RMW";
}

Complaint check_size_field(std::string_view text) {
    const long size = parse_decimal(text).value_or(0);
    return size == 8 || size == 16 || size == 32 ? Complaint() : "is not 8, 16 or 32";
}

Complaint check_decimal_field(std::string_view text) {
    return parse_decimal(text) ? Complaint() : "is not a decimal number";
}

Complaint check_offset_length_field(std::string_view text) {
    const long bits = parse_decimal(text).value_or(0);
    return bits == 8 || bits == 16 ? Complaint() : "is not 8 or 16";
}

// A dash anywhere means that the register has no role.
Complaint check_test_id_field(std::string_view text) {
    constexpr long kHighestRole = 5;
    if (text.find('-') != text.npos ||
        parse_decimal(text).value_or(kHighestRole + 1) <= kHighestRole) {
        return {};
    }
    return "is neither a number from 0 to 5 nor a dash";
}

Complaint check_presence_bit_field(std::string_view text) {
    return is_hexadecimal_up_to(text, 7) ? Complaint() : "is not a bit number from 0 to 7";
}

Complaint check_bus_word(std::string_view text) {
    for (const BusWord &known : kBusWords) {
        if (known.word == text) {
            return {};
        }
    }
    return "is none of i2c, bmc, pci, mem, lpc, io and mtd";
}

Complaint check_location(std::string_view bus_word, std::string_view text) {
    for (const BusWord &known : kBusWords) {
        if (known.word == bus_word) {
            return known.check_location(text);
        }
    }
    return {};
}

Complaint check_range_field(std::string_view text, int register_bits) {
    const std::string_view words = without_blanks(text);
    const std::size_t colon = words.find(':');
    const auto range = parse_bit_range(words);
    if (!range) {
        return "is neither HIGH:LOW nor a bit";
    }
    if (colon != words.npos && parse_decimal(words.substr(0, colon)) == range->low &&
        range->low != range->high) {
        return "has its lower bit first";
    }
    if (range->high >= register_bits) {
        return fmt::format("lies beyond the register's {} bits", register_bits);
    }
    return {};
}

bool is_blank_field(std::string_view text) {
    return without_blanks(text).empty();
}

std::optional<long> parse_decimal(std::string_view text) {
    const std::string digits(without_blanks(text));
    if (digits.empty() || digits.size() > 9 ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    return std::strtol(digits.c_str(), nullptr, 10);
}

unsigned long hexadecimal_value(std::string_view text) {
    return std::strtoul(std::string(without_blanks(text)).c_str(), nullptr, 16);
}

}  // namespace diag::diagctl
