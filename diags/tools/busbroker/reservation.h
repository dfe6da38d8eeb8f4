// SPDX-License-Identifier: MIT
// Which places a reservation is about.
#ifndef DIAGS_TOOLS_BUSBROKER_RESERVATION_H
#define DIAGS_TOOLS_BUSBROKER_RESERVATION_H

#include <string_view>

#include "diags/tools/busbroker/directory.h"

namespace diag::daemon {

struct ReservedPlace {
    broker::Outcome outcome = broker::Outcome::kSuccess;  // else why there is no footprint
    Footprint footprint;
};

// `device_id` is what the frame names beside the reservation: nothing, or the same device.
ReservedPlace place_of(const Reservation &reservation, std::string_view device_id,
                       const Directory &directory);

}  // namespace diag::daemon

#endif
