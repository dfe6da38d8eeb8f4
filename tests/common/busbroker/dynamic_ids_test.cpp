// SPDX-License-Identifier: MIT
// Device ids that the bus broker assigns on the fly, and the list in which they are kept.
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

// A caller's list.
class IdList {
  public:
    IdList() = default;
    ~IdList() {
        while (head != nullptr) {
            dyn_dev_node *first = head;
            head = first->next;
            std::free(first);
        }
    }
    IdList(const IdList &) = delete;
    IdList &operator=(const IdList &) = delete;

    dyn_dev_node *head = nullptr;
};

class DynamicIdList : public LibraryTest {
  protected:
    IdList list_;
};

TEST_F(DynamicIdList, GrowsAtItsEnd) {
    char *first = update_dyn_dev_id_list(&list_.head, "one", 1);
    ASSERT_NE(list_.head, nullptr);
    EXPECT_EQ(first, list_.head->id_text);
    EXPECT_STREQ(first, "one");
    EXPECT_EQ(list_.head->key, 1U);
    EXPECT_EQ(list_.head->valid, 1);
    EXPECT_EQ(list_.head->next, nullptr);
    char *second = update_dyn_dev_id_list(&list_.head, "two", 0xFFFFFFFF);
    char *third = update_dyn_dev_id_list(&list_.head, "", 3);
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(list_.head->id_text, first);
    EXPECT_EQ(list_.head->next->id_text, second);
    EXPECT_EQ(list_.head->next->key, 0xFFFFFFFF);
    EXPECT_EQ(list_.head->next->next->id_text, third);
    EXPECT_EQ(list_.head->next->next->next, nullptr);
}

TEST_F(DynamicIdList, HoldsTextsUpToTheirField) {
    const std::string longest(32, 'i');
    EXPECT_EQ(update_dyn_dev_id_list(&list_.head, longest.c_str(), 1), longest);
}

TEST_F(DynamicIdList, ALongerTextEndsTheProcess) {
    EXPECT_DEATH(update_dyn_dev_id_list(&list_.head, std::string(33, 'i').c_str(), 1),
                 "does not fit");
    EXPECT_DEATH(update_dyn_dev_id_list(&list_.head, std::string(1000, 'i').c_str(), 1), "");
}

TEST_F(DynamicIdList, RefusesWhatIsMissing) {
    EXPECT_EQ(update_dyn_dev_id_list(nullptr, "one", 1), nullptr);
    EXPECT_EQ(update_dyn_dev_id_list(&list_.head, nullptr, 1), nullptr);
    EXPECT_EQ(list_.head, nullptr);
}

TEST_F(DynamicIdList, WithoutMemoryStaysAsItIs) {
    for_each_failing_allocation([&](AllocationWatch &watch) {
        IdList list;
        char *id = nullptr;
        const std::string text = text_logged_by(
            [&] {
                watch.start();
                id = update_dyn_dev_id_list(&list.head, "one", 1);
            },
            -1);
        EXPECT_EQ(id == nullptr, watch.has_failed());
        EXPECT_EQ(list.head == nullptr, watch.has_failed());
        EXPECT_EQ(text, watch.has_failed()
                            ? "update_dyn_dev_id_list[]: Couldn't allocate memory for new dynamic "
                              "ID node\n"
                            : "");
    });
}

TEST_F(DynamicIdList, IsSearchedByKey) {
    EXPECT_EQ(check_dyn_dev_list(nullptr, 1), nullptr);
    char *one = update_dyn_dev_id_list(&list_.head, "one", 1);
    char *big = update_dyn_dev_id_list(&list_.head, "big", 0x10001);
    EXPECT_EQ(check_dyn_dev_list(list_.head, 1), one);
    EXPECT_EQ(check_dyn_dev_list(list_.head, 0x10001), big) << "the whole key counts";
    EXPECT_EQ(check_dyn_dev_list(list_.head, 2), nullptr);
}

TEST_F(DynamicIdList, TheFirstValidElementIsFound) {
    char *first = update_dyn_dev_id_list(&list_.head, "first", 1);
    char *second = update_dyn_dev_id_list(&list_.head, "second", 1);
    EXPECT_EQ(check_dyn_dev_list(list_.head, 1), first);
    list_.head->valid = 0;
    EXPECT_EQ(check_dyn_dev_list(list_.head, 1), second);
    list_.head->next->valid = 0;
    EXPECT_EQ(check_dyn_dev_list(list_.head, 1), nullptr);
    list_.head->next->valid = 255;
    EXPECT_EQ(check_dyn_dev_list(list_.head, 1), second);
}

TEST_F(DynamicIdList, FieldsOfARequestAreStored) {
    RequestRecord req;
    uint8_t buffer[8];
    EXPECT_EQ(update_dyn_dev_access_req_fields(&req, 0x12345, 0xABCD, buffer), 0U);
    EXPECT_EQ(req.dyn_dev_key, 0x2345) << "the low half travels";
    EXPECT_EQ(req.dyn_dev_arg, 0xABCD);
    EXPECT_EQ(req.resp_buf, buffer);
    EXPECT_EQ(update_dyn_dev_access_req_fields(&req, 0, 0, nullptr), 0U);
    EXPECT_EQ(req.resp_buf, nullptr);
    EXPECT_EQ(update_dyn_dev_access_req_fields(nullptr, 1, 2, buffer), DIAG_E_INVAL);
}

