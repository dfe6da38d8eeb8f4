// SPDX-License-Identifier: MIT
// The walker of state tables, over the machine's own table and over others.
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "busbroker.h"
#include "diag_util.h"

#include "tests/common/busbroker/machine.h"

namespace diag::test {
namespace {

// What the functions of the tests' tables do, and what they note.
struct Script {
    std::string calls;
    uint32_t pre_check = 0;
    uint32_t state = DIAG_RX_DONE;
    uint32_t state_set_by_pre_check = 99;
};
Script script;

uint32_t note_pre_check(tool_info *client, void *arg) {
    script.calls += "pre ";
    if (script.state_set_by_pre_check != 99) {
        *static_cast<uint32_t *>(arg) = script.state_set_by_pre_check;
    }
    EXPECT_NE(client, nullptr);
    return script.pre_check;
}

uint32_t note_state(tool_info * /*client*/, void * /*arg*/) {
    script.calls += "state ";
    return script.state;
}

uint32_t note_error(tool_info * /*client*/, void * /*arg*/) {
    script.calls += "error ";
    return 7;
}

uint32_t note_first_event(tool_info * /*client*/, void * /*arg*/) {
    script.calls += "event0 ";
    return DIAG_RX_ERROR;
}

uint32_t note_second_event(tool_info * /*client*/, void * /*arg*/) {
    script.calls += "event1 ";
    return DIAG_RX_MORE;
}

int note_exit(tool_info * /*client*/) {
    script.calls += "exit ";
    return 9;
}

constexpr rx_event_entry kEvents[] = {{note_first_event, 4}, {note_second_event, 5}, {nullptr, 6}};
constexpr rx_event_table kEventTable = {3, kEvents};

constexpr rx_state_row kFullRow = {note_pre_check, nullptr, note_state, note_error, 3, 2,
                                   note_exit};
constexpr rx_state_row kEmptyRow = {nullptr, nullptr, nullptr, nullptr, 3, 2, nullptr};

class Walker : public MachineTest {
  protected:
    Walker() { script = {}; }

    // One step from state 1 of a table whose second row is `row`.
    uint32_t step(const rx_state_row &row, uint32_t event = 0) {
        const rx_state_row rows[] = {kEmptyRow, row};
        const rx_stateinfo info = {rows, 0, 2};
        state_ = 1;
        return state_traversal(&info, &state_, event, &machine_.client(), &state_);
    }

