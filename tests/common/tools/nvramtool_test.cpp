// SPDX-License-Identifier: MIT
#include <csignal>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "diag_util.h"

#include "tests/common/library_test.h"
#include "tests/common/nvram_bytes.h"
#include "tests/common/process_state.h"
#include "tests/support/fake_tool.h"
#include "tests/support/temporary_folder.h"

using diag::test::error_text;
using diag::test::FakeTool;
using diag::test::nvram_bytes;
using diag::test::printed;

namespace {

constexpr char kFunction[] = "nvramtool_query";

class NvramtoolQuery : public diag::test::LibraryTest {
  protected:
    NvramtoolQuery() : tool_("nvramtool"), pipe_(folder_.file("pipe")) {
        std::memset(static_cast<void *>(&record_), 0xEE, sizeof record_);
    }

    // Queries the tool; what is printed goes to `text_`.
    uint32_t query(bool busbroker = false) {
        uint32_t status = 0;
        text_ = printed([&] { status = nvramtool_query(pipe_.c_str(), &record_, busbroker); });
        return status;
    }
    std::string record_bytes() const {
        return {reinterpret_cast<const char *>(&record_), sizeof record_};
    }
    const std::string failed_ = error_text(kFunction, "FAILED <<<---\nError Reading from nvram\n");
    const std::string untouched_ = std::string(sizeof(nvram_record), '\xEE');

    diag::test::TemporaryFolder folder_;
    FakeTool tool_;
    std::string pipe_;
    nvram_record record_;
    std::string text_;
};

TEST_F(NvramtoolQuery, ReadsTheRecord) {
    tool_.answers(nvram_bytes(1, -70000));
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(record_.verb_override, 1);
    EXPECT_EQ(record_.verb_level, -70000);
    EXPECT_EQ(record_bytes(), nvram_bytes(1, -70000));
    EXPECT_EQ(text_, "");
    EXPECT_TRUE(folder_.is_empty());
}

TEST_F(NvramtoolQuery, RunsTheToolWithItsFifo) {
    EXPECT_EQ(query(false), 0U);
    EXPECT_EQ(query(true), 0U);
    EXPECT_EQ(tool_.calls(),
              (std::vector<std::string>{"--query --pipe=" + pipe_,
                                        "--query --pipe=" + pipe_ + " --busbroker"}));
}

TEST_F(NvramtoolQuery, TellsTheNumberOfBytesAtLevel1) {
    set_verb_level(1);
    tool_.answers(nvram_bytes(0, 0));
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(text_, "nvram_query read 1068 bytes from the fifo\n");
    tool_.answers("abc");
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(text_, "nvram_query read 3 bytes from the fifo\n");
    tool_.answers("");
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(text_, "nvram_query read -1 bytes from the fifo\n");
}

TEST_F(NvramtoolQuery, ShortAnswerLeavesTheRest) {
    tool_.answers("abc");
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(record_bytes(), "abc" + untouched_.substr(3));
}

TEST_F(NvramtoolQuery, LongAnswerIsCut) {
    tool_.runs_script("head -c 200000 /dev/zero >\"$pipe\"\n");
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(record_bytes(), std::string(sizeof(nvram_record), '\0'));
}

TEST_F(NvramtoolQuery, ToolThatFailsIsReportedAndChangesNothing) {
    const auto before = diag::test::open_descriptors();
    tool_.answers(nvram_bytes(1, 3), 1);
    EXPECT_EQ(query(), DIAG_E_FAIL);
    EXPECT_EQ(text_, failed_);
    tool_.runs_script("kill -KILL $$\n");
    EXPECT_EQ(query(), DIAG_E_FAIL);
    EXPECT_EQ(text_, failed_);
    tool_.is_missing();
    EXPECT_EQ(query(), DIAG_E_FAIL);
    EXPECT_EQ(text_, failed_);
    EXPECT_EQ(record_bytes(), untouched_);
    EXPECT_TRUE(folder_.is_empty());
    EXPECT_EQ(diag::test::open_descriptors(), before);
}

TEST_F(NvramtoolQuery, ReplacesAFileInItsWay) {
    folder_.write("pipe", "left behind");
    tool_.answers("abc");
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(record_bytes().substr(0, 3), "abc");
    EXPECT_TRUE(folder_.is_empty());
}

TEST_F(NvramtoolQuery, FifoThatCannotBeMadeIsReported) {
    const std::string error = error_text(kFunction, "Error Creating I2C pipe\n");
    pipe_ = folder_.file("missing/pipe");
    EXPECT_EQ(query(), DIAG_E_FAIL);
    EXPECT_EQ(text_, error);
    std::filesystem::create_directory(folder_.file("full"));
    folder_.write("full/kept", "");
    pipe_ = folder_.file("full");
    EXPECT_EQ(query(), DIAG_E_FAIL);
    EXPECT_EQ(text_, error);
    EXPECT_TRUE(std::filesystem::exists(folder_.file("full/kept")));
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_F(NvramtoolQuery, FifoThatCannotBeOpenedIsReportedAndStays) {
    uint32_t status = 0;
    EXPECT_EQ(printed([&] {
                  const diag::test::NoMoreDescriptors limit;
                  status = nvramtool_query(pipe_.c_str(), &record_, false);
              }),
              error_text(kFunction, "Could Not open End of i2c Pipe \n"));
    EXPECT_EQ(status, DIAG_E_FAIL);
    EXPECT_TRUE(std::filesystem::is_fifo(pipe_));
    EXPECT_TRUE(tool_.calls().empty());
}

class SetNvramVerbLevel : public diag::test::LibraryTest {};

TEST_F(SetNvramVerbLevel, OnlyRaisesTheLevelAndOnlyWhenToldTo) {
    struct Case {
        int now;
        uint8_t override;
        int board;
        int level;
    };
    constexpr Case kCases[] = {{0, 1, 2, 2},    {3, 1, 2, 3},   {2, 1, 2, 2},
                               {0, 0, 3, 0},    {0, 255, 1, 1}, {-1, 1, 0, 0},
                               {-1, 1, -2, -1}, {0, 1, -1, 0},  {0, 1, 1000, 1000}};
    for (const Case &test : kCases) {
        nvram_record record{};
        record.verb_override = test.override;
        record.verb_level = test.board;
        set_verb_level(static_cast<unsigned int>(test.now));
        set_nvram_verb_level(&record);
        EXPECT_EQ(get_verb_level(), test.level)
            << test.now << ", " << int{test.override} << ", " << test.board;
    }
}

TEST_F(SetNvramVerbLevel, MissingRecordIsReportedTwice) {
    EXPECT_EQ(
        printed([] { set_nvram_verb_level(nullptr); }),
        error_text("set_nvram_verb_level", "NVRAM is not valid. Could not set Verbosity level\n") +
            error_text("set_nvram_verb_level", "NVRAM is not valid\n"));
    EXPECT_EQ(get_verb_level(), 0);
}

}  // namespace
