// SPDX-License-Identifier: MIT
// The commands that look at a description and touch no board: tree, regs.
#include "tests/diagctl/diagctl_test.h"
#include "tests/support/fake_tool.h"

namespace diag::test {
namespace {

using Describing = DiagctlTest;

TEST_F(Describing, TreeDrawsWithUnicodeLinesInAUtf8Locale) {
    const ProgramResult result = diagctl({"tree", example()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output.rfind("host\n├── /dev/i2c-1\n│   ├── 0x31  SYS_CPLD (CPLD)\n", 0), 0U)
        << result.output;
    EXPECT_NE(result.output.find("└── [0x02] mux 0x71, register 0x00\n"), std::string::npos);
}

TEST_F(Describing, TreeDrawsWithAsciiLinesElsewhere) {
    const ProgramResult result = diagctl({"tree", example()}, {"LC_ALL=C"});
    EXPECT_EQ(result.output.rfind("host\n|-- /dev/i2c-1\n|   |-- 0x31  SYS_CPLD (CPLD)\n", 0), 0U)
        << result.output;
    for (const char c : result.output) {
        EXPECT_LT(static_cast<unsigned char>(c), 0x80);
    }
}

TEST_F(Describing, TreeOfNoChipsIsTheHostAlone) {
    const ProgramResult result = diagctl({"tree", diagctl_data("good_no_chips.xml")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "host\n");
}

TEST_F(Describing, RegsListsTheRegistersOfAChip) {
    const ProgramResult result = diagctl({"regs", diagctl_data("good_test_roles.xml"), "pump"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output,
              "OFFSET  NAME  BITS  ACCESS  DEFAULT  MASK  TEST\n"
              "0x00    R0    8     RW      0x00     0xff  interrupt setup\n"
              "0x01    R1    8     RW      0x00     0xff  interrupt status\n"
              "0x02    R2    8     RW      0x00     0xff  A, mode 2\n"
              "0x03    R3    8     RW      0x00     0xff  A, mode 2\n"
              "0x04    R4    8     RW      0x00     0xff  B\n"
              "0x05    R5    8     RW      0x00     0xff  C\n"
              "0x06    R6    8     RW      0x00     0xff  -\n"
              "0x07    R7    8     RW      0x00     0xff  interrupt setup; B\n"
              "0x08    R8    8     RW      0x00     0xff  -\n");
}

TEST_F(Describing, RegsShowsFieldsAndNamedValuesWhenAsked) {
    const std::string file = diagctl_data("good_accesses.xml");
    const std::string without = diagctl({"regs", file, "PUMP"}).output;
    EXPECT_EQ(without.find("SPEED"), std::string::npos);
    for (const char *option : {"-b", "--bits"}) {
        const std::string with = diagctl({"regs", option, file, "PUMP"}).output;
        EXPECT_NE(with.find("        5:4  SPEED  RW  default 0x0\n"
                            "               0x0 = off\n"
                            "               0x1 = Slow\n"),
                  std::string::npos)
            << with;
    }
}

TEST_F(Describing, NeedsNoToolAndLeavesNothingBehind) {
    const FakeTool tool("i2ctool");
    for (const Words &words : {Words{"tree", example()}, Words{"regs", example(), "SYS_CPLD"}}) {
        EXPECT_EQ(diagctl(words).status, 0);
    }
    EXPECT_TRUE(tool.calls().empty());
    EXPECT_TRUE(left_nothing_behind());
}

TEST_F(Describing, RefusesABadDescriptionInOneLine) {
    const std::string file = diagctl_data("bad_no_chip_type.xml");
    for (const Words &words : {Words{"tree", file}, Words{"regs", file, "X"},
                               Words{"read", file, "X"}, Words{"write", file, "X.Y", "1"}}) {
        const ProgramResult result = diagctl(words);
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "diagctl: " + file + ":4: chip \"PUMP\": no chip-type\n");
    }
}

TEST_F(Describing, RefusesAnUnknownChipInOneLine) {
    const ProgramResult result = diagctl({"regs", example(), "SYS_CLPD"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "diagctl: no chip \"SYS_CLPD\" in " + example() +
                                 "; nearest: SYS_CPLD, PORT_CPLD, TPM\n");
}

TEST_F(Describing, VerboseShowsWhatTheLibrarySaysOnStandardError) {
    const ProgramResult quiet = diagctl({"tree", example()});
    const ProgramResult loud = diagctl({"-v", "tree", example()});
    EXPECT_EQ(loud.output, quiet.output);
    EXPECT_EQ(loud.errors, "Loading device file \n");
}

}  // namespace
}  // namespace diag::test
