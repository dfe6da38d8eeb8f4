// SPDX-License-Identifier: MIT
#include <libxml/tree.h>

#include "diag_util.h"

namespace {

const char *text_of(const xmlChar *text) {
    return text != nullptr ? reinterpret_cast<const char *>(text) : "";
}

void print_node(const xmlNode &node) {
    if (node.type == XML_ELEMENT_NODE) {
        diag_print(3, "node type: %s ", text_of(node.name));
    } else if (node.type == XML_TEXT_NODE) {
        const char *content = text_of(node.content);
        if (content[0] == '\r' || content[0] == '\n') {
            diag_print(3, "\n");
        } else {
            diag_print(3, "= %s\n", content);
        }
    }
}

}  // namespace

void print_element(xmlNode *node) {
    for (; node != nullptr; node = node->next) {
        print_node(*node);
        // As deep as the document, which the parser keeps to 256 levels. What an entity stands for
        // is not walked again at each reference: nested entities multiply without bound.
        if (node->type != XML_ENTITY_REF_NODE) {
            print_element(node->children);
        }
    }
}
