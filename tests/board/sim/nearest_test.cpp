// SPDX-License-Identifier: MIT
#include "diags/board/sim/nearest.h"

#include <gtest/gtest.h>

namespace diag::board::sim {
namespace {

TEST(NearestHint, NamesTheCandidateWithTheFewestDifferences) {
    EXPECT_EQ(nearest_hint("RESET_CTR", {"VERSION", "RESET_CTRL", "RESET"}),
              " (nearest: RESET_CTRL)");
    EXPECT_EQ(nearest_hint("verbosty", {"verbosity_override", "verbosity"}),
              " (nearest: verbosity)");
}

TEST(NearestHint, DoesNotMindLetterCase) {
    EXPECT_EQ(nearest_hint("scratch", {"STATUS", "SCRATCH"}), " (nearest: SCRATCH)");
}

TEST(NearestHint, IsEmptyWithoutCandidates) {
    EXPECT_EQ(nearest_hint("A", {}), "");
}

}  // namespace
}  // namespace diag::board::sim
