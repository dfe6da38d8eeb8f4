// SPDX-License-Identifier: MIT
// Loading description files in tests.
#ifndef TESTS_COMMON_DEVICE_TREE_LOADER_TEST_H
#define TESTS_COMMON_DEVICE_TREE_LOADER_TEST_H

#include <gtest/gtest.h>
#include <libxml/tree.h>
#include <memory>
#include <string>
#include <string_view>

#include "tests/common/device_tree/device_tree_test.h"
#include "tests/support/temporary_folder.h"

namespace diag::test {

struct FreeDocument {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};

// One load, and all that it answers. What is "not touched" below starts at these values.
struct Load {
    TreeOwner tree;
    std::unique_ptr<xmlDoc, FreeDocument> document;
    uint8_t busbroker_supported = 77;
    uint8_t opticstool_present = 77;
    socket_cfg socket{};
    uint32_t status = 0;

    void from_path(const char *path, int is_xml = 1) {
        xmlDoc *parsed = nullptr;
        status = load_device_tree(path, &tree.head, is_xml, &parsed, &busbroker_supported, &socket,
                                  &opticstool_present);
        document.reset(parsed);
    }

    void from_text(std::string_view text) {
        const TemporaryFolder folder;
        from_path(folder.write("board.xml", text).c_str());
    }

    size_t chips() const {
        size_t count = 0;
        for (const device_tree *element = &tree.head; element != nullptr; element = element->next) {
            count += element->node != nullptr ? 1 : 0;
        }
        return count;
    }
};

// As most tests need it: loaded from the content of a root element.
struct Loaded : Load {
    explicit Loaded(const std::string &content) { from_text("<config>" + content + "</config>"); }
};

inline constexpr char kLoading[] = "Loading device file \n";

// What loading the text logs, but for the line that each load begins with.
inline Messages logged_for_text(const std::string &text) {
    Messages messages = logged_by([&] { Load().from_text(text); });
    EXPECT_EQ(messages.front(), (Message{1, kLoading}));
    messages.erase(messages.begin());
    return messages;
}

inline Messages logged_for(const std::string &content) {
    return logged_for_text("<config>" + content + "</config>");
}

}  // namespace diag::test

#endif
