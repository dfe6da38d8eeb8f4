// SPDX-License-Identifier: MIT
#include "diags/diagctl/register_access.h"

#include <algorithm>
#include <cstring>

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/decode.h"
#include "diags/diagctl/library_call.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/tool_failure.h"
#include "diags/diagctl/vocabulary.h"

namespace diag::diagctl {
namespace {

constexpr const char kTool[] = "i2ctool";

// From here on the library tells how many bytes a tool has delivered.
constexpr int kAccessLevel = 2;

constexpr std::uint32_t kHighestByte = 0xFF;

std::string full_name(const Chip &chip, const reg_def &reg) {
    return chip.label + "." + register_name(reg);
}

void require_reachable(const Chip &chip) {
    const device_node &node = *chip.node;
    if (node.bus_type != DIAG_BUS_I2C) {
        fail(kExitNoDevice, "chip \"{}\" is on bus {}: not reachable yet, only i2c is", chip.label,
             bus_name(node));
    }
    if (node.address > kHighestByte) {
        fail(kExitBadDescription, "chip \"{}\": address {} does not fit an i2c bus", chip.label,
             hex(node.address));
    }
    if (offset_bits(node) != 8 && offset_bits(node) != 16) {
        fail(kExitBadDescription,
             "chip \"{}\": its register numbers have {} bits, only 8 and 16 will do "
             "(chip-offset-length is hexadecimal: 8 or 10)",
             chip.label, offset_bits(node));
    }
}

void require_usable(const Chip &chip, const reg_def &reg) {
    const unsigned bits = offset_bits(*chip.node);
    if (reg.offset >> bits != 0) {
        fail(kExitBadDescription, "{}: offset {} does not fit the chip's {}-bit register numbers",
             full_name(chip, reg), hex(reg.offset), bits);
    }
}

// A register of several units behind a short register number is a block to the tool; one behind a
// long number is just more bytes.
reg_info addressing(const device_node &node, const reg_def &reg) {
    const bool wide_number = offset_bits(node) == 16;
    reg_info info{};
    info.reg_le = node.reg_le != 0 ? 1 : 0;
    info.addr_mode = wide_number ? DIAG_ADDR_MODE_REG16 : DIAG_ADDR_MODE_REG8;
    info.data_width = DIAG_DATA_WIDTH_8;
    if (reg.length == 1) {
        info.data_width = reg.size == 16 ? DIAG_DATA_WIDTH_16 : DIAG_DATA_WIDTH_8;
    } else if (!wide_number) {
        info.addr_mode = DIAG_ADDR_MODE_BLOCK;
        info.data_width = DIAG_DATA_WIDTH_BLOCK;
    }
    return info;
}

void require_settable(const mux_entry &mux, const std::string &place, const Chip &chip) {
    if (std::strstr(mux.bus, "i2c") == nullptr) {
        fail(kExitNoDevice, "{} on the way to chip \"{}\": not reachable yet, only i2c is", place,
             chip.label);
    }
    struct Number {
        const char *name;
        std::uint32_t value;
    };
    for (const auto &[name, value] :
         {Number{"addr", mux.addr}, Number{"reg", mux.reg}, Number{"val", mux.val}}) {
        if (value > kHighestByte) {
            fail(kExitBadDescription, "{} on the way to chip \"{}\": {} {} does not fit 8 bits",
                 place, chip.label, name, hex(value));
        }
    }
}

int write_through_library(const RegisterRoute &route, const std::vector<std::uint8_t> &bytes) {
    return i2ctool_set(route.bus.c_str(), route.address, static_cast<int>(route.offset),
                       &route.info, bytes.data(), static_cast<unsigned>(bytes.size()), 0, false);
}

// Nothing is run while it lives; writing calls show their command lines instead.
class DryRun {
  public:
    DryRun() { set_debug_enable(1); }
    ~DryRun() { set_debug_enable(0); }
    DryRun(const DryRun &) = delete;
    DryRun &operator=(const DryRun &) = delete;
};

template <typename Call>
std::vector<std::string> preview(Call &&call) {
    const DryRun dry_run;
    return dry_run_commands(call_library(0, 0, std::forward<Call>(call)).library, kTool);
}

}  // namespace

RegisterRoute::RegisterRoute(const Chip &chip, const reg_def &reg) {
    require_reachable(chip);
    require_usable(chip, reg);
    bus = bus_name(*chip.node);
    address = static_cast<unsigned>(chip.node->address);
    offset = reg.offset;
    count = static_cast<unsigned>(register_bytes(reg));
    info = addressing(*chip.node, reg);
}

std::string RegisterRoute::text() const {
    return fmt::format("{} byte{} of register {} at {} address {}", count, count == 1 ? "" : "s",
                       hex(offset, info.addr_mode == DIAG_ADDR_MODE_REG16 ? 16 : 8), bus,
                       hex(address));
}

std::vector<MuxStep> mux_steps(const Chip &chip) {
    std::vector<MuxStep> steps;
    const mux_entry *const first = chip.node->mux_list;
    for (const mux_entry *mux = first; mux != nullptr; mux = mux->next) {
        steps.push_back({*mux, {}});
        steps.back().entry.next = nullptr;
        if (mux->bus == nullptr) {
            steps.back().entry.bus = first->bus;
        }
    }
    for (std::size_t i = 0; i < steps.size(); ++i) {
        MuxStep &step = steps[i];
        step.place = fmt::format("mux {} of {} ({} address {})", i + 1, steps.size(),
                                 step.entry.bus, hex(step.entry.addr));
        require_settable(step.entry, step.place, chip);
    }
    return steps;
}

template <typename Call>
CapturedText RegisterAccess::call(Call &&call) const {
    return call_library(std::max(kAccessLevel, verbosity_), verbosity_, std::forward<Call>(call));
}

void RegisterAccess::select(const Chip &chip) {
    require_reachable(chip);
    for (MuxStep &mux : mux_steps(chip)) {
        std::uint32_t status = 0;
        const CapturedText said = call([&] { status = set_muxes(&mux.entry); });
        if (status != 0) {
            fail_write(mux.place + " could not be set", said);
        }
    }
}

std::vector<std::uint8_t> RegisterAccess::read(const Chip &chip, const reg_def &reg) {
    const RegisterRoute route(chip, reg);
    if (!pipe_) {
        pipe_.emplace();
    }
    std::vector<std::uint8_t> bytes(route.count);
    std::uint32_t status = 0;
    const CapturedText said = call([&] {
        status = i2ctool_get(route.bus.c_str(), route.address, route.offset, &route.info,
                             static_cast<int>(route.count), pipe_->path().c_str(), bytes.data());
    });
    const std::string what = full_name(chip, reg) + " could not be read";
    if (status != 0) {
        fail_read(what, status, said);
    }
    const int delivered = delivered_bytes(said.library).value_or(0);
    if (delivered < static_cast<int>(route.count)) {
        fail(kExitAccessFailed, "{}: {} delivered {} of {} bytes", what, kTool, delivered,
             route.count);
    }
    return bytes;
}

void RegisterAccess::write(const Chip &chip, const reg_def &reg, std::uint32_t value) {
    const RegisterRoute route(chip, reg);
    const std::vector<std::uint8_t> bytes = bytes_of_value(reg, chip.node->reg_le != 0, value);
    int status = 0;
    const CapturedText said = call([&] { status = write_through_library(route, bytes); });
    if (status != 0) {
        fail_write(full_name(chip, reg) + " could not be written", said);
    }
}

void RegisterAccess::fail_read(const std::string &what, std::uint32_t status,
                               const CapturedText &said) {
    if (watch_.interrupted()) {
        fail(kExitInterrupted, "interrupted");
    }
    const ToolFailure failure = read_failure(kTool, status, said);
    fail(failure.status, "{}: {}", what, failure.reason);
}

void RegisterAccess::fail_write(const std::string &what, const CapturedText &said) {
    if (watch_.interrupted()) {
        fail(kExitInterrupted, "interrupted");
    }
    const ToolFailure failure = write_failure(kTool, said);
    fail(failure.status, "{}: {}", what, failure.reason);
}

std::vector<std::string> preview_select(const Chip &chip) {
    require_reachable(chip);
    std::vector<std::string> commands;
    for (MuxStep &mux : mux_steps(chip)) {
        for (std::string &command : preview([&] { set_muxes(&mux.entry); })) {
            commands.push_back(std::move(command));
        }
    }
    return commands;
}

std::vector<std::string> preview_write(const Chip &chip, const reg_def &reg, std::uint32_t value) {
    const RegisterRoute route(chip, reg);
    const std::vector<std::uint8_t> bytes = bytes_of_value(reg, chip.node->reg_le != 0, value);
    return preview([&] { write_through_library(route, bytes); });
}

}  // namespace diag::diagctl
