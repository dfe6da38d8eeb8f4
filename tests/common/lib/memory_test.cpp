// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/memory.h"

#include <gtest/gtest.h>

#include "tests/support/failing_allocations.h"

namespace {

using diag::Owned;
using diag::test::for_each_failing_allocation;

struct Record {
    int number;
    char *text;
};

TEST(Memory, NewRecordsAreZero) {
    const int failures = for_each_failing_allocation([](auto &watch) {
        watch.start();
        const Owned<Record> record(diag::allocate<Record>());
        EXPECT_EQ(record == nullptr, watch.has_failed());
        if (record != nullptr) {
            EXPECT_EQ(record->number, 0);
            EXPECT_EQ(record->text, nullptr);
        }
    });
    EXPECT_EQ(failures, 1);
}

TEST(Memory, TextIsCopied) {
    for (const char *text : {"", "a", "some text"}) {
        const int failures = for_each_failing_allocation([&](auto &watch) {
            watch.start();
            const Owned<char> copy(diag::copy_text(text));
            EXPECT_EQ(copy == nullptr, watch.has_failed());
            if (copy != nullptr) {
                EXPECT_STREQ(copy.get(), text);
                EXPECT_NE(copy.get(), text);
            }
        });
        EXPECT_EQ(failures, 1);
    }
}

TEST(Memory, ReplacedTextIsFreedOnceItsSuccessorIsThere) {
    const int failures = for_each_failing_allocation([](auto &watch) {
        watch.start();
        char *slot = nullptr;
        const bool first = diag::replace_text(&slot, "first");
        EXPECT_STREQ(slot, first ? "first" : nullptr);
        const bool second = diag::replace_text(&slot, "second text");
        EXPECT_STREQ(slot, second ? "second text" : "first");
        EXPECT_NE(first && second, watch.has_failed());
        std::free(slot);
        watch.stop();
    });
    EXPECT_EQ(failures, 2);
}

TEST(Memory, TextMayBeReplacedByAPartOfItself) {
    char *slot = nullptr;
    EXPECT_TRUE(diag::replace_text(&slot, "some text"));
    EXPECT_TRUE(diag::replace_text(&slot, slot + 5));
    EXPECT_STREQ(slot, "text");
    std::free(slot);
}

}  // namespace
