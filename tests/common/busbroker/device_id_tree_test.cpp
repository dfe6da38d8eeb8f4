// SPDX-License-Identifier: MIT
// Devices sorted into interfaces.
#include "tests/common/busbroker/device_id_tree.h"

#include "tests/support/failing_allocations.h"

namespace diag::test {
namespace {

const Message kCompleted{3, "I2C tree building completed\n"};

TEST_F(DeviceIdTreeTest, OfNoDevicesIsEmpty) {
    DeviceList none{};
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(tree_.add(none), 0U); }), Messages{kCompleted});
    EXPECT_EQ(tree_.text(), "");
    EXPECT_EQ(update_pf_tree(nullptr, nullptr, 0, nullptr), 0U);
}

struct InterfaceCase {
    const char *interface;
    const char *tree;
};

TEST_F(DeviceIdTreeTest, HasASlotForEachInterface) {
    for (const InterfaceCase &expected : {
             InterfaceCase{"pci", "0: D"},
             {"lpc", "1: D"},
             {"mem", "2: D"},
             {"gpio", "3: D"},
             {"/dev/i2c-0", "4: D"},
             {"/dev/i2c-3", "7: D"},
             {"/dev/i2c-010", "14: D"},  // decimal
             {"i2c-25", "29: D"},
             {"i2c-25x", "29: D"},
             {"i2c-2-7", "6: D"},  // the number after the first dash
             {"some pci bus", "0: D"},
             {"lpc and gpio", "1: D"},
             {"mempci", "0: D"},  // looked for in the order pci, mem, lpc, gpio
             {"lpcmem", "2: D"},
             {"gpiolpc", "1: D"},
             {"pci-3 i2c", "7: D"},  // and i2c before them all
             {"", ""},
             {"usb", ""},
             {"PCI", ""},
             {"I2C-3", ""},
         }) {
        PlatformTree tree;
        DeviceList devices{{"D", expected.interface}};
        EXPECT_EQ(logged_by([&] {
                      PlatformTree fresh;
                      EXPECT_EQ(fresh.add(devices), 0U);
                  }),
                  Messages{kCompleted});
        EXPECT_EQ(tree.add(devices), 0U);
        EXPECT_EQ(tree.text(), expected.tree) << expected.interface;
    }
}

TEST_F(DeviceIdTreeTest, KeepsTheOrderOfTheList) {
    DeviceList devices{{"P1", "pci"}, {"I1", "i2c-1"}, {"P2", "pci"}, {"G", "gpio"},
                       {"X", "usb"},  {"I2", "i2c-1"}, {"P3", "pci"}};
    EXPECT_EQ(tree_.add(devices), 0U);
    EXPECT_EQ(tree_.text(), "0: P1 P2 P3; 3: G; 5: I1 I2");
    EXPECT_EQ(tree_.slots()[0].devices->dev, devices.at(0)) << "the daemon's own records";
}

TEST_F(DeviceIdTreeTest, GrowsWithEachList) {
    DeviceList first{{"A", "pci"}, {"MA-1.X", "i2c-0"}};
    DeviceList second{{"B", "pci"}, {"MA-1.Y", "i2c-0"}};
    EXPECT_EQ(tree_.add(first), 0U);
    EXPECT_EQ(tree_.add(second), 0U);
    EXPECT_EQ(tree_.text(), "0: A B; 4: MA{0:MA-1.X MA-1.Y}");
}

TEST_F(DeviceIdTreeTest, HasNoMuxesButOnI2c) {
    DeviceList devices{{"M", "pci", "PCA9548"}, {"M", "mem", "PCA9548"},
                       {"M", "lpc", "PCA9548"}, {"M", "gpio", "PCA9548"},
                       {"A-1.B", "pci"},        {"M", "i2c-1", "PCA9548"}};
    EXPECT_EQ(tree_.add(devices), 0U);
    EXPECT_EQ(tree_.text(), "0: A-1.B; 5: M*") << "a dash means nothing elsewhere";
}

