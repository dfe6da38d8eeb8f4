// SPDX-License-Identifier: MIT
// The command line of i2ctool.
#ifndef DIAGS_TOOLS_I2CTOOL_OPTIONS_H
#define DIAGS_TOOLS_I2CTOOL_OPTIONS_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "diags/board/i2c_register.h"

namespace diag::tools {

struct I2cOptions {
    bool read = false;
    bool write = false;
    bool through_broker = false;
    bool with_pec = false;
    std::optional<unsigned> bus;
    std::optional<uint32_t> address;
    std::optional<uint32_t> count;
    const char *pipe_path = nullptr;
    unsigned register_options = 0;  // how many of --reg, --reg16 and --regblock were given
    bool has_values = false;
    board::I2cRegister target;

    // Room for what is written or read.
    std::span<uint8_t> data() { return {buffer.data(), size}; }
    std::array<uint8_t, board::kMaxI2cData> buffer;
    size_t size = 0;
};

// Empty when the access is to be made, else the exit status: after an error, which is reported, or
// after --help or --version.
std::optional<ExitStatus> parse_i2c_options(int argc, char **argv, I2cOptions *options);

}  // namespace diag::tools

#endif
