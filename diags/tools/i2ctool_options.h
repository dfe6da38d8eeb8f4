// SPDX-License-Identifier: MIT
// The command line of i2ctool.
#ifndef DIAGS_TOOLS_I2CTOOL_OPTIONS_H
#define DIAGS_TOOLS_I2CTOOL_OPTIONS_H

#include <cstdint>
#include <optional>

#include "diags/board/i2c_register.h"
#include "diags/tools/access_options.h"

namespace diag::tools {

struct I2cOptions : DataOptions {
    using DataOptions::DataOptions;

    bool with_pec = false;
    std::optional<unsigned> bus;
    std::optional<uint64_t> address;
    unsigned register_options = 0;  // how many of --reg, --reg16 and --regblock were given
    board::I2cRegister target;
};

// Empty when the access is to be made, else the exit status: after an error, which is reported, or
// after --help or --version.
std::optional<ExitStatus> parse_i2c_options(int argc, char **argv, I2cOptions *options);

}  // namespace diag::tools

#endif
