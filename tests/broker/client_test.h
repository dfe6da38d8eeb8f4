// SPDX-License-Identifier: MIT
// What the tests of the bus broker's client share.
#ifndef TESTS_BROKER_CLIENT_TEST_H
#define TESTS_BROKER_CLIENT_TEST_H

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "diags/broker/client.h"
#include "tests/support/broker_double.h"

namespace diag::test {

using Bytes = std::vector<uint8_t>;
using Datagrams = std::vector<std::string>;

// Quick to resend: the timer has ticks of 100 ms.
inline broker::ClientSettings settings_for(uint16_t port) {
    return {.address = {"127.0.0.1", port}, .tool = 16, .retry_ms = 100};
}

inline Datagrams success(const BrokerRequest &request, const Bytes &bytes = {}) {
    return {broker_answer(request, "Success", bytes)};
}

inline bool is_question_for_refusal(const BrokerRequest &request) {
    return request.type == broker::kReadRequest && request.device == broker::kStatusDevice &&
           request.address() == broker::kRefusalAddress;
}

}  // namespace diag::test

#endif
