// SPDX-License-Identifier: MIT
// What the daemon tells about itself, as JSON.
#ifndef DIAGS_TOOLS_BUSBROKER_STATUS_DOCUMENT_H
#define DIAGS_TOOLS_BUSBROKER_STATUS_DOCUMENT_H

#include <optional>
#include <string>
#include <vector>

#include "diags/tools/busbroker/service.h"

namespace diag::daemon {

struct StatusSource {
    const Identity &identity;
    Duration uptime;
    TimePoint now;
    Scheduler::Times times;
    std::vector<const Client *> clients;
    const std::vector<Hold> &holds;
    const std::vector<std::optional<WaitingRequest>> &requests;
    const Counts &counts;
    size_t devices;
};

std::string make_status_document(const StatusSource &source);

// "i2c 3 0x50", "lpc 0x300-0x31f", "pci 03:00.0": a footprint for people.
std::string footprint_text(const Footprint &footprint);

}  // namespace diag::daemon

#endif