// ---- the request ----

class DynamicIds : public LibraryTest {
  protected:
    DynamicIds() {
        req_.retry_ms = kNoResend;
        req_.resp_expect = DIAG_EXPECT_SUCCESS;
        set_verb_level(static_cast<unsigned>(-1));
    }

    uint32_t request(Client &client, uint32_t key = 0x12, uint16_t arg = 34) {
        req_.drop_texts();
        return request_otf_dev_id(&req_, client.get(), "dev", "name", timer_, key, arg, &id_,
                                  &list_.head);
    }

    timer_t timer_ = std::bit_cast<timer_t>(intptr_t{0x5A5A});
    NotedWaits waits_;
    RequestRecord req_;
    IdList list_;
    char *id_ = nullptr;
};

std::vector<NotedWaits::Wait> waits_of(size_t count, timer_t timer) {
    return std::vector<NotedWaits::Wait>(count, {timer, 1.0});
}

TEST_F(DynamicIds, AreAskedForAndKept) {
    const BrokerDouble broker(answering({"Success,mux-1.fan"}));
    RunningClient client(broker);
    EXPECT_EQ(request(client), 0U);
    ASSERT_NE(list_.head, nullptr);
    EXPECT_EQ(id_, list_.head->id_text);
    EXPECT_STREQ(id_, "mux-1.fan");
    EXPECT_EQ(list_.head->key, 0x12U);
    EXPECT_EQ(list_.head->valid, 1);
    ASSERT_EQ(broker.requests().size(), 1U);
    const BrokerRequest seen = broker.requests()[0];
    EXPECT_EQ(seen.device, "dev");
    EXPECT_EQ(seen.device_name, "name");
    EXPECT_EQ(seen.priority, 0U);
    EXPECT_EQ(seen.type, 5U);
    EXPECT_EQ(seen.indication, 5U);
    EXPECT_EQ(seen.data, "0012,0034");
    EXPECT_TRUE(waits_.all().empty());
}

TEST_F(DynamicIds, AKnownOneIsNotAskedForAgain) {
    const BrokerDouble broker(answering({"Success,first", "Success,second", "Success,third"}));
    RunningClient client(broker);
    EXPECT_EQ(request(client, 1), 0U);
    char *const first = id_;
    EXPECT_EQ(request(client, 2), 0U);
    EXPECT_STREQ(id_, "second");
    EXPECT_EQ(request(client, 1, 99), 0U);
    EXPECT_EQ(id_, first);
    EXPECT_STREQ(id_, "first") << "even if the broker has another one now";
    EXPECT_EQ(broker.requests().size(), 2U);
    EXPECT_EQ(
        request_otf_dev_id(nullptr, nullptr, nullptr, nullptr, timer_, 2, 0, &id_, &list_.head), 0U)
        << "nothing else is needed for it";
}

TEST_F(DynamicIds, AnInvalidElementIsAskedForAgain) {
    const BrokerDouble broker(answering({"Success,first", "Success,second"}));
    RunningClient client(broker);
    EXPECT_EQ(request(client, 1), 0U);
    list_.head->valid = 0;
    EXPECT_EQ(request(client, 1), 0U);
    EXPECT_STREQ(id_, "second");
    EXPECT_EQ(list_.head->next->id_text, id_);
}

TEST_F(DynamicIds, TheLowHalfOfAKeyTravels) {
    const BrokerDouble broker(answering({"Success,id"}));
    RunningClient client(broker);
    EXPECT_EQ(request(client, 0x1ABCD, 12345), 0U);
    EXPECT_EQ(broker.requests().at(0).data, "abcd,1234") << "and four digits of the argument";
    EXPECT_EQ(list_.head->key, 0x1ABCDU);
}

TEST_F(DynamicIds, TheLongestIdIsHeld) {
    const std::string longest(32, 'i');
    const BrokerDouble broker(answering({"Success," + longest}));
    RunningClient client(broker);
    EXPECT_EQ(request(client), 0U);
    EXPECT_EQ(id_, longest);
}

// Refuses so many requests, as a broker that takes the request for one of another type.
BrokerDouble::Script refusing(int times) {
    return [times](const BrokerRequest &request) mutable -> std::vector<std::string> {
        if (times-- > 0) {
            BrokerRequest other = request;
            other.type = 6;
            return {broker_answer(other, "Busy")};
        }
        return {broker_answer(request, "Success,id")};
    };
}

TEST_F(DynamicIds, ARefusalIsFollowedByAWaitOfASecond) {
    for (const int refusals : {1, 9}) {
        const BrokerDouble broker(refusing(refusals));
        RunningClient client(broker);
        const size_t waits = waits_.all().size();
        EXPECT_EQ(request(client, static_cast<uint32_t>(refusals)), 0U);
        EXPECT_STREQ(id_, "id");
        EXPECT_EQ(waits_.all().size() - waits, static_cast<size_t>(refusals));
        EXPECT_EQ(broker.requests().size(), static_cast<size_t>(refusals) + 1);
    }
    EXPECT_EQ(waits_.all(), waits_of(10, timer_));
}

