// SPDX-License-Identifier: MIT
#include "diags/description/xml_complaint.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <string>

namespace diag::description {
namespace {

void parse(const std::string &text) {
    xmlFreeDoc(xmlReadMemory(text.data(), static_cast<int>(text.size()), "x.xml", nullptr, 0));
}

TEST(XmlComplaint, IsEmptyForAGoodDocument) {
    const XmlComplaint complaint;
    parse("<config/>");
    EXPECT_EQ(complaint.text(), "");
}

TEST(XmlComplaint, IsTheFirstWithItsLine) {
    const XmlComplaint complaint;
    parse("<config>\n<a></b>\n<c></d>");
    EXPECT_EQ(complaint.text(), "2: Opening and ending tag mismatch: a line 2 and b");
}

TEST(XmlComplaint, IsOfItsOwnTime) {
    {
        const XmlComplaint earlier;
        parse("<config>");
        EXPECT_NE(earlier.text(), "");
    }
    const XmlComplaint later;
    EXPECT_EQ(later.text(), "");
}

}  // namespace
}  // namespace diag::description
