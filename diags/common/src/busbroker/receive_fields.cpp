// SPDX-License-Identifier: MIT
#include "diags/common/src/busbroker/receive_fields.h"

#include <cstdlib>
#include <initializer_list>

#include "diag_util.h"

#include "diags/common/src/log.h"

namespace diag {

namespace {

bool belongs_to_record(const uint8_t *text, const busbroker_req *record) {
    if (record == nullptr) {
        return false;
    }
    for (const char *owned :
         {record->dev_id, record->dev_name, record->actual_data, record->support_data}) {
        if (text == reinterpret_cast<const uint8_t *>(owned)) {
            return true;
        }
    }
    return false;
}

}  // namespace

void drop_field_buffer(tool_info &ctx) {
    if (ctx.field_buf != nullptr && !belongs_to_record(ctx.field_buf, ctx.cur_req)) {
        std::free(ctx.field_buf);
    }
    ctx.field_buf = nullptr;
}

bool renew_field_buffer(tool_info &ctx, size_t length, const char *function) {
    drop_field_buffer(ctx);
    ctx.field_buf = static_cast<uint8_t *>(std::calloc(length + 1, 1));
    if (ctx.field_buf == nullptr) {
        DIAG_ERROR_IN(function, "Mem alloc fail\n");
        return false;
    }
    return true;
}

void drop_record(tool_info &ctx) {
    drop_field_buffer(ctx);
    free_req_memory(ctx.cur_req);
    ctx.cur_req = nullptr;
}

}  // namespace diag
