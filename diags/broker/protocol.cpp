// SPDX-License-Identifier: MIT
#include "diags/broker/protocol.h"

#include <charconv>
#include <cstdlib>

namespace diag::broker {
namespace {

constexpr uint32_t kMaxI2cBus = 0xFFFF;
constexpr uint32_t kMaxI2cAddress = 0x7F;
constexpr uint32_t kMaxPciBus = 0xFF;
constexpr uint32_t kMaxPciDevice = 0x1F;
constexpr uint32_t kMaxPciFunction = 7;

constexpr std::array<std::string_view, kOutcomes> kTexts = {
    "Success",
    "Rx Ack",
    "Req not found",
    "Unknown device",
    "Invalid request",
    "Too long",
    "Not supported",
    "No answer",
    "Access failed",
    "No transaction",
    "Transaction expired",
    "Timed out",
    "Queue full",
    "Busy",
    "Refused",
    "Shutting down",
};

// Digits and nothing else, the value at most `max`.
std::optional<uint32_t> parse_digits(std::string_view text, int base, uint32_t max) {
    uint32_t value = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    return error == std::errc() && stop == end && value <= max ? std::optional(value)
                                                               : std::nullopt;
}

std::string hex(uint32_t value, size_t width) {
    std::array<char, 8> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    std::string text(digits.data(), end);
    return text.size() < width ? std::string(width - text.size(), '0') + text : text;
}

// Takes what stands before `separator`, and the separator, off the front of `text`.
std::optional<std::string_view> take_part(std::string_view *text, char separator) {
    const size_t end = text->find(separator);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view part = text->substr(0, end);
    text->remove_prefix(end + 1);
    return part;
}

std::optional<RawPlace> parse_i2c_place(std::string_view rest, bool wide_register) {
    const auto bus_text = take_part(&rest, ':');
    const auto bus = bus_text ? parse_digits(*bus_text, 16, kMaxI2cBus) : std::nullopt;
    const auto address = parse_digits(rest, 16, kMaxI2cAddress);
    if (!bus || !address) {
        return std::nullopt;
    }
    return RawPlace{.kind = RawPlace::Kind::kI2c,
                    .wide_register = wide_register,
                    .bus = *bus,
                    .device = static_cast<uint8_t>(*address)};
}

std::optional<RawPlace> parse_pci_place(std::string_view rest) {
    const auto bus_text = take_part(&rest, ':');
    const auto device_text = take_part(&rest, '.');
    if (!bus_text || !device_text) {
        return std::nullopt;
    }
    const auto bus = parse_digits(*bus_text, 16, kMaxPciBus);
    const auto device = parse_digits(*device_text, 16, kMaxPciDevice);
    const auto function = parse_digits(rest, 16, kMaxPciFunction);
    if (!bus || !device || !function) {
        return std::nullopt;
    }
    return RawPlace{.kind = RawPlace::Kind::kPci,
                    .bus = *bus,
                    .device = static_cast<uint8_t>(*device),
                    .function = static_cast<uint8_t>(*function)};
}

std::optional<RawPlace> parse_gpio_place(std::string_view rest) {
    const auto chip = parse_digits(rest, 16, UINT32_MAX);
    return chip ? std::optional(RawPlace{.kind = RawPlace::Kind::kGpio, .bus = *chip})
                : std::nullopt;
}

}  // namespace

std::string Address::text() const {
    return host + ":" + std::to_string(port);
}

bool is_ipv4(std::string_view text) {
    for (int part = 0; part < 3; ++part) {
        const auto number = take_part(&text, '.');
        if (!number || number->size() > 3 || !parse_digits(*number, 10, 255)) {
            return false;
        }
    }
    return text.size() <= 3 && parse_digits(text, 10, 255).has_value();
}

std::optional<Address> parse_address(std::string_view text) {
    const size_t colon = text.find(':');
    const std::string_view host = text.substr(0, colon);
    if (!is_ipv4(host)) {
        return std::nullopt;
    }
    Address address{std::string(host), kDefaultPort};
    if (colon != std::string_view::npos) {
        const auto port = parse_digits(text.substr(colon + 1), 10, UINT16_MAX);
        if (!port || *port == 0) {
            return std::nullopt;
        }
        address.port = static_cast<uint16_t>(*port);
    }
    return address;
}

std::optional<Address> address_from_environment() {
    const char *text = std::getenv(kAddressVariable);
    return text == nullptr || *text == '\0' ? Address{} : parse_address(text);
}

std::string_view outcome_text(Outcome outcome) {
    return kTexts[static_cast<size_t>(outcome)];
}

std::optional<Outcome> parse_outcome(std::string_view text) {
    for (size_t i = 0; i < kTexts.size(); ++i) {
        if (kTexts[i] == text) {
            return static_cast<Outcome>(i);
        }
    }
    return std::nullopt;
}

std::string format_raw_id(const RawPlace &place) {
    switch (place.kind) {
        case RawPlace::Kind::kI2c:
            return (place.wide_register ? "i2c16:" : "i2c:") + hex(place.bus, 1) + ":" +
                   hex(place.device, 2);
        case RawPlace::Kind::kLpc:
            return "lpc";
        case RawPlace::Kind::kMemory:
            return "mem";
        case RawPlace::Kind::kPci:
            return "pci:" + hex(place.bus, 2) + ":" + hex(place.device, 2) + "." +
                   hex(place.function, 1);
        case RawPlace::Kind::kGpio:
            return "gpio:" + hex(place.bus, 1);
    }
    return {};
}

std::optional<RawPlace> parse_raw_id(std::string_view id) {
    if (id == "lpc") {
        return RawPlace{.kind = RawPlace::Kind::kLpc};
    }
    if (id == "mem") {
        return RawPlace{.kind = RawPlace::Kind::kMemory};
    }
    const auto kind = take_part(&id, ':');
    if (kind == "i2c" || kind == "i2c16") {
        return parse_i2c_place(id, kind == "i2c16");
    }
    if (kind == "pci") {
        return parse_pci_place(id);
    }
    return kind == "gpio" ? parse_gpio_place(id) : std::nullopt;
}

}  // namespace diag::broker
