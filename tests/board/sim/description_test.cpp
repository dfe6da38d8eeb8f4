// SPDX-License-Identifier: MIT
#include "diags/board/sim/description.h"

#include <gtest/gtest.h>

#include "diags/board/sim/board_error.h"
#include "tests/support/temporary_folder.h"

namespace diag::board::sim {
namespace {

std::string complaint(const std::string &path) {
    try {
        const Description description(path);
    } catch (const BoardError &error) {
        EXPECT_EQ(error.exit_status(), kExitBadDescription);
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
        return error.what();
    }
    return "accepted";
}

TEST(Description, LoadsTheXmlForm) {
    const test::TemporaryFolder folder;
    const std::string path =
        folder.write("a.xml",
                     "<config>\n <chip>\n  <chip-name>A</chip-name>\n </chip>\n <chip>\n "
                     "<chip-name>B</chip-name>\n </chip>\n</config>\n");
    const Description description(path);
    ASSERT_NE(description.tree().node, nullptr);
    EXPECT_STREQ(description.tree().node->name, "A");
    ASSERT_NE(description.tree().next, nullptr);
    EXPECT_STREQ(description.tree().next->node->name, "B");
}

TEST(Description, NamesAFileThatIsNotThere) {
    EXPECT_EQ(complaint("/absent/a.xml"), "/absent/a.xml: the board description cannot be read");
}

TEST(Description, PointsAtAnXmlError) {
    const test::TemporaryFolder folder;
    const std::string path = folder.write("a.xml", "<config>\n<chip>\n</config>\n");
    const std::string line = complaint(path);
    EXPECT_EQ(line.rfind(path + ":3: ", 0), 0U) << line;
}

TEST(Description, RefusesAnotherRootElement) {
    const test::TemporaryFolder folder;
    const std::string path = folder.write("a.xml", "<board>\n</board>\n");
    EXPECT_EQ(complaint(path), path + ": not a usable board description (status 0x8a008016)");
}

TEST(Description, RefusesWhatIsNoXml) {
    const test::TemporaryFolder folder;
    for (const char *contents : {"", "\n\n", "Just text\n"}) {
        const std::string path = folder.write("a.xml", contents);
        EXPECT_NE(complaint(path), "accepted") << contents;
    }
}

}  // namespace
}  // namespace diag::board::sim
