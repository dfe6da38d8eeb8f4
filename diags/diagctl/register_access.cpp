// SPDX-License-Identifier: MIT
#include "diags/diagctl/register_access.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "diags/description/shared_pipes.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/library_call.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/register_route.h"

namespace diag::diagctl {
namespace {

std::string name_of(const Chip &chip, const reg_def &reg) {
    return chip.label + "." + register_name(reg);
}

ToolFailure failure_of_reading(const RegisterRoute &route, std::uint32_t status,
                               const CapturedText &said) {
    return route.hands_on_tool_status() ? read_failure(route.tool(), status, said)
                                        : silent_read_failure(route.tool(), status, said);
}

}  // namespace

template <typename Call>
CapturedText RegisterAccess::call(int message_level, Call &&call) const {
    return call_library(std::max(message_level, verbosity_), verbosity_, std::forward<Call>(call));
}

void RegisterAccess::select(const Chip &chip) {
    require_reachable(chip);
    for (MuxStep &mux : mux_steps(chip)) {
        set(mux);
    }
}

void RegisterAccess::set(MuxStep &mux) {
    std::optional<description::SharedPipesTurn> turn;
    if (mux.kind->modifies) {
        turn.emplace();
    }
    std::uint32_t status = 0;
    const CapturedText said =
        call(mux.kind->message_level, [&] { status = set_muxes(&mux.entry); });
    if (status != 0 || (mux.kind->modifies && delivered_bytes(said.library).value_or(0) < 1)) {
        fail_access(mux.place + " could not be set", write_failure(mux.kind->tool, said));
    }
}

RegisterBytes RegisterAccess::read(const Chip &chip, const reg_def &reg) {
    const std::unique_ptr<RegisterRoute> route = make_route(chip, reg);
    if (!pipe_) {
        pipe_.emplace();
    }
    std::vector<std::uint8_t> bytes(route->count());
    std::uint32_t status = 0;
    const CapturedText said = call(
        route->message_level(), [&] { status = route->read(pipe_->path().c_str(), bytes.data()); });
    const std::string what = name_of(chip, reg) + " could not be read";
    if (status != 0) {
        fail_access(what, failure_of_reading(*route, status, said));
    }
    const int delivered = route->delivered(said.library).value_or(0);
    if (delivered < static_cast<int>(route->count())) {
        fail(kExitAccessFailed, "{}: {} delivered {} of {} bytes", what, route->tool(), delivered,
             route->count());
    }
    return {std::move(bytes), route->order()};
}

void RegisterAccess::write(const Chip &chip, const reg_def &reg, std::uint32_t value) {
    const std::unique_ptr<RegisterRoute> route = make_route(chip, reg);
    const std::vector<std::uint8_t> bytes = bytes_of_value(value, route->count(), route->order());
    std::uint32_t status = 0;
    const CapturedText said =
        call(route->message_level(), [&] { status = route->write(bytes.data()); });
    if (status != 0) {
        fail_access(name_of(chip, reg) + " could not be written",
                    write_failure(route->tool(), said));
    }
}

void RegisterAccess::fail_access(const std::string &what, const ToolFailure &failure) {
    if (watch_.interrupted()) {
        fail(kExitInterrupted, "interrupted");
    }
    fail(failure.status, "{}: {}", what, failure.reason);
}

}  // namespace diag::diagctl
