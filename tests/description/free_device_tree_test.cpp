// SPDX-License-Identifier: MIT
// What is not given back, or given back twice, is for the address sanitizer to find.
#include "diags/description/free_device_tree.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

namespace diag::description {
namespace {

template <typename Record>
Record *made() {
    return static_cast<Record *>(std::calloc(1, sizeof(Record)));
}

reg_def *made_register() {
    auto *reg = made<reg_def>();
    reg->name = strdup("CTRL");
    reg->version = strdup("1");
    reg->test_desc = strdup("walking ones");
    reg->bits = made<bit_def>();
    reg->bits->name = strdup("LED");
    reg->bits->infos = made<bit_info>();
    reg->bits->infos->desc = strdup("amber");
    reg->bits->infos->next = made<bit_info>();
    reg->bits->next = made<bit_def>();
    return reg;
}

device_node *made_node() {
    auto *node = made<device_node>();
    node->name = strdup("CPLD");
    node->chip_id = strdup("id");
    node->dev_id = strdup("dev");
    node->reg_list = made<reg_list>();
    node->reg_list->reg = made_register();
    node->reg_list->next = made<reg_list>();
    node->test_regs_a = made<reg_list>();
    node->test_regs_a->reg = node->reg_list->reg;
    return node;
}

TEST(FreeDeviceTree, LeavesTheHeadEmpty) {
    device_tree head{};
    head.node = made_node();
    head.next = made<device_tree>();
    head.next->node = made_node();
    head.next->next = made<device_tree>();
    free_device_tree(head);
    EXPECT_EQ(head.node, nullptr);
    EXPECT_EQ(head.next, nullptr);
}

TEST(FreeDeviceTree, TakesAnEmptyTree) {
    device_tree head{};
    free_device_tree(head);
    EXPECT_EQ(head.next, nullptr);
}

TEST(FreeDeviceTree, FreesABusThatMuxesShareOnce) {
    device_tree head{};
    head.node = made<device_node>();
    mux_entry *first = head.node->mux_list = made<mux_entry>();
    first->bus = strdup("/dev/i2c-1");
    first->next = made<mux_entry>();
    first->next->bus = first->bus;
    first->next->next = made<mux_entry>();
    first->next->next->bus = strdup("gpio");
    free_device_tree(head);
    EXPECT_EQ(head.node, nullptr);
}

}  // namespace
}  // namespace diag::description
