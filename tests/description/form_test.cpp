// SPDX-License-Identifier: MIT
#include "diags/description/form.h"

#include <gtest/gtest.h>

namespace diag::description {
namespace {

TEST(Form, XmlBeginsWithATag) {
    EXPECT_EQ(form_of("<?xml version=\"1.0\"?>"), Form::kXml);
    EXPECT_EQ(form_of(" \t\r\n<config>"), Form::kXml);
}

TEST(Form, AByteOrderMarkMeansXml) {
    for (const char *start : {"\xEF\xBB\xBF<config>", "\xFF\xFE<", "\xFE\xFF"}) {
        EXPECT_EQ(form_of(start), Form::kXml);
    }
}

TEST(Form, NothingToReadIsLeftToTheXmlParser) {
    EXPECT_EQ(form_of(""), Form::kXml);
    EXPECT_EQ(form_of(" \n\n"), Form::kXml);
}

TEST(Form, AnythingElseIsText) {
    for (const char *start :
         {"# C - CHIP", "=====\n", "OPTIONAL_MODULE_SUPPORT : 2", "\n\nC | ", "a < b", "\xEF"}) {
        EXPECT_EQ(form_of(start), Form::kText) << start;
    }
}

}  // namespace
}  // namespace diag::description
