// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/snapshots.h"

#include <gtest/gtest.h>

namespace diag::daemon {
namespace {

constexpr TimePoint kNow = TimePoint(std::chrono::seconds(1000));

ClientKey reader(size_t number) {
    return {{0x7F000001, static_cast<uint16_t>(number)}, 16, 1};
}

TEST(Snapshots, AreOfTheirReaders) {
    Snapshots snapshots;
    snapshots.keep(reader(1), "one", kNow);
    snapshots.keep(reader(2), "two", kNow);
    EXPECT_EQ(snapshots.text_for(reader(1), kNow), "one");
    EXPECT_EQ(snapshots.text_for(reader(2), kNow), "two");
    EXPECT_EQ(snapshots.text_for(reader(3), kNow), "");
    snapshots.drop(reader(1));
    EXPECT_EQ(snapshots.text_for(reader(1), kNow), "");
    EXPECT_EQ(snapshots.count(), 1U);
}

TEST(Snapshots, ReplaceTheOneBeforeOfTheSameReader) {
    Snapshots snapshots;
    snapshots.keep(reader(1), "old", kNow);
    snapshots.keep(reader(1), "new", kNow);
    EXPECT_EQ(snapshots.text_for(reader(1), kNow), "new");
    EXPECT_EQ(snapshots.count(), 1U);
}

TEST(Snapshots, MakeRoomAtTheCostOfTheOldest) {
    Snapshots snapshots;
    for (size_t i = 0; i < kMaxSnapshots; ++i) {
        snapshots.keep(reader(i), "x", kNow);
    }
    snapshots.keep(reader(0), "x", kNow);  // made anew: now 1 is the oldest
    EXPECT_EQ(snapshots.count(), kMaxSnapshots);
    snapshots.keep(reader(100), "x", kNow);
    EXPECT_EQ(snapshots.count(), kMaxSnapshots);
    EXPECT_EQ(snapshots.text_for(reader(0), kNow), "x");
    EXPECT_EQ(snapshots.text_for(reader(1), kNow), "");
    EXPECT_EQ(snapshots.text_for(reader(100), kNow), "x");
}

TEST(Snapshots, GoAfterAMinute) {
    Snapshots snapshots;
    EXPECT_FALSE(snapshots.deadline());
    snapshots.keep(reader(1), "one", kNow);
    snapshots.keep(reader(2), "two", kNow + std::chrono::seconds(1));
    EXPECT_EQ(snapshots.deadline(), kNow + kSnapshotLife);
    EXPECT_EQ(snapshots.text_for(reader(1), kNow + kSnapshotLife - Duration(1)), "one");
    snapshots.drop_old(kNow + kSnapshotLife);
    EXPECT_EQ(snapshots.count(), 1U);
    EXPECT_EQ(snapshots.text_for(reader(2), kNow + kSnapshotLife), "two");
    EXPECT_EQ(snapshots.deadline(), kNow + std::chrono::seconds(1) + kSnapshotLife);
}

}  // namespace
}  // namespace diag::daemon
