// SPDX-License-Identifier: MIT
// Growing the lists of a device tree.
#ifndef DIAGS_COMMON_SRC_DEVICE_TREE_MODEL_H
#define DIAGS_COMMON_SRC_DEVICE_TREE_MODEL_H

#include "diags/common/src/lib/memory.h"

namespace diag {

// Appends a zeroed record to the list that begins at *head and answers it, or null. The end is
// looked for from `known` on, when it is not null: a loader that remembers where it was appends in
// constant time, however long the list.
template <typename Record>
Record *append_record(Record **head, Record *known) {
    Record **slot = known != nullptr ? &known->next : head;
    while (*slot != nullptr) {
        slot = &(*slot)->next;
    }
    *slot = allocate<Record>();
    return *slot;
}

}  // namespace diag

#endif
