// SPDX-License-Identifier: MIT
#include "diags/diagctl/mux_steps.h"

#include <charconv>
#include <optional>

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/text.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

constexpr std::uint32_t kHighestByte = 0xFF;
constexpr std::uint32_t kHighestGpioNumber = 0x7FFFFFFF;
constexpr unsigned kHighestControllerBus = 0xFF;

// A longer one ends the process within the library.
constexpr std::size_t kLongestControllerBus = 29;

struct Number {
    const char *name;
    std::uint32_t value;
};

std::string number_complaint(std::initializer_list<Number> numbers, std::uint32_t highest,
                             int bits) {
    for (const auto &[name, value] : numbers) {
        if (value > highest) {
            return fmt::format("{} {} does not fit {} bits", name, hex(value), bits);
        }
    }
    return {};
}

std::string i2c_complaint(const mux_entry &mux) {
    return number_complaint({{"addr", mux.addr}, {"reg", mux.reg}, {"val", mux.val}}, kHighestByte,
                            8);
}

// The number behind the first dash, in decimal.
std::optional<unsigned> controller_bus(std::string_view bus) {
    const std::size_t dash = bus.find('-');
    if (dash == std::string_view::npos) {
        return std::nullopt;
    }
    const char *const end = bus.data() + bus.size();
    unsigned number = 0;
    const auto [stop, error] = std::from_chars(bus.data() + dash + 1, end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::string controller_complaint(const mux_entry &mux) {
    const auto number = controller_bus(mux.bus);
    if (!number || *number > kHighestControllerBus ||
        std::string_view(mux.bus).size() > kLongestControllerBus) {
        return "its bus is no name, dash and decimal number from 0 to 255";
    }
    return i2c_complaint(mux);
}

std::string gpio_complaint(const mux_entry &mux) {
    if (mux.val > 1) {
        return fmt::format("val {} is no level of a GPIO line, 0 or 1", hex(mux.val));
    }
    return number_complaint({{"addr", mux.addr}, {"reg", mux.reg}}, kHighestGpioNumber, 31);
}

std::string memory_complaint(const mux_entry &mux) {
    return number_complaint({{"val", mux.val}}, kHighestByte, 8);
}

// As the library tells them apart: the first word that the bus text contains, in this order.
constexpr MuxKind kMuxKinds[] = {
    {"i2c", "i2ctool", 2, false, i2c_complaint},
    {"bmc", "ipmitool", 3, false, controller_complaint},
    {"ipmi", "ipmitool", 2, false, controller_complaint},
    {"gpio", "gpiotool", 2, false, gpio_complaint},
    {"mem", "memtool", 2, true, memory_complaint},
};

const MuxKind *kind_of(const mux_entry &mux) {
    const std::string_view bus = mux.bus != nullptr ? mux.bus : "";
    for (const MuxKind &kind : kMuxKinds) {
        if (bus.find(kind.word) != std::string_view::npos) {
            return &kind;
        }
    }
    return nullptr;
}

MuxStep make_step(const mux_entry &mux, const std::string &number, const Chip &chip) {
    const std::string bus = one_line(mux.bus);
    MuxStep step{mux, fmt::format("mux {} ({} address {})", number, bus, hex(mux.addr)),
                 kind_of(mux)};
    step.entry.next = nullptr;
    if (step.kind == nullptr) {
        fail(kExitNoDevice, "{} on the way to chip \"{}\": no tool program reaches bus {}",
             step.place, chip.label, bus);
    }
    if (const std::string complaint = step.kind->complaint(mux); !complaint.empty()) {
        fail(kExitBadDescription, "{} on the way to chip \"{}\": {}", step.place, chip.label,
             complaint);
    }
    return step;
}

}  // namespace

std::vector<MuxStep> mux_steps(const Chip &chip) {
    std::vector<mux_entry> muxes;
    for (const mux_entry *mux = chip.node->mux_list; mux != nullptr; mux = mux->next) {
        muxes.push_back(*mux);
        if (mux->bus == nullptr) {
            muxes.back().bus = muxes.front().bus;  // deeper muxes sit on the bus of the first
        }
    }
    std::vector<MuxStep> steps;
    for (std::size_t i = 0; i < muxes.size(); ++i) {
        steps.push_back(make_step(muxes[i], fmt::format("{} of {}", i + 1, muxes.size()), chip));
    }
    return steps;
}

}  // namespace diag::diagctl
