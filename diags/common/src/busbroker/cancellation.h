// SPDX-License-Identifier: MIT
// Where a thread of a client may be cancelled: while it waits, and nowhere else.
#ifndef DIAGS_COMMON_SRC_BUSBROKER_CANCELLATION_H
#define DIAGS_COMMON_SRC_BUSBROKER_CANCELLATION_H

#include <pthread.h>

namespace diag {

// Makes the calling thread deaf to pthread_cancel until it says otherwise.
inline void refuse_cancellation() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
}

// Ends the calling thread here if it has been cancelled. Nothing that needs a destructor may be
// held.
inline void accept_cancellation() {
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    pthread_testcancel();
    refuse_cancellation();
}

}  // namespace diag

#endif
