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

TEST(PrintedBytes, AreCountedInTheAnswerThatTheLibraryShows) {
    const std::string start = "ipmii2c_get: ipmitool raw 0x3a 0x01 0x02\nipmii2c_get:[";
    EXPECT_EQ(printed_bytes(start + " 12 34\n]\n"), 2);
    EXPECT_EQ(printed_bytes(start + " 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f\n 10\n]"),
              17);
    EXPECT_EQ(printed_bytes(start + " 12]\n"), 1);
    EXPECT_EQ(printed_bytes(start + "\n]\n"), 0);
    EXPECT_EQ(printed_bytes(start + " 12 no 34\n]\n"), 1);
    EXPECT_EQ(printed_bytes("ipmii2c_get: ipmitool raw\n"), std::nullopt);
}

TEST(CommandLines, AreFoundHoweverTheLibraryShowsThem) {
    EXPECT_EQ(command_lines("Setting GPIO Mux 0x1\nCalling gpiotool --set --chip=1\n", "gpiotool"),
              std::vector<std::string>{"gpiotool --set --chip=1"});
    EXPECT_EQ(command_lines("ipmitool_set: ipmitool raw 0x38 > /dev/null\nERROR: ipmitool_set[3]: "
                            "ERROR: shell command(ipmitool raw 0x38 > /dev/null) failed\n",
                            "ipmitool"),
              std::vector<std::string>{"ipmitool raw 0x38 > /dev/null"});
    EXPECT_EQ(command_lines("pcitool --write\n", "pcitool"),
              std::vector<std::string>{"pcitool --write"});
    EXPECT_TRUE(command_lines("ipmitool_set: ipmitool raw\n", "i2ctool").empty());
}

TEST(LinesStarting, AndTheLastLineAreCleanedOfControlCharacters) {
    const std::string said = "first\n\n IOM Slot 2 present \nIOM Slot 3 present\nlast \n\n";
    EXPECT_EQ(lines_starting(said, "IOM Slot"),
              (std::vector<std::string>{"IOM Slot 2 present", "IOM Slot 3 present"}));
    EXPECT_EQ(last_line(said), "last");
    EXPECT_EQ(last_line(""), "");
}

TEST(CommandLines, OfADryRunAreInOrder) {
    const auto commands = command_lines(
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
