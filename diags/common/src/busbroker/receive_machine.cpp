// SPDX-License-Identifier: MIT
// The walker of state tables, and what drives it over a datagram.
#include <algorithm>
#include <iterator>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/log.h"

namespace {

struct Step {
    uint32_t status;
    uint32_t next_state;
};

Step broken(uint32_t status = DIAG_E_INVAL) {
    return {status, DIAG_RX_STATE_BROKEN};
}

void leave(const rx_state_row &row, tool_info *ctx) {
    if (row.exit_fn != nullptr) {
        row.exit_fn(ctx);
    }
}

// The row of a state, or null after its message. The count itself is accepted: a table may have a
// row behind those that it counts. Ours has none.
const rx_state_row *find_row(const rx_stateinfo &info, uint32_t state) {
    if (state > info.state_count) {
        diag_print(1, "Invalid state rx as current state\n");
        return nullptr;
    }
    const bool is_behind_ours = info.rows == bus_broker_rxdata_state_table &&
                                state >= std::size(bus_broker_rxdata_state_table);
    if (info.rows == nullptr || is_behind_ours) {
        diag_print(0, "State table pointer to set to NULL\n");
        return nullptr;
    }
    return &info.rows[state];
}

Step run_event(const rx_event_table &events, uint32_t event, tool_info *ctx, void *arg) {
    if (event >= events.count || events.entries == nullptr) {
        diag_print(0, "Current state doesn't have rx event %d\n", static_cast<int>(event));
        return broken();
    }
    const rx_event_entry &entry = events.entries[event];
    if (entry.fn != nullptr) {
        entry.fn(ctx, arg);
    }
    return {0, entry.next_state};
}

Step run_state(const rx_state_row &row, uint32_t state, tool_info *ctx, void *arg) {
    switch (row.state_fn(ctx, arg)) {
        case DIAG_RX_ERROR:
            if (row.error_fn != nullptr) {
                row.error_fn(ctx, arg);
            }
            return {0, row.next_on_error};
        case DIAG_RX_DONE:
            return {0, row.next_on_success};
        default:
            return {0, state};
    }
}

Step run_row(const rx_state_row &row, uint32_t state, uint32_t event, tool_info *ctx, void *arg) {
    if (row.events != nullptr) {
        return run_event(*row.events, event, ctx, arg);
    }
    if (row.state_fn != nullptr) {
        return run_state(row, state, ctx, arg);
    }
    return {0, row.next_on_success};
}

// Ends walks that get nowhere: a table of somebody's own may never take a byte.
class Progress {
  public:
    Progress(const tool_info &ctx, const rx_stateinfo &info)
        : idle_steps_allowed_(2 * uint64_t{info.state_count} + 2), furthest_(ctx.rx_idx) {}

    bool goes_on(const tool_info &ctx) {
        idle_steps_ = ctx.rx_idx <= furthest_ ? idle_steps_ + 1 : 0;
        furthest_ = std::max(furthest_, ctx.rx_idx);
        return idle_steps_ <= idle_steps_allowed_;
    }

  private:
    uint64_t idle_steps_allowed_;
    uint64_t idle_steps_ = 0;
    uint32_t furthest_;
};

}  // namespace

uint32_t state_traversal(const rx_stateinfo *info, uint32_t *state, uint32_t event, tool_info *ctx,
                         void *arg) {
    if (state == nullptr) {
        return DIAG_E_INVAL;
    }
    if (info == nullptr) {
        diag_print(0, "NULL pointer received as state table address \n");
        *state = DIAG_RX_STATE_BROKEN;
        return DIAG_E_INVAL;
    }
    diag_print(3, "Rx current state value is %d\n", static_cast<int>(*state));
    const rx_state_row *row = find_row(*info, *state);
    if (row == nullptr) {
        *state = DIAG_RX_STATE_BROKEN;
        return DIAG_E_INVAL;
    }
    if (row->pre_check != nullptr && row->pre_check(ctx, arg) != 0) {
        leave(*row, ctx);  // the pre-check itself may have changed the state
        return 0;
    }
    const Step step = run_row(*row, *state, event, ctx, arg);
    leave(*row, ctx);
    *state = step.next_state;
    return step.status;
}

uint32_t busbroker_rx_state_machine(tool_info *ctx, void *arg) {
    if (ctx == nullptr) {
        DIAG_ERROR("NULL Ptr received as tool info\n");
        return DIAG_E_INVAL;
    }
    const rx_stateinfo *info = ctx->rx_stateinfo;
    if (info == nullptr) {
        diag_print(0, "NULL Ptr received as state table info \n");
        return DIAG_E_INVAL;
    }
    uint32_t status = 0;
    Progress progress(*ctx, *info);
    while (status == 0 && ctx->rx_idx < ctx->rx_len) {
        status = state_traversal(info, &ctx->cur_state, 0, ctx, arg);
        if (status == 0 && !progress.goes_on(*ctx)) {
            status = DIAG_E_INVAL;
        }
    }
    if (status != 0) {
        diag_print(0, "Error with the state machine info or the input event is invalid \n");
    }
    ctx->rx_idx = 0;
    return status;
}
