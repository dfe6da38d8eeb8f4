// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/xml.h"

#include <cstring>

namespace diag {

const char *xml_name(const xmlNode &element) {
    return element.name != nullptr ? reinterpret_cast<const char *>(element.name) : "";
}

bool xml_name_is(const xmlNode &element, const char *name) {
    return std::strcmp(xml_name(element), name) == 0;
}

bool xml_name_starts(const xmlNode &element, const char *word) {
    const char *name = xml_name(element);
    return std::strncmp(name, word, std::strlen(name)) == 0;
}

const char *xml_first_text(const xmlNode &element) {
    const xmlNode *child = element.children;
    if (child == nullptr || child->type != XML_TEXT_NODE || child->content == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<const char *>(child->content);
}

xmlNode *xml_first_element(xmlNode *node) {
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        node = node->next;
    }
    return node;
}

}  // namespace diag
