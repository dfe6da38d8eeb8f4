// SPDX-License-Identifier: MIT
#include "diags/diagctl/broker_access.h"

#include <span>
#include <vector>

#include "diags/diagctl/broker_failure.h"
#include "diags/diagctl/broker_route.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/lookup.h"
#include "diags/diagctl/register_route.h"

namespace diag::diagctl {
namespace {

std::string read_error(const Chip &chip, const reg_def &reg) {
    return fmt::format("{}.{} could not be read", chip.label, register_name(reg));
}

}  // namespace

void BrokerAccess::select(const Chip &chip) {
    require_reachable(chip);
}

RegisterBytes BrokerAccess::read(const Chip &chip, const reg_def &reg) {
    const BrokerRoute route(chip, reg);
    std::vector<std::uint8_t> bytes(route.count());
    for (const RegisterPiece &piece : route.pieces(broker::kMaxReadBytes)) {
        const auto part = std::span(bytes).subspan(piece.begin, piece.size);
        require_done(session_.client().read(route.device(), piece.access, part), chip,
                     read_error(chip, reg));
    }
    return {std::move(bytes), route.order()};
}

RegisterBytes BrokerAccess::read_to_modify(const Chip &chip, const reg_def &reg) {
    const BrokerRoute route(chip, reg);
    std::vector<std::uint8_t> bytes(route.count());
    require_done(session_.client().read(route.device(), route.access(broker::kFirst), bytes), chip,
                 read_error(chip, reg));
    return {std::move(bytes), route.order()};
}

// Ends the transaction, if a reading has begun one.
void BrokerAccess::write(const Chip &chip, const reg_def &reg, std::uint32_t value) {
    const BrokerRoute route(chip, reg);
    const std::vector<std::uint8_t> bytes = bytes_of_value(value, route.count(), route.order());
    require_done(session_.client().write(route.device(), route.access(broker::kLast), bytes), chip,
                 fmt::format("{}.{} could not be written", chip.label, register_name(reg)));
}

void BrokerAccess::require_done(const broker::Result &result, const Chip &chip,
                                const std::string &what) {
    if (result.is_done()) {
        return;
    }
    if (!result.is_refused()) {
        session_.fail_unanswered();
    }
    if (result.is_refused(broker::Outcome::kTimedOut)) {
        const std::string holder = holder_of(chip, session_.status(), session_.client().instance());
        if (!holder.empty()) {
            fail(kExitBusy, "{}: {} holds the device", what, holder);
        }
    }
    fail_refused(what, result);
}

}  // namespace diag::diagctl
