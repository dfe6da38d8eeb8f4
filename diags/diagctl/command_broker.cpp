// SPDX-License-Identifier: MIT
// diagctl broker: whether the bus broker answers, and what it is doing.
#include <chrono>
#include <fmt/format.h>
#include <vector>

#include "diags/diagctl/broker_failure.h"
#include "diags/diagctl/broker_session.h"
#include "diags/diagctl/broker_view.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/commands.h"
#include "diags/diagctl/json_view.h"

namespace diag::diagctl {
namespace {

using Clock = std::chrono::steady_clock;

std::chrono::nanoseconds round_trip(BrokerSession &session) {
    const auto start = Clock::now();
    const broker::Result result = session.client().ping();
    const auto time = Clock::now() - start;
    if (result.kind == broker::Result::Kind::kNoAnswer) {
        session.fail_unanswered();
    }
    if (!result.is_done()) {
        fail_refused("ping", result);
    }
    return time;
}

Json document_of(const Options &options, const BrokerSession &session) {
    Json document = json_document("broker");
    document["action"] = options.broker_action;
    document["address"] = session.address();
    return document;
}

std::string ping(const Options &options) {
    BrokerSession session(options);
    std::vector<std::chrono::nanoseconds> times;
    for (unsigned i = 0; i < options.count; ++i) {
        times.push_back(round_trip(session));
    }
    if (!options.json) {
        return ping_text(session.address(), times);
    }
    Json document = document_of(options, session);
    document["round_trips_us"] = ping_json(times);
    return json_text(document);
}

std::string status(const Options &options) {
    BrokerSession session(options);
    const Json status = session.status();
    if (!options.json) {
        return status_text(session.address(), status);
    }
    Json document = document_of(options, session);
    document["status"] = status;
    return json_text(document);
}

}  // namespace

Outcome run_broker(const Options &options) {
    Outcome outcome;
    outcome.data = options.broker_action == "ping" ? ping(options) : status(options);
    return outcome;
}

}  // namespace diag::diagctl
