// SPDX-License-Identifier: MIT
// One mux at one level, and in the daemon's process information.
#include "tests/common/busbroker/device_id_tree.h"
#include "tests/support/failing_allocations.h"

namespace diag::test {
namespace {

constexpr char kFunction[] = "check_add_mux_entry";

class MuxEntryTest : public LibraryTest {
  protected:
    ~MuxEntryTest() override { free_level(level_); }

    uint32_t add(devid_record *record, const char *name, bool is_leaf, bool is_daemon = false) {
        node_ = nullptr;
        return check_add_mux_entry(&level_, record, name, 3, &node_, is_leaf ? 1 : 0,
                                   is_daemon ? 1 : 0, is_daemon ? tree_.processes() : nullptr);
    }
    devid_record *mux() { return records_.at(0); }
    devid_record *other_mux() { return records_.at(1); }
    devid_record *plain() { return records_.at(2); }

    DeviceList records_{{"MA", "i2c-3", "PCA9548"}, {"MA", "i2c-3", "PCA9541"}, {"T", "i2c-3"}};
    PlatformTree tree_;  // for its process information
    if_slot level_{};
    mux_tree_node *node_ = nullptr;
};

TEST_F(MuxEntryTest, OnTheWayIsMadeByNameAndFoundAgain) {
    EXPECT_EQ(add(plain(), "MA", false), 0U);
    ASSERT_NE(node_, nullptr);
    const mux_tree_node *made = node_;
    EXPECT_EQ(made, level_.muxes);
    EXPECT_STREQ(made->name, "MA");
    EXPECT_EQ(made->dev, nullptr);
    EXPECT_EQ(made->has_dev, 0);
    EXPECT_EQ(made->channels, nullptr);
    EXPECT_EQ(made->next, nullptr);
    EXPECT_EQ(add(plain(), "MA", false), 0U);
    EXPECT_EQ(node_, made);
    EXPECT_EQ(add(plain(), "MB", false), 0U);
    EXPECT_EQ(node_, made->next);
    EXPECT_EQ(text_of(level_), "MA MB");
}

TEST_F(MuxEntryTest, OnTheWayIsNotListedForTheDaemonNorGivenARecord) {
    EXPECT_EQ(add(mux(), "MA", false, true), 0U);
    EXPECT_EQ(text_of(level_), "MA");
    EXPECT_EQ(tree_.process_text(), "");
}

TEST_F(MuxEntryTest, OfADeviceIsMadeWithItsRecord) {
    EXPECT_EQ(add(mux(), "MA", true), 0U);
    ASSERT_NE(node_, nullptr);
    EXPECT_EQ(node_->dev, mux());
    EXPECT_EQ(node_->has_dev, 1);
    EXPECT_EQ(text_of(level_), "MA*");
    EXPECT_EQ(tree_.process_text(), "");
}

TEST_F(MuxEntryTest, OfADeviceGivesItsRecordToAMuxThatIsKnownByName) {
    EXPECT_EQ(add(plain(), "MA", false), 0U);
    const mux_tree_node *made = node_;
    EXPECT_EQ(add(mux(), "MA", true, true), 0U);
    EXPECT_EQ(node_, made);
    EXPECT_EQ(node_->dev, mux());
    EXPECT_EQ(text_of(level_), "MA*");
    EXPECT_EQ(tree_.process_text(), "3: MA=0");
}

TEST_F(MuxEntryTest, ThatHasItsRecordKeepsIt) {
    add(mux(), "MA", true, true);
    const mux_tree_node *made = node_;
    EXPECT_EQ(add(other_mux(), "MA", true, true), 0U);
    EXPECT_EQ(node_, made);
    EXPECT_EQ(node_->dev, mux());
    EXPECT_EQ(tree_.process_text(), "3: MA=0") << "and is listed once";
}

TEST_F(MuxEntryTest, ThatHasItsRecordIsKnownByItAndNotByItsName) {
    add(mux(), "another name", true);
    EXPECT_EQ(text_of(level_), "another name*");
    EXPECT_EQ(add(plain(), "MA", false), 0U);
    EXPECT_EQ(node_, level_.muxes);
    EXPECT_EQ(add(plain(), "another name", false), 0U);
    EXPECT_EQ(text_of(level_), "another name* another name");
}

TEST_F(MuxEntryTest, NamesAreComparedWhole) {
    for (const char *name : {"MA", "M", "MAA", "ma", ""}) {
        EXPECT_EQ(add(plain(), name, false), 0U);
    }
    EXPECT_EQ(text_of(level_), "MA M MAA ma");
}

TEST_F(MuxEntryTest, NamesAreCutAtThirtyTwoCharacters) {
    const std::string longest(32, 'M');
    add(plain(), longest.c_str(), false);
    EXPECT_EQ(node_->name, longest);
    add(plain(), (std::string(32, 'N') + "X").c_str(), false);
    EXPECT_EQ(node_->name, std::string(32, 'N'));
}

TEST_F(MuxEntryTest, APlainDeviceIsAppendedAndLeavesTheNodeAlone) {
    mux_tree_node *node = reinterpret_cast<mux_tree_node *>(this);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(check_add_mux_entry(&level_, plain(), "T", 3, &node, 1, 0, nullptr), 0U);
    }
    EXPECT_EQ(node, reinterpret_cast<mux_tree_node *>(this));
    EXPECT_EQ(text_of(level_), "T T");
    EXPECT_EQ(level_.devices->dev, plain());
}

TEST_F(MuxEntryTest, AMuxThatClaimsARecordItHasNotIsABrokenTree) {
    add(plain(), "M1", false);
    node_->has_dev = 1;
    mux_tree_node *broken = node_;
    EXPECT_EQ(logged_by([this] { EXPECT_EQ(add(plain(), "M1", false), DIAG_E_INVAL); }),
              error_in(kFunction, "Invalid tree\n"));
    EXPECT_EQ(node_, nullptr);
    broken->has_dev = 0;
    add(plain(), "M2", false);
    mux_tree_node *second = node_;
    second->has_dev = 1;
    EXPECT_EQ(add(plain(), "M1", false), 0U) << "found before the broken one is reached";
    second->has_dev = 0;
}

TEST_F(MuxEntryTest, WhatIsNeededMustNotBeNull) {
    struct {
        if_slot *level;
        devid_record *record;
        const char *name;
    } const cases[] = {{nullptr, mux(), "MA"}, {&level_, nullptr, "MA"}, {&level_, mux(), nullptr}};
    for (const auto &call : cases) {
        for (const uint8_t is_leaf : {uint8_t{0}, uint8_t{1}}) {
            EXPECT_EQ(logged_by([&] {
                          EXPECT_EQ(check_add_mux_entry(call.level, call.record, call.name, 3,
                                                        &node_, is_leaf, 0, nullptr),
                                    DIAG_E_INVAL);
                      }),
                      error_in(kFunction, "Pointers received are NULL \n"));
        }
    }
    EXPECT_EQ(text_of(level_), "");
}

TEST_F(MuxEntryTest, NobodyNeedsToBeToldTheNode) {
    EXPECT_EQ(check_add_mux_entry(&level_, mux(), "MA", 3, nullptr, 0, 0, nullptr), 0U);
    EXPECT_EQ(text_of(level_), "MA");
}

TEST_F(MuxEntryTest, ADaemonNeedsItsProcessInformation) {
    for (devid_record *record : {mux(), plain()}) {
        for (const uint8_t is_leaf : {uint8_t{0}, uint8_t{1}}) {
            EXPECT_EQ(
                logged_by([&] {
                    EXPECT_EQ(
                        check_add_mux_entry(&level_, record, "MA", 3, &node_, is_leaf, 1, nullptr),
                        DIAG_E_INVAL);
                }),
                error_in(kFunction, "Proc info pointers should not be null for devid daemon\n"));
        }
    }
    EXPECT_EQ(text_of(level_), "");
}

TEST_F(MuxEntryTest, IsKeptWhenItCannotBeListed) {
    EXPECT_EQ(check_add_mux_entry(&level_, mux(), "MA", 25, &node_, 1, 1, tree_.processes()),
              DIAG_E_INVAL);
    EXPECT_EQ(text_of(level_), "MA*");
    EXPECT_EQ(node_, level_.muxes);
}

// A mux and its entry in the list; a plain device.
TEST_F(MuxEntryTest, WithoutMemoryNothingIsAdded) {
    std::vector<std::string> texts;
    const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
        if_slot level{};
        PlatformTree tree;
        mux_tree_node *node = nullptr;
        uint32_t status = 0;
        texts.push_back(printed([&] {
            watch.start();
            status = check_add_mux_entry(&level, mux(), "MA", 3, &node, 1, 1, tree.processes());
            watch.stop();
        }));
        EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0U);
        EXPECT_EQ(text_of(level), texts.size() == 1 ? "" : "MA*");
        EXPECT_EQ(tree.process_text(), watch.has_failed() ? "" : "3: MA=0");
        free_level(level);
    });
    EXPECT_EQ(failed, 2);
    EXPECT_EQ(texts,
              (std::vector<std::string>{error_text(kFunction, "Couldn't allocate memory\n"),
                                        error_text("add_mux_entry_to_proc_info",
                                                   "Couldn't allocate memory for new mux node\n"),
                                        ""}));
    const int failed_plain = for_each_failing_allocation([&](AllocationWatch &watch) {
        if_slot level{};
        mux_tree_node *node = nullptr;
        watch.start();
        const uint32_t status = check_add_mux_entry(&level, plain(), "T", 3, &node, 1, 0, nullptr);
        watch.stop();
        EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0U);
        EXPECT_EQ(text_of(level), watch.has_failed() ? "" : "T");
        free_level(level);
    });
    EXPECT_EQ(failed_plain, 1);
}