    Machine machine_;
    uint32_t state_ = 1;
};

// ---- the machine's table ----

TEST_F(Walker, TheMachinesTableHasARowForEachField) {
    const rx_state_fn states[] = {
        busbroker_req_resp_header_proc,         busbroker_req_resp_tool_id_proc,
        busbroker_req_resp_inst_id_proc,        busbroker_req_resp_transac_id_proc,
        busbroker_req_resp_dev_id_len_proc,     busbroker_req_resp_dev_id_proc,
        busbroker_req_resp_dev_name_len_proc,   busbroker_req_resp_dev_name_proc,
        busbroker_req_resp_req_prio_proc,       busbroker_req_resp_req_type_proc,
        busbroker_req_resp_trasac_ind_proc,     busbroker_req_resp_actual_datalen_proc,
        busbroker_req_resp_suprt_data_len_proc, busbroker_req_resp_actual_data_copy,
        busbroker_req_resp_support_data_copy,   busbroker_req_resp_crc_proc_state,
        busbroker_req_resp_footer_validtn_state};
    EXPECT_EQ(busbroker_rx_stateinfo.rows, bus_broker_rxdata_state_table);
    EXPECT_EQ(busbroker_rx_stateinfo.reserved, 0U);
    ASSERT_EQ(busbroker_rx_stateinfo.state_count, std::size(states));
    for (uint32_t i = 0; i < std::size(states); i++) {
        const rx_state_row &row = bus_broker_rxdata_state_table[i];
        EXPECT_EQ(row.pre_check, check_rxtime_diff);
        EXPECT_EQ(row.events, nullptr);
        EXPECT_EQ(row.state_fn, states[i]) << i;
        EXPECT_EQ(row.error_fn, reset_sm);
        EXPECT_EQ(row.next_on_error, 0U);
        EXPECT_EQ(row.next_on_success, i == 16 ? 0 : i + 1);
        EXPECT_EQ(row.exit_fn, update_time);
    }
}

TEST_F(Walker, StatesOfNoContextAreErrors) {
    for (const rx_state_row &row : bus_broker_rxdata_state_table) {
        EXPECT_EQ(row.state_fn(nullptr, nullptr), uint32_t{DIAG_RX_ERROR});
    }
    EXPECT_EQ(busbroker_rx_complt_curnt_state_data(nullptr), uint32_t{DIAG_RX_MORE});
    EXPECT_EQ(check_rxtime_diff(nullptr, nullptr), 0U);
}

// In a process of its own: a null pointer that is followed would end the other tests.
TEST_F(Walker, AStepOfNoContextIsSafe) {
    EXPECT_EXIT(
        {
            state_traversal(&busbroker_rx_stateinfo, &state_, 0, nullptr, nullptr);
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), "");
}

// ---- one step ----

TEST_F(Walker, ASuccessTakesTheNextState) {
    EXPECT_EQ(step(kFullRow), 0U);
    EXPECT_EQ(script.calls, "pre state exit ");
    EXPECT_EQ(state_, 2U);
}

TEST_F(Walker, AnErrorRunsTheErrorFunction) {
    script.state = DIAG_RX_ERROR;
    EXPECT_EQ(step(kFullRow), 0U);
    EXPECT_EQ(script.calls, "pre state error exit ");
    EXPECT_EQ(state_, 3U);
}

TEST_F(Walker, AnyOtherResultStays) {
    for (const uint32_t result : {0U, 3U, 0xFFFFFFFFU}) {
        script = {};
        script.state = result;
        EXPECT_EQ(step(kFullRow), 0U);
        EXPECT_EQ(script.calls, "pre state exit ");
        EXPECT_EQ(state_, 1U) << result;
    }
}

TEST_F(Walker, APreCheckEndsTheStep) {
    for (const uint32_t result : {1U, 2U, 0x80000000U}) {
        script = {};
        script.pre_check = result;
        EXPECT_EQ(step(kFullRow), 0U);
        EXPECT_EQ(script.calls, "pre exit ");
        EXPECT_EQ(state_, 1U) << result;
    }
}

TEST_F(Walker, APreCheckMayChangeTheState) {
    script.pre_check = 1;
    script.state_set_by_pre_check = 0;
    EXPECT_EQ(step(kFullRow), 0U);
    EXPECT_EQ(state_, 0U);
}

TEST_F(Walker, EachFunctionMayBeMissing) {
    EXPECT_EQ(step(kEmptyRow), 0U);
    EXPECT_EQ(state_, 2U) << "without a state function the state succeeds";
    rx_state_row row = kFullRow;
    row.pre_check = nullptr;
    EXPECT_EQ(step(row), 0U);
    EXPECT_EQ(script.calls, "state exit ");
    script = {};
    row = kFullRow;
    row.state_fn = nullptr;
    EXPECT_EQ(step(row), 0U);
    EXPECT_EQ(script.calls, "pre exit ");
    EXPECT_EQ(state_, 2U);
    script = {};
    script.state = DIAG_RX_ERROR;
    row = kFullRow;
    row.error_fn = nullptr;
    EXPECT_EQ(step(row), 0U);
    EXPECT_EQ(script.calls, "pre state exit ");
    EXPECT_EQ(state_, 3U);
    script = {};
    row = kFullRow;
    row.exit_fn = nullptr;
    EXPECT_EQ(step(row), 0U);
    EXPECT_EQ(script.calls, "pre state ");
    script = {};
    script.pre_check = 1;
    EXPECT_EQ(step(row), 0U);
    EXPECT_EQ(script.calls, "pre ");
}

TEST_F(Walker, EventsTakeThePlaceOfTheState) {
    rx_state_row row = kFullRow;
    row.events = &kEventTable;
    const char *const calls[] = {"pre event0 exit ", "pre event1 exit ", "pre exit "};
    for (uint32_t event = 0; event < 3; event++) {
        script = {};
        EXPECT_EQ(step(row, event), 0U);
        EXPECT_EQ(script.calls, calls[event]);
        EXPECT_EQ(state_, 4 + event) << "whatever the function answers";
    }
    script = {};
    script.pre_check = 1;
    EXPECT_EQ(step(row, 0), 0U);
    EXPECT_EQ(script.calls, "pre exit ");
    EXPECT_EQ(state_, 1U);
}

TEST_F(Walker, AnUnknownEventBreaksTheMachine) {
    rx_state_row row = kFullRow;
    row.events = &kEventTable;
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(step(row, 4), DIAG_E_INVAL); }),
              (Messages{{3, "Rx current state value is 1\n"},
                        {0, "Current state doesn't have rx event 4\n"}}));
    EXPECT_EQ(state_, uint32_t{DIAG_RX_STATE_BROKEN});
    script = {};
    EXPECT_EQ(step(row, 0xFFFFFFFF), DIAG_E_INVAL);
    EXPECT_EQ(script.calls, "pre exit ");
    row.exit_fn = nullptr;
    EXPECT_EQ(step(row, 4), DIAG_E_INVAL);
}