// ---- interfaces that do not do ----

TEST_F(DeviceIdTreeTest, EndsAtAnI2cInterfaceWithoutANumber) {
    for (const char *interface : {"i2c", "/dev/i2c3", "i2c_3"}) {
        DeviceList devices{{"A", "pci"}, {"B", interface}, {"C", "pci"}};
        PlatformTree tree;
        EXPECT_EQ(tree.add(devices), DIAG_E_INVAL);
        EXPECT_EQ(tree.text(), "0: A") << "what came before stays";
        EXPECT_EQ(logged_by([&] {
                      PlatformTree fresh;
                      fresh.add(devices);
                  }),
                  error_in("update_pf_tree", "Invalid interface " + std::string(interface) + "\n"));
    }
}

TEST_F(DeviceIdTreeTest, EndsAtAnI2cInterfaceBeyondTheLast) {
    for (const char *number : {"26", "30", "255", "256", "4294967299"}) {
        const std::string interface = "/dev/i2c-" + std::string(number);
        DeviceList devices{{"A", "pci"}, {"B", interface.c_str()}, {"C", "pci"}};
        PlatformTree tree;
        EXPECT_EQ(tree.add(devices), DIAG_E_INVAL) << number;
        EXPECT_EQ(tree.text(), "0: A");
        EXPECT_EQ(logged_by([&] {
                      PlatformTree fresh;
                      fresh.add(devices);
                  }),
                  (Messages{{3, "Interface num " + std::string(number) +
                                    " exceeded max allowed I2C if no 25\n"}}));
    }
}

TEST_F(DeviceIdTreeTest, PassesOverRecordsWithoutTexts) {
    DeviceList devices{{"A", nullptr}, {nullptr, "i2c-1"}, {"B", "pci"}};
    EXPECT_EQ(tree_.add(devices), 0U);
    EXPECT_EQ(tree_.text(), "0: B");
}

TEST_F(DeviceIdTreeTest, NeedsATreeForItsDevices) {
    DeviceList devices{{"A", "pci"}};
    EXPECT_EQ(update_pf_tree(devices.first(), nullptr, 0, nullptr), DIAG_E_INVAL);
}

// ---- the status ----

TEST_F(DeviceIdTreeTest, AnswersTheStatusOfTheLastWayThroughMuxes) {
    struct {
        std::initializer_list<Device> devices;
        uint32_t status;
    } const cases[] = {
        {{{"M-zz.X", "i2c-1"}}, DIAG_E_INVAL},
        {{{"M-zz.X", "i2c-1"}, {"Y", "i2c-1"}, {"Z", "pci"}}, DIAG_E_INVAL},
        {{{"M-zz.X", "i2c-1"}, {"M-1.Y", "i2c-1"}}, 0},
        {{{"M-zz.X", "i2c-1"}, {"M", "i2c-1", "PCA9548"}}, 0},
        {{{"M-1.X", "i2c-1"}, {"M-zz.Y", "i2c-1"}}, DIAG_E_INVAL},
        {{{"M-zz.X", "i2c-1"}, {"P", "usb"}, {"M", "pci", "PCA9548"}}, DIAG_E_INVAL},
    };
    for (const auto &expected : cases) {
        DeviceList devices(expected.devices);
        PlatformTree tree;
        EXPECT_EQ(tree.add(devices), expected.status);
    }
}

TEST_F(DeviceIdTreeTest, GoesOnAfterAFailedWayThroughMuxes) {
    DeviceList devices{{"M-zz.X", "i2c-1"}, {"A", "pci"}, {"N-1.Y", "i2c-2"}};
    EXPECT_EQ(tree_.add(devices), 0U);
    EXPECT_EQ(tree_.text(), "0: A; 5: M; 6: N{0:N-1.Y}");
}

// ---- the daemon's process information ----

