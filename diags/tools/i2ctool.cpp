// SPDX-License-Identifier: MIT
// i2ctool: one register access on an I2C bus of the board.
#include <array>

#include "diags/tools/i2ctool_options.h"
#include "diags/tools/run_access.h"

namespace diag::tools {
namespace {

ExitStatus access_result(board::Status status, const board::I2cRegister &target) {
    if (status == board::Status::kOk) {
        return kExitDone;
    }
    if (status == board::Status::kNoSuchBus) {
        return report(exit_status_of(status), "/dev/i2c-%u: %s", target.bus, status_text(status));
    }
    return report(exit_status_of(status), "/dev/i2c-%u address 0x%02x: %s", target.bus,
                  target.address, status_text(status));
}

ExitStatus run(int argc, char **argv) {
    std::array<uint8_t, board::kMaxI2cData> buffer;
    I2cOptions options(buffer);
    if (const auto status = parse_i2c_options(argc, argv, &options)) {
        return *status;
    }
    const auto access = [&](board::Board &board) {
        const board::Status status =
            options.read ? read_register(board, options.target, options.data())
                         : write_register(board, options.target, options.data(), options.with_pec);
        return access_result(status, options.target);
    };
    return run_access(options, options.data(), access,
                      [](std::span<const uint8_t> bytes) { return print_hex(bytes); });
}

}  // namespace
}  // namespace diag::tools

int main(int argc, char **argv) {
    return diag::tools::run(argc, argv);
}
