// SPDX-License-Identifier: MIT
// What becomes of a command whose request the bus broker has refused.
#ifndef DIAGS_DIAGCTL_BROKER_FAILURE_H
#define DIAGS_DIAGCTL_BROKER_FAILURE_H

#include <cstdint>
#include <string>

#include "diags/broker/client.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/json_view.h"

namespace diag::diagctl {

// Throws CliError: 5 for a device that is not there, 7 for one that another program holds and for
// a broker with too much to do, else 6.
[[noreturn]] void fail_refused(const std::string &what, const broker::Result &refusal);

// "i2ctool" for its id, "tool 16" for one of somebody else's.
std::string broker_tool_name(std::uint32_t tool);

// Who holds the chip, by the broker's status: "i2ctool at 127.0.0.1:4711, instance 815". Empty when
// nobody but `own_instance` does.
std::string holder_of(const Chip &chip, const Json &status, std::uint32_t own_instance);

}  // namespace diag::diagctl

#endif
