// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "diag_util.h"

TEST(PrepareMask, SetsTheBitsOfTheRange) {
    EXPECT_EQ(prepare_mask(7, 4), 0xF0U);
    EXPECT_EQ(prepare_mask(31, 0), 0xFFFFFFFFU);
}
