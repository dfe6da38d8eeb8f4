// SPDX-License-Identifier: MIT
// What the tests of the service share beside its fixture.
#ifndef TESTS_TOOLS_BUSBROKER_SERVICE_TEST_H
#define TESTS_TOOLS_BUSBROKER_SERVICE_TEST_H

#include <gtest/gtest.h>

#include "diags/tools/busbroker/service.h"
#include "tests/tools/busbroker/service_fixture.h"

namespace diag::daemon {

using std::chrono::milliseconds;
using std::chrono::seconds;
using test::FrameFields;
using test::numbered;
using test::read_request;
using test::request_frame;
using test::with_indication;
using test::write_request;
using Texts = std::vector<std::string>;

inline constexpr uint16_t kFirstClient = 1;
inline constexpr uint16_t kSecondClient = 2;

inline FrameFields of_type(uint32_t type, const std::string &data = "") {
    return {.type = type, .data = data};
}

class ServiceTest : public test::ServiceFixture {
  protected:
    // A transaction of the first client on the CPLD.
    void hold_cpld() {
        EXPECT_EQ(ask(kFirstClient, with_indication(read_request("2", 0, 1), 1)),
                  "00000000,0001,08,1c,Success,0001,00");
    }
    void release_cpld() {
        EXPECT_EQ(ask(kFirstClient, read_request("2", 0, 1)),
                  "00000000,0001,08,1c,Success,0001,00");
    }
    std::string refusal(uint16_t port) {
        const std::string text = ask(port, read_request("busbroker", 0x80000000, 64));
        const std::string hex = text.substr(text.rfind(',') + 1);
        std::string result;
        for (size_t i = 0; i + 1 < hex.size(); i += 2) {
            result.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        }
        return result;
    }
    uint64_t dropped(Problem problem) {
        return service().counts().dropped[static_cast<size_t>(problem)];
    }
};

}  // namespace diag::daemon

#endif
