// SPDX-License-Identifier: MIT
#include "tests/support/failing_allocations.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <gtest/gtest.h>

namespace {

// Tests watch from one thread; a plain array, as recording must not allocate.
struct Record {
    bool watching = false;
    int next = 0;
    int failing = -1;
    bool failed = false;
    std::array<void *, 4096> live{};
    size_t live_count = 0;
    bool overflow = false;
};
Record record;

bool is_to_fail() {
    if (!record.watching || record.next++ != record.failing) {
        return false;
    }
    record.failed = true;
    errno = ENOMEM;
    return true;
}

void *note_allocated(void *memory) {
    if (record.watching && memory != nullptr) {
        if (record.live_count == record.live.size()) {
            record.overflow = true;
        } else {
            record.live[record.live_count++] = memory;
        }
    }
    return memory;
}

void note_freed(void *memory) {
    auto *const end = record.live.begin() + record.live_count;
    auto *const found = std::find(record.live.begin(), end, memory);
    if (memory != nullptr && found != end) {
        *found = *(end - 1);
        record.live_count--;
    }
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's (--wrap)
extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *memory, size_t size);
void __real_free(void *memory);

void *__wrap_malloc(size_t size) {
    return is_to_fail() ? nullptr : note_allocated(__real_malloc(size));
}

void *__wrap_calloc(size_t count, size_t size) {
    return is_to_fail() ? nullptr : note_allocated(__real_calloc(count, size));
}

void *__wrap_realloc(void *memory, size_t size) {
    if (is_to_fail()) {
        return nullptr;
    }
    note_freed(memory);
    return note_allocated(__real_realloc(memory, size));
}

void __wrap_free(void *memory) {
    note_freed(memory);
    __real_free(memory);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

namespace diag::test {

void AllocationWatch::start() {
    record.failing = failing_;
    record.next = 0;
    record.failed = false;
    record.watching = true;
}

void AllocationWatch::stop() {
    record.watching = false;
}

bool AllocationWatch::has_failed() const {
    return record.failed;
}

int for_each_failing_allocation(const std::function<void(AllocationWatch &)> &round) {
    for (int failing = 0;; failing++) {
        record = {};
        AllocationWatch watch(failing);
        round(watch);
        watch.stop();
        EXPECT_FALSE(record.overflow) << "more allocations than the harness can follow";
        EXPECT_EQ(record.live_count, 0U) << "leaked with allocation " << failing << " failing";
        if (!record.failed || testing::Test::HasFailure()) {
            return failing;
        }
    }
}

}  // namespace diag::test
