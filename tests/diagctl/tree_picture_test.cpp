// SPDX-License-Identifier: MIT
#include "diags/diagctl/tree_picture.h"

#include <clocale>

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

TEST(ChipTree, DrawsSharedMuxesOnceAndOtherBusesByName) {
    const Description description(test::diagctl_data("good_tree.xml"), 0);
    EXPECT_EQ(draw_tree(chip_tree(description.chips()), LineStyle::kUnicode),
              "host\n"
              "├── /dev/i2c-1\n"
              "│   ├── 0x31  A (CPLD)\n"
              "│   └── mux 0x70, register 0x00\n"
              "│       ├── [0x01] 0x32  B (CPLD)\n"
              "│       └── [0x02] mux 0x71, register 0x00\n"
              "│           ├── [0x01] 0x32  C (CPLD)\n"
              "│           └── [0x02] 0x33  D (CPLD)\n"
              "├── mem\n"
              "│   └── mux 0xfe000000, register 0x00\n"
              "│       └── [0x04] /dev/i2c-9 0x34  E (CPLD)\n"
              "├── pci\n"
              "│   └── 0x00  F (CPLD)\n"
              "└── unknown\n"
              "    └── 0x00  G (CPLD)\n");
}

TEST(DrawTree, HasAnAsciiForm) {
    const Branch root{"host", {{"a", {{"b", {}}, {"c", {}}}}, {"d", {{"e", {}}}}}};
    EXPECT_EQ(draw_tree(root, LineStyle::kAscii),
              "host\n"
              "|-- a\n"
              "|   |-- b\n"
              "|   `-- c\n"
              "`-- d\n"
              "    `-- e\n");
}

TEST(LineStyleOfLocale, IsUnicodeForUtf8Only) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
    EXPECT_EQ(line_style_of_locale(), LineStyle::kAscii);
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) {
        GTEST_SKIP() << "no UTF-8 locale on this machine";
    }
    EXPECT_EQ(line_style_of_locale(), LineStyle::kUnicode);
}

}  // namespace
}  // namespace diag::diagctl
