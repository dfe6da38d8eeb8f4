// SPDX-License-Identifier: MIT
// The daemon without its socket, on a board made by hand, at a time of the test's choosing.
#ifndef TESTS_TOOLS_BUSBROKER_SERVICE_FIXTURE_H
#define TESTS_TOOLS_BUSBROKER_SERVICE_FIXTURE_H

#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "diags/tools/busbroker/service.h"
#include "tests/board/sim/running_board.h"
#include "tests/tools/busbroker/frame_maker.h"

namespace diag::test {

struct SentAnswer {
    daemon::Endpoint to;
    FrameFields fields;
};

// Keeps what there would be to see in a trace.
class KeptTrace : public daemon::Trace {
  public:
    void record(const daemon::TraceEntry &entry) override {
        lines.push_back(nlohmann::json::parse(daemon::trace_line(entry, {})));
    }
    std::vector<nlohmann::json> lines;
};

class ServiceFixture : public testing::Test {
  protected:
    // CPLD (id "2") at i2c:1:31, FPGA (id "3") at i2c:1:32, PLD on LPC, all with plain bytes.
    ServiceFixture();

    daemon::Service &service();
    daemon::Ground ground();

    // Sends a request from the client's port, and lets everything be served that can be.
    void send(uint16_t port, const FrameFields &fields);
    void send_bytes(uint16_t port, const std::string &datagram);
    void perform() { service().perform(); }

    // What has been answered since the last call: the data texts, those of one client.
    std::vector<std::string> texts(uint16_t port);
    std::vector<SentAnswer> answers() { return std::exchange(answers_, {}); }

    // The text of the only answer to a request that is sent with a number of its own.
    std::string ask(uint16_t port, FrameFields fields);
    nlohmann::json status();

    void pass(daemon::Duration duration) { now_ += duration; }

    TreeMaker maker_;
    std::string settings_;
    daemon::BrokerFaults faults_;
    KeptTrace trace_;
    std::optional<RunningBoard> board_;
    std::optional<daemon::Service> service_;
    std::vector<SentAnswer> answers_;
    daemon::TimePoint now_ = daemon::TimePoint(std::chrono::seconds(1000));
    uint32_t transaction_ = 100;
};

// With an indication other than 5.
FrameFields with_indication(FrameFields fields, uint32_t indication);
FrameFields numbered(FrameFields fields, uint32_t transaction);

}  // namespace diag::test

#endif
