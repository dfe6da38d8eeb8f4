// SPDX-License-Identifier: MIT
// How a command reaches registers: by running tool programs, or through the bus broker.
#ifndef DIAGS_DIAGCTL_REGISTER_PORT_H
#define DIAGS_DIAGCTL_REGISTER_PORT_H

#include <cstdint>
#include <memory>

#include "device_tree.h"

#include "diags/diagctl/decode.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/options.h"

namespace diag::diagctl {

// Accesses for real. Every failure throws CliError.
class RegisterPort {
  public:
    RegisterPort() = default;
    virtual ~RegisterPort() = default;
    RegisterPort(const RegisterPort &) = delete;
    RegisterPort &operator=(const RegisterPort &) = delete;

    // Opens the way to the chip, on which the calls below rely.
    virtual void select(const Chip &chip) = 0;
    virtual RegisterBytes read(const Chip &chip, const reg_def &reg) = 0;
    virtual void write(const Chip &chip, const reg_def &reg, std::uint32_t value) = 0;

    // The reading of a register that is written next, and meant to change in between by nobody.
    virtual RegisterBytes read_to_modify(const Chip &chip, const reg_def &reg) {
        return read(chip, reg);
    }
};

std::unique_ptr<RegisterPort> make_port(const Options &options);

}  // namespace diag::diagctl

#endif