TEST_F(DeviceIdTreeTest, OfADaemonListsMuxesByInterface) {
    DeviceList devices{{"MA", "i2c-3", "PCA9548"},
                       {"MA-2.MB", "i2c-3", "PCA9541"},
                       {"MA-2.MB-1.TEMP", "i2c-3"},
                       {"MC", "i2c-24", "PCA9547"},
                       {"P", "pci", "PCA9548"}};
    EXPECT_EQ(tree_.add(devices, true), 0U);
    EXPECT_EQ(tree_.text(), "7: MA*{1:MA-2.MB*{0:MA-2.MB-1.TEMP}}; 28: MC*");
    EXPECT_EQ(tree_.process_text(), "3: MA=0 MA-2.MB=10; 24: MC=0");
}

TEST_F(DeviceIdTreeTest, OfNoDaemonListsNoMuxes) {
    DeviceList devices{{"MA", "i2c-3", "PCA9548"}};
    EXPECT_EQ(update_pf_tree(devices.first(), tree_.slots(), 0, tree_.processes()), 0U);
    EXPECT_EQ(tree_.process_text(), "");
}

// Interface 25 has a slot and no process.
TEST_F(DeviceIdTreeTest, OfADaemonCannotListTheMuxesOfTheLastInterface) {
    DeviceList devices{{"MA", "i2c-25", "PCA9548"}, {"A", "i2c-25"}};
    EXPECT_EQ(tree_.add(devices, true), DIAG_E_INVAL);
    EXPECT_EQ(tree_.text(), "29: A MA*");
    EXPECT_EQ(tree_.process_text(), "");
}

TEST_F(DeviceIdTreeTest, OfADaemonWithoutProcessInformationTakesNoWayThroughMuxes) {
    DeviceList devices{{"A", "i2c-3"}, {"MA", "i2c-3", "PCA9548"}, {"B", "pci"}};
    EXPECT_EQ(update_pf_tree(devices.first(), tree_.slots(), 1, nullptr), DIAG_E_INVAL);
    EXPECT_EQ(tree_.text(), "0: B; 7: A");
}

// ---- memory ----

TEST_F(DeviceIdTreeTest, EndsWhereThereIsNoMemoryForAPlainDevice) {
    std::vector<std::string> trees;
    const int failed = for_each_failing_allocation([&trees](AllocationWatch &watch) {
        DeviceList devices{{"A", "pci"}, {"B", "i2c-1"}, {"C", "lpc"}};
        PlatformTree tree;
        uint32_t status = 0;
        const std::string text = printed([&] {
            watch.start();
            status = tree.add(devices);
            watch.stop();
        });
        EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0U);
        EXPECT_EQ(text, watch.has_failed()
                            ? error_text("update_pf_tree", "Couldn't allocate memory\n")
                            : "");
        trees.push_back(tree.text());
    });
    EXPECT_EQ(failed, 3);
    EXPECT_EQ(trees, (std::vector<std::string>{"", "0: A", "0: A; 5: B", "0: A; 1: C; 5: B"}));
}

// A long list is as quick as it is long.
TEST_F(DeviceIdTreeTest, TakesLongLists) {
    std::deque<std::string> names;
    std::vector<devid_record> records(3000);
    for (size_t i = 0; i < records.size(); i++) {
        names.push_back("M" + std::to_string(i % 20) + "-" + std::to_string(i % 8 + 1) + ".D" +
                        std::to_string(i));
        records[i] = {names.back().data(), const_cast<char *>("i2c-1"), nullptr,
                      i + 1 < records.size() ? &records[i + 1] : nullptr};
    }
    EXPECT_EQ(update_pf_tree(records.data(), tree_.slots(), 0, nullptr), 0U);
    size_t devices = 0;
    for (const mux_tree_node *mux = tree_.i2c(1).muxes; mux != nullptr; mux = mux->next) {
        for (const mux_channel *channel = mux->channels; channel != nullptr;
             channel = channel->next) {
            for (const devid_list *device = channel->devices; device != nullptr;
                 device = device->next) {
                devices++;
            }
        }
    }
    EXPECT_EQ(devices, records.size());
}

}  // namespace
}  // namespace diag::test
