// SPDX-License-Identifier: MIT
#include "diags/diagctl/register_port.h"

#include "diags/diagctl/broker_access.h"
#include "diags/diagctl/register_access.h"

namespace diag::diagctl {

std::unique_ptr<RegisterPort> make_port(const Options &options) {
    if (options.broker.empty()) {
        return std::make_unique<RegisterAccess>(options.verbosity);
    }
    return std::make_unique<BrokerAccess>(options);
}

}  // namespace diag::diagctl
