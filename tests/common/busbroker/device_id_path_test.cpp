// SPDX-License-Identifier: MIT
// The way through muxes and channels that a device id spells.
#include "tests/common/busbroker/device_id_tree.h"
#include "tests/support/failing_allocations.h"

namespace diag::test {
namespace {

constexpr char kFunction[] = "update_dev_mux_interface_tree";

// One device, inserted into a level of its own.
struct Insertion {
    explicit Insertion(const char *dev_id, const char *mux_type = nullptr) {
        DeviceList device{{dev_id, "i2c-3", mux_type}};
        status = update_dev_mux_interface_tree(device.first(), 3, &level, 0, nullptr);
        text = text_of(level);
    }
    ~Insertion() { free_level(level); }
    Insertion(const Insertion &) = delete;
    Insertion &operator=(const Insertion &) = delete;

    if_slot level{};
    uint32_t status;
    std::string text;
};

struct IdCase {
    const char *dev_id;
    const char *level;
};

TEST_F(DeviceIdTreeTest, FollowsTheIdToAPlainDevice) {
    for (const IdCase &id : {
             IdCase{"TEMP", "TEMP"},
             {"-TEMP", "-TEMP"},
             {"--TEMP", "--TEMP"},
             {"TEMP-", "TEMP-"},  // nothing behind the dash
             {"TEMP--", "TEMP--"},
             {"A.B", "A.B"},
             {"MA-2.TEMP", "MA{1:MA-2.TEMP}"},
             {"MA-1.X.Y", "MA{0:MA-1.X.Y}"},
             {"MA-2.MB-1.TEMP", "MA{1:MA-2.MB{0:MA-2.MB-1.TEMP}}"},
             {"A-1.B-2.C-3.D-4.E", "A{0:A-1.B{1:A-1.B-2.C{2:A-1.B-2.C-3.D{3:A-1.B-2.C-3.D-4.E}}}}"},
             {"-MA-2.TEMP", "MA{1:-MA-2.TEMP}"},
             {"---MA-2.TEMP", "MA{1:---MA-2.TEMP}"},
             {"MA--2.TEMP", "MA{1:MA--2.TEMP}"},
             {"MA-2..TEMP", "MA{1:MA-2..TEMP}"},
             {"MA--2...MB---1..T", "MA{1:MA-2.MB{0:MA--2...MB---1..T}}"},
             {"MA-2", "MA{1:MA-2}"},
             {"MA-2.", "MA{1:MA-2.}"},
             {"MA-2.X-", "MA{1:MA-2.X-}"},
             // channels: hexadecimal, counted from 1
             {"MA-a.T", "MA{9:MA-a.T}"},
             {"MA-A.T", "MA{9:MA-A.T}"},
             {"MA-10.T", "MA{15:MA-10.T}"},
             {"MA-0.T", "MA{-1:MA-0.T}"},
             {"MA-01.T", "MA{0:MA-01.T}"},
             {"MA-01.MB-1.T", "MA{0:MA-01.MB{0:MA-01.MB-1.T}}"},
         }) {
        const Insertion insertion(id.dev_id);
        EXPECT_EQ(insertion.status, 0U) << id.dev_id;
        EXPECT_EQ(insertion.text, id.level) << id.dev_id;
    }
}

TEST_F(DeviceIdTreeTest, FollowsTheIdToAMux) {
    for (const IdCase &id : {IdCase{"MA", "MA*"},
                             {"MA-2.MB", "MA{1:MA-2.MB*}"},
                             {"MA-2.MB-1.MC", "MA{1:MA-2.MB{0:MA-2.MB-1.MC*}}"},
                             {"-MA-2.MB", "MA{1:-MA-2.MB*}"}}) {
        const Insertion insertion(id.dev_id, "PCA9548");
        EXPECT_EQ(insertion.status, 0U) << id.dev_id;
        EXPECT_EQ(insertion.text, id.level) << id.dev_id;
    }
}

TEST_F(DeviceIdTreeTest, AChannelOfZeroIsTheLargestNumber) {
    const Insertion insertion("MA-0.T");
    ASSERT_NE(insertion.level.muxes, nullptr);
    ASSERT_NE(insertion.level.muxes->channels, nullptr);
    EXPECT_EQ(insertion.level.muxes->channels->channel, UINT32_MAX);
}

TEST_F(DeviceIdTreeTest, RefusesAnEmptyChannel) {
    for (const char *dev_id : {"MA-.", "MA-.T", "MA-..T"}) {
        const Insertion insertion(dev_id);
        EXPECT_EQ(insertion.status, DIAG_E_INVAL) << dev_id;
        EXPECT_EQ(insertion.text, "MA") << "the mux on the way stays";
        EXPECT_EQ(logged_by([&] { Insertion{dev_id}; }),
                  (Messages{{3, "Current dev id segment MA\n"},
                            {-1, std::string(kFunction) + "[]: "},
                            {-1, "Invalid dev id\n"}}));
    }
}

TEST_F(DeviceIdTreeTest, RefusesAChannelThatIsNotWhollyHexadecimal) {
    for (const char *dev_id : {"MA-2x.T", "MA-g.T", "MA-0x1.T", "MA- 1.T", "MA-1 .T", "MA-+1.T",
                               "MA-1-2.T", "MA-zz", "MA-B-1.T"}) {
        const Insertion insertion(dev_id);
        EXPECT_EQ(insertion.status, DIAG_E_INVAL) << dev_id;
        EXPECT_EQ(insertion.text, "MA");
        EXPECT_EQ(logged_by([&] { Insertion{dev_id}; }),
                  (Messages{{3, "Current dev id segment MA\n"},
                            {-1, std::string(kFunction) + "[]: "},
                            {-1, "Invalid device-id format. \n"}}));
    }
}

TEST_F(DeviceIdTreeTest, ABadChannelFurtherDownLeavesWhatCameBefore) {
    const Insertion insertion("MA-2.MB-x.T");
    EXPECT_EQ(insertion.status, DIAG_E_INVAL);
    EXPECT_EQ(insertion.text, "MA{1:MA-2.MB}");
}

TEST_F(DeviceIdTreeTest, TellsItsWayAtLevelThree) {
    EXPECT_EQ(logged_by([] { Insertion{"MA-2.MB-a.MC-0.T"}; }),
              (Messages{{3, "Current dev id segment MA\n"},
                        {3, "Mux channel selection value is 1\n"},
                        {3, "Current dev id segment MB\n"},
                        {3, "Mux channel selection value is 9\n"},
                        {3, "Current dev id segment MC\n"},
                        {3, "Mux channel selection value is -1\n"}}));
    EXPECT_EQ(logged_by([] { Insertion{"TEMP"}; }), Messages{});
}

// ---- long ids ----

TEST_F(DeviceIdTreeTest, IdsAreCutAtThirtyTwoCharacters) {
    const std::string mux(32, 'M');
    const Insertion all(mux.c_str(), "PCA9548");
    EXPECT_EQ(all.text, mux + "*");
    const Insertion cut((mux + "N").c_str(), "PCA9548");
    EXPECT_EQ(cut.text, mux + "*") << "a name has 32 characters";
    // the dash is the last character that is looked at, or no longer
    const Insertion dash_at_31((std::string(31, 'M') + "-1.T").c_str());
    EXPECT_EQ(dash_at_31.text, std::string(31, 'M') + "-1.T");
    const Insertion channel_at_32((std::string(30, 'M') + "-12.T").c_str());
    EXPECT_EQ(channel_at_32.text, std::string(30, 'M') + "{0:" + std::string(30, 'M') + "-12.T}");
}

TEST_F(DeviceIdTreeTest, AnIdMayBeAMegabyteLong) {
    const std::string dev_id = "MA-1." + std::string(1 << 20, 'T');
    const Insertion insertion(dev_id.c_str());
    EXPECT_EQ(insertion.status, 0U);
    EXPECT_EQ(insertion.text, "MA{0:" + dev_id + "}") << "a plain device is its record";
    const Insertion many((std::string(1 << 20, '-') + "MA-1.T").c_str());
    EXPECT_EQ(many.status, 0U);
}

// ---- several ----

TEST_F(DeviceIdTreeTest, DevicesShareMuxesAndChannels) {
    DeviceList devices{{"MA-2.A", "i2c-3"},
                       {"MA-1.B", "i2c-3"},
                       {"MA-2.C", "i2c-3"},
                       {"MB-1.D", "i2c-3"},
                       {"MA-2.MC-1.E", "i2c-3"},
                       {"MA-2.MC-3.F", "i2c-3"},
                       {"MA-2.MC", "i2c-3", "PCA9547"},
                       {"MA", "i2c-3", "PCA9548"},
                       {"MA-2.MC-1.G", "i2c-3"},
                       {"H", "i2c-3"}};
    EXPECT_EQ(tree_.add(devices), 0U);
    EXPECT_EQ(tree_.text(),
              "7: H MA*{1:MA-2.A MA-2.C MA-2.MC*{0:MA-2.MC-1.E MA-2.MC-1.G}{2:MA-2.MC-3.F}}"
              "{0:MA-1.B} MB{0:MB-1.D}");
}

TEST_F(DeviceIdTreeTest, AMuxThatIsKnownIsFoundByItsDevice) {
    DeviceList devices{{"MA", "i2c-3", "PCA9548"},
                       {"MA-1.MB", "i2c-3", "PCA9548"},
                       {"MA-1.MB-2.T", "i2c-3"},
                       {"MA", "i2c-3", "PCA9548"}};
    EXPECT_EQ(tree_.add(devices), 0U);
    EXPECT_EQ(tree_.text(), "7: MA*{0:MA-1.MB*{1:MA-1.MB-2.T}}");
    EXPECT_EQ(tree_.i2c(3).muxes->dev, devices.at(0)) << "the first record stays";
}

// ---- arguments and memory ----

TEST_F(DeviceIdTreeTest, AWayNeedsARecordAndALevel) {
    DeviceList device{{"MA-1.T", "i2c-3"}};
    if_slot level{};
    const Messages expected = error_in(kFunction, "Received is a NULL pointer\n");
    EXPECT_EQ(logged_by([&] {
                  EXPECT_EQ(update_dev_mux_interface_tree(nullptr, 3, &level, 0, nullptr),
                            DIAG_E_INVAL);
              }),
              expected);
    EXPECT_EQ(logged_by([&] {
                  EXPECT_EQ(update_dev_mux_interface_tree(device.first(), 3, nullptr, 0, nullptr),
                            DIAG_E_INVAL);
              }),
              expected);
}

// The daemon's information is missed at the mux on the way, whose channel is read all the same.
TEST_F(DeviceIdTreeTest, AMuxThatCannotBeAddedEndsTheWay) {
    if_slot level{};
    DeviceList device{{"MA-2.T", "i2c-3"}};
    const Messages messages = logged_by([&] {
        EXPECT_EQ(update_dev_mux_interface_tree(device.first(), 3, &level, 1, nullptr),
                  DIAG_E_INVAL);
    });
    EXPECT_EQ(messages, (Messages{{3, "Current dev id segment MA\n"},
                                  {-1, "check_add_mux_entry[]: "},
                                  {-1, "Proc info pointers should not be null for devid daemon\n"},
                                  {3, "Couldn't add mux entry to device tree\n"},
                                  {3, "Mux channel selection value is 1\n"},
                                  {-1, std::string(kFunction) + "[]: "},
                                  {-1, "Invalid tree\n"}}));
    EXPECT_EQ(text_of(level), "");
}

TEST_F(DeviceIdTreeTest, TheStatusOfTheDeviceItselfIsTheAnswer) {
    if_slot level{};
    DeviceList device{{"MA", "i2c-3", "PCA9548"}};
    const Messages messages = logged_by([&] {
        EXPECT_EQ(update_dev_mux_interface_tree(device.first(), 3, &level, 1, nullptr),
                  DIAG_E_INVAL);
    });
    EXPECT_EQ(messages, (Messages{{-1, "check_add_mux_entry[]: "},
                                  {-1, "Proc info pointers should not be null for devid daemon\n"},
                                  {3, "Couldn't add mux entry properly to device tree\n"}}));
}

// The mux, its channel, the second mux, its channel, the device.
TEST_F(DeviceIdTreeTest, WithoutMemoryAWayEndsWhereItGotTo) {
    std::vector<std::string> levels;
    std::vector<std::string> texts;
    std::vector<uint32_t> statuses;
    const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
        DeviceList device{{"MA-2.MB-1.T", "i2c-3"}};
        if_slot level{};
        texts.push_back(printed([&] {
            watch.start();
            statuses.push_back(
                update_dev_mux_interface_tree(device.first(), 3, &level, 0, nullptr));
            watch.stop();
        }));
        levels.push_back(text_of(level));
        free_level(level);
    });
    EXPECT_EQ(failed, 5);
    EXPECT_EQ(levels,
              (std::vector<std::string>{"", "MA", "MA{1:}", "MA{1:MA-2.MB}", "MA{1:MA-2.MB{0:}}",
                                        "MA{1:MA-2.MB{0:MA-2.MB-1.T}}"}));
    EXPECT_EQ(statuses, (std::vector<uint32_t>{DIAG_E_INVAL, DIAG_E_NOMEM, DIAG_E_INVAL,
                                               DIAG_E_NOMEM, DIAG_E_NOMEM, 0}));
    const std::string no_mux = error_text("check_add_mux_entry", "Couldn't allocate memory\n") +
                               error_text(kFunction, "Invalid tree\n");
    const std::string no_channel = error_text(kFunction, "Couldn't allocate space for node \n");
    EXPECT_EQ(texts, (std::vector<std::string>{
                         no_mux, no_channel, no_mux, no_channel,
                         error_text("check_add_mux_entry", "Couldn't allocate memory\n"), ""}));
}

}  // namespace
}  // namespace diag::test
