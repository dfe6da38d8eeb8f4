// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <initializer_list>

#include "tests/common/device_tree/device_tree_test.h"

namespace diag::test {
namespace {

using AllocateDeviceNode = DeviceTreeTest;

TEST_F(AllocateDeviceNode, FillsAnEmptyHead) {
    TreeOwner tree;
    device_node *node = allocate_device_node(&tree.head);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(tree.head.node, node);
    EXPECT_EQ(tree.head.next, nullptr);
}

TEST_F(AllocateDeviceNode, AppendsAnElementWhenTheGivenOneHoldsANode) {
    TreeOwner tree;
    device_node *first = allocate_device_node(&tree.head);
    device_node *second = allocate_device_node(&tree.head);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(tree.head.node, first);
    ASSERT_NE(tree.head.next, nullptr);
    EXPECT_EQ(tree.head.next->node, second);
    EXPECT_EQ(tree.head.next->next, nullptr);
    EXPECT_NE(first, second);
}

TEST_F(AllocateDeviceNode, FillsAnElementThatWasLeftEmpty) {
    TreeOwner tree;
    allocate_device_node(&tree.head);
    device_node *dropped = allocate_device_node(&tree.head);
    free_node(dropped);
    tree.head.next->node = nullptr;  // as after an allocation that failed
    device_node *node = allocate_device_node(tree.head.next);
    EXPECT_EQ(tree.head.next->node, node);
    EXPECT_EQ(tree.head.next->next, nullptr);
}

TEST_F(AllocateDeviceNode, ZeroesTheNodeButForWhatZeroWouldMeanSomething) {
    TreeOwner tree;
    const device_node *node = allocate_device_node(&tree.head);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->chip_type, DIAG_CHIP_OTHER);
    EXPECT_EQ(node->bus_type, DIAG_BUS_OTHER);
    EXPECT_EQ(node->pci_dev, -1);
    EXPECT_EQ(node->pci_func, -1);
    for (const void *pointer : std::initializer_list<const void *>{
             node->reg_list, node->dev_id, node->name, node->mux_list, node->chip_id,
             node->intr_setup_regs, node->intr_status_regs, node->test_regs_a, node->test_regs_b,
             node->test_regs_c}) {
        EXPECT_EQ(pointer, nullptr);
    }
    for (const uint64_t number : std::initializer_list<uint64_t>{
             node->address, node->bus_no, node->version_reg, node->version_mask, node->offset_len,
             node->reg_le, node->test_regs_mode}) {
        EXPECT_EQ(number, 0U);
    }
}

TEST_F(AllocateDeviceNode, SaysNothing) {
    EXPECT_EQ(logged_by([] {
                  TreeOwner tree;
                  allocate_device_node(&tree.head);
                  allocate_device_node(&tree.head);
              }),
              Messages{});
}

}  // namespace
}  // namespace diag::test
