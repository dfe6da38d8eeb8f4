// SPDX-License-Identifier: MIT
#ifndef DIAGS_COMMON_SRC_BUSBROKER_LOCK_H
#define DIAGS_COMMON_SRC_BUSBROKER_LOCK_H

#include <pthread.h>

namespace diag {

// Holds one of a client's locks.
class Lock {
  public:
    explicit Lock(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~Lock() { pthread_mutex_unlock(&mutex_); }

    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

  private:
    pthread_mutex_t &mutex_;
};

}  // namespace diag

#endif
