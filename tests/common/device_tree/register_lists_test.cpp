// SPDX-License-Identifier: MIT
#include <array>
#include <gtest/gtest.h>

#include "tests/common/device_tree/device_tree_test.h"

namespace diag::test {
namespace {

using RegisterLists = DeviceTreeTest;

struct ListOwner {
    reg_list *first = nullptr;
    ListOwner() = default;
    ~ListOwner() { free_register_list(first, false); }
    ListOwner(const ListOwner &) = delete;
    ListOwner &operator=(const ListOwner &) = delete;
};

bool is_zeroed(const reg_list &element) {
    return element.reg == nullptr && element.count == 0 && element.next == nullptr;
}

TEST_F(RegisterLists, InitTestRegListMakesOneEmptyElement) {
    ListOwner list;
    EXPECT_EQ(init_test_reg_list(&list.first), 0U);
    ASSERT_NE(list.first, nullptr);
    EXPECT_TRUE(is_zeroed(*list.first));
}

TEST_F(RegisterLists, InitTestRegListLeavesAListThatIsThere) {
    ListOwner list;
    init_test_reg_list(&list.first);
    reg_list *const first = list.first;
    first->count = 7;
    EXPECT_EQ(init_test_reg_list(&list.first), 0U);
    EXPECT_EQ(list.first, first);
    EXPECT_EQ(list.first->count, 7U);
}

TEST_F(RegisterLists, InitTestDataMakesTheFiveTestListsAndNoOther) {
    Chip chip;
    device_node *node = chip.node();
    EXPECT_EQ(init_test_data(node), 0U);
    for (const reg_list *list : {node->intr_setup_regs, node->intr_status_regs, node->test_regs_a,
                                 node->test_regs_b, node->test_regs_c}) {
        ASSERT_NE(list, nullptr);
        EXPECT_TRUE(is_zeroed(*list));
    }
    EXPECT_EQ(node->reg_list, nullptr);
}

TEST_F(RegisterLists, InitTestDataKeepsListsThatAreThere) {
    Chip chip;
    device_node *node = chip.node();
    init_test_reg_list(&node->test_regs_a);
    reg_list *const kept = node->test_regs_a;
    EXPECT_EQ(init_test_data(node), 0U);
    EXPECT_EQ(node->test_regs_a, kept);
    EXPECT_NE(node->test_regs_c, nullptr);
}

TEST_F(RegisterLists, NewRegListEntryStaysOnAnElementThatIsNotFilled) {
    ListOwner list;
    init_test_reg_list(&list.first);
    reg_list *cursor = list.first;
    EXPECT_EQ(new_reg_list_entry(&cursor), 0U);
    EXPECT_EQ(cursor, list.first);
    EXPECT_EQ(list.first->next, nullptr);
}

TEST_F(RegisterLists, NewRegListEntryAppendsAZeroedElementWhenAllAreFilled) {
    ListOwner list;
    init_test_reg_list(&list.first);
    reg_def registers[3]{};
    for (reg_def &reg : registers) {
        reg_list *cursor = list.first;
        ASSERT_EQ(new_reg_list_entry(&cursor), 0U);
        EXPECT_TRUE(is_zeroed(*cursor));
        cursor->reg = &reg;
    }
    EXPECT_EQ(registers_of(list.first),
              (std::vector<reg_def *>{&registers[0], &registers[1], &registers[2]}));
}

TEST_F(RegisterLists, NewRegListEntryTakesTheFirstGap) {
    ListOwner list;
    init_test_reg_list(&list.first);
    reg_def reg{};
    for (int i = 0; i < 3; i++) {
        reg_list *cursor = list.first;
        new_reg_list_entry(&cursor);
        cursor->reg = &reg;
    }
    reg_list *const gap = list.first->next;
    gap->reg = nullptr;
    reg_list *cursor = list.first;
    EXPECT_EQ(new_reg_list_entry(&cursor), 0U);
    EXPECT_EQ(cursor, gap);
}

// ---- test roles ----

struct RoleCase {
    reg_list *device_node::*list;
    int id;
    uint32_t mode;
};

constexpr RoleCase kRoleCases[] = {
    {&device_node::intr_setup_regs, 0, 0}, {&device_node::intr_status_regs, 1, 0},
    {&device_node::test_regs_a, 2, 1},     {&device_node::test_regs_a, 3, 2},
    {&device_node::test_regs_b, 4, 0},     {&device_node::test_regs_c, 5, 0},
};

constexpr reg_list *device_node::*kTestLists[] = {
    &device_node::intr_setup_regs, &device_node::intr_status_regs, &device_node::test_regs_a,
    &device_node::test_regs_b, &device_node::test_regs_c};

class TestRole : public DeviceTreeTest, public testing::WithParamInterface<RoleCase> {};

void expect_only_on(device_node *node, reg_list *device_node::*wanted, reg_def *reg) {
    for (reg_list *device_node::*list : kTestLists) {
        const std::vector<reg_def *> expected =
            list == wanted ? std::vector<reg_def *>{reg} : std::vector<reg_def *>{};
        EXPECT_EQ(registers_of(node->*list), expected);
        EXPECT_EQ((node->*list)->count, expected.size());
    }
}

TEST_P(TestRole, OfAnElementPutsTheRegisterOnItsListAlone) {
    Chip chip;
    ASSERT_EQ(chip.read_xml("<reg><reg-test-id>" + std::to_string(GetParam().id) +
                            "</reg-test-id></reg>"),
              0U);
    expect_only_on(chip.node(), GetParam().list, chip.reg());
    EXPECT_EQ(chip.node()->test_regs_mode, GetParam().mode);
}

TEST_P(TestRole, OfALinePutsTheRegisterOnItsListAlone) {
    Chip chip;
    ASSERT_EQ(chip.read_line("R|10|8|ff|name| RW |0|1|1|v1|" + std::to_string(GetParam().id) + "|"),
              0U);
    expect_only_on(chip.node(), GetParam().list, chip.reg());
    EXPECT_EQ(chip.node()->test_regs_mode, GetParam().mode);
}

INSTANTIATE_TEST_SUITE_P(All, TestRole, testing::ValuesIn(kRoleCases),
                         [](const auto &role) { return "Id" + std::to_string(role.param.id); });

TEST_F(RegisterLists, ModeTellsTheRoleOfTheLastRegisterOfListA) {
    Chip chip;
    const auto add = [&chip](const char *id) {
        chip.read_xml(std::string("<reg><reg-test-id>") + id + "</reg-test-id></reg>");
        return chip.node()->test_regs_mode;
    };
    EXPECT_EQ(add("2"), 1U);
    EXPECT_EQ(add("3"), 2U);
    EXPECT_EQ(add("5"), 2U);
    EXPECT_EQ(add("2"), 1U);
    EXPECT_EQ(registers_of(chip.node()->test_regs_a),
              (std::vector<reg_def *>{chip.reg(0), chip.reg(1), chip.reg(3)}));
}

TEST_F(RegisterLists, RegistersAreInFileOrderAndCountedInTheFirstElement) {
    Chip chip;
    for (const char *offset : {"3", "1", "2"}) {
        ASSERT_EQ(chip.read_xml(std::string("<reg><reg-offset>") + offset +
                                "</reg-offset><reg-test-id>4</reg-test-id></reg>"),
                  0U);
    }
    for (const reg_list *list : {chip.node()->reg_list, chip.node()->test_regs_b}) {
        const std::vector<reg_def *> registers = registers_of(list);
        ASSERT_EQ(registers.size(), 3U);
        EXPECT_EQ(registers[0]->offset, 3U);
        EXPECT_EQ(registers[1]->offset, 1U);
        EXPECT_EQ(registers[2]->offset, 2U);
        EXPECT_EQ(list->count, 3U);
        EXPECT_EQ(list->next->count, 0U);
        EXPECT_EQ(length_of(list), 3U);
    }
}

TEST_F(RegisterLists, ARegisterTakesTheFirstGapOfTheChipsList) {
    Chip chip;
    chip.read_line("R|1");
    chip.read_line("R|2");
    chip.read_line("R|3");
    reg_list *gap = at(chip.node()->reg_list, 1);
    free_register(gap->reg);
    gap->reg = nullptr;
    ASSERT_EQ(chip.read_line("R|9"), 0U);
    EXPECT_EQ(gap->reg->offset, 9U);
    EXPECT_EQ(length_of(chip.node()->reg_list), 3U);
    EXPECT_EQ(chip.node()->reg_list->count, 4U);
}

TEST_F(RegisterLists, ARegisterMayHaveTwoRoles) {
    Chip chip;
    chip.read_xml("<reg><reg-test-id>0</reg-test-id><reg-test-id>5</reg-test-id></reg>");
    EXPECT_EQ(registers_of(chip.node()->intr_setup_regs), std::vector{chip.reg()});
    EXPECT_EQ(registers_of(chip.node()->test_regs_c), std::vector{chip.reg()});
}

TEST_F(RegisterLists, TestListsExistFromTheFirstRegisterOn) {
    Chip chip;
    chip.read_line("R|1");
    for (reg_list *device_node::*list : kTestLists) {
        ASSERT_NE(chip.node()->*list, nullptr);
        EXPECT_TRUE(is_zeroed(*(chip.node()->*list)));
    }
    EXPECT_EQ(chip.node()->test_regs_mode, 0U);
}

}  // namespace
}  // namespace diag::test
