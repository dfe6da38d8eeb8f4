// SPDX-License-Identifier: MIT
#ifndef TESTS_SUPPORT_AS_NOBODY_H
#define TESTS_SUPPORT_AS_NOBODY_H

#include <stdexcept>
#include <unistd.h>

namespace diag::test {

// While it lives, a test that runs as root has the rights of nobody: permissions then count.
class AsNobody {
  public:
    AsNobody() : was_root_(geteuid() == 0) {
        constexpr uid_t kNobody = 65534;
        if (was_root_ && seteuid(kNobody) != 0) {
            throw std::runtime_error("cannot give up the rights of root");
        }
    }
    ~AsNobody() {
        if (was_root_ && seteuid(0) != 0) {
            _exit(1);  // the tests after this one would run as somebody else
        }
    }
    AsNobody(const AsNobody &) = delete;
    AsNobody &operator=(const AsNobody &) = delete;

  private:
    bool was_root_;
};

}  // namespace diag::test

#endif
