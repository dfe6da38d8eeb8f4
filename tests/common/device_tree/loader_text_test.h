// SPDX-License-Identifier: MIT
// Loading text descriptions in tests.
#ifndef TESTS_COMMON_DEVICE_TREE_LOADER_TEXT_TEST_H
#define TESTS_COMMON_DEVICE_TREE_LOADER_TEXT_TEST_H

#include <string>
#include <string_view>
#include <vector>

#include "tests/common/device_tree/loader_test.h"

namespace diag::test {

// One load of a text, from a file of its own.
struct TextLoad : Load {
    TextLoad() = default;
    explicit TextLoad(std::string_view text) { load(text); }

    void load(std::string_view text) {
        const TemporaryFolder folder;
        from_path(folder.write("board.txt", text).c_str(), 0);
    }

    // The node of the chip at `index`, or null.
    device_node *chip(size_t index = 0) {
        device_tree *element = at(&tree.head, index);
        return element != nullptr ? element->node : nullptr;
    }

    // The names of the chips in the order of the tree; "-" for one without a name.
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const device_tree *element = &tree.head; element != nullptr; element = element->next) {
            if (element->node != nullptr) {
                result.emplace_back(element->node->name != nullptr ? element->node->name : "-");
            }
        }
        return result;
    }
};

// What loading the text logs, but for the line that each load begins with.
inline Messages logged_for_description(const std::string &text) {
    Messages messages = logged_by([&] { TextLoad{text}; });
    EXPECT_EQ(messages.front(), (Message{1, kLoading}));
    messages.erase(messages.begin());
    return messages;
}

// A "C" line of a chip that answers on the LPC bus; nothing is looked up or run for it.
inline std::string chip_line(const std::string &name) {
    return "C | CPLD | 40 | " + name + " | lpc | 0 | - | ID | 0 | ff\n";
}

inline Messages operator+(Messages first, const Messages &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

using Names = std::vector<std::string>;

}  // namespace diag::test

#endif
