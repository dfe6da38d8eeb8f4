// SPDX-License-Identifier: MIT
#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "diag_util.h"

namespace {

TEST(IsPrintable, IsTrueFromBlankToTilde) {
    for (int c = 0; c < 256; c++) {
        EXPECT_EQ(is_printable(static_cast<char>(c)), c >= 0x20 && c <= 0x7E) << c;
    }
}

TEST(RemoveTabs, DeletesTabsAndNothingElse) {
    char text[] = "\ta\t b\n\tc\t\t";
    EXPECT_EQ(remove_tabs(text), text);
    EXPECT_STREQ(text, "a b\nc");
    char tabs[] = "\t\t";
    EXPECT_STREQ(remove_tabs(tabs), "");
    char none[] = "abc";
    EXPECT_STREQ(remove_tabs(none), "abc");
}

TEST(TrimAllSpaces, DeletesBlanksAndNothingElse) {
    char text[] = "  a b\t c\n ";
    EXPECT_EQ(trim_all_spaces(text), 0);
    EXPECT_STREQ(text, "ab\tc\n");
    char blanks[] = "   ";
    trim_all_spaces(blanks);
    EXPECT_STREQ(blanks, "");
}

TEST(TrimSpaces, TrimsBothEndsInPlace) {
    struct Case {
        const char *text;
        const char *trimmed;
    };
    constexpr Case kCases[] = {
        {"", ""},
        {" ", ""},
        {"    ", ""},
        {"a", "a"},
        {"a  ", "a"},
        {" a", "a"},
        {" ab ", "ab"},
        {"a b", "a b"},
        {" a  b  ", "a  b"},
        {"\t a", "\t a"},
        {"a\t ", "a\t"},
        // Two or more leading blanks leave the tail up to its old end.
        {"  ab", "aba"},
        {"  a", "a "},
        {"   ab", "ab a"},
        {"  abcd  ", "abcdc"},
        {"   x  ", "x  "},
    };
    for (const Case &test : kCases) {
        std::string text = test.text;
        trim_spaces(text.data());
        EXPECT_STREQ(text.c_str(), test.trimmed) << "'" << test.text << "'";
    }
}

TEST(SkipWs, AdvancesTheCallersPointer) {
    char text[] = " \t\n\v\f\rab ";
    char *at = text;
    EXPECT_EQ(skip_ws(&at), text + 6);
    EXPECT_EQ(at, text + 6);
    EXPECT_EQ(skip_ws(&at), text + 6);
}

TEST(SkipWs, StopsAtTheEnd) {
    char text[] = "  ";
    char *at = text;
    EXPECT_EQ(skip_ws(&at), text + 2);
    EXPECT_EQ(at, text + 2);
}

TEST(SkipWs, TakesBytesAbove127) {
    char text[] = " \xE4";
    char *at = text;
    EXPECT_EQ(skip_ws(&at), text + 1);
}

TEST(Strncmpi, ComparesOneCharacterMoreThanAsked) {
    struct Case {
        const char *a;
        const char *b;
        unsigned int n;
        int result;
    };
    constexpr Case kCases[] = {
        // An empty text.
        {"", "", 0, 0},
        {"", "a", 0, 0},
        {"a", "", 0, 0},
        {"", "", 3, 0},
        {"", "a", 3, 1},
        {"a", "", 3, 1},
        // Nothing asked: the first characters, exactly.
        {"abc", "axx", 0, 0},
        {"abc", "Abc", 0, 1},
        {"abc", "xbc", 0, 1},
        // A difference among the first n.
        {"ax", "by", 2, -1},
        {"abx", "aby", 3, -1},
        {"a1", "a2", 5, -1},
        // One text ends.
        {"ab", "abz", 2, 0},
        {"abz", "ab", 2, 0},
        {"ab", "abz", 3, 1},
        {"abz", "ab", 3, 1},
        {"ab", "AB", 9, 0},
        {"aB", "Ab", 2, 0},
        {"a", "A", 1, 0},
        // n have matched: one more, exactly.
        {"abc", "abd", 2, 1},
        {"abC", "abc", 2, 1},
        {"ABc", "abc", 2, 0},
        {"ABcX", "abcY", 2, 0},
        {"abc", "ABC", 1, 1},
        {"abc", "AbC", 1, 0},
    };
    for (const Case &test : kCases) {
        EXPECT_EQ(strncmpi(test.a, test.b, test.n), test.result)
            << test.a << " and " << test.b << ", " << test.n;
    }
}

TEST(Strncmpi, TakesBytesAbove127) {
    EXPECT_EQ(strncmpi("\xE4", "\xE4", 1), 0);
    EXPECT_EQ(strncmpi("\xE4", "\xF6", 1), -1);
}

TEST(FillWith, RepeatsTheCharacter) {
    for (const char c : {'+', '-', '*', '=', '.', ' '}) {
        for (int count = 1; count <= 170; count++) {
            EXPECT_EQ(fillWith(c, count), std::string(static_cast<size_t>(count), c));
        }
    }
}

TEST(FillWith, UnderscoresAreOneShortAndBarsTwo) {
    for (int count = 1; count <= 170; count++) {
        EXPECT_EQ(fillWith('_', count), std::string(static_cast<size_t>(count - 1), '_'));
        EXPECT_EQ(fillWith('|', count),
                  std::string(static_cast<size_t>(std::max(count - 2, 0)), '|'));
    }
}

TEST(FillWith, OtherCharactersGiveBlanks) {
    for (const char c : {'x', '\0', '#', '\xE4'}) {
        EXPECT_STREQ(fillWith(c, 3), "   ");
    }
}

TEST(FillWith, CountsOutOfRangeGiveTheEmptyText) {
    for (const char c : {'-', '_', '|', ' ', 'x'}) {
        for (const int count : {0, -1, 171, -2147483647 - 1, 2147483647}) {
            EXPECT_STREQ(fillWith(c, count), "");
        }
    }
}

TEST(FillWith, AnswersTheSameConstantEachTime) {
    EXPECT_EQ(fillWith('-', 20), fillWith('-', 20));
    EXPECT_EQ(fillWith('-', 20) + 10, fillWith('-', 10));
}

}  // namespace
