// SPDX-License-Identifier: MIT
// The queues of a client: frames on their way out, and outcomes that have come in.
#include "diags/common/src/busbroker/queues.h"

#include <cstdlib>

#include "diag_util.h"

#include "diags/common/src/busbroker/lock.h"
#include "diags/common/src/busbroker/transmit.h"
#include "diags/common/src/lib/append.h"
#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"
#include "diags/common/src/wakeup.h"

namespace {

constexpr uint32_t kTickMilliseconds = 100;

void free_entry(tx_entry *entry) {
    std::free(entry->frame);
    std::free(entry);
}

void free_entry(rx_entry *entry) {
    std::free(entry->data);
    std::free(entry);
}

template <typename Entry>
bool drop_head_if_queued(Entry *&head, uint32_t transac_id) {
    if (diag::find_transaction(head, transac_id) == nullptr) {
        return false;
    }
    Entry *first = head;
    head = first->next;
    free_entry(first);
    return true;
}

void drop_all(rx_entry *&head) {
    while (head != nullptr) {
        rx_entry *first = head;
        head = first->next;
        free_entry(first);
    }
}

// Without a transmit thread the frame stays in the queue.
void append_and_send(tool_info &client, tx_entry *entry) {
    const diag::Lock lock(client.tx_lock);
    diag::append(client.tx_queue, entry);
    if (diag::Transmitter *transmitter = diag::Transmitter::of(client); transmitter != nullptr) {
        transmitter->send_due_frames();
    }
}

bool is_queued(tool_info &client, uint32_t transac_id) {
    const diag::Lock lock(client.tx_lock);
    return diag::find_transaction(client.tx_queue, transac_id) != nullptr;
}

// A part of the outcome without bytes, as an acknowledgement that comes late, does not take away
// those that are there: their taker has not seen them yet.
void add_to_outcome(rx_entry &entry, uint8_t status, diag::Owned<uint8_t> data, uint32_t length) {
    entry.status = static_cast<uint8_t>(entry.status | status);
    if (data != nullptr) {
        std::free(entry.data);
        entry.data = data.release();
        entry.data_len = length;
    }
}

bool note_outcome(tool_info &client, uint8_t status, uint32_t transac_id, diag::Owned<uint8_t> data,
                  uint32_t length) {
    const diag::Lock lock(client.rx_lock);
    rx_entry *known = diag::find_transaction(client.rx_queue, transac_id);
    if (known != nullptr) {
        add_to_outcome(*known, status, std::move(data), length);
        return true;
    }
    rx_entry *entry = diag::allocate<rx_entry>();
    if (entry == nullptr) {
        return false;
    }
    *entry = {data.release(), length, transac_id, status, nullptr};
    drop_all(client.rx_queue);
    client.rx_queue = entry;
    return true;
}

}  // namespace

uint32_t queue_tx_buf(tool_info *queue, char *frame, uint32_t frame_len, uint32_t retry_ms,
                      uint8_t resp_expect, uint32_t transac_id) {
    if (queue == nullptr || frame == nullptr) {
        DIAG_ERROR("NULL pointers received as inputs\n");
        return DIAG_E_INVAL;
    }
    tx_entry *entry = diag::allocate<tx_entry>();
    if (entry == nullptr) {
        DIAG_ERROR("Couldn't allocate tx queue memory\n");
        return DIAG_E_NOMEM;
    }
    *entry = {frame, transac_id, frame_len, 0, retry_ms, resp_expect, 0, nullptr};
    append_and_send(*queue, entry);
    diag_print(3, "Request queueing succesful\n");
    return 0;
}

uint32_t deque_tool_request(tool_info *queue, uint32_t transac_id) {
    if (queue == nullptr || !drop_head_if_queued(queue->tx_queue, transac_id)) {
        diag_print(2, "Request not found in the tx queues\n");
        return DIAG_E_INVAL;
    }
    return 0;
}

uint32_t deque_tool_response(tool_info *queue, uint32_t transac_id) {
    if (queue == nullptr || !drop_head_if_queued(queue->rx_queue, transac_id)) {
        diag_print(1, "Request not found in the rx queues\n");
        return DIAG_E_INVAL;
    }
    return 0;
}

// The two locks are taken one after the other, so an outcome that its caller gives up in between is
// left in the queue; the next one takes its place.
uint32_t enqueue_rx_queues(tool_info *queue, uint8_t status, uint32_t transac_id, uint8_t *data,
                           uint32_t data_len) {
    diag::Owned<uint8_t> owned(data);
    if (queue == nullptr) {
        DIAG_ERROR("NULL pointers received as inputs\n");
        return DIAG_E_INVAL;
    }
    if (!is_queued(*queue, transac_id)) {
        return 0;
    }
    if (!note_outcome(*queue, status, transac_id, std::move(owned), data_len)) {
        DIAG_ERROR("Mem alloc error \n");
        return DIAG_E_NOMEM;
    }
    diag::outcome_wakeup(queue).notify();
    return 0;
}

void busbroker_tx_queue_timeout_update(tool_info *ctx) {
    if (ctx == nullptr) {
        DIAG_ERROR("NULL Ptr received as tool info\n");
        return;
    }
    for (tx_entry *entry = ctx->tx_queue; entry != nullptr; entry = entry->next) {
        if (entry->countdown >= kTickMilliseconds) {
            entry->countdown -= kTickMilliseconds;
        } else if (entry->countdown != 0) {
            entry->countdown = kTickMilliseconds;  // the rest of a tick counts as a whole one
        }
    }
}
