// SPDX-License-Identifier: MIT
// Runs a call once for each allocation it makes, with that allocation failing.
//
//     for_each_failing_allocation([](AllocationWatch &watch) {
//         reg_list *list = nullptr;
//         watch.start();
//         const uint32_t status = init_test_reg_list(&list);
//         watch.stop();
//         EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0);
//         free(list);
//     });
//
// After each round everything that was allocated between start and stop must have been freed. The
// last round fails no allocation. Only what the library itself allocates counts: the tests' own
// use of operator new and libxml2's allocations are not touched.
#ifndef TESTS_SUPPORT_FAILING_ALLOCATIONS_H
#define TESTS_SUPPORT_FAILING_ALLOCATIONS_H

#include <functional>

namespace diag::test {

class AllocationWatch {
  public:
    // `failing`: the number of the allocation, from 0 on, that fails.
    explicit AllocationWatch(int failing) : failing_(failing) {}
    ~AllocationWatch() { stop(); }
    AllocationWatch(const AllocationWatch &) = delete;
    AllocationWatch &operator=(const AllocationWatch &) = delete;

    void start();
    void stop();

    // Whether the allocation that was to fail has been asked for.
    bool has_failed() const;

  private:
    int failing_;
};

// Answers how many rounds failed an allocation. Reports a leak of a round as a test failure.
int for_each_failing_allocation(const std::function<void(AllocationWatch &)> &round);

}  // namespace diag::test

#endif
