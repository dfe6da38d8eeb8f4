// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/xml.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/xml_text.h"

namespace {

using diag::test::XmlText;

std::vector<std::string> names_in(const char *xml) {
    const XmlText text(xml);
    std::vector<std::string> names;
    for (const xmlNode &element : diag::XmlElements(text.root()->children)) {
        names.emplace_back(diag::xml_name(element));
    }
    return names;
}

TEST(XmlElements, AreTheElementsAmongTheSiblings) {
    EXPECT_EQ(names_in("<r>text<a/><!-- c -->\n<b><x/></b><?p i?><a/></r>"),
              (std::vector<std::string>{"a", "b", "a"}));
    EXPECT_TRUE(names_in("<r> text </r>").empty());
    EXPECT_TRUE(names_in("<r/>").empty());
}

TEST(XmlFirstElement, PassesOverWhatIsNone) {
    const XmlText text("<r>text<a/></r>");
    EXPECT_STREQ(diag::xml_name(*diag::xml_first_element(text.root()->children)), "a");
    EXPECT_EQ(diag::xml_first_element(text.root()->children->next->next), nullptr);
    EXPECT_EQ(diag::xml_first_element(nullptr), nullptr);
}

TEST(XmlName, IsComparedWholeOrAsTheStartOfAWord) {
    const XmlText text("<regs/>");
    const xmlNode &element = *text.root();
    EXPECT_TRUE(diag::xml_name_is(element, "regs"));
    EXPECT_FALSE(diag::xml_name_is(element, "reg"));
    EXPECT_FALSE(diag::xml_name_is(element, "regset"));
    EXPECT_FALSE(diag::xml_name_is(element, "Regs"));
    EXPECT_TRUE(diag::xml_name_starts(element, "regs"));
    EXPECT_TRUE(diag::xml_name_starts(element, "regset"));
    EXPECT_FALSE(diag::xml_name_starts(element, "reg"));
    EXPECT_FALSE(diag::xml_name_starts(element, "xregs"));
}

TEST(XmlName, IsEmptyForANodeWithoutOne) {
    xmlNode nameless{};
    EXPECT_STREQ(diag::xml_name(nameless), "");
    EXPECT_FALSE(diag::xml_name_is(nameless, "a"));
}

TEST(XmlFirstText, IsTheTextOfTheFirstChild) {
    struct Case {
        const char *xml;
        const char *text;  // null: none
    };
    constexpr Case kCases[] = {{"<a>12</a>", "12"},
                               {"<a> 12 </a>", " 12 "},
                               {"<a>12<b/>34</a>", "12"},
                               {"<a/>", nullptr},
                               {"<a></a>", nullptr},
                               {"<a><b>12</b></a>", nullptr},
                               {"<a><!-- c -->12</a>", nullptr}};
    for (const Case &test : kCases) {
        const XmlText text(test.xml);
        EXPECT_STREQ(diag::xml_first_text(*text.root()), test.text) << test.xml;
    }
}

}  // namespace
