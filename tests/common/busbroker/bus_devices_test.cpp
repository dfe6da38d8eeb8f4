// SPDX-License-Identifier: MIT
// Asking the bus broker for access to a bus device.
#include <bit>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "busbroker.h"
#include "diag_util.h"
#include "timer_epoll.h"

#include "tests/common/busbroker/request_record.h"
#include "tests/common/busbroker/running_client.h"
#include "tests/common/busbroker/time_doubles.h"
#include "tests/common/library_test.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

constexpr int kAttempts = 10;

class BusDevices : public LibraryTest {
  protected:
    BusDevices() {
        req_.retry_ms = kNoResend;
        req_.resp_expect = DIAG_EXPECT_SUCCESS;
        // The records of errors and refusals are not what most tests look at.
        set_verb_level(static_cast<unsigned>(-1));
    }

    uint32_t request(Client &client, uint8_t by_index = 1, const char *asset_id = nullptr) {
        return request_bus_dev_access(&req_, client.get(), 2, 3, by_index, 4, asset_id, "dev",
                                      "name", timer_);
    }

    // Owned by nobody, and never set while waits are noted.
    timer_t timer_ = std::bit_cast<timer_t>(intptr_t{0x5A5A});
    NotedWaits waits_;
    RequestRecord req_;
};

std::vector<NotedWaits::Wait> waits_of(size_t count, timer_t timer, double seconds) {
    return std::vector<NotedWaits::Wait>(count, {timer, seconds});
}

// ---- the fields ----

TEST_F(BusDevices, FieldsAreStored) {
    EXPECT_EQ(update_bus_dev_acces_req_fields(&req_, 1, 2, 3, 100, 4, nullptr), 0U);
    EXPECT_EQ(req_.bdev_by_index, 1);
    EXPECT_EQ(req_.bdev_sel_a, 2);
    EXPECT_EQ(req_.bdev_sel_b, 3);
    EXPECT_EQ(req_.bdev_hold, 100);
    EXPECT_EQ(req_.bdev_sel_c, 4);
    EXPECT_STREQ(req_.asset_id, "");
}

TEST_F(BusDevices, AnAssetIdCountsWithoutAnIndexOnly) {
    std::strcpy(req_.asset_id, "before");
    EXPECT_EQ(update_bus_dev_acces_req_fields(&req_, 255, 0, 0, 0, 0, "FAN1"), 0U);
    EXPECT_STREQ(req_.asset_id, "before");
    EXPECT_EQ(update_bus_dev_acces_req_fields(&req_, 0, 0, 0, 0, 0, "FAN1"), 0U);
    EXPECT_STREQ(req_.asset_id, "FAN1");
    EXPECT_EQ(update_bus_dev_acces_req_fields(&req_, 0, 0, 0, 0, 0, ""), 0U);
    EXPECT_STREQ(req_.asset_id, "");
}

TEST_F(BusDevices, AnAssetIdIsCutBeforeTheLastByteOfItsField) {
    const std::string longest(31, 'a');
    for (const char last : {'\0', 'z'}) {
        req_.asset_id[31] = last;
        for (const std::string &id : {longest, longest + "b", longest + std::string(100, 'b')}) {
            EXPECT_EQ(update_bus_dev_acces_req_fields(&req_, 0, 0, 0, 0, 0, id.c_str()), 0U);
            EXPECT_EQ(std::string(req_.asset_id, 31), longest);
            EXPECT_EQ(req_.asset_id[31], last);
        }
    }
}

TEST_F(BusDevices, FieldsThatAreMissingAreRefused) {
    EXPECT_EQ(update_bus_dev_acces_req_fields(nullptr, 1, 2, 3, 4, 5, "a"), DIAG_E_INVAL);
    EXPECT_EQ(update_bus_dev_acces_req_fields(nullptr, 0, 2, 3, 4, 5, nullptr), DIAG_E_INVAL);
    EXPECT_EQ(
        logged_by([&] {
            EXPECT_EQ(update_bus_dev_acces_req_fields(&req_, 0, 2, 3, 4, 5, nullptr), DIAG_E_INVAL);
        }),
        (Messages{{3, "update_bus_dev_acces_req_fields[]: "}, {3, "Received NULL asset ID \n"}}));
    EXPECT_EQ(req_.bdev_sel_a, 0) << "nothing is stored";
}

