// SPDX-License-Identifier: MIT
#include "diags/diagctl/program_path.h"

#include <cstdlib>
#include <filesystem>

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

TEST(FindProgram, FindsWhatCanBeRunInAnyFolder) {
    const test::TemporaryFolder folder;
    const std::string file = folder.write("some-tool", "#!/bin/sh\n");
    const std::string path = "/nonexistent:" + folder.path().string();
    const test::EnvironmentSetting setting("PATH", path.c_str());
    EXPECT_EQ(find_program("some-tool"), ProgramSearch::kNotExecutable);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    EXPECT_EQ(find_program("some-tool"), ProgramSearch::kFound);
    EXPECT_EQ(find_program("other-tool"), ProgramSearch::kMissing);
}

TEST(FindProgram, TakesAnEmptyFolderForThisOneAndLooksWhereTheSystemDoesWithoutPath) {
    {
        const test::EnvironmentSetting setting("PATH", "");
        EXPECT_EQ(find_program("sh"), ProgramSearch::kMissing);
    }
    const test::EnvironmentSetting setting("PATH", nullptr);
    EXPECT_EQ(find_program("sh"), ProgramSearch::kFound);
}

TEST(PutBoardFoldersOnPath, PutsOursFirstAndThatOfTheToolsForSimulatedBoardsBehindIt) {
    const test::EnvironmentSetting setting("PATH", "/a:/b");
    put_board_folders_on_path();
    const char *path = std::getenv("PATH");
    const std::string own = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    EXPECT_STREQ(path, (own + ":" + own + "/sim:/a:/b").c_str());
}

}  // namespace
}  // namespace diag::diagctl
