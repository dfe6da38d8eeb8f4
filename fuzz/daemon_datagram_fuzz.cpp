// SPDX-License-Identifier: MIT
// The bus broker's reading of datagrams from anybody. What it accepts has to be what it says:
// within the limits, and with the data texts inside the datagram.
#include <cstdlib>

#include "diags/tools/busbroker/frame.h"
#include "diags/tools/busbroker/request_text.h"
#include "fuzz/fuzz_target.h"

namespace {

void expect(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool is_within(std::string_view part, std::span<const uint8_t> whole) {
    const auto *begin = reinterpret_cast<const char *>(whole.data());
    return part.empty() ||
           (part.data() >= begin && part.data() + part.size() <= begin + whole.size());
}

void check_access(const diag::daemon::Request &request, bool is_write) {
    const auto access = diag::daemon::parse_access(request.data, request.support, is_write);
    if (!access) {
        return;
    }
    expect(!is_write || access->data.size() == access->count);
    std::string text;
    diag::daemon::write_access_answer(*access, diag::broker::Outcome::kSuccess, access->data,
                                      &text);
    std::string frame;
    if (text.size() <= UINT16_MAX) {
        diag::daemon::write_answer(request.head, text, &frame);
        expect(frame.starts_with("RPS") && frame.ends_with("RPE"));
    }
}

void check_request(std::span<const uint8_t> datagram) {
    namespace broker = diag::broker;
    diag::daemon::Request request;
    if (diag::daemon::parse_request(datagram, &request) != diag::daemon::Problem::kNone) {
        return;
    }
    expect(datagram.size() <= broker::kMaxDatagram);
    expect(request.head.tool <= broker::kMaxToolId);
    expect(request.head.priority <= broker::kMaxPriority);
    expect(request.head.type <= broker::kMaxRequestType);
    expect(request.head.indication <= broker::kMaxIndication);
    expect(request.head.device_id.view().size() <= broker::kMaxIdLength);
    expect(is_within(request.data, datagram) && is_within(request.support, datagram));
    check_access(request, false);
    check_access(request, true);
    (void)diag::daemon::parse_dynamic_id(request.data);
    if (const auto reservation = diag::daemon::parse_reservation(request.data); reservation) {
        expect(is_within(reservation->asset, datagram));
    }
    (void)broker::parse_raw_id(request.head.device_id.view());
}

std::string_view text_of(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

// A request with a right CRC, which no mutation would find by itself. The first bytes are its type
// and the length of its device id.
void check_framed(std::span<const uint8_t> input) {
    if (input.size() < 2 || input.size() > diag::broker::kMaxDatagram) {
        return;
    }
    diag::daemon::RequestHead head;
    head.type = input[0] & 7U;
    head.indication = input[0] >> 3 & 7U;
    const auto texts = input.subspan(2);
    const size_t id_length = std::min({size_t{input[1]}, texts.size(), diag::broker::kMaxIdLength});
    head.device_id = diag::daemon::IdText(text_of(texts.first(id_length)));
    std::string frame;
    diag::daemon::write_answer(head, text_of(texts.subspan(id_length)), &frame);
    frame[1] = frame[frame.size() - 2] = 'Q';
    check_request({reinterpret_cast<const uint8_t *>(frame.data()), frame.size()});
}

}  // namespace

// Datagrams begin with "R"; anything else is material for a request.
void diag::fuzz::run_one(std::span<const uint8_t> input) {
    if (!input.empty() && input[0] != 'R') {
        check_framed(input);
    }
    check_request(input);
}
