// SPDX-License-Identifier: MIT
// The routes by bus kind. Each function throws CliError with status 3 for numbers that its bus
// cannot carry: those of the chip in a check, those of the register when the route is made.
#ifndef DIAGS_DIAGCTL_ROUTE_KINDS_H
#define DIAGS_DIAGCTL_ROUTE_KINDS_H

#include <memory>

#include "diags/diagctl/register_route.h"

namespace diag::diagctl {

void check_i2c_chip(const Chip &chip);
void check_bmc_chip(const Chip &chip);
void check_pci_chip(const Chip &chip);

std::unique_ptr<RegisterRoute> make_i2c_route(const Chip &chip, const reg_def &reg);
std::unique_ptr<RegisterRoute> make_bmc_route(const Chip &chip, const reg_def &reg);
std::unique_ptr<RegisterRoute> make_lpc_route(const Chip &chip, const reg_def &reg);
std::unique_ptr<RegisterRoute> make_pci_route(const Chip &chip, const reg_def &reg);
std::unique_ptr<RegisterRoute> make_memory_route(const Chip &chip, const reg_def &reg);

// ---- what they share ----

std::string full_name(const Chip &chip, const reg_def &reg);  // "CHIP.REG"

// A chip with a register pointer: its address fits 8 bits, its register numbers have 8 or 16.
void check_pointer_chip(const Chip &chip);
void check_pointer_register(const Chip &chip, const reg_def &reg);

}  // namespace diag::diagctl

#endif
