// SPDX-License-Identifier: MIT
// Waiting for the outcome of a request.
#include <algorithm>
#include <cstring>
#include <optional>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/busbroker/frame.h"
#include "diags/common/src/busbroker/lock.h"
#include "diags/common/src/busbroker/queues.h"
#include "diags/common/src/busbroker/receive.h"
#include "diags/common/src/log.h"
#include "diags/common/src/wakeup.h"

namespace {

constexpr std::chrono::milliseconds kLookAgain{500};
constexpr std::chrono::milliseconds kLookAgainReceiving{10};

constexpr uint8_t kFailures = 0xFF & ~(DIAG_RESP_SUCCESS | DIAG_RESP_ACK);

// The caller has room for what was asked for, whatever the daemon sends.
void copy_bytes(const tx_entry &request, const rx_entry &response, uint8_t *resp_buf) {
    diag_print(3, "Data of length %d received \n", static_cast<int>(response.data_len));
    if (resp_buf == nullptr || response.data == nullptr) {
        return;
    }
    const std::optional<size_t> room = diag::room_for_answer(request.frame, request.frame_len);
    const size_t length = response.data_len;
    std::memcpy(resp_buf, response.data, std::min(length, room.value_or(length)));
}

// The outcome in the queues, if there is one yet. Holds both locks.
std::optional<uint32_t> take_outcome(tool_info &client, const tx_entry &request,
                                     uint8_t *resp_buf) {
    const uint32_t transac_id = request.transac_id;
    const rx_entry *response = diag::find_transaction(client.rx_queue, transac_id);
    if (response == nullptr) {
        return std::nullopt;
    }
    const auto has_flags = [response](uint8_t flags) { return (response->status & flags) != 0; };
    const bool ack_is_enough = (request.resp_expect & DIAG_EXPECT_ACK) != 0;
    std::optional<uint32_t> outcome;
    if (has_flags(DIAG_RESP_SUCCESS)) {
        copy_bytes(request, *response, resp_buf);
        outcome = 0;
    } else if (has_flags(DIAG_RESP_ACK) && ack_is_enough) {
        outcome = 0;
    } else if (has_flags(kFailures)) {
        outcome = DIAG_E_INVAL;
    }
    if (outcome) {
        deque_tool_request(&client, transac_id);
        deque_tool_response(&client, transac_id);
    }
    return outcome;
}

std::optional<uint32_t> look_for_outcome(tool_info &client, uint32_t transac_id,
                                         uint8_t *resp_buf) {
    const diag::Lock tx_lock(client.tx_lock);
    const tx_entry *request = diag::find_transaction(client.tx_queue, transac_id);
    if (request == nullptr) {
        diag_print(1, "Request not found in the Tx queues\n");
        return DIAG_E_INVAL;
    }
    if (diag::is_given_up(*request)) {
        deque_tool_request(&client, transac_id);
        const diag::Lock rx_lock(client.rx_lock);
        deque_tool_response(&client, transac_id);
        return DIAG_E_INVAL;
    }
    if ((request->resp_expect & DIAG_EXPECT_NOTHING) != 0) {
        return 0;  // the request stays where it is
    }
    const diag::Lock rx_lock(client.rx_lock);
    return take_outcome(client, *request, resp_buf);
}

}  // namespace

// The first of the callers that wait receives. It sees outcomes that come by another way, and the
// end of its own wait, when it looks again; the others are woken.
uint32_t check_resp_buf(tool_info *queue, uint32_t transac_id, uint8_t *resp_buf) {
    if (queue == nullptr) {
        DIAG_ERROR("NULL pointers received as inputs\n");
        return DIAG_E_INVAL;
    }
    diag::Wakeup &wakeup = diag::outcome_wakeup(queue);
    for (;;) {
        const diag::Wakeup::Ticket ticket = wakeup.ticket();
        std::optional<uint32_t> outcome;
        bool has_received = false;
        {
            diag::Receiver::Turn turn(*queue);
            outcome = look_for_outcome(*queue, transac_id, resp_buf);
            has_received = !outcome && turn && turn.receive_within(kLookAgainReceiving);
        }
        if (outcome) {
            wakeup.notify();  // another caller may receive now
            return *outcome;
        }
        if (!has_received) {
            wakeup.wait(ticket, kLookAgain);
        }
    }
}
