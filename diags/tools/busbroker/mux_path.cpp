// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/mux_path.h"

#include <array>
#include <initializer_list>
#include <optional>
#include <string_view>

#include "diags/board/number.h"
#include "diags/board/sim/bus_kind.h"
#include "diags/tools/busbroker/controller.h"

namespace diag::daemon {
namespace {

using board::Status;
using Kind = MuxStep::Kind;

std::optional<uint32_t> bus_number(std::string_view bus, Kind kind) {
    switch (kind) {
        case Kind::kI2c:
            return board::parse_i2c_bus(bus);
        case Kind::kController:
        case Kind::kMaster: {
            const auto number = board::sim::parse_bmc_bus(bus);
            return number && *number <= kMaxControllerBus ? number : std::nullopt;
        }
        default:
            return 0;
    }
}

std::optional<Kind> kind_of(std::string_view bus) {
    const auto found = board::sim::mux_kind_of(bus);
    if (!found) {
        return std::nullopt;
    }
    switch (*found) {
        case board::sim::MuxKind::kI2c:
            return Kind::kI2c;
        case board::sim::MuxKind::kBmc:
            return bus.find("bmc") != std::string_view::npos ? Kind::kController : Kind::kMaster;
        case board::sim::MuxKind::kGpio:
            return Kind::kGpio;
        case board::sim::MuxKind::kMemory:
            return Kind::kMemory;
    }
    return std::nullopt;
}

bool numbers_fit(const mux_entry &mux, Kind kind) {
    switch (kind) {
        case Kind::kGpio:
            return mux.val <= 1;
        case Kind::kMemory:
            return mux.val <= 0xFF;
        default:
            return mux.addr <= 0xFF && mux.reg <= 0xFF && mux.val <= 0xFF;
    }
}

Status set_i2c(board::Board &board, const MuxStep &step) {
    const std::array<uint8_t, 2> bytes = {static_cast<uint8_t>(step.number), step.value};
    return board.i2c_transfer({.bus = step.bus,
                               .address = static_cast<uint8_t>(step.address),
                               .write = bytes,
                               .read = {}});
}

Status set_memory(board::Board &board, const MuxStep &step) {
    uint8_t byte = 0;
    const std::span<uint8_t> bytes(&byte, 1);
    if (const Status status = board.memory_read(step.address, 1, bytes); status != Status::kOk) {
        return status;
    }
    byte = static_cast<uint8_t>((byte & ~step.mask) | step.value);
    return board.memory_write(step.address, 1, bytes);
}

Status set(board::Board &board, const MuxStep &step) {
    const auto address = static_cast<uint8_t>(step.address);
    const auto number = static_cast<uint8_t>(step.number);
    switch (step.kind) {
        case Kind::kI2c:
            return set_i2c(board, step);
        case Kind::kController:
            return write_controller_register(board, step.bus, address, number, step.value);
        case Kind::kMaster: {
            const std::array<uint8_t, 2> bytes = {number, step.value};
            return transfer_behind_controller(board, step.bus, address, bytes, {});
        }
        case Kind::kGpio:
            return board.gpio_write(step.address, step.number, step.value != 0);
        case Kind::kMemory:
            return set_memory(board, step);
    }
    return Status::kNotSupported;
}

}  // namespace

MuxPath make_mux_path(const mux_entry *first, std::string *problem) {
    MuxPath path;
    for (const mux_entry *mux = first; mux != nullptr; mux = mux->next) {
        // Deeper muxes sit on the bus of the first.
        const char *text = mux->bus != nullptr ? mux->bus : first->bus;
        const std::string_view bus = text != nullptr ? text : "";
        const std::string place = "mux " + std::to_string(path.size() + 1) + " on its way";
        const auto kind = kind_of(bus);
        const auto number = kind ? bus_number(bus, *kind) : std::nullopt;
        if (!number) {
            *problem = place + ": nobody reaches bus \"" + std::string(bus) + "\"";
            return {};
        }
        if (!numbers_fit(*mux, *kind)) {
            *problem = place + ": a number does not fit its kind of mux";
            return {};
        }
        path.push_back({*kind, *number, mux->addr, mux->reg, static_cast<uint8_t>(mux->mask),
                        static_cast<uint8_t>(mux->val)});
    }
    return path;
}

Status set_muxes(board::Board &board, const MuxPath &path) {
    for (const MuxStep &step : path) {
        if (const Status status = set(board, step); status != Status::kOk) {
            return status;
        }
    }
    return Status::kOk;
}

}  // namespace diag::daemon
