// SPDX-License-Identifier: MIT
#ifndef TESTS_SUPPORT_XML_TEXT_H
#define TESTS_SUPPORT_XML_TEXT_H

#include <libxml/tree.h>
#include <memory>
#include <string_view>

namespace diag::test {

// A document parsed from text; fails the test loudly when it is no XML.
class XmlText {
  public:
    explicit XmlText(std::string_view text);

    xmlNode *root() const { return xmlDocGetRootElement(document_.get()); }

  private:
    struct Free {
        void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
    };
    std::unique_ptr<xmlDoc, Free> document_;
};

}  // namespace diag::test

#endif
