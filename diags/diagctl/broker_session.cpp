// SPDX-License-Identifier: MIT
#include "diags/diagctl/broker_session.h"

#include <cstdlib>

#include "diags/diagctl/broker_failure.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/text.h"

namespace diag::diagctl {

broker::Address broker_address(const std::string &option) {
    if (option.empty() || option == kUsualBroker) {
        const auto address = broker::address_from_environment();
        if (!address) {
            fail(kExitBadDescription, "{}={}: expected HOST:PORT, an IPv4 address and a port",
                 broker::kAddressVariable, one_line(std::getenv(broker::kAddressVariable)));
        }
        return *address;
    }
    const auto address = broker::parse_address(option);
    if (!address) {
        fail(kExitUsage,
             "--broker={}: expected HOST:PORT, an IPv4 address and a port; see diagctl "
             "--help",
             one_line(option));
    }
    return *address;
}

BrokerSession::BrokerSession(const Options &options)
    : verbosity_(options.verbosity), level_(options.verbosity) {
    client_.emplace(broker::ClientSettings{.address = broker_address(options.broker)});
    farewell_.emplace(*client_);
}

// The client's threads end before the capture does.
BrokerSession::~BrokerSession() {
    farewell_.reset();
    client_.reset();
    if (verbosity_ != 0) {
        show_on_standard_error(capture_.finish());
    }
}

Json BrokerSession::status() {
    std::string document;
    const broker::Result result = client_->read_status(&document);
    if (result.kind == broker::Result::Kind::kNoAnswer) {
        fail_unanswered();
    }
    if (!result.is_done()) {
        fail_refused("the status of the bus broker could not be read", result);
    }
    Json json = Json::parse(document, nullptr, false);
    if (!json.is_object()) {
        fail(kExitAccessFailed, "the status of the bus broker is no JSON document");
    }
    return json;
}

void BrokerSession::fail_unanswered() const {
    fail(kExitTimedOut, "no answer from the bus broker at {}: is busbroker running?", address());
}

}  // namespace diag::diagctl