// ---- the request ----

TEST_F(BusDevices, AccessIsAskedForOnce) {
    const BrokerDouble broker(answering({"Success"}));
    RunningClient client(broker);
    EXPECT_EQ(request(client), 0U);
    ASSERT_EQ(broker.requests().size(), 1U);
    const BrokerRequest seen = broker.requests()[0];
    EXPECT_EQ(seen.tool, 3U);
    EXPECT_EQ(seen.instance, 1U);
    EXPECT_EQ(seen.number, 7U);
    EXPECT_EQ(seen.device, "dev");
    EXPECT_EQ(seen.device_name, "name");
    EXPECT_EQ(seen.priority, 0U);
    EXPECT_EQ(seen.type, 6U);
    EXPECT_EQ(seen.indication, 5U);
    EXPECT_EQ(seen.data, "01,02,03,04,10") << "a hold of 100 travels as two digits";
    EXPECT_EQ(seen.support, "");
    EXPECT_EQ(req_.bdev_hold, 100);
    EXPECT_EQ(req_.transac_id, 8U);
    EXPECT_TRUE(waits_.all().empty());
    EXPECT_EQ(client->tx_queue, nullptr);
    EXPECT_EQ(client->rx_queue, nullptr);
}

TEST_F(BusDevices, AccessByAssetIdHoldsForLess) {
    const BrokerDouble broker(answering({"Success"}));
    RunningClient client(broker);
    EXPECT_EQ(request(client, 0, "FAN1"), 0U);
    ASSERT_EQ(broker.requests().size(), 1U);
    EXPECT_EQ(broker.requests()[0].data, "00,02,03,04,30,FAN1");
    EXPECT_EQ(req_.bdev_hold, 30);
}

// What the record holds then is asked for, as the fields' refusal does not count.
TEST_F(BusDevices, AMissingAssetIdIsNoReasonNotToAsk) {
    const BrokerDouble broker(answering({"Success"}));
    RunningClient client(broker);
    EXPECT_EQ(request(client, 0, nullptr), 0U);
    ASSERT_EQ(broker.requests().size(), 1U);
    EXPECT_EQ(broker.requests()[0].data, "00,00,00,00,00,");
}

TEST_F(BusDevices, EachRefusalIsFollowedByAWait) {
    const BrokerDouble broker(answering({"Busy", "Req not found", "Success"}));
    RunningClient client(broker);
    EXPECT_EQ(request(client), 0U);
    EXPECT_EQ(broker.requests().size(), 3U);
    EXPECT_EQ(waits_.all(), waits_of(2, timer_, 10.0));
    EXPECT_EQ(req_.transac_id, 10U);
    EXPECT_STREQ(req_.actual_data, "01,02,03,04,10") << "the last request's";
}

TEST_F(BusDevices, TheTenthAttemptMaySucceed) {
    std::vector<std::string> statuses(kAttempts - 1, "Busy");
    statuses.push_back("Success");
    const BrokerDouble broker(answering(statuses));
    RunningClient client(broker);
    EXPECT_EQ(request(client), 0U);
    EXPECT_EQ(waits_.all(), waits_of(kAttempts - 1, timer_, 10.0));
}

TEST_F(BusDevices, TenRefusalsAreTheEnd) {
    const BrokerDouble broker(answering({"Busy"}));
    RunningClient client(broker);
    EXPECT_EQ(request(client), DIAG_E_FAIL);
    const std::vector<BrokerRequest> requests = broker.requests();
    ASSERT_EQ(requests.size(), size_t{kAttempts});
    for (size_t i = 0; i < requests.size(); i++) {
        EXPECT_EQ(requests[i].number, 7 + i);
        EXPECT_EQ(requests[i].data, "01,02,03,04,10");
    }
    EXPECT_EQ(waits_.all(), waits_of(kAttempts, timer_, 10.0)) << "the last one included";
    EXPECT_EQ(req_.transac_id, 17U);
    EXPECT_EQ(client->tx_queue, nullptr);
}

