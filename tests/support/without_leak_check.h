// SPDX-License-Identifier: MIT
#ifndef TESTS_SUPPORT_WITHOUT_LEAK_CHECK_H
#define TESTS_SUPPORT_WITHOUT_LEAK_CHECK_H

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace diag::test {

// For a call that is documented to lose memory: what is allocated in its scope is no leak.
class WithoutLeakCheck {
  public:
#ifdef __SANITIZE_ADDRESS__
    WithoutLeakCheck() {
        __lsan_disable();
    }
    ~WithoutLeakCheck() {
        __lsan_enable();
    }
#else
    WithoutLeakCheck() = default;
    ~WithoutLeakCheck() {}
#endif
    WithoutLeakCheck(const WithoutLeakCheck &) = delete;
    WithoutLeakCheck &operator=(const WithoutLeakCheck &) = delete;
};

}  // namespace diag::test

#endif
