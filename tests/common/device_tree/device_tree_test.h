// SPDX-License-Identifier: MIT
// What the tests of the device tree share.
#ifndef TESTS_COMMON_DEVICE_TREE_DEVICE_TREE_TEST_H
#define TESTS_COMMON_DEVICE_TREE_DEVICE_TREE_TEST_H

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "device_tree.h"

#include "tests/support/free_tree.h"
#include "tests/support/logged_messages.h"
#include "tests/support/xml_text.h"

namespace diag::test {

// Puts the process-wide state back before and after each test.
class DeviceTreeTest : public testing::Test {
  protected:
    DeviceTreeTest();
    ~DeviceTreeTest() override;
};

// A tree with one chip that registers are read into.
class Chip {
  public:
    Chip();

    uint32_t read_xml(std::string_view reg_element);
    uint32_t read_line(std::string line);
    uint32_t read_lines(const std::vector<std::string> &lines);  // up to the first failure

    device_node *node() { return node_; }
    reg_def *reg(size_t index = 0);  // null when there are not that many
    bit_def *bit(size_t index = 0);  // of the first register

  private:
    TreeOwner tree_;
    device_node *node_;
};

// One mux, with all that is read into it.
class Mux {
  public:
    Mux() = default;
    ~Mux();
    Mux(const Mux &) = delete;
    Mux &operator=(const Mux &) = delete;

    uint32_t read_xml(std::string_view content);  // of the element
    uint32_t read_text(std::string text);

    mux_entry entry{};
};

// The record at `index`, or null.
template <typename Record>
Record *at(Record *first, size_t index) {
    while (first != nullptr && index-- > 0) {
        first = first->next;
    }
    return first;
}

template <typename Record>
size_t length_of(const Record *first) {
    size_t length = 0;
    for (; first != nullptr; first = first->next) {
        length++;
    }
    return length;
}

// The registers of a list, elements that are not filled left out.
std::vector<reg_def *> registers_of(const reg_list *first);

// What parse_reg_config, or its like, logs for a chip of its own.
Messages logged_for_xml(const std::string &reg_element);
Messages logged_for_lines(const std::vector<std::string> &lines);

std::string repeat(std::string_view text, size_t times);

}  // namespace diag::test

#endif
