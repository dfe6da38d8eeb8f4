// SPDX-License-Identifier: MIT
// The table of the receive machine, its reset and its time-out.
#include <cstring>
#include <iterator>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/busbroker/receive_fields.h"
#include "diags/common/src/log.h"

namespace {

constexpr int kTimeoutSeconds = 3;

constexpr rx_state_row row(rx_state_fn state_fn, uint32_t next) {
    return {check_rxtime_diff, nullptr, state_fn, reset_sm, 0, next, update_time};
}

}  // namespace

const rx_state_row bus_broker_rxdata_state_table[17] = {
    row(busbroker_req_resp_header_proc, 1),
    row(busbroker_req_resp_tool_id_proc, 2),
    row(busbroker_req_resp_inst_id_proc, 3),
    row(busbroker_req_resp_transac_id_proc, 4),
    row(busbroker_req_resp_dev_id_len_proc, 5),
    row(busbroker_req_resp_dev_id_proc, 6),
    row(busbroker_req_resp_dev_name_len_proc, 7),
    row(busbroker_req_resp_dev_name_proc, 8),
    row(busbroker_req_resp_req_prio_proc, 9),
    row(busbroker_req_resp_req_type_proc, 10),
    row(busbroker_req_resp_trasac_ind_proc, 11),
    row(busbroker_req_resp_actual_datalen_proc, 12),
    row(busbroker_req_resp_suprt_data_len_proc, 13),
    row(busbroker_req_resp_actual_data_copy, 14),
    row(busbroker_req_resp_support_data_copy, 15),
    row(busbroker_req_resp_crc_proc_state, 16),
    row(busbroker_req_resp_footer_validtn_state, 0),
};

const rx_stateinfo busbroker_rx_stateinfo = {bus_broker_rxdata_state_table, 0,
                                             std::size(bus_broker_rxdata_state_table)};

// The microseconds count twice: the 3-second limit was tuned against this measure.
double get_time_diff(const timeval *a, const timeval *b) {
    if (a == nullptr || b == nullptr) {
        DIAG_ERROR("Null Pointer received as one of the times \n");
        return 0.0;
    }
    constexpr double kMicrosecond = 0.000001;
    return static_cast<double>(a->tv_sec - b->tv_sec) +
           2 * static_cast<double>(a->tv_usec - b->tv_usec) * kMicrosecond;
}

uint32_t check_rxtime_diff(tool_info *ctx, void *arg) {
    if (ctx == nullptr) {
        return 0;
    }
    gettimeofday(&ctx->now_time, nullptr);
    const double passed = get_time_diff(&ctx->now_time, &ctx->last_rx_time);
    if (passed <= kTimeoutSeconds) {
        return 0;
    }
    diag_print(3, "Rx time diff is %f which is > sock rx timeout %d Sec Resetting state Machine\n",
               passed, kTimeoutSeconds);
    reset_sm(ctx, arg);
    return 1;
}

uint32_t reset_sm(tool_info *ctx, void * /*arg*/) {
    if (ctx == nullptr) {
        return 0;
    }
    ctx->cur_state = 0;
    ctx->field_len = sizeof ctx->marker;
    ctx->field_pos = 0;
    ctx->field_cnt = 0;
    std::memcpy(ctx->marker, "RPS", sizeof ctx->marker);
    diag::drop_record(*ctx);
    return 0;
}
