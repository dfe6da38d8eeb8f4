// SPDX-License-Identifier: MIT
// The bus broker as the commands of diagctl talk to it.
#ifndef DIAGS_DIAGCTL_BROKER_SESSION_H
#define DIAGS_DIAGCTL_BROKER_SESSION_H

#include <optional>
#include <string>

#include "diags/broker/client.h"
#include "diags/broker/farewell.h"
#include "diags/diagctl/captured_output.h"
#include "diags/diagctl/json_view.h"
#include "diags/diagctl/library_call.h"
#include "diags/diagctl/options.h"

namespace diag::diagctl {

// What the parser makes of --broker without an address: where $DIAG_BROKER says, or the usual
// place.
inline constexpr const char kUsualBroker[] = "true";

// Throws CliError: 2 for an option that is no address, 3 for such a $DIAG_BROKER.
broker::Address broker_address(const std::string &option);

// While it lives, what the library prints is held back, as its threads print whenever they like;
// with -v it is shown at the end.
class BrokerSession {
  public:
    explicit BrokerSession(const Options &options);
    ~BrokerSession();
    BrokerSession(const BrokerSession &) = delete;
    BrokerSession &operator=(const BrokerSession &) = delete;

    broker::Client &client() { return *client_; }
    std::string address() const { return client_->address().text(); }  // HOST:PORT

    // The daemon's account of itself. Throws CliError.
    Json status();

    [[noreturn]] void fail_unanswered() const;  // status 8

  private:
    int verbosity_;
    VerbosityScope level_;
    CapturedOutput capture_;
    std::optional<broker::Client> client_;
    std::optional<broker::Farewell> farewell_;
};

}  // namespace diag::diagctl

#endif
