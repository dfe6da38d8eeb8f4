// SPDX-License-Identifier: MIT
// The states of the receive machine: one per field of an answer. A state that finds no record,
// after a failed allocation, passes over its field; the footer then resets the machine.
#include <algorithm>
#include <cstring>
#include <span>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/busbroker/receive_fields.h"
#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"
#include "diags/common/src/parse_hex.h"

namespace {

constexpr char kStartMark[] = "RPS";
constexpr char kEndMark[] = "RPE";
constexpr uint32_t kMarkLength = 3;

void expect_mark(tool_info &ctx, const char *mark) {
    std::memcpy(ctx.marker, mark, kMarkLength);
    ctx.field_len = kMarkLength;
}

const char *field_text(const tool_info &ctx) {
    return reinterpret_cast<const char *>(ctx.field_buf);
}

uint32_t field_number(const tool_info &ctx) {
    return diag::parse_hex<uint32_t>(field_text(ctx));
}

// Collects a field and hands its text to `finish(ctx, record)`, which stores it and answers how the
// state ends. `next_length` is what the next field spans, unless `finish` says otherwise.
template <typename Finish>
uint32_t run_field(tool_info *ctx, uint32_t next_length, Finish finish) {
    if (ctx == nullptr) {
        return DIAG_RX_ERROR;
    }
    if (busbroker_rx_complt_curnt_state_data(ctx) != DIAG_RX_DONE) {
        return DIAG_RX_MORE;
    }
    ctx->field_len = next_length;
    const bool has_field = ctx->cur_req != nullptr && ctx->field_buf != nullptr;
    const uint32_t result = has_field ? finish(*ctx, *ctx->cur_req) : uint32_t{DIAG_RX_DONE};
    ctx->field_cnt = 0;
    return result;
}

// The next field spans `length` characters, in a buffer of its own.
uint32_t prepare_text(tool_info &ctx, uint32_t length, const char *function) {
    ctx.field_len = length;
    return diag::renew_field_buffer(ctx, length, function) ? DIAG_RX_DONE : DIAG_RX_ERROR;
}

// The next field is a number.
uint32_t prepare_number(tool_info &ctx, const char *function) {
    return diag::renew_field_buffer(ctx, diag::kHexFieldLength, function) ? DIAG_RX_DONE
                                                                          : DIAG_RX_ERROR;
}

// The collected text becomes a text of the record.
void hand_over(tool_info &ctx, char *&text, uint8_t &length) {
    std::free(text);
    text = reinterpret_cast<char *>(ctx.field_buf);
    length = static_cast<uint8_t>(ctx.field_cnt);
    ctx.field_buf = nullptr;
}

// The next field is collected in the record itself: `text` becomes the field buffer.
bool collect_into(tool_info &ctx, char *&text, size_t length, const char *function) {
    if (!diag::renew_field_buffer(ctx, length, function)) {
        return false;
    }
    std::free(text);
    text = reinterpret_cast<char *>(ctx.field_buf);
    return true;
}

// Copies what counts as text and answers how much that was.
uint32_t keep_text(std::span<const char> bytes, uint8_t *text) {
    uint8_t *end = text;
    for (const char character : bytes) {
        if (character != '\n' && character != '\0') {
            *end++ = static_cast<uint8_t>(character);
        }
    }
    return static_cast<uint32_t>(end - text);
}

bool start_record(tool_info &ctx) {
    diag::drop_record(ctx);
    ctx.cur_req = diag::allocate<busbroker_req>();
    if (ctx.cur_req == nullptr) {
        DIAG_ERROR_IN("busbroker_req_resp_header_proc", "Mem alloc fail\n");
        return false;
    }
    if (!diag::renew_field_buffer(ctx, diag::kHexFieldLength, "busbroker_req_resp_header_proc")) {
        diag::drop_record(ctx);
        return false;
    }
    return true;
}

}  // namespace

uint32_t busbroker_rx_complt_curnt_state_data(tool_info *ctx) {
    if (ctx == nullptr || ctx->rx_idx > ctx->rx_len) {
        return DIAG_RX_MORE;
    }
    const uint32_t wanted = ctx->field_len > ctx->field_pos ? ctx->field_len - ctx->field_pos : 0;
    const uint32_t taken = std::min(wanted, ctx->rx_len - ctx->rx_idx);
    if (ctx->field_buf != nullptr) {
        const std::span<const char> span(ctx->rx_buf + ctx->rx_idx, taken);
        ctx->field_cnt += keep_text(span, ctx->field_buf + ctx->field_cnt);
    }
    ctx->rx_idx += taken;
    ctx->field_pos += taken;
    if (taken < wanted) {
        return DIAG_RX_MORE;  // the field goes on in the next datagram
    }
    if (ctx->field_buf != nullptr) {
        ctx->field_buf[ctx->field_cnt] = '\0';
    }
    ctx->field_pos = 0;
    return DIAG_RX_DONE;
}

