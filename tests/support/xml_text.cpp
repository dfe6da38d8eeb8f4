// SPDX-License-Identifier: MIT
#include "tests/support/xml_text.h"

#include <libxml/parser.h>
#include <stdexcept>

namespace diag::test {

XmlText::XmlText(std::string_view text)
    : document_(xmlReadMemory(text.data(), static_cast<int>(text.size()), "test.xml", nullptr, 0)) {
    if (document_ == nullptr) {
        throw std::invalid_argument("the test's text is no XML");
    }
}

}  // namespace diag::test
