// SPDX-License-Identifier: MIT
// i2ctool: one register access on an I2C bus of the board.
#include <array>
#include <cstdio>

#include "diags/tools/i2ctool_options.h"
#include "diags/tools/run_access.h"
#include "diags/tools/tools.h"

namespace diag::tools {
namespace {

ExitStatus access_result(const ToolBoard &board, board::Status status,
                         const board::I2cRegister &target) {
    if (status == board::Status::kOk) {
        return kExitDone;
    }
    char place[sizeof "/dev/i2c-4294967295 address 0x00"];
    const int bus_size = std::snprintf(place, sizeof place, "/dev/i2c-%u", target.bus);
    if (status != board::Status::kNoSuchBus) {
        std::snprintf(place + bus_size, sizeof place - static_cast<size_t>(bus_size),
                      " address 0x%02x", target.address);
    }
    return report_failure(board, status, place);
}

}  // namespace

ExitStatus run_i2ctool(int argc, char **argv) {
    std::array<uint8_t, board::kMaxI2cData> buffer;
    I2cOptions options({"i2ctool", argv}, buffer);
    if (const auto status = parse_i2c_options(argc, argv, &options)) {
        return *status;
    }
    const auto access = [&](const ToolBoard &board) {
        const board::Status status =
            options.read
                ? read_register(board.buses, options.target, options.data())
                : write_register(board.buses, options.target, options.data(), options.with_pec);
        return access_result(board, status, options.target);
    };
    return run_access(options, options.data(), access,
                      [](std::span<const uint8_t> bytes) { return print_hex(bytes); });
}

}  // namespace diag::tools
