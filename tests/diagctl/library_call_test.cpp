// SPDX-License-Identifier: MIT
#include "diags/diagctl/library_call.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace diag::diagctl {
namespace {

TEST(CallLibrary, AnswersTheMessagesOfTheCall) {
    const CapturedText said = call_library(1, 0, [] {
        diag_print(1, "detail\n");
        diag_print(2, "more detail\n");
    });
    EXPECT_EQ(said.library, "detail\n");
}

TEST(CallLibrary, PutsTheVerbosityBackAlsoAfterAnException) {
    set_verb_level(0);
    EXPECT_THROW(call_library(3, 0, [] { throw std::runtime_error("no"); }), std::runtime_error);
    EXPECT_EQ(get_verb_level(), 0);
}

TEST(CallLibrary, ShowsTheMessagesWhenAsked) {
    ::testing::internal::CaptureStderr();
    call_library(0, 1, [] { diag_print(0, "told\n"); });
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "told\n");
}

TEST(LibraryError, IsTheLastMessageWithoutItsPlace) {
    EXPECT_EQ(library_error(
                  "Loading\nERROR: load[12]: ERROR: first\nERROR: load[99]: ERROR: last\n", "none"),
              "last");
    EXPECT_EQ(library_error("Empty XML Tree\n", "none"), "Empty XML Tree");
    EXPECT_EQ(library_error("", "none"), "none");
}

TEST(DeliveredBytes, AreReadFromTheMessage) {
    EXPECT_EQ(delivered_bytes("i2ctool_get: x\n12 bytes read from the fifo\n"), 12);
    EXPECT_EQ(delivered_bytes("-1 bytes read from the fifo\n"), 0);
    EXPECT_EQ(delivered_bytes("nothing of the kind"), std::nullopt);
    EXPECT_EQ(delivered_bytes("no number bytes read from the fifo\n"), std::nullopt);
}

TEST(DryRunCommands, AreTheToolsCommandLinesInOrder) {
    const auto commands = dry_run_commands(
        "ERROR: i2ctool_set[7]: ERROR: i2ctool --write --val=0x01\nother\n"
        "ERROR: i2ctool_set[7]: ERROR: i2ctool --write --val=0x02\n",
        "i2ctool");
    EXPECT_EQ(commands, (std::vector<std::string>{"i2ctool --write --val=0x01",
                                                  "i2ctool --write --val=0x02"}));
}

TEST(FirstLine, PassesOverEmptyLines) {
    EXPECT_EQ(first_line("\n  \n a  line\nnext\n"), "a line");
    EXPECT_EQ(first_line("\n\n"), "");
    EXPECT_EQ(first_line("no end"), "no end");
}

}  // namespace
}  // namespace diag::diagctl