// A byte that breaks a match is not tried as the start of another: RRPS is not found.
uint32_t busbroker_req_resp_header_proc(tool_info *ctx, void * /*arg*/) {
    if (ctx == nullptr) {
        return DIAG_RX_ERROR;
    }
    if (ctx->field_len == 0) {
        expect_mark(*ctx, kStartMark);
    }
    if (ctx->field_pos >= kMarkLength) {
        ctx->field_pos = 0;
    }
    while (ctx->rx_idx < ctx->rx_len) {
        const bool matches = ctx->rx_buf[ctx->rx_idx++] == ctx->marker[ctx->field_pos];
        ctx->field_pos = matches ? ctx->field_pos + 1 : 0;
        if (ctx->field_pos == kMarkLength) {
            ctx->field_pos = 0;
            ctx->field_cnt = 0;
            ctx->field_len = 2;
            return start_record(*ctx) ? DIAG_RX_DONE : DIAG_RX_ERROR;
        }
    }
    return DIAG_RX_MORE;
}

uint32_t busbroker_req_resp_tool_id_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 8, [](tool_info &field, busbroker_req &record) -> uint32_t {
        record.tool_id = static_cast<uint8_t>(field_number(field));
        diag_print(1, "Rx tool id = %d\n", record.tool_id);
        return DIAG_RX_DONE;
    });
}

uint32_t busbroker_req_resp_inst_id_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 8, [](tool_info &field, busbroker_req &record) -> uint32_t {
        record.inst_id = field_number(field);
        diag_print(1, "Rx instance id = %d\n", static_cast<int>(record.inst_id));
        return DIAG_RX_DONE;
    });
}

uint32_t busbroker_req_resp_transac_id_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 2, [](tool_info &field, busbroker_req &record) -> uint32_t {
        record.transac_id = field_number(field);
        diag_print(1, "Rx transaction id = %d\n", static_cast<int>(record.transac_id));
        return DIAG_RX_DONE;
    });
}

uint32_t busbroker_req_resp_dev_id_len_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 0, [](tool_info &field, busbroker_req &record) -> uint32_t {
        record.dev_id_len = static_cast<uint8_t>(field_number(field));
        if (record.dev_id_len > DIAG_REQ_NAME_MAX) {
            diag_print(0, "Device id length [%d] exceeded max allowed dev id len [%d]\n",
                       record.dev_id_len, DIAG_REQ_NAME_MAX);
        } else {
            diag_print(1, "Rx dev id len = %d\n", record.dev_id_len);
        }
        return prepare_text(field, record.dev_id_len, "busbroker_req_resp_dev_id_len_proc");
    });
}

uint32_t busbroker_req_resp_dev_id_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 2, [](tool_info &field, busbroker_req &record) {
        hand_over(field, record.dev_id, record.dev_id_len);
        diag_print(1, "dev_id = %s\n", record.dev_id);
        return prepare_number(field, "busbroker_req_resp_dev_id_proc");
    });
}

uint32_t busbroker_req_resp_dev_name_len_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 0, [](tool_info &field, busbroker_req &record) {
        record.dev_name_len = static_cast<uint8_t>(field_number(field));
        diag_print(1, "dev_name_len = %d\n", record.dev_name_len);
        // The id's length decides: an answer is reported as too long by its id alone.
        if (record.dev_id_len > DIAG_REQ_NAME_MAX) {
            diag_print(0, "Device name length [%d] exceeded max allowed dev name len [%d]\n",
                       record.dev_name_len, DIAG_REQ_NAME_MAX);
        } else {
            diag_print(1, "Rx dev name len = %d\n", record.dev_name_len);
        }
        return prepare_text(field, record.dev_name_len, "busbroker_req_resp_dev_name_len_proc");
    });
}

uint32_t busbroker_req_resp_dev_name_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 8, [](tool_info &field, busbroker_req &record) {
        hand_over(field, record.dev_name, record.dev_name_len);
        diag_print(1, "dev_name = %s\n", record.dev_name);
        return prepare_number(field, "busbroker_req_resp_dev_name_proc");
    });
}

uint32_t busbroker_req_resp_req_prio_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 8, [](tool_info &field, busbroker_req &record) -> uint32_t {
        record.req_prio = field_number(field);
        diag_print(1, "Rx request priority = 0x%x\n", record.req_prio);
        if (record.req_prio > DIAG_REQ_PRIO_MAX) {
            diag_print(0, "Invalid prority values \n");
            return DIAG_RX_ERROR;
        }
        return DIAG_RX_DONE;
    });
}

