// SPDX-License-Identifier: MIT
// How diagctl takes its command line.
#include "tests/diagctl/diagctl_test.h"

namespace diag::test {
namespace {

using CommandLine = DiagctlTest;

TEST_F(CommandLine, HelpHasExamplesForEveryCommand) {
    for (const char *command : {"tree", "regs", "read", "write", "convert", "broker", "run"}) {
        const ProgramResult result = diagctl({command, "--help"});
        EXPECT_EQ(result.status, 0);
        EXPECT_NE(result.output.find("Example"), std::string::npos) << command;
        EXPECT_EQ(result.errors, "");
    }
    const ProgramResult all = diagctl({"--help"});
    EXPECT_EQ(all.status, 0);
    EXPECT_NE(all.output.find("Examples:"), std::string::npos);
    EXPECT_NE(all.output.find("Exit status:"), std::string::npos);
}

TEST_F(CommandLine, VersionIsOneLine) {
    const ProgramResult result = diagctl({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output.rfind("diagctl ", 0), 0U);
    EXPECT_TRUE(is_one_line(result.output));
}

TEST_F(CommandLine, ThatCannotBeUsedEndsWithStatus2AndOneLine) {
    const std::vector<Words> lines = {
        {},
        {"--nonsense"},
        {"nonsense"},
        {"tree"},
        {"tree", "a.xml", "b.xml"},
        {"tree", "a.xml", "--nonsense"},
        {"regs", "a.xml"},
        {"read", "a.xml"},
        {"write", "a.xml", "CHIP.REG"},
        {"write", "a.xml", "CHIP.REG", "1", "2"},
        {"convert", "a.xml"},
        {"convert", "a.xml", "--to"},
        {"convert", "--to", "text"},
        {"convert", "a.xml", "b.xml", "--to", "text"},
        {"convert", "a.xml", "--to", "text", "--output"},
        {"convert", "a.xml", "--to", "xml"},
        {"convert", "a.xml", "--to", "text", "--json"},
        {"--fresh", "tree", "a.xml"},
        {"--board"},
        {"run", "--", "true"},
        {"--board", "b", "run"},
        {"--board", "b", "run", "--"},
        {"--board", "b", "run", "true"},
        {"--board", "b", "run", "--json", "--", "true"},
    };
    for (const Words &line : lines) {
        const ProgramResult result = diagctl(line);
        EXPECT_EQ(result.status, 2) << result.errors;
        EXPECT_EQ(result.errors.rfind("diagctl: ", 0), 0U) << result.errors;
        EXPECT_TRUE(is_one_line(result.errors)) << result.errors;
    }
}

TEST_F(CommandLine, NamesTheNearestCommand) {
    EXPECT_EQ(diagctl({"raed", "a.xml"}).errors,
              "diagctl: no command \"raed\"; nearest: read, tree, regs; see diagctl --help\n");
}

TEST_F(CommandLine, TakesGlobalOptionsBeforeAndBehindTheCommand) {
    const std::string board = example_board("edge_router.board");
    const std::string expected = on_board({"read", example(), "SYS_CPLD.BOARD_ID"}).output;
    EXPECT_NE(expected, "");
    EXPECT_EQ(diagctl({"read", "--board", board, example(), "SYS_CPLD.BOARD_ID"}).output, expected);
    EXPECT_EQ(diagctl({"read", example(), "SYS_CPLD.BOARD_ID", "--board=" + board}).output,
              expected);
    EXPECT_EQ(diagctl({"--json", "tree", example()}).output,
              diagctl({"tree", example(), "--json"}).output);
}

TEST_F(CommandLine, ADescriptionMayBeNamedLikeAnOption) {
    EXPECT_EQ(diagctl({"tree", "--", "--json"}).errors,
              "diagctl: --json: No such file or directory\n");
}

}  // namespace
}  // namespace diag::test
