// SPDX-License-Identifier: MIT
#include "diags/diagctl/candidates.h"

#include <gtest/gtest.h>

namespace diag::diagctl {
namespace {

TEST(NearestHint, IsEmptyWithoutNames) {
    EXPECT_EQ(nearest_hint("fan", {}), "");
    EXPECT_EQ(nearest_hint("fan", {"van", "pan"}), "; nearest: van, pan");
}

}  // namespace
}  // namespace diag::diagctl
