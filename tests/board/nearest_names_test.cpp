// SPDX-License-Identifier: MIT
#include "diags/board/nearest_names.h"

#include <gtest/gtest.h>

namespace diag::board {
namespace {

using Names = std::vector<std::string>;

TEST(EditDistance, CountsInsertionsDeletionsAndReplacements) {
    EXPECT_EQ(edit_distance("", ""), 0U);
    EXPECT_EQ(edit_distance("", "abc"), 3U);
    EXPECT_EQ(edit_distance("abc", ""), 3U);
    EXPECT_EQ(edit_distance("kitten", "sitting"), 3U);
    EXPECT_EQ(edit_distance("SYSCPDL", "SYSCPLD"), 2U);
}

TEST(EditDistance, PassesOverLetterCase) {
    EXPECT_EQ(edit_distance("Fan", "fAN"), 0U);
}

TEST(NearestNames, AnswersThreeAtMostNearestFirst) {
    EXPECT_EQ(nearest_names("fan1", {"pump", "fan", "fan2", "lamp", "van1"}),
              (Names{"fan", "fan2", "van1"}));
}

TEST(NearestNames, KeepsTheOrderOfEquallyNearOnes) {
    EXPECT_EQ(nearest_names("x", {"b", "a", "c"}), (Names{"b", "a", "c"}));
}

TEST(NearestNames, ListsEachNameOnceAndNoEmptyOne) {
    EXPECT_EQ(nearest_names("fan", {"fan", "", "fan", "van"}), (Names{"fan", "van"}));
}

}  // namespace
}  // namespace diag::board