// The entries end there, so there is nothing that could be run.
TEST_F(Walker, AnEventBehindTheLastBreaksTheMachine) {
    rx_state_row row = kFullRow;
    row.events = &kEventTable;
    EXPECT_EQ(step(row, 3), DIAG_E_INVAL);
    EXPECT_EQ(state_, uint32_t{DIAG_RX_STATE_BROKEN});
    constexpr rx_event_table kNone = {1, nullptr};
    row.events = &kNone;
    EXPECT_EQ(step(row, 0), DIAG_E_INVAL);
    EXPECT_EQ(state_, uint32_t{DIAG_RX_STATE_BROKEN});
}

// ---- broken tables ----

TEST_F(Walker, ATableThatIsMissingBreaksTheMachine) {
    EXPECT_EQ(logged_by([&] {
                  state_ = 1;
                  EXPECT_EQ(state_traversal(nullptr, &state_, 0, &machine_.client(), nullptr),
                            DIAG_E_INVAL);
                  EXPECT_EQ(state_, uint32_t{DIAG_RX_STATE_BROKEN});
              }),
              (Messages{{0, "NULL pointer received as state table address \n"}}));
}

TEST_F(Walker, RowsThatAreMissingBreakTheMachine) {
    const rx_stateinfo info = {nullptr, 0, 2};
    EXPECT_EQ(logged_by([&] {
                  state_ = 1;
                  EXPECT_EQ(state_traversal(&info, &state_, 0, &machine_.client(), nullptr),
                            DIAG_E_INVAL);
                  EXPECT_EQ(state_, uint32_t{DIAG_RX_STATE_BROKEN});
              }),
              (Messages{{3, "Rx current state value is 1\n"},
                        {0, "State table pointer to set to NULL\n"}}));
}

TEST_F(Walker, AStateBeyondTheTableBreaksTheMachine) {
    for (const uint32_t state : {18U, 65535U, 0xFFFFFFFFU}) {
        EXPECT_EQ(logged_by([&] {
                      state_ = state;
                      EXPECT_EQ(state_traversal(&busbroker_rx_stateinfo, &state_, 0,
                                                &machine_.client(), nullptr),
                                DIAG_E_INVAL);
                      EXPECT_EQ(state_, uint32_t{DIAG_RX_STATE_BROKEN});
                  }),
                  (Messages{{3, "Rx current state value is " +
                                    std::to_string(static_cast<int32_t>(state)) + "\n"},
                            {1, "Invalid state rx as current state\n"}}));
    }
}

// Only states above the count are refused. A table may have a row for the count itself.
TEST_F(Walker, AStateThatEqualsTheCountPasses) {
    const rx_state_row rows[] = {kEmptyRow, kFullRow};
    const rx_stateinfo info = {rows, 0, 1};
    EXPECT_EQ(state_traversal(&info, &state_, 0, &machine_.client(), nullptr), 0U);
    EXPECT_EQ(script.calls, "pre state exit ");
    EXPECT_EQ(state_, 2U);
}

TEST_F(Walker, NoPlaceForTheStateIsRefused) {
    EXPECT_EQ(state_traversal(&busbroker_rx_stateinfo, nullptr, 0, &machine_.client(), nullptr),
              DIAG_E_INVAL);
}

// ---- the walk over a datagram ----

TEST_F(Walker, AWalkWithoutContextOrTableIsRefused) {
    EXPECT_EQ(
        logged_by([] { EXPECT_EQ(busbroker_rx_state_machine(nullptr, nullptr), DIAG_E_INVAL); }),
        error_in("busbroker_rx_state_machine", "NULL Ptr received as tool info\n"));
    machine_->rx_stateinfo = nullptr;
    EXPECT_EQ(logged_by([&] {
                  EXPECT_EQ(busbroker_rx_state_machine(&machine_.client(), nullptr), DIAG_E_INVAL);
              }),
              (Messages{{0, "NULL Ptr received as state table info \n"}}));
}

TEST_F(Walker, AWalkOverNothingRunsNoStep) {
    const rx_stateinfo info = {&kFullRow, 0, 1};
    machine_->rx_stateinfo = &info;
    EXPECT_EQ(machine_.take(""), 0U);
    EXPECT_EQ(script.calls, "");
}

