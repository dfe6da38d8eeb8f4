// SPDX-License-Identifier: MIT
#include "diags/diagctl/answer_pipe.h"

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>

#include "tests/diagctl/diagctl_test.h"
#include "tests/support/as_nobody.h"

namespace diag::diagctl {
namespace {

namespace fs = std::filesystem;

class AnswerPipes : public ::testing::Test {
  protected:
    test::TemporaryFolder folder_;
    test::EnvironmentSetting setting_{"TMPDIR", folder_.path().c_str()};
};

TEST_F(AnswerPipes, LieInAFolderOfTheirOwnThatNobodyElseCanEnter) {
    const AnswerPipe pipe;
    const fs::path parent = fs::path(pipe.path()).parent_path();
    EXPECT_EQ(parent.parent_path(), folder_.path());
    EXPECT_EQ(fs::status(parent).permissions(), fs::perms::owner_all);
    EXPECT_FALSE(fs::exists(pipe.path()));
}

TEST_F(AnswerPipes, GoWithTheirFolderAlsoWhenTheFifoIsStillThere) {
    {
        const AnswerPipe pipe;
        ASSERT_EQ(mkfifo(pipe.path().c_str(), 0600), 0);
    }
    EXPECT_TRUE(folder_.is_empty());
}

TEST_F(AnswerPipes, AvoidAFolderThatACommandLineCannotCarry) {
    const std::string with_blank = folder_.file("a b");
    fs::create_directory(with_blank);
    for (const std::string &folder :
         {with_blank, std::string("relative"), std::string(), "/" + std::string(600, 'x')}) {
        const test::EnvironmentSetting setting("TMPDIR", folder.c_str());
        EXPECT_EQ(AnswerPipe().path().rfind("/tmp/diagctl.", 0), 0U) << folder;
    }
}

TEST_F(AnswerPipes, TellOfAFolderThatIsNotThere) {
    const test::EnvironmentSetting setting("TMPDIR", "/nonexistent/folder");
    const test::Failure failure = test::failure_of([] { const AnswerPipe pipe; });
    EXPECT_EQ(failure.status, kExitAccessFailed);
    EXPECT_EQ(failure.message,
              "no folder for the answers of tools can be made in /nonexistent/folder: No such file "
              "or directory (TMPDIR names another place)");
}

TEST(AnswerPipe, TellsOfAFolderThatCannotBeWritten) {
    const test::AsNobody nobody;
    const test::TemporaryFolder folder;
    fs::permissions(folder.path(), fs::perms::owner_read | fs::perms::owner_exec);
    const test::EnvironmentSetting setting("TMPDIR", folder.path().c_str());
    const test::Failure failure = test::failure_of([] { const AnswerPipe pipe; });
    EXPECT_EQ(failure.status, kExitAccessFailed);
    EXPECT_EQ(failure.message, "no folder for the answers of tools can be made in " +
                                   folder.path().string() +
                                   ": Permission denied (TMPDIR names another place)");
}

}  // namespace
}  // namespace diag::diagctl