// ---- the daemon's process information ----

struct KindCase {
    const char *mux_type;
    int32_t kind;
    bool is_known = true;
};

TEST_F(MuxEntryTest, KindsAreLookedForInTheTypeInOrder) {
    for (const KindCase &expected : {KindCase{"PCA9541", 10},
                                     {"PCA9547", 0},
                                     {"PCA9548", 0},
                                     {"NXP PCA9541A rev 2", 10},
                                     {"PCA9548/PCA9541", 10},
                                     {"PCA9547PCA9541", 10},
                                     {"PCA9549", -1, false},
                                     {"pca9541", -1, false},
                                     {"", -1, false},
                                     {"9548", -1, false}}) {
        DeviceList device{{"M", "i2c-3", expected.mux_type}};
        const Messages messages = logged_by([&] {
            PlatformTree tree;
            EXPECT_EQ(add_mux_entry_to_proc_info(device.first(), 3, tree.processes()), 0U);
            EXPECT_EQ(tree.process_text(), "3: M=" + std::to_string(expected.kind))
                << expected.mux_type;
        });
        EXPECT_EQ(messages,
                  expected.is_known
                      ? Messages{}
                      : error_in("add_mux_entry_to_proc_info",
                                 "mux_type " + std::string(expected.mux_type) + " is invalid\n"));
    }
}

