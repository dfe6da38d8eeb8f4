// SPDX-License-Identifier: MIT
// What a bad network and a bad daemon do to datagrams, as the board file wants it.
#ifndef DIAGS_TOOLS_BUSBROKER_FAULTS_H
#define DIAGS_TOOLS_BUSBROKER_FAULTS_H

#include <cstdint>
#include <random>
#include <string>

#include "diags/board/sim/board_file.h"

namespace diag::daemon {

using board::sim::BrokerFaults;

class Faults {
  public:
    Faults() : Faults(BrokerFaults()) {}
    explicit Faults(const BrokerFaults &settings) : settings_(settings), random_(settings.seed) {}

    // One decision each, in the sequence that the seed leads to.
    bool loses() { return happens(settings_.lose); }
    bool doubles() { return happens(settings_.double_percent); }
    bool corrupts() { return happens(settings_.corrupt); }
    bool reorders() { return happens(settings_.reorder); }
    bool delays() { return happens(settings_.late); }
    bool refuses() { return happens(settings_.refuse); }

    bool is_silent() const { return settings_.silent; }
    uint32_t late_ms() const { return settings_.late_ms; }

    // Changes one bit of the bytes, which are not empty.
    void corrupt(std::string *bytes);

  private:
    bool happens(uint32_t percent) { return percent != 0 && random_() % 100 < percent; }

    BrokerFaults settings_;
    std::minstd_rand random_;
};

}  // namespace diag::daemon

#endif
