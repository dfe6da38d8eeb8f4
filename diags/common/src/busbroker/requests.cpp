// SPDX-License-Identifier: MIT
// A request from its parameters to its outcome.
#include <cstdlib>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"

namespace {

constexpr char kRequestBusbroker[] = "request_busbroker";
constexpr int kReport = 3;

// The frame, or null with the status that says why.
diag::Owned<char> make_frame(busbroker_req &req, uint32_t &length, uint32_t &status) {
    const uint32_t size = calculate_req_len_in_ascii(&req) + 1;
    diag::Owned<char> frame(static_cast<char *>(std::malloc(size)));
    if (frame == nullptr) {
        std::free(req.actual_data);
        req.actual_data = nullptr;
        DIAG_ERROR_IN(kRequestBusbroker, "Memory allocation error\n");
        status = DIAG_E_NOMEM;
        return nullptr;
    }
    length = frame_ascii_request(&req, frame.get(), static_cast<int>(size));
    if (length == 0) {
        DIAG_ERROR_IN(kRequestBusbroker, "Error while framing ASCII request\n");
        status = DIAG_E_INVAL;
        return nullptr;
    }
    return frame;
}

}  // namespace

uint32_t request_busbroker(busbroker_req *req, tool_info *ctx, const char *dev_id,
                           const char *dev_name, uint32_t prio, uint32_t req_type,
                           uint8_t transac_ind) {
    uint32_t status = update_request(req, dev_id, dev_name, prio, req_type, transac_ind);
    if (status != 0) {
        return status;
    }
    if (ctx == nullptr) {
        DIAG_ERROR("NULL pointers received as inputs\n");
        return DIAG_E_INVAL;
    }
    uint32_t length = 0;
    diag::Owned<char> frame = make_frame(*req, length, status);
    if (frame == nullptr) {
        return status;
    }
    if (queue_tx_buf(ctx, frame.get(), length, req->retry_ms, req->resp_expect, req->transac_id) !=
        0) {
        DIAG_ERROR("Can't queue the request \n");
        return DIAG_E_NOMEM;
    }
    (void)frame.release();  // the queue's from here on
    status = check_resp_buf(ctx, req->transac_id, req->resp_buf);
    req->transac_id++;
    return status == 0 ? 0 : DIAG_E_INVAL;
}

void update_busbroker_req_fields(busbroker_req *req, uint32_t addr, uint16_t count, uint8_t width,
                                 uint8_t *buf, uint8_t resp_expect, uint32_t type, uint8_t flags,
                                 uint8_t *support_bytes, uint8_t support_count) {
    if (req == nullptr) {
        return;
    }
    const bool is_read = type == DIAG_REQ_READ;
    req->access_addr = addr;
    req->access_count = count;
    req->access_width = width;
    req->resp_expect = resp_expect;
    req->resp_buf = is_read ? buf : nullptr;
    req->write_buf = type == DIAG_REQ_WRITE ? buf : nullptr;
    req->access_flags = is_read ? flags : uint8_t{DIAG_REQ_FLAGS_DEFAULT};
    req->support_bytes = support_bytes;
    req->support_count = support_count;
    if (support_bytes == nullptr && support_count != 0) {
        DIAG_LOG_SITE(kReport, __func__);
        diag_print(kReport,
                   "Support data length is not NULL but buffer pointer is NULL, Considering no "
                   "support data");
        req->support_count = 0;
    } else if (support_bytes != nullptr && support_count == 0) {
        DIAG_LOG_SITE(kReport, __func__);
        diag_print(kReport,
                   "Support data buffer is not NULL, but support data buffer is not empty\n");
        req->support_bytes = nullptr;
    }
}
