// SPDX-License-Identifier: MIT
#include "diags/common/src/fatal_overflow.h"

#include <csignal>
#include <gtest/gtest.h>

namespace {

TEST(FatalOverflowDeathTest, NamesTheFunctionAndAborts) {
    EXPECT_EXIT(diag::fatal_overflow("some_call"), testing::KilledBySignal(SIGABRT),
                "some_call: text does not fit its buffer");
}

}  // namespace
