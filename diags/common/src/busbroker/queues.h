// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_BUSBROKER_QUEUES_H
#define DIAGS_COMMON_SRC_BUSBROKER_QUEUES_H

#include <cstdint>

#include "busbroker.h"

namespace diag {

// A frame is sent three times at most.
constexpr uint8_t kSendsAtMost = 3;

// Whether a frame has been sent as often as it may and has waited for an answer after that.
inline bool is_given_up(const tx_entry &entry) {
    return entry.send_count >= kSendsAtMost && entry.countdown == 0;
}

// The entry of a transaction in a queue, or null. The caller holds the queue's lock.
template <typename Entry>
Entry *find_transaction(Entry *head, uint32_t transac_id) {
    for (Entry *entry = head; entry != nullptr; entry = entry->next) {
        if (entry->transac_id == transac_id) {
            return entry;
        }
    }
    return nullptr;
}

}  // namespace diag

#endif
