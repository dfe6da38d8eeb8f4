// SPDX-License-Identifier: MIT
// Registers through the bus broker, which knows the board's description as well: it sets the muxes
// and keeps other programs away.
#ifndef DIAGS_DIAGCTL_BROKER_ACCESS_H
#define DIAGS_DIAGCTL_BROKER_ACCESS_H

#include <string>

#include "diags/diagctl/broker_session.h"
#include "diags/diagctl/register_port.h"

namespace diag::diagctl {

// Failures have those statuses of fail_refused(), and 8 when nobody answers.
class BrokerAccess : public RegisterPort {
  public:
    explicit BrokerAccess(const Options &options) : session_(options) {}

    void select(const Chip &chip) override;
    RegisterBytes read(const Chip &chip, const reg_def &reg) override;
    RegisterBytes read_to_modify(const Chip &chip, const reg_def &reg) override;
    void write(const Chip &chip, const reg_def &reg, std::uint32_t value) override;

  private:
    void require_done(const broker::Result &result, const Chip &chip, const std::string &what);

    BrokerSession session_;
};

}  // namespace diag::diagctl

#endif
