// SPDX-License-Identifier: MIT
// Loading a text description with each of its allocations failing in turn.
#include <cerrno>
#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/common/device_tree/optional_modules_test.h"
#include "tests/common/device_tree/out_of_memory_test.h"

namespace diag::test {
namespace {

constexpr uint32_t kBadChip = 0xFFFFFFFFU;
constexpr uint32_t kBadLine = DIAG_E_FAIL | static_cast<uint32_t>(ENOMEM);
constexpr uint32_t kBadRegisters = 0xFFFFFFFFU;

// One allocation, and what the load answers when it fails.
struct Failure {
    Site site;
    uint32_t status;
};
using Failures = std::vector<Failure>;

Failures operator+(Failures first, const Failures &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Failures all(const Sites &sites, uint32_t status) {
    Failures failures;
    for (const Site &each : sites) {
        failures.push_back({each, status});
    }
    return failures;
}

// What the caller of the allocator says once more, at level 1.
Site reported_again(const std::string &text) {
    return {"allocate_device_node[]: " + text, "Could not allocate Device Node\n", 1};
}

// The first thing that is allocated: room for lines.
const Failures kLines = {{{""}, kBadLine}};

const Failures kChip = all({reported_again("Could not allocate Device Tree\n"),
                            reported_again("Could not allocate Device Node\n"),
                            {""},  // the name: no message
                            in_chip("Could not allocate space for Mux settings\n"),
                            site("parse_mux_setting", "Could not allocate mux bus\n"),
                            {"", "Could not allocate next mux structure\n", 0},
                            in_chip("Can't allocate memory\n")},
                           kBadChip);

const Sites kFirstRegister = Sites{in_register("Can't allocate memory for device's reg list\n")} +
                             Sites(5, kTestList) +
                             Sites{in_register("Can't allocate memory for reg entry\n")};

const Sites kTexts = {in_register("Can't allocate memory for reg name\n"),
                      in_register("Can't allocate memory for reg version\n"),
                      in_register("Can't allocate memory for reg test description\n"),
                      in_register("Could not allocate mem for Bit definition\n"),
                      in_register("Could not Allocate Bit Name\n"),
                      in_register("Can't allocate memory for bit definition\n"),
                      in_register("Can't allocate memory for Bit Info\n"),
                      in_register("Could not allocate Info String\n"),
                      in_register("Can't allocate memory for Bit Info\n")};

const Sites kSecondRegister = {in_register("Can't allocate memory for device's reg list\n"),
                               in_register("Can't allocate memory for reg entry\n"),
                               in_register("Can't allocate memory interrupt setup reg\n")};

constexpr char kLoadable[] =
    "=====\nC| FPGA|40|N|i2c|3|b 1:2:3:4:x:5:6:7:8|ID\n"
    "R|1|8|ff|N| RW |0|1|1|v|0|5a|text\nB|7|B\nB|6\nI|1|i\nI|2\nR|2|8|ff\n";

// A load into a tree whose first chip is there already: it stays, whatever fails.
class TextOutOfMemory : public DeviceTreeTest {
  protected:
    void expect_failures(const Failures &failures, const std::string &text) {
        const TemporaryFolder folder;
        const std::string path = folder.write("board.txt", text);
        for (const int level : {-1, 0, 1}) {
            size_t round = 0;
            const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
                TextLoad load;
                allocate_device_node(&load.tree.head);
                const std::string logged = text_logged_by(
                    [&] {
                        watch.start();
                        load.from_path(path.c_str(), 0);
                        watch.stop();
                    },
                    level);
                ASSERT_LE(round, failures.size());
                const bool has_failed = round < failures.size();
                ASSERT_EQ(watch.has_failed(), has_failed) << "allocation " << round;
                EXPECT_EQ(load.status, has_failed ? failures[round].status : 0U) << round;
                const std::string begin = level >= 1 ? kLoading : "";
                EXPECT_EQ(logged, begin + (has_failed ? failures[round].site.shown_at(level) : ""))
                    << round;
                load.from_path(path.c_str(), 0);
                EXPECT_EQ(load.status, 0U) << "with memory again";
                EXPECT_STREQ(last_of(load)->name, "N");
                round++;
            });
            EXPECT_EQ(static_cast<size_t>(failed), failures.size());
        }
    }

