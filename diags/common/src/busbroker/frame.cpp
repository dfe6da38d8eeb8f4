// SPDX-License-Identifier: MIT
// The frame of a request, its CRC, and the check of a received record.
#include "diags/common/src/busbroker/frame.h"

#include <cstdlib>
#include <cstring>
#include <zlib.h>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/busbroker/text_writer.h"
#include "diags/common/src/log.h"
#include "diags/common/src/parse_hex.h"

namespace {

using diag::TextWriter;

// Everything but the two names and the two data texts.
constexpr uint32_t kFixedLength = 60;

constexpr char kStartMark[] = "RQS";
constexpr char kEndMark[] = "RQE";
constexpr size_t kMarkLength = 3;

// zlib's CRC of what is added; numbers in little-endian order, gathered to make few calls.
class Crc {
  public:
    template <typename Number>
    void add(Number number) {
        for (size_t i = 0; i < sizeof(Number); i++) {
            numbers_[count_++] = static_cast<unsigned char>(number >> (8 * i));
        }
    }

    // zlib takes a null text for the wish to start anew.
    void add(const char *text, unsigned length) {
        if (text != nullptr && length != 0) {
            add_numbers();
            value_ = crc32(value_, reinterpret_cast<const unsigned char *>(text), length);
        }
    }

    uint32_t value() {
        add_numbers();
        return static_cast<uint32_t>(value_);
    }

  private:
    void add_numbers() {
        value_ = crc32(value_, numbers_.data(), count_);
        count_ = 0;
    }

    std::array<unsigned char, 32> numbers_;  // all of a record's are 23 bytes
    unsigned count_ = 0;
    uLong value_ = 0;
};

bool is_frameable(const busbroker_req *req, int size) {
    if (size < 1) {
        diag_print(0, "Given dest buf size %d is invalid \n", size);
        return false;
    }
    if (req == nullptr) {
        diag_print(0, "Input request pointer is NULL\n");
        return false;
    }
    if (req->dev_id == nullptr) {
        diag_print(0, "Device id pointer can't be NULL\n");
        return false;
    }
    if (req->dev_name == nullptr) {
        diag_print(0, "Device name pointer can't be NULL\n");
        return false;
    }
    return true;
}

// Frees a text of a record and forgets it.
void drop(char *&text) {
    std::free(text);
    text = nullptr;
}

// A walk over the fields of a frame that the queue holds.
class FrameReader {
  public:
    FrameReader(const char *frame, size_t length) : at_(frame), left_(length) {}

    void skip(size_t length) {
        const size_t taken = std::min(length, left_);
        at_ += taken;
        left_ -= taken;
    }

    // 0 behind the end.
    uint32_t hex(size_t width) {
        std::array<char, 9> digits{};
        std::copy_n(at_, std::min(width, left_), digits.data());
        skip(width);
        return diag::parse_hex<uint32_t>(digits.data());
    }

  private:
    const char *at_;
    size_t left_;
};

}  // namespace

uint32_t calculate_req_len_in_ascii(const busbroker_req *req) {
    if (req == nullptr) {
        DIAG_ERROR("Request raw pointer is NULL, can't calculate length\n");
        return 0;
    }
    const uint32_t length = kFixedLength + req->dev_id_len + req->dev_name_len +
                            req->actual_datalen + req->suprt_data_len;
    diag_print(3, "Calculated length required is %d \n", static_cast<int>(length));
    return length;
}

uint32_t frame_ascii_request(const busbroker_req *req, char *buf, int size) {
    if (!is_frameable(req, size) || buf == nullptr) {
        return 0;
    }
    TextWriter text(buf, static_cast<size_t>(size));
    text.append(kStartMark);
    text.hex(req->tool_id, 2);
    text.hex(req->inst_id, 8);
    text.hex(req->transac_id, 8);
    text.hex(req->dev_id_len, 2);
    text.append(req->dev_id);
    text.hex(req->dev_name_len, 2);
    text.append(req->dev_name);
    text.hex(req->req_prio, 8);
    text.hex(req->req_type, 8);
    text.hex(req->transac_ind, 2);
    text.hex(req->actual_datalen, 4);
    text.hex(req->suprt_data_len, 2);
    if (req->actual_data != nullptr) {
        text.append(req->actual_data);
    }
    if (req->support_data != nullptr && req->suprt_data_len != 0) {
        text.append(req->support_data);
    }
    text.hex(req->crc, 8);
    text.append(kEndMark);
    diag_print(3, "Prepared request is %s\n", buf);
    return static_cast<uint32_t>(text.length());
}

uint32_t calculate_crc(const busbroker_req *req) {
    if (req == nullptr) {
        return 0;
    }
    Crc crc;
    crc.add(req->tool_id);
    crc.add(req->inst_id);
    crc.add(req->transac_id);
    crc.add(req->dev_id_len);
    crc.add(req->dev_id, req->dev_id_len);
    crc.add(req->dev_name_len);
    crc.add(req->dev_name, req->dev_name_len);
    crc.add(req->req_prio);
    crc.add(req->req_type);
    crc.add(req->transac_ind);
    crc.add(req->actual_datalen);
    crc.add(req->suprt_data_len);
    crc.add(req->actual_data, req->actual_datalen);
    crc.add(req->support_data, req->suprt_data_len);
    const uint32_t value = crc.value();
    diag_print(3, "Calculated CRC =0x%x\n", value);
    return value;
}

uint32_t validate_busbroker_req_resp(const busbroker_req *req) {
    if (req == nullptr) {
        return DIAG_E_INVAL;
    }
    if (req->dev_name_len > DIAG_REQ_NAME_MAX) {
        diag_print(3, "Req rx on socket id %d has exceeded max allowed dev len %d\n",
                   req->dev_name_len, DIAG_REQ_NAME_MAX);
    }
    if (req->tool_id > DIAG_REQ_TOOL_ID_MAX) {
        diag_print(0, "Invalid tool id %d received \n", req->tool_id);
        return DIAG_E_INVAL;
    }
    if (calculate_crc(req) != req->crc) {
        return DIAG_E_INVAL;
    }
    diag_print(3, "CRC Validation success,pushing the req to queues\n");
    return 0;
}

void free_req_memory(busbroker_req *req) {
    if (req == nullptr) {
        return;
    }
    drop(req->support_data);
    drop(req->actual_data);
    drop(req->dev_id);
    drop(req->dev_name);
    std::free(req);
}

namespace diag {

std::optional<size_t> room_for_answer(const char *frame, size_t length) {
    if (length < kFixedLength || std::strncmp(frame, kStartMark, kMarkLength) != 0) {
        return std::nullopt;
    }
    FrameReader reader(frame, length);
    reader.skip(kMarkLength + 2 + 8 + 8);  // tool, instance, transaction
    reader.skip(reader.hex(2));            // device id
    reader.skip(reader.hex(2));            // device name
    reader.skip(8);                        // priority
    const uint32_t type = reader.hex(8);
    reader.skip(2 + 4 + 2);  // indication, lengths
    if (type == DIAG_REQ_DYN_DEV_ID) {
        return sizeof dyn_dev_node::id_text;
    }
    reader.skip(8 + 1);  // address
    return type == DIAG_REQ_READ ? reader.hex(4) : 0;
}

}  // namespace diag
