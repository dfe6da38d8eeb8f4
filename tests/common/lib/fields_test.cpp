// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/fields.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using diag::Fields;
using List = std::vector<std::string>;

List split(std::string text, char separator) {
    Fields fields(text.data(), separator);
    List list;
    while (const char *field = fields.next()) {
        list.emplace_back(field);
    }
    EXPECT_EQ(fields.next(), nullptr) << "the end stays the end";
    return list;
}

TEST(Fields, RunsOfSeparatorsCountAsOne) {
    EXPECT_EQ(split("a|b||c|||d", '|'), (List{"a", "b", "c", "d"}));
}

TEST(Fields, SeparatorsAtTheEndsMakeNoFields) {
    EXPECT_EQ(split("||a|b||", '|'), (List{"a", "b"}));
}

TEST(Fields, TextWithoutFieldsHasNone) {
    EXPECT_EQ(split("", '|'), List{});
    EXPECT_EQ(split("|||", '|'), List{});
}

TEST(Fields, BlanksAreFieldsToo) {
    EXPECT_EQ(split(" |a ", '|'), (List{" ", "a "}));
}

TEST(Fields, OneCharacterSeparatesAndNoOther) {
    EXPECT_EQ(split("a|b:c,:d", ':'), (List{"a|b", "c,", "d"}));
}

TEST(Fields, TheCallersTextIsCutInPlace) {
    char text[] = "ab|cd";
    Fields fields(text, '|');
    EXPECT_EQ(fields.next(), text);
    EXPECT_EQ(fields.next(), text + 3);
    EXPECT_EQ(text[2], '\0');
}

TEST(Fields, TrimmedFieldsLoseBlanks) {
    char text[] = " a | b|c |   |d";
    Fields fields(text, '|');
    for (const char *field : {"a", "b", "c", "", "d"}) {
        EXPECT_STREQ(fields.next_trimmed(), field);
    }
    EXPECT_EQ(fields.next_trimmed(), nullptr);
}

TEST(Fields, RestKeepsItsSeparators) {
    char text[] = "a||b|c|";
    Fields fields(text, '|');
    EXPECT_STREQ(fields.next(), "a");
    EXPECT_STREQ(fields.rest(), "b|c|");
    EXPECT_STREQ(fields.next(), "b");
    EXPECT_STREQ(fields.next(), "c");
    EXPECT_EQ(fields.rest(), nullptr);
}

TEST(CutLineEnd, EndsTheLineAtItsFirstLineFeed) {
    struct Case {
        const char *line;
        const char *cut;
    };
    constexpr Case kCases[] = {{"a\n", "a"}, {"a", "a"},      {"", ""},
                               {"\n", ""},   {"a\nb\n", "a"}, {"a\r\n", "a\r"}};
    for (const Case &test : kCases) {
        std::string line = test.line;
        diag::cut_line_end(line.data());
        EXPECT_STREQ(line.c_str(), test.cut);
    }
}

}  // namespace