TEST_F(MuxEntryTest, MuxesAreListedInOrderAtTheirInterface) {
    DeviceList devices{{"A", "i2c", "PCA9548"}, {"B", "i2c", "PCA9541"}, {"C", "i2c", "x"}};
    for (size_t i = 0; i < 3; i++) {
        EXPECT_EQ(add_mux_entry_to_proc_info(devices.at(i), 0, tree_.processes()), 0U);
        EXPECT_EQ(add_mux_entry_to_proc_info(devices.at(i), 24, tree_.processes()), 0U);
    }
    EXPECT_EQ(tree_.process_text(), "0: A=0 B=10 C=-1; 24: A=0 B=10 C=-1");
}

TEST_F(MuxEntryTest, InterfacesBeyondTheLastProcessAreRefused) {
    for (const uint32_t number : {25U, 26U, 1000U}) {
        EXPECT_EQ(logged_by([&] {
                      EXPECT_EQ(add_mux_entry_to_proc_info(mux(), number, tree_.processes()),
                                DIAG_E_INVAL);
                  }),
                  error_in("add_mux_entry_to_proc_info",
                           "Configured interface num " + std::to_string(number) +
                               " is > max no of interfaces [24] configured\n"));
    }
    EXPECT_EQ(tree_.process_text(), "");
}

TEST_F(MuxEntryTest, ListingNeedsARecordAndAList) {
    EXPECT_EQ(add_mux_entry_to_proc_info(nullptr, 3, tree_.processes()), DIAG_E_INVAL);
    EXPECT_EQ(add_mux_entry_to_proc_info(mux(), 3, nullptr), DIAG_E_INVAL);
}

// ---- an empty mux ----

TEST_F(MuxEntryTest, IsEmptiedButForItsName) {
    mux_tree_node next{};
    mux_channel channel{};
    mux_tree_node node{mux(), "MA", 1, &channel, &next};
    set_mux_tree_defaults(&node);
    EXPECT_EQ(node.dev, nullptr);
    EXPECT_EQ(node.has_dev, 0);
    EXPECT_EQ(node.channels, nullptr);
    EXPECT_EQ(node.next, nullptr);
    EXPECT_STREQ(node.name, "MA");
    EXPECT_EQ(logged_by([] { set_mux_tree_defaults(nullptr); }),
              error_in("set_mux_tree_defaults", "Mux tree is NULL pointer\n"));
}

}  // namespace
}  // namespace diag::test
