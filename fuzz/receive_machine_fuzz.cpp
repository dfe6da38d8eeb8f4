// SPDX-License-Identifier: MIT
// The receive machine over hostile datagrams. Beside memory errors it looks for a difference: the
// same bytes deliver the same records whether they come whole or in pieces, as long as no end mark
// is cut.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "busbroker.h"

#include "fuzz/fuzz_target.h"

namespace {

constexpr size_t kMostBytes = sizeof(tool_info::rx_buf) - 1;

using Records = std::vector<std::string>;

std::string text_of(const busbroker_req &record) {
    std::string text;
    for (const uint32_t number :
         {uint32_t{record.tool_id}, record.inst_id, record.transac_id, record.req_prio,
          record.req_type, uint32_t{record.transac_ind}, record.crc}) {
        text += std::to_string(number) + "|";
    }
    const auto add = [&text](const char *piece, size_t length) {
        text += std::string(piece, length) + "|";  // reads all that the length promises
    };
    add(record.dev_id, record.dev_id_len);
    add(record.dev_name, record.dev_name_len);
    add(record.actual_data, record.actual_datalen);
    add(record.support_data, record.suprt_data_len);
    return text;
}

uint32_t keep_record(tool_info * /*client*/, void *records, busbroker_req *record) {
    static_cast<Records *>(records)->push_back(text_of(*record));
    return 0;
}

class Machine {
  public:
    Machine() : client_(std::make_unique<tool_info>()) {
        *client_ = {};
        client_->rx_stateinfo = &busbroker_rx_stateinfo;
        client_->req_done = keep_record;
    }
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;
    ~Machine() { reset_sm(client_.get(), nullptr); }

    void take(std::string_view datagram) {
        std::memcpy(client_->rx_buf, datagram.data(), datagram.size());
        client_->rx_len = static_cast<uint32_t>(datagram.size());
        client_->rx_buf[client_->rx_len] = '\0';
        if (busbroker_rx_state_machine(client_.get(), &records_) != 0 || client_->rx_idx != 0) {
            std::abort();
        }
    }

    const Records &records() const { return records_; }

  private:
    std::unique_ptr<tool_info> client_;
    Records records_;
};

bool cuts_an_end_mark(std::string_view bytes, size_t at) {
    const size_t from = at >= 2 ? at - 2 : 0;
    const size_t found = bytes.substr(from, at + 2 - from).find("RPE");
    return found != std::string_view::npos && from + found < at && from + found + 3 > at;
}

void compare(std::string_view bytes, size_t piece) {
    Machine whole;
    whole.take(bytes);
    Machine pieces;
    for (size_t at = 0; at < bytes.size();) {
        size_t end = std::min(at + piece, bytes.size());
        while (end < bytes.size() && cuts_an_end_mark(bytes, end)) {
            end++;
        }
        pieces.take(bytes.substr(at, end - at));
        at = end;
    }
    if (whole.records() != pieces.records()) {
        std::abort();
    }
}

// A frame with a right CRC around `data`, which no mutation would find by itself; what the daemon
// says in it is read as well.
void take_answer(std::string data, uint32_t type) {
    busbroker_req record{};
    record.dev_id = record.dev_name = const_cast<char *>("");
    record.req_type = type;
    record.actual_data = data.data();
    record.actual_datalen = static_cast<uint16_t>(data.size());
    record.crc = calculate_crc(&record);
    std::string frame(calculate_req_len_in_ascii(&record) + 1, '\0');
    frame.resize(frame_ascii_request(&record, frame.data(), static_cast<int>(frame.size())));
    frame[1] = frame[frame.size() - 2] = 'P';
    if (frame.size() <= kMostBytes) {
        compare(frame, 1 + data.size() / 2);
    }
    tool_info client{};
    busbroker_parse_update_queues(&client, nullptr, &record);
}

}  // namespace

// The first byte says how long the pieces are, or, from 240 on, that the rest is the data of an
// answer.
void diag::fuzz::run_one(std::span<const uint8_t> input) {
    constexpr uint8_t kAnswers = 240;
    if (input.empty() || input.size() > kMostBytes) {
        return;
    }
    const std::string_view bytes(reinterpret_cast<const char *>(input.data()) + 1,
                                 input.size() - 1);
    if (input[0] >= kAnswers) {
        // A frame carries its data as a text.
        take_answer(std::string(bytes.substr(0, bytes.find('\0'))), input[0] & 7U);
    } else {
        compare(bytes, input[0] + size_t{1});
    }
}
