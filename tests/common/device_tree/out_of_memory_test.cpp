// SPDX-License-Identifier: MIT
#include "tests/common/device_tree/out_of_memory_test.h"

#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/support/temporary_folder.h"

namespace diag::test {
namespace {

// ---- the model ----

struct Tree : TreeOwner {};

struct TreeWithANode : TreeOwner {
    TreeWithANode() { allocate_device_node(&head); }
};

const Site kNoNode = site("allocate_device_node", "Could not allocate Device Node\n");
const Site kNoElement = site("allocate_device_node", "Could not allocate Device Tree\n");

device_tree *last_of(device_tree *element) {
    while (element->next != nullptr) {
        element = element->next;
    }
    return element;
}

TEST_F(OutOfMemory, AllocateDeviceNodeInAnEmptyHead) {
    expect_sites<Tree>({kNoNode}, 1, [](Tree &tree) {
        return allocate_device_node(last_of(&tree.head)) != nullptr ? 0U : 1U;
    });
}

TEST_F(OutOfMemory, AllocateDeviceNodeInANewElement) {
    expect_sites<TreeWithANode>({kNoElement, kNoNode}, 1, [](TreeWithANode &tree) {
        return allocate_device_node(last_of(&tree.head)) != nullptr ? 0U : 1U;
    });
}

TEST_F(OutOfMemory, AnAppendedElementStaysWithoutANode) {
    size_t round = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        TreeWithANode tree;
        text_logged_by([&] {
            watch.start();
            allocate_device_node(&tree.head);
            watch.stop();
        });
        EXPECT_EQ(tree.head.next != nullptr, round > 0);
        EXPECT_EQ(tree.head.next != nullptr && tree.head.next->node != nullptr, round > 1);
        round++;
    });
    EXPECT_EQ(round, 3U);
}

// ---- register lists ----

struct List {
    reg_list *first = nullptr;
    ~List() { free_register_list(first, false); }
};

struct FilledList : List {
    reg_def reg{};
    FilledList() {
        init_test_reg_list(&first);
        first->reg = &reg;
    }
};

TEST_F(OutOfMemory, InitTestRegList) {
    expect_sites<List>({kTestList}, DIAG_E_NOMEM,
                       [](List &list) { return init_test_reg_list(&list.first); });
}

TEST_F(OutOfMemory, NewRegListEntryLeavesTheCursor) {
    expect_sites<FilledList>({kTestElement}, DIAG_E_NOMEM, [](FilledList &list) {
        reg_list *cursor = list.first;
        const uint32_t status = new_reg_list_entry(&cursor);
        EXPECT_EQ(cursor == list.first, status != 0);
        return status;
    });
}

TEST_F(OutOfMemory, InitTestDataStopsAtTheFirstFailure) {
    expect_sites<Chip>(Sites(5, kTestList), DIAG_E_NOMEM,
                       [](Chip &chip) { return init_test_data(chip.node()); });
    size_t round = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        Chip chip;
        text_logged_by([&] {
            watch.start();
            init_test_data(chip.node());
            watch.stop();
        });
        size_t made = 0;
        for (const reg_list *list :
             {chip.node()->intr_setup_regs, chip.node()->intr_status_regs, chip.node()->test_regs_a,
              chip.node()->test_regs_b, chip.node()->test_regs_c}) {
            EXPECT_EQ(list != nullptr, made < round) << "in the order of the roles";
            made += list != nullptr ? 1 : 0;
        }
        round++;
    });
}

// ---- chips and whole files ----

constexpr char kChip[] =
    "<chip><chip-name>N</chip-name><chip-dev-id>D</chip-dev-id><chip-identifier/>"
    "<chip-mux><bus>b</bus></chip-mux><chip-mux/><reg/></chip>";

const Sites kChipSites = Sites{in_chip("Can't allocate memory\n"),
                               in_chip("Can't allocate memory\n"),
                               in_chip("Can't allocate memory\n"),
                               in_chip("Could not allocate space for Mux settings\n"),
                               in_chip("Could not allocate mux bus\n"),
                               in_chip("Could not allocate space for Mux settings\n")} +
                         kFirstXmlRegister;

// The caller of the allocator reports a missing node once more, at level 1.
Site reported_again(Site missing) {
    missing.note = "Could not allocate Device Node\n";
    missing.note_level = 1;
    return missing;
}

template <typename Records>
std::function<uint32_t(Records &)> reading_chip(const XmlText &text) {
    return [&text](Records &tree) {
        return parse_device_config(nullptr, &tree.head, 1, text.root(), 0) != nullptr ? 0U : 1U;
    };
}

TEST_F(OutOfMemory, ParseDeviceConfigOfAFirstChip) {
    const XmlText text(kChip);
    expect_sites<Tree>(Sites{reported_again(kNoNode)} + kChipSites, 1, reading_chip<Tree>(text));
}

