// SPDX-License-Identifier: MIT
// Making a request ready to be framed: its data texts and its CRC.
#include <cstring>
#include <initializer_list>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/busbroker/text_writer.h"
#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"

namespace {

using diag::TextWriter;

constexpr char kUpdateRequest[] = "update_request";

// "aaaaaaaa,cccc,ww,ff"
constexpr size_t kAccessLength = 8 + 1 + 4 + 1 + 2 + 1 + 2;
// "ii,aa,bb,cc,hh"
constexpr size_t kBusDeviceLength = 4 * 3 + 2;
// "kkkk,dddd"
constexpr size_t kDynamicIdLength = 4 + 1 + 4;
constexpr size_t kByteLength = 3;  // ",dd"

constexpr int kHoldDigits = 2;
constexpr int kArgumentDigits = 4;

void write_bytes(const uint8_t *bytes, size_t count, TextWriter &text) {
    for (size_t i = 0; i < count; i++) {
        text.put(',');
        text.hex(bytes[i], 2);
    }
}

void write_access(const busbroker_req &req, TextWriter &text) {
    text.hex(req.access_addr, 8);
    text.put(',');
    text.hex(req.access_count, 4);
    text.put(',');
    text.hex(req.access_width, 2);
    text.put(',');
    text.hex(req.access_flags, 2);
    if (req.req_type == DIAG_REQ_WRITE) {
        write_bytes(req.write_buf, req.access_count, text);
    }
}

void write_bus_device(const busbroker_req &req, TextWriter &text) {
    for (const uint8_t value :
         {req.bdev_by_index, req.bdev_sel_a, req.bdev_sel_b, req.bdev_sel_c}) {
        text.hex(value, 2);
        text.put(',');
    }
    text.leading_digits(req.bdev_hold, kHoldDigits);
    if (req.bdev_by_index == 0) {
        text.put(',');
        text.append(req.asset_id, strnlen(req.asset_id, sizeof req.asset_id));
    }
}

void write_dynamic_id(const busbroker_req &req, TextWriter &text) {
    text.hex(req.dyn_dev_key, 4);
    text.put(',');
    text.leading_digits(req.dyn_dev_arg, kArgumentDigits);
}

size_t data_length(const busbroker_req &req) {
    switch (req.req_type) {
        case DIAG_REQ_READ:
            return kAccessLength;
        case DIAG_REQ_WRITE:
            return kAccessLength + kByteLength * req.access_count;
        case DIAG_REQ_BUS_DEV_ACCESS:
            return kBusDeviceLength +
                   (req.bdev_by_index == 0 ? 1 + strnlen(req.asset_id, sizeof req.asset_id) : 0);
        case DIAG_REQ_DYN_DEV_ID:
            return kDynamicIdLength;
        default:
            return 0;
    }
}

void write_data(const busbroker_req &req, TextWriter &text) {
    switch (req.req_type) {
        case DIAG_REQ_READ:
        case DIAG_REQ_WRITE:
            return write_access(req, text);
        case DIAG_REQ_BUS_DEV_ACCESS:
            return write_bus_device(req, text);
        case DIAG_REQ_DYN_DEV_ID:
            return write_dynamic_id(req, text);
        default:
            return;
    }
}

// The lengths are cut to the widths in which they travel.
uint32_t build_actual_data(busbroker_req &req) {
    if (req.req_type == DIAG_REQ_WRITE && req.write_buf == nullptr) {
        diag_print(1, "Rx NULL pointer as Write input buffer\n");
        return DIAG_E_INVAL;
    }
    const size_t length = data_length(req);
    req.actual_data = static_cast<char *>(std::malloc(length + 1));
    if (req.actual_data == nullptr) {
        DIAG_ERROR_IN(kUpdateRequest, "Couldn't allocate memory \n");
        return DIAG_E_NOMEM;
    }
    TextWriter text(req.actual_data, length + 1);
    write_data(req, text);
    req.actual_datalen = static_cast<uint16_t>(length);
    return 0;
}

uint32_t build_support_data(busbroker_req &req) {
    const size_t count = req.support_bytes != nullptr ? req.support_count : 0;
    const size_t length = kByteLength * count;
    req.support_data = nullptr;
    req.suprt_data_len = static_cast<uint8_t>(length);
    if (length == 0) {
        return 0;
    }
    req.support_data = static_cast<char *>(std::malloc(length + 1));
    if (req.support_data == nullptr) {
        DIAG_ERROR_IN(kUpdateRequest, "Couldn't allocate memory\n");
        return DIAG_E_NOMEM;
    }
    TextWriter text(req.support_data, length + 1);
    write_bytes(req.support_bytes, count, text);
    return 0;
}

}  // namespace

uint32_t update_request(busbroker_req *req, const char *dev_id, const char *dev_name, uint32_t prio,
                        uint32_t type, uint8_t transac_ind) {
    if (dev_id == nullptr || dev_name == nullptr || req == nullptr) {
        DIAG_ERROR("NULL pointers received as inputs\n");
        return DIAG_E_INVAL;
    }
    // The record only reads the caller's texts.
    req->dev_id = const_cast<char *>(dev_id);
    req->dev_id_len = static_cast<uint8_t>(std::strlen(dev_id));
    req->dev_name = const_cast<char *>(dev_name);
    req->dev_name_len = static_cast<uint8_t>(std::strlen(dev_name));
    req->req_prio = prio;
    req->req_type = type;
    req->transac_ind = transac_ind;
    if (const uint32_t status = build_actual_data(*req); status != 0) {
        return status;
    }
    if (const uint32_t status = build_support_data(*req); status != 0) {
        return status;
    }
    req->crc = calculate_crc(req);
    diag_print(3, "Calculated CRC =%x\n", req->crc);
    return 0;
}