// Without time between the sends a request gives up at once.
TEST_F(BusDevices, ASilentBrokerIsAskedTenTimesThreeTimesEach) {
    const BrokerDouble broker(answering({""}));
    RunningClient client(broker);
    req_.retry_ms = 0;
    EXPECT_EQ(request(client), DIAG_E_FAIL);
    EXPECT_EQ(waits_.all(), waits_of(kAttempts, timer_, 10.0));
    ASSERT_TRUE(sees(broker, 3 * kAttempts));
    const std::vector<BrokerRequest> requests = broker.requests();
    for (size_t i = 0; i < requests.size(); i++) {
        EXPECT_EQ(requests[i].number, 7 + i / 3);
    }
    EXPECT_EQ(req_.transac_id, 17U);
}

TEST_F(BusDevices, AnAcknowledgementIsEnoughForThoseWhoExpectOne) {
    const BrokerDouble broker(answering({"Rx Ack"}));
    RunningClient client(broker);
    req_.resp_expect = DIAG_EXPECT_ACK;
    EXPECT_EQ(request(client), 0U);
    EXPECT_TRUE(waits_.all().empty());
}

TEST_F(BusDevices, WhatCannotBeAskedFailsAfterTenWaits) {
    Client client;
    EXPECT_EQ(request_bus_dev_access(nullptr, client.get(), 2, 3, 1, 4, nullptr, "d", "n", timer_),
              DIAG_E_FAIL);
    EXPECT_EQ(
        request_bus_dev_access(&req_, client.get(), 2, 3, 1, 4, nullptr, nullptr, "n", timer_),
        DIAG_E_FAIL);
    EXPECT_EQ(
        request_bus_dev_access(&req_, client.get(), 2, 3, 1, 4, nullptr, "d", nullptr, timer_),
        DIAG_E_FAIL);
    EXPECT_EQ(request_bus_dev_access(&req_, nullptr, 2, 3, 1, 4, nullptr, "d", "n", timer_),
              DIAG_E_FAIL);
    EXPECT_EQ(waits_.all(), waits_of(4 * kAttempts, timer_, 10.0));
    EXPECT_EQ(req_.transac_id, 7U) << "nothing was queued";
}

// An attempt without memory is one that fails: the next has it again.
TEST_F(BusDevices, AnAllocationThatFailsCostsAnAttempt) {
    const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
        Client client;
        RequestRecord req;
        req.resp_expect = DIAG_EXPECT_NOTHING;
        const size_t before = waits_.all().size();
        text_logged_by([&] {
            watch.start();
            EXPECT_EQ(request_bus_dev_access(&req, client.get(), 2, 3, 1, 4, nullptr, "dev", "name",
                                             timer_),
                      0U);
        });
        EXPECT_EQ(waits_.all().size() - before, watch.has_failed() ? 1U : 0U);
        EXPECT_EQ(req.transac_id, 8U);
        req.drop_texts();
        client.drop_queues();
        watch.stop();
    });
    EXPECT_EQ(failed, 3) << "data text, frame and queue entry";
}

// ---- the wait itself ----

class BusDeviceWaits : public LibraryTest {};

// A timer that cannot be set makes each wait end with its message.
TEST_F(BusDeviceWaits, AreMadeWithTheCallersTimer) {
    const BrokerDouble broker(answering({"Busy"}));
    RunningClient client(broker);
    RequestRecord req;
    req.retry_ms = kNoResend;
    req.resp_expect = DIAG_EXPECT_SUCCESS;
    const auto no_timer = std::bit_cast<timer_t>(intptr_t{0x7FFFFFFF});
    const std::string text = text_logged_by(
        [&] {
            EXPECT_EQ(request_bus_dev_access(&req, client.get(), 2, 3, 1, 4, nullptr, "dev", "name",
                                             no_timer),
                      DIAG_E_FAIL);
        },
        -1);
    std::string expected;
    for (int i = 0; i < kAttempts; i++) {
        expected += "waitfor_timeout[]: Failed to set time to timer with id\n";
    }
    EXPECT_EQ(text, expected);
}

}  // namespace
}  // namespace diag::test
