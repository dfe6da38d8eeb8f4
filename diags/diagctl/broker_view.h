// SPDX-License-Identifier: MIT
// What diagctl broker shows.
#ifndef DIAGS_DIAGCTL_BROKER_VIEW_H
#define DIAGS_DIAGCTL_BROKER_VIEW_H

#include <chrono>
#include <span>
#include <string>

#include "diags/diagctl/json_view.h"

namespace diag::diagctl {

// One line for each round trip, and one about all of them, of which there is at least one.
std::string ping_text(const std::string &address, std::span<const std::chrono::nanoseconds> times);
Json ping_json(std::span<const std::chrono::nanoseconds> times);  // microseconds

// The broker's account of itself, whatever it may lack.
std::string status_text(const std::string &address, const Json &status);

}  // namespace diag::diagctl

#endif