TEST_F(OutOfMemory, ParseDeviceConfigOfAFurtherChip) {
    const XmlText text(kChip);
    expect_sites<TreeWithANode>(
        Sites{reported_again(kNoElement), reported_again(kNoNode)} + kChipSites, 1,
        reading_chip<TreeWithANode>(text));
}

TEST_F(OutOfMemory, ParseDeviceConfigWithoutATree) {
    const XmlText text("<chip/>");
    size_t rounds = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        if (rounds++ > 0) {  // the head it makes is lost by design: only its own failure is run
            return;
        }
        device_node *node = nullptr;
        const std::string logged = text_logged_by(
            [&] {
                watch.start();
                node = parse_device_config(nullptr, nullptr, 1, text.root(), 0);
                watch.stop();
            },
            1);
        EXPECT_EQ(node, nullptr);
        EXPECT_EQ(logged, "Could not allocate Device Node\n");
    });
    EXPECT_EQ(rounds, 2U);
}

TEST_F(OutOfMemory, ANodeThatFailedStaysInTheTree) {
    const XmlText text(kChip);
    size_t round = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        Tree tree;
        text_logged_by([&] {
            watch.start();
            parse_device_config(nullptr, &tree.head, 1, text.root(), 0);
            watch.stop();
        });
        EXPECT_EQ(tree.head.node != nullptr, round > 0);
        if (round > 1) {
            EXPECT_STREQ(tree.head.node->name, "N");
        }
        round++;
    });
    EXPECT_EQ(round, kChipSites.size() + 2);
}

// A load whose first chip is there already: what was read before a failure stays.
struct LoadedTree : TreeOwner {
    LoadedTree() { allocate_device_node(&head); }

    uint32_t load(const char *path) {
        uint8_t busbroker_supported = 0;
        return load_device_tree(path, &head, 1, nullptr, &busbroker_supported, nullptr, nullptr);
    }
};

TEST_F(OutOfMemory, LoadDeviceTree) {
    const TemporaryFolder folder;
    const std::string path =
        folder.write("board.xml", std::string("<config>") + kChip + "</config>");
    const Sites sites = Sites{reported_again(kNoElement), reported_again(kNoNode)} + kChipSites;
    for (const int level : {-1, 1}) {
        size_t round = 0;
        const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
            LoadedTree tree;
            uint32_t status = 0;
            const std::string logged = text_logged_by(
                [&] {
                    watch.start();
                    status = tree.load(path.c_str());
                    watch.stop();
                },
                level);
            EXPECT_EQ(status, watch.has_failed() ? DIAG_E_INVAL : 0U);
            if (watch.has_failed() && round < sites.size()) {
                EXPECT_EQ(logged, (level >= 1 ? "Loading device file \n" : "") +
                                      sites[round].shown_at(level));
            }
            EXPECT_NE(tree.head.node, nullptr);
            EXPECT_EQ(tree.load(path.c_str()), 0U);
            round++;
        });
        EXPECT_EQ(static_cast<size_t>(failed), sites.size());
    }
}

// ---- muxes ----

TEST_F(OutOfMemory, ParseMuxXml) {
    const XmlText text("<mux><bus>b</bus><bus>longer</bus><addr>1</addr></mux>");
    const Site no_bus = site("parse_mux_xml", "Could not malloc mux bus\n");
    size_t round = 0;
    const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
        Mux mux;
        uint32_t status = 0;
        const std::string logged = text_logged_by(
            [&] {
                watch.start();
                status = parse_mux_xml(text.root(), &mux.entry);
                watch.stop();
            },
            -1);
        EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0U);
        EXPECT_EQ(logged, watch.has_failed() ? no_bus.error : "");
        EXPECT_STREQ(mux.entry.bus, round == 0 ? nullptr : round == 1 ? "b" : "longer");
        EXPECT_EQ(mux.entry.addr, watch.has_failed() ? 0U : 1U);
        round++;
    });
    EXPECT_EQ(failed, 2);
}

TEST_F(OutOfMemory, ParseMuxSetting) {
    const Site no_next{"", "Could not allocate next mux structure\n", 0};
    const Sites sites{site("parse_mux_setting", "Could not allocate mux bus\n"), no_next, no_next};
    for (const int level : {-1, 0}) {
        size_t round = 0;
        const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
            Mux mux;
            uint32_t status = 0;
            std::string text = "bmc-1 1:2:3:4:w:5:6:7:8:w:9:a:b:c";
            const std::string logged = text_logged_by(
                [&] {
                    watch.start();
                    status = parse_mux_setting(&mux.entry, text.data());
                    watch.stop();
                },
                level);
            EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0U);
            if (watch.has_failed() && round < sites.size()) {
                EXPECT_EQ(logged, sites[round].shown_at(level));
            }
            EXPECT_EQ(length_of(&mux.entry), round < 2 ? 1U : round);
            round++;
        });
        EXPECT_EQ(static_cast<size_t>(failed), sites.size());
    }
}

}  // namespace
}  // namespace diag::test
