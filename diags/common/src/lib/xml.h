// SPDX-License-Identifier: MIT
// Walking an XML document: the element children of an element, and the text in it.
#ifndef DIAGS_COMMON_SRC_LIB_XML_H
#define DIAGS_COMMON_SRC_LIB_XML_H

#include <libxml/tree.h>

namespace diag {

// The element's name, never null.
const char *xml_name(const xmlNode &element);

bool xml_name_is(const xmlNode &element, const char *name);

// Whether the element's name is the start of `word`, or all of it.
bool xml_name_starts(const xmlNode &element, const char *word);

// The text of the element's first child, or null when that is no text.
const char *xml_first_text(const xmlNode &element);

// The first node of the list beginning with `node` that is an element, or null.
xmlNode *xml_first_element(xmlNode *node);

// for (xmlNode &child : XmlElements(first)): the elements of a list of siblings.
class XmlElements {
  public:
    class Iterator {
      public:
        explicit Iterator(xmlNode *node) : node_(xml_first_element(node)) {}
        xmlNode &operator*() const { return *node_; }
        Iterator &operator++() {
            node_ = xml_first_element(node_->next);
            return *this;
        }
        bool operator!=(const Iterator &other) const { return node_ != other.node_; }

      private:
        xmlNode *node_;
    };

    explicit XmlElements(xmlNode *first) : first_(first) {}
    Iterator begin() const { return Iterator(first_); }
    Iterator end() const { return Iterator(nullptr); }

  private:
    xmlNode *first_;
};

}  // namespace diag

#endif