uint32_t busbroker_req_resp_req_type_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 2, [](tool_info &field, busbroker_req &record) -> uint32_t {
        record.req_type = field_number(field);
        diag_print(3, "Rx request type = 0x%x\n", record.req_type);
        if (record.req_type > DIAG_REQ_TYPE_MAX) {
            diag_print(2, "Invalid req type \n");
            return DIAG_RX_ERROR;
        }
        return DIAG_RX_DONE;
    });
}

uint32_t busbroker_req_resp_trasac_ind_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 4, [](tool_info &field, busbroker_req &record) -> uint32_t {
        const uint32_t indication = field_number(field);
        diag_print(3, "transac indication = 0x%x\n", indication);
        if (indication > DIAG_REQ_TRANSAC_IND_MAX) {
            return DIAG_RX_ERROR;
        }
        record.transac_ind = static_cast<uint8_t>(indication);
        return DIAG_RX_DONE;
    });
}

uint32_t busbroker_req_resp_actual_datalen_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 2, [](tool_info &field, busbroker_req &record) -> uint32_t {
        record.actual_datalen = static_cast<uint16_t>(field_number(field));
        diag_print(1, "Rx total data length = %d\n", record.actual_datalen);
        return DIAG_RX_DONE;
    });
}

// Without memory the record is given up; the walk goes on over its data, and ends at the footer.
uint32_t busbroker_req_resp_suprt_data_len_proc(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 0, [](tool_info &field, busbroker_req &record) -> uint32_t {
        record.suprt_data_len = static_cast<uint8_t>(field_number(field));
        diag_print(1, "Rx support data length = %d\n", record.suprt_data_len);
        field.field_len = record.actual_datalen;
        if (!collect_into(field, record.actual_data, record.actual_datalen,
                          "busbroker_req_resp_suprt_data_len_proc")) {
            diag::drop_record(field);
        }
        return DIAG_RX_DONE;
    });
}

uint32_t busbroker_req_resp_actual_data_copy(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 0, [](tool_info &field, busbroker_req &record) -> uint32_t {
        record.actual_datalen = static_cast<uint16_t>(field.field_cnt);
        diag_print(3, "Rx data = %s of len %d\n", field_text(field), record.actual_datalen);
        field.field_len = record.suprt_data_len;
        return collect_into(field, record.support_data, record.suprt_data_len,
                            "busbroker_req_resp_actual_data_copy")
                   ? DIAG_RX_DONE
                   : DIAG_RX_ERROR;
    });
}

uint32_t busbroker_req_resp_support_data_copy(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, 8, [](tool_info &field, busbroker_req &record) {
        record.suprt_data_len = static_cast<uint8_t>(field.field_cnt);
        if (record.suprt_data_len != 0) {
            diag_print(3, "Rx data = %s of len %d\n", field_text(field), record.suprt_data_len);
        }
        return prepare_number(field, "busbroker_req_resp_support_data_copy");
    });
}

uint32_t busbroker_req_resp_crc_proc_state(tool_info *ctx, void * /*arg*/) {
    return run_field(ctx, kMarkLength, [](tool_info &field, busbroker_req &record) -> uint32_t {
        record.crc = field_number(field);
        expect_mark(field, kEndMark);
        diag_print(3, "Rx CRC = 0x%x\n", record.crc);
        return DIAG_RX_DONE;
    });
}

// The mark has to stand in one datagram. A mark that is not there is left for the search for the
// next answer, which may begin with it.
uint32_t busbroker_req_resp_footer_validtn_state(tool_info *ctx, void *arg) {
    if (ctx == nullptr || ctx->cur_req == nullptr) {
        return DIAG_RX_ERROR;
    }
    const bool is_whole = ctx->rx_idx < ctx->rx_len && ctx->rx_len - ctx->rx_idx >= kMarkLength;
    if (!is_whole || std::memcmp(ctx->rx_buf + ctx->rx_idx, ctx->marker, kMarkLength) != 0) {
        ctx->field_cnt = 0;
        return DIAG_RX_ERROR;
    }
    ctx->rx_idx += kMarkLength;
    diag::drop_field_buffer(*ctx);
    expect_mark(*ctx, kStartMark);
    const bool is_valid = validate_busbroker_req_resp(ctx->cur_req) == 0;
    if (is_valid && ctx->req_done != nullptr) {
        ctx->req_done(ctx, arg, ctx->cur_req);
    }
    diag::drop_record(*ctx);
    return is_valid ? DIAG_RX_DONE : DIAG_RX_ERROR;
}
