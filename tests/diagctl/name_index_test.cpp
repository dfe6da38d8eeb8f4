// SPDX-License-Identifier: MIT
#include "diags/diagctl/name_index.h"

#include <gtest/gtest.h>

namespace diag::diagctl {
namespace {

using Things = std::vector<std::size_t>;

TEST(NameIndex, PrefersAnExactNameToOneThatDiffersInCase) {
    NameIndex index;
    index.add("fan", 0);
    index.add("FAN", 1);
    EXPECT_EQ(index.matches("FAN"), Things{1});
    EXPECT_EQ(index.matches("Fan"), (Things{0, 1}));
}

TEST(NameIndex, AnswersAThingOnceThoughSeveralOfItsNamesFit) {
    NameIndex index;
    index.add("fan", 4);
    index.add("fan", 4);
    EXPECT_EQ(index.matches("fan"), Things{4});
}

TEST(NameIndex, PassesOverBlanksAroundTheAskedName) {
    NameIndex index;
    index.add("fan unit", 0);
    EXPECT_EQ(index.matches("  fan  unit "), Things{0});
    EXPECT_EQ(index.matches("fanunit"), Things{});
}

TEST(NameIndex, TakesNoEmptyName) {
    NameIndex index;
    index.add("", 0);
    EXPECT_EQ(index.matches(""), Things{});
}

TEST(NameSplits, GivesTheLongestNameFirst) {
    const auto splits = name_splits("a.b.c");
    ASSERT_EQ(splits.size(), 3U);
    EXPECT_EQ(splits[0].name, "a.b.c");
    EXPECT_FALSE(splits[0].has_rest);
    EXPECT_EQ(splits[1].name, "a.b");
    EXPECT_EQ(splits[1].rest, "c");
    EXPECT_EQ(splits[2].name, "a");
    EXPECT_EQ(splits[2].rest, "b.c");
    EXPECT_TRUE(splits[2].has_rest);
}

TEST(NameSplits, CopeWithDotsAtTheEnds) {
    const auto splits = name_splits(".a.");
    ASSERT_EQ(splits.size(), 3U);
    EXPECT_EQ(splits[1].name, ".a");
    EXPECT_EQ(splits[2].name, "");
    EXPECT_EQ(splits[2].rest, "a.");
}

TEST(LikelyName, IsThePartThatComesNearestToAName) {
    EXPECT_EQ(likely_name("a.v.c", {"a.b"}), "a.v");
    EXPECT_EQ(likely_name("fna.x", {"fan"}), "fna");
    EXPECT_EQ(likely_name("fan.x", {}), "fan");
}

}  // namespace
}  // namespace diag::diagctl