TEST_F(Walker, AWalkInABrokenStateIsRefusedEachTime) {
    machine_->cur_state = DIAG_RX_STATE_BROKEN;
    const auto walk = [&] { EXPECT_EQ(machine_.take("abc"), DIAG_E_INVAL); };
    EXPECT_EQ(
        logged_by(walk),
        (Messages{{3, "Rx current state value is 65535\n"},
                  {1, "Invalid state rx as current state\n"},
                  {0, "Error with the state machine info or the input event is invalid \n"}}));
    EXPECT_EQ(machine_->cur_state, uint32_t{DIAG_RX_STATE_BROKEN});
    EXPECT_EQ(machine_->rx_idx, 0U);
}

uint32_t take_one(tool_info *client, void *arg) {
    client->rx_idx++;
    const char letter = *static_cast<const char *>(arg);
    script.calls += letter != '\0' ? std::string(1, letter) : "";
    return DIAG_RX_DONE;
}

TEST_F(Walker, AWalkHandsItsArgumentToEachState) {
    const rx_state_row rows[] = {{nullptr, nullptr, take_one, nullptr, 0, 1, nullptr},
                                 {nullptr, nullptr, take_one, nullptr, 0, 0, nullptr}};
    const rx_stateinfo info = {rows, 0, 2};
    machine_->rx_stateinfo = &info;
    char letter = 'a';
    machine_.load("12345");
    EXPECT_EQ(busbroker_rx_state_machine(&machine_.client(), &letter), 0U);
    EXPECT_EQ(script.calls, "aaaaa");
    EXPECT_EQ(machine_->cur_state, 1U);
    EXPECT_EQ(machine_->rx_idx, 0U);
}

TEST_F(Walker, AWalkTakesTheFirstEvent) {
    static constexpr rx_event_entry kTake[] = {{take_one, 0}, {note_state, 0}};
    static constexpr rx_event_table kTable = {2, kTake};
    const rx_state_row row = {nullptr, &kTable, nullptr, nullptr, 0, 0, nullptr};
    const rx_stateinfo info = {&row, 0, 1};
    machine_->rx_stateinfo = &info;
    char letter = 'b';
    machine_.load("123");
    EXPECT_EQ(busbroker_rx_state_machine(&machine_.client(), &letter), 0U);
    EXPECT_EQ(script.calls, "bbb");
}

uint32_t take_too_many(tool_info *client, void * /*arg*/) {
    client->rx_idx = 0xFFFFFFFF;
    return DIAG_RX_DONE;
}

TEST_F(Walker, AWalkEndsBehindTheDatagram) {
    const rx_state_row row = {nullptr, nullptr, take_too_many, nullptr, 0, 0, nullptr};
    const rx_stateinfo info = {&row, 0, 1};
    machine_->rx_stateinfo = &info;
    EXPECT_EQ(machine_.take("123"), 0U);
}

TEST_F(Walker, AWalkThatGetsNowhereEnds) {
    rx_state_row waiting = kFullRow;
    waiting.next_on_success = 0;
    const rx_state_row empty = {nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr};
    for (const rx_state_row &row : {waiting, empty}) {
        for (const uint32_t pre_check : {0U, 1U}) {
            script = {};
            script.pre_check = pre_check;
            const rx_stateinfo info = {&row, 0, 1};
            machine_->rx_stateinfo = &info;
            machine_->cur_state = 0;
            EXPECT_EQ(machine_.take("123"), DIAG_E_INVAL);
        }
    }
}

uint32_t give_back(tool_info *client, void * /*arg*/) {
    client->rx_idx = 0;
    return DIAG_RX_DONE;
}

// In a process of its own, which an alarm ends if the walk does not.
TEST_F(Walker, AWalkThatGoesBackAndForthEnds) {
    const rx_state_row rows[] = {{nullptr, nullptr, take_one, nullptr, 0, 1, nullptr},
                                 {nullptr, nullptr, give_back, nullptr, 0, 0, nullptr}};
    const rx_stateinfo info = {rows, 0, 2};
    machine_->rx_stateinfo = &info;
    machine_.load("123");
    char nothing = '\0';
    EXPECT_EXIT(
        {
            alarm(2);
            std::_Exit(
                busbroker_rx_state_machine(&machine_.client(), &nothing) == DIAG_E_INVAL ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Walker, AWalkMayPassStatesThatTakeNothing) {
    std::vector<rx_state_row> rows(50, rx_state_row{});
    for (uint32_t i = 0; i < rows.size(); i++) {
        rows[i].next_on_success = (i + 1) % 50;
    }
    rows.back().state_fn = take_one;
    const rx_stateinfo info = {rows.data(), 0, 50};
    machine_->rx_stateinfo = &info;
    char letter = 'c';
    machine_.load("123");
    EXPECT_EQ(busbroker_rx_state_machine(&machine_.client(), &letter), 0U);
    EXPECT_EQ(script.calls, "ccc");
}

}  // namespace
}  // namespace diag::test
