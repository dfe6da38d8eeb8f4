// SPDX-License-Identifier: MIT
#include "diags/diagctl/broker_view.h"

#include <gtest/gtest.h>
#include <vector>

namespace diag::diagctl {
namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;

TEST(BrokerPing, HasALineForEachAndOneForAll) {
    const std::vector<nanoseconds> times = {microseconds(100), microseconds(350),
                                            microseconds(150)};
    EXPECT_EQ(ping_text("1.2.3.4:5", times),
              "answer from 1.2.3.4:5 after 0.100 ms\n"
              "answer from 1.2.3.4:5 after 0.350 ms\n"
              "answer from 1.2.3.4:5 after 0.150 ms\n"
              "3 of 3 answered, least 0.100 ms, mean 0.200 ms, most 0.350 ms\n");
    EXPECT_EQ(ping_json(times), (Json{100.0, 350.0, 150.0}));
}

TEST(BrokerStatus, TellsClientsQueueAndCounts) {
    const Json status = Json::parse(R"({
        "format": 1, "version": "0.1.0", "pid": 77, "uptime": 12, "description": "b.xml",
        "board": "b.board", "devices": 3,
        "clients": [{"address": "127.0.0.1:1", "tool": 6, "instance": 8, "requests": 4,
                     "repeated": 1, "waiting": 2,
                     "holds": [{"footprint": "lpc 0x10", "kind": "transaction",
                                "ends_in_ms": 1500}]}],
        "queue": [{"client": "127.0.0.1:1", "device": "2", "priority": 0, "type": 3,
                   "waited_ms": 20}],
        "counts": {"received": 9, "refused": {"Busy": 2}, "dropped": {}, "acknowledged": 1}})");
    EXPECT_EQ(status_text("1.2.3.4:5", status),
              "busbroker 0.1.0 at 1.2.3.4:5, process 77, up 12 s\n"
              "b.xml: 3 devices, board b.board\n"
              "CLIENT       TOOL     INSTANCE  REQUESTS  REPEATED  WAITING\n"
              "127.0.0.1:1  diagctl  8         4         1         2\n"
              "  holds lpc 0x10 (transaction, 1500 ms left)\n"
              "WAITING FOR  CLIENT       PRIORITY  TYPE  WAITED MS\n"
              "2            127.0.0.1:1  0         3     20\n"
              "received 9, acknowledged 1\n"
              "refused: Busy: 2\n");
}

TEST(BrokerStatus, MakesDoWithWhatIsThere) {
    EXPECT_EQ(status_text("1.2.3.4:5", Json::object()),
              "busbroker - at 1.2.3.4:5, process -, up - s\n"
              "-: - devices, board -\n"
              "CLIENT  TOOL  INSTANCE  REQUESTS  REPEATED  WAITING\n"
              "no request waits\n");
    EXPECT_NE(status_text("1.2.3.4:5", Json::parse(R"({"version": "a\nb\u001b", "queue": 3})"))
                  .find("busbroker a b at"),
              std::string::npos);
}

}  // namespace
}  // namespace diag::diagctl
