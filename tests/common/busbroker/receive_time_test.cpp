// SPDX-License-Identifier: MIT
// The receive machine's measure of time, and the collecting of one field.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "busbroker.h"
#include "diag_util.h"

#include "tests/common/busbroker/machine.h"

namespace diag::test {
namespace {

class ReceiveTime : public MachineTest {
  protected:
    Machine machine_;
};

TEST_F(ReceiveTime, ADifferenceCountsMicrosecondsTwice) {
    struct Case {
        timeval a, b;
        double seconds;
    };
    const Case cases[] = {{{5, 0}, {3, 0}, 2.0},
                          {{5, 250'000}, {3, 0}, 2.5},
                          {{5, 0}, {3, 250'000}, 1.5},
                          {{5, 999'999}, {5, 0}, 1.999998},
                          {{5, 0}, {5, 999'999}, -1.999998},
                          {{3, 0}, {5, 500'000}, -3.0},
                          {{1'700'000'000, 1}, {0, 0}, 1'700'000'000.000002},
                          {{0, 0}, {0, 0}, 0.0}};
    for (const Case &test : cases) {
        EXPECT_NEAR(get_time_diff(&test.a, &test.b), test.seconds, 1e-6);
    }
}

TEST_F(ReceiveTime, ADifferenceToNoTimeIsNone) {
    const timeval time = {5, 0};
    const Messages expected =
        error_in("get_time_diff", "Null Pointer received as one of the times \n");
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(get_time_diff(nullptr, &time), 0.0); }), expected);
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(get_time_diff(&time, nullptr), 0.0); }), expected);
    EXPECT_EQ(logged_by([] { EXPECT_EQ(get_time_diff(nullptr, nullptr), 0.0); }), expected);
}

TEST_F(ReceiveTime, TheLimitIsMoreThanThreeSeconds) {
    struct Case {
        timeval last, now;
        bool resets;
    };
    const Case cases[] = {{{100, 0}, {103, 0}, false},
                          {{100, 0}, {103, 1}, true},
                          {{100, 0}, {104, 0}, true},
                          {{100, 0}, {101, 999'999}, false},  // counts as 2.999998 s
                          {{100, 0}, {102, 500'000}, false},
                          {{100, 0}, {102, 500'001}, true},
                          {{100, 900'000}, {104, 400'000}, false},
                          {{100, 900'000}, {104, 400'001}, true},
                          {{200, 0}, {100, 0}, false}};
    for (const Case &test : cases) {
        machine_->cur_state = 5;
        machine_->last_rx_time = test.last;
        clock_.set(test.now);
        EXPECT_EQ(check_rxtime_diff(&machine_.client(), nullptr), test.resets ? 1U : 0U)
            << test.now.tv_sec << "." << test.now.tv_usec;
        EXPECT_EQ(machine_->cur_state, test.resets ? 0U : 5U);
        EXPECT_EQ(machine_->now_time.tv_sec, test.now.tv_sec);
        EXPECT_EQ(machine_->now_time.tv_usec, test.now.tv_usec);
        EXPECT_EQ(machine_->last_rx_time.tv_sec, test.last.tv_sec) << "is the exit function's";
    }
    EXPECT_TRUE(is_reset(machine_) || machine_->cur_state == 5);
}

TEST_F(ReceiveTime, AResetIsLogged) {
    machine_->last_rx_time = {100, 0};
    clock_.set({103, 250'000});
    EXPECT_EQ(logged_by([&] { check_rxtime_diff(&machine_.client(), nullptr); }),
              (Messages{{3,
                         "Rx time diff is 3.500000 which is > sock rx timeout 3 Sec Resetting "
                         "state Machine\n"}}));
}

TEST_F(ReceiveTime, EachStepNotesItsTime) {
    clock_.set({100, 7});
    machine_->last_rx_time = {100, 0};
    machine_.take("x");
    EXPECT_EQ(machine_->last_rx_time.tv_sec, 100);
    EXPECT_EQ(machine_->last_rx_time.tv_usec, 7);
    clock_.pass_seconds(50);
    machine_.take("x");
    EXPECT_EQ(machine_->last_rx_time.tv_sec, 150) << "a step that resets does too";
}

TEST_F(ReceiveTime, TheTimeOfDayIsStored) {
    clock_.set({1'700'000'000, 123'456});
    EXPECT_EQ(update_time(&machine_.client()), 1);
    EXPECT_EQ(machine_->last_rx_time.tv_sec, 1'700'000'000);
    EXPECT_EQ(machine_->last_rx_time.tv_usec, 123'456);
}

// In a process of its own: a null pointer that is followed would end the other tests.
TEST_F(ReceiveTime, OfNoContextIsSafe) {
    EXPECT_EXIT(
        {
            update_time(nullptr);
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), "");
}

// ---- one field ----

class ReceiveField : public MachineTest {
  protected:
    ReceiveField() {
        machine_->field_buf = static_cast<uint8_t *>(std::calloc(16, 1));
        machine_->field_len = 4;
    }

    uint32_t collect() { return busbroker_rx_complt_curnt_state_data(&machine_.client()); }
    std::string text() { return reinterpret_cast<const char *>(machine_->field_buf); }

    Machine machine_;
};

TEST_F(ReceiveField, IsDoneWhenItsSpanIsUsedUp) {
    machine_.load("abcdef");
    EXPECT_EQ(collect(), uint32_t{DIAG_RX_DONE});
    EXPECT_EQ(text(), "abcd");
    EXPECT_EQ(machine_->rx_idx, 4U);
    EXPECT_EQ(machine_->field_pos, 0U);
    EXPECT_EQ(machine_->field_cnt, 4U) << "cleared by the state";
}

TEST_F(ReceiveField, GoesOnInTheNextDatagram) {
    machine_.load("ab");
    EXPECT_EQ(collect(), uint32_t{DIAG_RX_MORE});
    EXPECT_EQ(machine_->field_pos, 2U);
    EXPECT_EQ(machine_->field_cnt, 2U);
    machine_->rx_idx = 0;
    machine_.load("c\n");
    EXPECT_EQ(collect(), uint32_t{DIAG_RX_DONE});
    EXPECT_EQ(text(), "abc");
    EXPECT_EQ(machine_->field_cnt, 3U);
}

TEST_F(ReceiveField, OfNoSpanIsDoneAtOnce) {
    std::memcpy(machine_->field_buf, "old", 4);
    machine_->field_len = 0;
    machine_.load("abc");
    machine_->rx_idx = 3;
    EXPECT_EQ(collect(), uint32_t{DIAG_RX_DONE});
    EXPECT_EQ(text(), "");
    EXPECT_EQ(machine_->rx_idx, 3U);
}

TEST_F(ReceiveField, IsNotTouchedBehindTheDatagram) {
    machine_.load("abc");
    for (const uint32_t span : {4U, 0U}) {
        machine_->field_len = span;
        machine_->rx_idx = 4;
        EXPECT_EQ(collect(), uint32_t{DIAG_RX_MORE}) << span;
        EXPECT_EQ(machine_->rx_idx, 4U);
    }
}

TEST_F(ReceiveField, WithoutABufferIsPassedOver) {
    std::free(machine_->field_buf);
    machine_->field_buf = nullptr;
    machine_.load("abcdef");
    EXPECT_EQ(collect(), uint32_t{DIAG_RX_DONE});
    EXPECT_EQ(machine_->rx_idx, 4U);
    EXPECT_EQ(machine_->field_cnt, 0U);
}

TEST_F(ReceiveField, IsSkippedByAStateWithoutARecord) {
    for (const rx_state_row &row : bus_broker_rxdata_state_table) {
        if (row.state_fn == busbroker_req_resp_header_proc ||
            row.state_fn == busbroker_req_resp_footer_validtn_state) {
            continue;
        }
        machine_->rx_idx = 0;
        machine_->field_len = 4;
        machine_.load("abcdef");
        EXPECT_EQ(row.state_fn(&machine_.client(), nullptr), uint32_t{DIAG_RX_DONE});
        EXPECT_EQ(machine_->field_cnt, 0U);
        EXPECT_EQ(machine_->cur_req, nullptr);
    }
}

// ---- the first state ----

TEST_F(ReceiveField, TheHeaderPreparesItself) {
    reset_sm(&machine_.client(), nullptr);
    machine_->field_len = 0;
    machine_->marker[0] = 'x';
    machine_.load("..RP");
    EXPECT_EQ(busbroker_req_resp_header_proc(&machine_.client(), nullptr), uint32_t{DIAG_RX_MORE});
    EXPECT_EQ(std::string_view(machine_->marker, 3), "RPS");
    EXPECT_EQ(machine_->field_len, 3U);
    EXPECT_EQ(machine_->field_pos, 2U);
    EXPECT_EQ(machine_->rx_idx, 4U);
    machine_->rx_idx = 0;
    machine_.load("S0");
    EXPECT_EQ(busbroker_req_resp_header_proc(&machine_.client(), nullptr), uint32_t{DIAG_RX_DONE});
    EXPECT_EQ(machine_->field_len, 2U);
    EXPECT_EQ(machine_->field_pos, 0U);
    EXPECT_EQ(machine_->rx_idx, 1U);
    ASSERT_NE(machine_->cur_req, nullptr);
    ASSERT_NE(machine_->field_buf, nullptr);
    EXPECT_EQ(machine_->cur_req->dev_id, nullptr);
}

TEST_F(ReceiveField, TheFooterNeedsARecord) {
    machine_.load("RPE");
    std::memcpy(machine_->marker, "RPE", 3);
    EXPECT_EQ(busbroker_req_resp_footer_validtn_state(&machine_.client(), nullptr),
              uint32_t{DIAG_RX_ERROR});
    EXPECT_EQ(machine_.answers(), Answers());
}

TEST_F(ReceiveField, TheFooterPreparesTheNextHeader) {
    const std::string frame = Answer{}.frame();
    reset_sm(&machine_.client(), nullptr);
    machine_.take(frame.substr(0, frame.size() - 3));
    EXPECT_EQ(machine_->cur_state, 16U);
    EXPECT_EQ(std::string_view(machine_->marker, 3), "RPE");
    EXPECT_EQ(machine_->field_len, 3U);
    machine_.load("RPE");
    EXPECT_EQ(busbroker_req_resp_footer_validtn_state(&machine_.client(), &machine_),
              uint32_t{DIAG_RX_DONE});
    EXPECT_EQ(std::string_view(machine_->marker, 3), "RPS");
    EXPECT_EQ(machine_->field_len, 3U);
    EXPECT_EQ(machine_->field_buf, nullptr);
    EXPECT_EQ(machine_->cur_req, nullptr);
    EXPECT_EQ(machine_->rx_idx, 3U);
}

}  // namespace
}  // namespace diag::test
