// SPDX-License-Identifier: MIT
// i2ctool: one register access on an I2C bus of the board.
#include "diags/board/open_board.h"
#include "diags/tools/i2ctool_options.h"
#include "diags/tools/report.h"
#include "diags/tools/result_pipe.h"

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

ExitStatus read(board::Board &board, I2cOptions &options) {
    ResultPipe pipe;
    if (options.pipe_path != nullptr) {
        if (const ExitStatus status = pipe.open(options.pipe_path); status != kExitDone) {
            return status;
        }
    }
    const ExitStatus status =
        access_result(read_register(board, options.target, options.data()), options.target);
    if (status != kExitDone) {
        return status;
    }
    return options.pipe_path != nullptr ? pipe.write(options.data()) : print_hex(options.data());
}

ExitStatus write(board::Board &board, I2cOptions &options) {
    return access_result(write_register(board, options.target, options.data(), options.with_pec),
                         options.target);
}

ExitStatus run(int argc, char **argv) {
    I2cOptions options;
    if (const auto status = parse_i2c_options(argc, argv, &options)) {
        return *status;
    }
    if (options.through_broker) {
        return report(kExitNoDevice, "no bus broker is set up: leave --busbroker_req out");
    }
    board::BoardSlot slot;
    if (const board::Status status = slot.open(); status != board::Status::kOk) {
        return report(exit_status_of(status), "%s: %s", slot.subject(), status_text(status));
    }
    return options.read ? read(slot.board(), options) : write(slot.board(), options);
}

}  // namespace
}  // namespace diag::tools

int main(int argc, char **argv) {
    return diag::tools::run(argc, argv);
}
