// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "diag_util.h"

#include "tests/common/library_test.h"
#include "tests/support/xml_text.h"

using diag::test::printed;
using diag::test::XmlText;

namespace {

class PrintElement : public diag::test::LibraryTest {
  protected:
    PrintElement() { set_verb_level(3); }
};

std::string print(const char *xml) {
    const XmlText text(xml);
    return printed([&] { print_element(text.root()); });
}

TEST_F(PrintElement, WalksChildrenBeforeSiblings) {
    EXPECT_EQ(print("<a><b>one</b><c><d/>two</c></a>"),
              "node type: a node type: b = one\nnode type: c node type: d = two\n");
}

TEST_F(PrintElement, TextThatBeginsWithALineEndIsALineEnd) {
    EXPECT_EQ(print("<a>\n  <b>x</b>\n</a>"), "node type: a \nnode type: b = x\n\n");
    EXPECT_EQ(print("<a>&#13;x</a>"), "node type: a \n");
    EXPECT_EQ(print("<a> \n</a>"), "node type: a =  \n\n");
}

TEST_F(PrintElement, OtherNodesPrintNothing) {
    EXPECT_EQ(print("<a><!-- no --><?no no?><![CDATA[no]]></a>"), "node type: a ");
}

TEST_F(PrintElement, SiblingsOfTheFirstNodeAreWalked) {
    const XmlText text("<a><b/><c/></a>");
    EXPECT_EQ(printed([&] { print_element(text.root()->children); }), "node type: b node type: c ");
    EXPECT_EQ(printed([&] { print_element(text.root()->children->next); }), "node type: c ");
}

TEST_F(PrintElement, NothingIsPrintedForNoNode) {
    EXPECT_EQ(printed([] { print_element(nullptr); }), "");
}

TEST_F(PrintElement, IsSilentBelowLevel3) {
    set_verb_level(2);
    EXPECT_EQ(print("<a>x</a>"), "");
}

TEST_F(PrintElement, PercentSignsAreText) {
    EXPECT_EQ(print("<a>100%s</a>"), "node type: a = 100%s\n");
}

TEST_F(PrintElement, LongTextIsCutWithItsLineEnd) {
    const std::string content(2000, 'y');
    EXPECT_EQ(print(("<a>" + content + "</a>").c_str()),
              "node type: a = " + content.substr(0, 1021));
}

TEST_F(PrintElement, EntityReferencesAreNotFollowed) {
    // What a reference leads to is followed by the other entities, and these refer back to it.
    EXPECT_EQ(print("<!DOCTYPE a [<!ENTITY x 'x'><!ENTITY y '&x;&x;'>]><a>&y;<b>&x;</b></a>"),
              "node type: a node type: b ");
}

}  // namespace