TEST_F(DynamicIds, TenRefusalsAreTheEnd) {
    const BrokerDouble broker(refusing(10));
    RunningClient client(broker);
    EXPECT_EQ(request(client), DIAG_E_FAIL);
    EXPECT_EQ(broker.requests().size(), 10U);
    EXPECT_EQ(waits_.all(), waits_of(10, timer_)) << "the last one included";
    EXPECT_EQ(list_.head, nullptr);
    EXPECT_EQ(id_, nullptr);
    EXPECT_EQ(req_.transac_id, 17U);
    EXPECT_EQ(req_.resp_buf, nullptr);
}

// A text of another form is no answer, so the request gives up by itself.
TEST_F(DynamicIds, AnAnswerWithoutAnIdIsNone) {
    for (const char *answer : {"", "Busy", "Success", "Success,", ",Success", "success,id"}) {
        const BrokerDouble broker(answering({answer}));
        RunningClient client(broker);
        req_.retry_ms = 0;
        EXPECT_EQ(request(client), DIAG_E_FAIL);
        EXPECT_TRUE(sees(broker, 30)) << answer;
        EXPECT_EQ(list_.head, nullptr);
    }
    EXPECT_EQ(waits_.all(), waits_of(60, timer_));
}

TEST_F(DynamicIds, WhatCannotBeAskedFailsAfterTenWaits) {
    Client client;
    EXPECT_EQ(request_otf_dev_id(nullptr, client.get(), "d", "n", timer_, 1, 2, &id_, &list_.head),
              DIAG_E_FAIL);
    EXPECT_EQ(
        request_otf_dev_id(&req_, client.get(), nullptr, "n", timer_, 1, 2, &id_, &list_.head),
        DIAG_E_FAIL);
    EXPECT_EQ(request_otf_dev_id(&req_, nullptr, "d", "n", timer_, 1, 2, &id_, &list_.head),
              DIAG_E_FAIL);
    EXPECT_EQ(waits_.all(), waits_of(30, timer_));
    EXPECT_EQ(id_, nullptr);
    EXPECT_EQ(list_.head, nullptr);
}

TEST_F(DynamicIds, NoPlaceForTheIdIsRefusedAtOnce) {
    Client client;
    EXPECT_EQ(request_otf_dev_id(&req_, client.get(), "d", "n", timer_, 1, 2, nullptr, &list_.head),
              DIAG_E_FAIL);
    EXPECT_EQ(request_otf_dev_id(&req_, client.get(), "d", "n", timer_, 1, 2, &id_, nullptr),
              DIAG_E_FAIL);
    EXPECT_TRUE(waits_.all().empty());
}

TEST_F(DynamicIds, TheRecordDoesNotKeepTheCallsBuffer) {
    const BrokerDouble broker(answering({"Success,id"}));
    RunningClient client(broker);
    EXPECT_EQ(request(client), 0U);
    EXPECT_EQ(req_.resp_buf, nullptr);
}

// The id's element comes last; what fails before costs an attempt, or the call.
TEST_F(DynamicIds, EachAllocationThatFailsLosesNothing) {
    int failures = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        Client client;
        RequestRecord req;
        req.resp_expect = DIAG_EXPECT_NOTHING;
        IdList list;
        char *id = nullptr;
        uint32_t status = 0;
        text_logged_by([&] {
            watch.start();
            status = request_otf_dev_id(&req, client.get(), "dev", "name", timer_, 1, 2, &id,
                                        &list.head);
        });
        EXPECT_EQ(id != nullptr, status == 0);
        EXPECT_EQ(list.head != nullptr, status == 0);
        EXPECT_TRUE(status == 0 || (watch.has_failed() && status == DIAG_E_FAIL)) << status;
        failures += status != 0 ? 1 : 0;
        req.drop_texts();
        client.drop_queues();
    });
    EXPECT_EQ(failures, 1) << "the element; the others are tried again";
}

// ---- the wait itself ----

class DynamicIdWaits : public LibraryTest {};

// The timer has less than its whole second left as soon as it is set, so each wait is over at once.
TEST_F(DynamicIdWaits, AreMadeWithTheCallersTimer) {
    const BrokerDouble broker(answering({""}));
    RunningClient client(broker);
    RequestRecord req;
    IdList list;
    char *id = nullptr;
    timer_t timer = nullptr;
    ASSERT_EQ(init_timer(DIAG_TIMER_SILENT, &timer, 0), 0U);
    const std::string text = text_logged_by(
        [&] {
            EXPECT_EQ(
                request_otf_dev_id(&req, client.get(), "dev", "name", timer, 1, 2, &id, &list.head),
                DIAG_E_FAIL);
        },
        -1);
    EXPECT_EQ(text, "") << "the timer can be set";
    timer_delete(timer);
}

}  // namespace
}  // namespace diag::test