  private:
    static const device_node *last_of(TextLoad &load) {
        const device_tree *element = &load.tree.head;
        while (element->next != nullptr) {
            element = element->next;
        }
        return element->node;
    }
};

TEST_F(TextOutOfMemory, AtEachAllocationOfALoad) {
    expect_failures(kLines + kChip + all(kFirstRegister + kTexts, kBadLine) +
                        all({kSecondRegister[0], kSecondRegister[1]}, kBadLine),
                    kLoadable);
}

TEST_F(TextOutOfMemory, AtEachRoleOfARegister) {
    const Site further[] = {
        in_register("Can't allocate memory interrupt setup reg\n"),
        in_register("Can't allocate memory for interrupt status reg\n"),
        kTestElement,
        kTestElement,
        kTestElement,
        kTestElement,
    };
    const Failures chip = {kChip[0], kChip[1], kChip[2], kChip[6]};
    for (int role = 0; role < 6; role++) {
        const std::string line = "R|1|8|1|N|x|0|0|0|v|" + std::to_string(role) + "\n";
        expect_failures(kLines + chip +
                            all(kFirstRegister + Sites{kTexts[0], kTexts[1]} +
                                    Sites{kSecondRegister[0], kSecondRegister[1], kTexts[0],
                                          kTexts[1], further[role]},
                                kBadLine),
                        "=====\nC|x|1|N|lpc|0\n" + repeat(line, 2));
    }
}

// A line that does not fit the room for lines; what it belongs to is never begun.
TEST_F(TextOutOfMemory, AtALongLine) {
    expect_failures(kLines + kLines + kLines + Failures{kChip[0], kChip[1], kChip[2], kChip[6]},
                    std::string(200000, 'x') + "\n=====\nC|x|1|N|lpc|0\n");
}

TEST_F(TextOutOfMemory, WhatWasReadBeforeStays) {
    const TemporaryFolder folder;
    const std::string path = folder.write("board.txt", kLoadable);
    size_t round = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        TextLoad load;
        text_logged_by([&] {
            watch.start();
            load.from_path(path.c_str(), 0);
            watch.stop();
        });
        const device_node *node = load.chip();
        EXPECT_EQ(node != nullptr, round > 1);
        if (node != nullptr) {
            EXPECT_EQ(node->name != nullptr, round > 2);
            EXPECT_EQ(node->mux_list != nullptr, round > 3);
            EXPECT_EQ(node->chip_id != nullptr, round > 6);
            EXPECT_EQ(node->reg_list != nullptr, round > 7);
            EXPECT_EQ(registers_of(node->reg_list).size(), round <= 13   ? 0U
                                                           : round <= 24 ? 1U
                                                                         : 2U)
                << round;
        }
        round++;
    });
    EXPECT_EQ(round, 26U);
}

TEST_F(TextOutOfMemory, AtTheHeadThatALineWithoutATreeNeeds) {
    int rounds = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        if (rounds++ > 0) {  // the head it makes is lost by design: only its own failure is run
            return;
        }
        std::string line = chip_line("N");
        device_node *node = nullptr;
        const std::string logged = text_logged_by(
            [&] {
                watch.start();
                node = parse_device_config(line.data(), nullptr, 0, nullptr, 0);
                watch.stop();
            },
            1);
        EXPECT_EQ(node, nullptr);
        EXPECT_EQ(logged, "Could not allocate Device Node\n");
    });
    EXPECT_EQ(rounds, 2);
}

// ---- optional modules ----

class ModulesOutOfMemory : public OptionalModulesTest {};

// What a failure does: the status, whether the chip of the file has been loaded, and the message.
struct ModuleFailure {
    uint32_t status;
    bool chip;
    std::string logged;  // its end, at level 0
};

TEST_F(ModulesOutOfMemory, AtEachAllocationOfABlock) {
    tools_.presence(0x100, 0);
    tools_.card(0x51, 1);
    const std::string text = slots_header(1, 1) + slot_line("100", "0", "one", "51") +
                             "=====\nC|x|1|chip|lpc|0\n=====\nIOMTYPE1\nR|1|8|ff|NAME\n";
    const TemporaryFolder folder;
    const std::string path = folder.write("board.txt", text);
    const std::string no_slots =
        "load_iom_tree[]: Could not allocate structures to hold IOM data\n";
    const std::string no_sections = "load_iom_tree[]: Could not allocate Card Position\n";
    const std::string no_registers = "update_iom_tree[]: Could not load the IOM Registers\n";
    std::vector<ModuleFailure> failures = {
        {kBadLine, false, ""},  // the room for lines
        {DIAG_E_NOMEM, true, no_slots},
        {DIAG_E_NOMEM, true, no_slots},
        {DIAG_E_NOMEM, true, no_sections},
        {DIAG_E_INVAL, true, "allocate_device_node[]: Could not allocate Device Node\n"},
        {DIAG_E_INVAL, true, ""},  // the card's name
        {DIAG_E_INVAL, true, "parse_device_config[]: Can't allocate memory\n"},
    };
    for (const Site &site : kFirstRegister + Sites{kTexts[0]}) {
        failures.push_back({kBadRegisters, true, site.error + no_registers});
    }
    const std::string no_element = "allocate_device_node[]: Could not allocate Device Tree\n";
    failures.push_back({kBadChip, false, no_element});
    failures.push_back(
        {kBadChip, false, "allocate_device_node[]: Could not allocate Device Node\n"});
    failures.push_back({kBadChip, false, ""});  // the chip's name
    failures.push_back({kBadChip, true, "parse_device_config[]: Can't allocate memory\n"});
    size_t round = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        TextLoad load;
        const std::string logged = text_logged_by(
            [&] {
                watch.start();
                load.from_path(path.c_str(), 0);
                watch.stop();
            },
            0);
        ASSERT_LE(round, failures.size());
        ASSERT_EQ(watch.has_failed(), round < failures.size()) << "allocation " << round;
        if (watch.has_failed()) {
            EXPECT_EQ(load.status, failures[round].status) << "allocation " << round;
            EXPECT_EQ(logged, failures[round].logged) << "allocation " << round;
            const Names names = load.names();
            EXPECT_EQ(!names.empty() && names.back() == "chip", failures[round].chip)
                << "allocation " << round;
        } else {
            EXPECT_EQ(load.status, 0U);
            EXPECT_EQ(logged, "");
        }
        load.from_path(path.c_str(), 0);
        EXPECT_EQ(load.status, 0U) << "with memory again, after allocation " << round;
        round++;
    });
    EXPECT_EQ(round, failures.size() + 1);
}

}  // namespace
}  // namespace diag::test
