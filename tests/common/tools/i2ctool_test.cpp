// SPDX-License-Identifier: MIT
#include "tests/common/tools/i2ctool_test.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "diag_util.h"
#include "tool_calls.h"

#include "tests/common/library_test.h"
#include "tests/common/process_state.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/temporary_folder.h"

using diag::test::error_text;
using diag::test::I2cTest;
using diag::test::logged;
using diag::test::name_of;
using diag::test::open_descriptors;
using diag::test::printed;
using diag::test::SyslogEntry;

namespace {

constexpr uint32_t kRefused = 0xFFFFFFFF;

using Getter = diag::test::I2cCall<decltype(&i2ctool_get)>;

constexpr Getter kGetters[] = {{"i2ctool_get", i2ctool_get, ""},
                               {"i2ctool_get_no_cntrl", i2ctool_get_no_cntrl, "--no_control "}};

class I2cGet : public I2cTest<Getter> {
  protected:
    I2cGet() : pipe_(folder_.file("p")) {}

    // Reads register 0x12 of the device 0x50 on bus 3; what is printed goes to `text_`.
    uint32_t get(const reg_info *info, int count, size_t size = 8) {
        result_.assign(size, 0xEE);
        uint32_t status = 0;
        text_ = printed([&] {
            status = GetParam().call("3", 0x50, 0x12, info, count, pipe_.c_str(), result_.data());
        });
        return status;
    }
    std::string command(const std::string &options, int count = 2) const {
        return "--read --bus=3 --addr=0x50 --count=" + std::to_string(count) + " --pipe=" + pipe_ +
               " " + options;
    }
    std::string bytes() const { return {result_.begin(), result_.end()}; }
    std::string reading_failed() const {
        return error_text(name_, "FAILED <<<---\nError Reading from I2C\n");
    }

    diag::test::TemporaryFolder folder_;
    std::string pipe_;
    std::vector<uint8_t> result_;
    std::string text_;
};

INSTANTIATE_TEST_SUITE_P(Calls, I2cGet, testing::ValuesIn(kGetters), name_of<Getter>);

TEST(RegInfo, ReadyMadeDescriptorsHaveTheirValues) {
    struct Case {
        const reg_info *info;
        reg_info value;
    };
    const Case cases[] = {{&reg8_data8, {0, 0, 0}},
                          {&reg8_data16, {0, 1, 0}},
                          {&reg16_data8, {1, 0, 0}},
                          {&reg16_data8_le, {1, 0, 1}},
                          {&regblk_datablk, {2, 2, 0}}};
    for (const Case &test : cases) {
        EXPECT_EQ(test.info->addr_mode, test.value.addr_mode);
        EXPECT_EQ(test.info->data_width, test.value.data_width);
        EXPECT_EQ(test.info->reg_le, test.value.reg_le);
    }
}

TEST_P(I2cGet, StoresWhatTheToolRead) {
    const auto before = open_descriptors();
    tool_.answers(std::string_view("\x01\0\xFF", 3));
    EXPECT_EQ(get(&reg8_data8, 3), 0U);
    EXPECT_EQ(bytes(), std::string("\x01\0\xFF", 3) + std::string(5, '\xEE'));
    EXPECT_EQ(text_, "");
    EXPECT_TRUE(folder_.is_empty());
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(I2cGet, OptionsFollowTheDescriptor) {
    struct Case {
        reg_info info;
        const char *width;
        const char *reg;
    };
    const Case cases[] = {{reg8_data8, "--width=8 ", "--reg=0x12"},
                          {reg8_data16, "--width=16 ", "--reg=0x12"},
                          {reg16_data8, "--width=8 ", "--reg16=0x0012"},
                          {reg16_data8_le, "--width=8 ", "--reg16=0x0012 --reg_le"},
                          {regblk_datablk, "--width=8 ", "--regblock=0x12"},
                          {{0, 2, 0}, "--width=8 ", "--reg=0x12"},
                          {{2, 1, 99}, "--width=16 ", "--regblock=0x12 --reg_le"}};
    for (const Case &test : cases) {
        EXPECT_EQ(get(&test.info, 2), 0U);
        EXPECT_EQ(tool_.calls().back(), command(test.width + control_ + test.reg));
    }
}

TEST_P(I2cGet, RegisterIsCutInOneModeOnly) {
    uint8_t result[2];
    const auto reg_option = [&](const reg_info &info) {
        EXPECT_EQ(GetParam().call("/dev/i2c-3", 0x150, 0x98761234, &info, 2, pipe_.c_str(), result),
                  0U);
        const std::string call = tool_.calls().back();
        EXPECT_TRUE(call.starts_with("--read --bus=/dev/i2c-3 --addr=0x50 ")) << call;
        return call.substr(call.rfind(" --reg") + 1);
    };
    EXPECT_EQ(reg_option(reg8_data8), "--reg=0x98761234");
    EXPECT_EQ(reg_option(reg16_data8), "--reg16=0x1234");
    EXPECT_EQ(reg_option(regblk_datablk), "--regblock=0x98761234");
}

TEST_P(I2cGet, CommandIsShownAtLevel1AndBytesAtLevel2) {
    tool_.answers("ab");
    const std::string shown =
        "i2ctool_get: i2ctool " + command("--width=8 " + control_ + "--reg=0x12") + "\n";
    set_verb_level(1);
    EXPECT_EQ(get(&reg8_data8, 2), 0U);
    EXPECT_EQ(text_, shown);
    set_verb_level(2);
    EXPECT_EQ(get(&reg8_data8, 2), 0U);
    EXPECT_EQ(text_, shown + "2 bytes read from the fifo\n");
}

TEST_P(I2cGet, MissingDescriptorIsRefused) {
    for (const unsigned int dry_run : {0U, 1U}) {
        set_debug_enable(dry_run);
        EXPECT_EQ(get(nullptr, 2), kRefused);
        EXPECT_EQ(text_, error_text(name_, "Invalid reg_info pointer\n"));
        EXPECT_EQ(bytes(), std::string(8, '\xEE'));
    }
    EXPECT_TRUE(folder_.is_empty());
    EXPECT_EQ(logged()[0], (SyslogEntry{LOG_ERR, "ERROR: " + name_ + "[N]: "}));
    EXPECT_EQ(logged()[1], (SyslogEntry{LOG_ERR, "ERROR: Invalid reg_info pointer\n"}));
}

TEST_P(I2cGet, DryRunAnswersADummyByteAndDoesNothing) {
    set_verb_level(3);
    const reg_info unusable{7, 7, 0};
    for (const int enable : {1, -1, 100}) {
        set_debug_enable(static_cast<unsigned int>(enable));
        for (const reg_info *info : {static_cast<const reg_info *>(&reg8_data8), &unusable}) {
            EXPECT_EQ(get(info, 2), 0U);
            EXPECT_EQ(bytes(), "\x1A" + std::string(7, '\xEE'));
            EXPECT_EQ(text_, "");
        }
    }
    pipe_ = "/nowhere/at/all";
    EXPECT_EQ(get(&reg8_data8, 2), 0U);
    EXPECT_TRUE(tool_.calls().empty());
    EXPECT_TRUE(folder_.is_empty());
    EXPECT_TRUE(logged().empty());
}

// An unusable descriptor leaves the FIFO behind, open.
class I2cGetRefused : public I2cGet {
  protected:
    void expect_left_behind() {
        EXPECT_TRUE(std::filesystem::is_fifo(pipe_));
        const int fd = diag::test::descriptor_of(pipe_);
        ASSERT_NE(fd, -1);
        close(fd);
        EXPECT_EQ(open_descriptors(), before_);
        std::filesystem::remove(pipe_);
        EXPECT_TRUE(tool_.calls().empty());
        EXPECT_EQ(bytes(), std::string(8, '\xEE'));
    }
    const std::map<int, std::string> before_ = open_descriptors();
};

INSTANTIATE_TEST_SUITE_P(Calls, I2cGetRefused, testing::ValuesIn(kGetters), name_of<Getter>);

TEST_P(I2cGetRefused, WidthLeavesTheFifoBehindOpen) {
    for (const int width : {3, 1000, -1}) {
        const reg_info info{7, static_cast<uint32_t>(width), 0};  // the width is looked at first
        EXPECT_EQ(get(&info, 2), kRefused);
        EXPECT_EQ(text_, error_text(name_, "Invalid width size " + std::to_string(width) + "\n"));
        expect_left_behind();
    }
}

TEST_P(I2cGetRefused, AddressingModeLeavesTheFifoBehindOpen) {
    for (const int mode : {3, 1000, -1}) {
        const reg_info info{static_cast<uint32_t>(mode), 0, 0};
        EXPECT_EQ(get(&info, 2), kRefused);
        EXPECT_EQ(text_,
                  error_text(name_, "Invalid Addressing mode " + std::to_string(mode) + "\n"));
        expect_left_behind();
    }
}

TEST_P(I2cGetRefused, FifoThatStayedOpenIsNotInherited) {
    const reg_info info{0, 3, 0};
    EXPECT_EQ(get(&info, 2), kRefused);
    const std::string left = pipe_;
    pipe_ = folder_.file("q");
    tool_.runs_script("ls -l /proc/$$/fd >'" + folder_.file("descriptors") + "'\n");
    EXPECT_EQ(get(&reg8_data8, 2), 0U);
    const std::string inherited = diag::test::read_file(folder_.file("descriptors"));
    EXPECT_EQ(inherited.find(left), std::string::npos) << inherited;
    close(diag::test::descriptor_of(left));
}

TEST_P(I2cGet, FifoThatCannotBeMadeIsReported) {
    const reg_info unusable{7, 7, 0};  // looked at later
    std::filesystem::create_directory(folder_.file("full"));
    folder_.write("full/kept", "");
    for (const char *name : {"missing/pipe", "full"}) {
        pipe_ = folder_.file(name);
        EXPECT_EQ(get(&unusable, 2), DIAG_E_FAIL);
        EXPECT_EQ(text_, error_text(name_, "Error Creating I2C pipe " + pipe_ + "\n"));
    }
    EXPECT_TRUE(std::filesystem::exists(folder_.file("full/kept")));
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_P(I2cGet, FifoThatCannotBeOpenedIsReportedAndStays) {
    uint8_t result = 0xEE;
    uint32_t status = 0;
    EXPECT_EQ(printed([&] {
                  const diag::test::NoMoreDescriptors limit;
                  status = GetParam().call("3", 0x50, 0, &reg8_data8, 1, pipe_.c_str(), &result);
              }),
              error_text(name_, "Could Not open End of i2c Pipe (" + pipe_ + ") [/]\n"));
    EXPECT_EQ(status, DIAG_E_FAIL);
    EXPECT_EQ(result, 0xEE);
    EXPECT_TRUE(std::filesystem::is_fifo(pipe_));
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_P(I2cGet, FileInTheWayIsReplaced) {
    folder_.write("p", "left behind");
    tool_.answers("ab");
    EXPECT_EQ(get(&reg8_data8, 2), 0U);
    EXPECT_EQ(bytes().substr(0, 2), "ab");
    EXPECT_TRUE(folder_.is_empty());
}

TEST_P(I2cGet, ToolThatFailsAnswersItsWaitStatus) {
    struct Case {
        const char *script;
        uint32_t status;
    };
    constexpr Case kCases[] = {{"printf ab >\"$pipe\"\nexit 3\n", 3 << 8},
                               {"exit 255\n", 255 << 8},
                               {"kill -KILL $$\n", SIGKILL}};
    const auto before = open_descriptors();
    set_verb_level(static_cast<unsigned int>(-1));
    for (const Case &test : kCases) {
        tool_.runs_script(test.script);
        EXPECT_EQ(get(&reg8_data8, 2), test.status);
        EXPECT_EQ(text_, reading_failed());
        EXPECT_EQ(bytes(), std::string(8, '\xEE')) << "nothing is stored";
    }
    EXPECT_TRUE(folder_.is_empty());
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(I2cGet, MissingToolAnswersWhatAShellWould) {
    tool_.is_missing();
    EXPECT_EQ(get(&reg8_data8, 2), 127U << 8);
    EXPECT_EQ(text_, reading_failed());
    EXPECT_TRUE(folder_.is_empty());
}

TEST_P(I2cGet, CommandIsShownBeforeTheFailure) {
    tool_.answers("", 1);
    set_verb_level(2);
    EXPECT_EQ(get(&reg8_data8, 2), 1U << 8);
    EXPECT_EQ(text_, "i2ctool_get: i2ctool " + command("--width=8 " + control_ + "--reg=0x12") +
                         "\n" + reading_failed());
}

TEST_P(I2cGet, ShortOrMissingAnswersAreNoFailure) {
    set_verb_level(2);
    tool_.answers("a");
    EXPECT_EQ(get(&reg8_data8, 4), 0U);
    EXPECT_EQ(bytes(), "a" + std::string(7, '\xEE'));
    EXPECT_TRUE(text_.ends_with("\n1 bytes read from the fifo\n")) << text_;
    tool_.answers("");
    EXPECT_EQ(get(&reg8_data8, 4), 0U);
    EXPECT_EQ(bytes(), std::string(8, '\xEE'));
    EXPECT_TRUE(text_.ends_with("\n-1 bytes read from the fifo\n")) << text_;
}

TEST_P(I2cGet, LongAnswersAreCutAndDoNotBlockTheTool) {
    set_verb_level(2);
    tool_.runs_script("head -c 200000 /dev/zero >\"$pipe\"\n");
    EXPECT_EQ(get(&reg8_data8, 4), 0U);
    EXPECT_EQ(bytes(), std::string(4, '\0') + std::string(4, '\xEE'));
    EXPECT_TRUE(text_.ends_with("\n4 bytes read from the fifo\n")) << text_;
    EXPECT_EQ(get(&reg8_data8, 200000, 200000), 0U);
    EXPECT_EQ(bytes(), std::string(200000, '\0'));
}

TEST_P(I2cGet, CountsBelow1ReadNothing) {
    set_verb_level(2);
    tool_.answers("abcd");
    for (const int count : {0, -1, -2147483647 - 1}) {
        EXPECT_EQ(get(&reg8_data8, count), 0U);
        EXPECT_EQ(tool_.calls().back(), command("--width=8 " + control_ + "--reg=0x12", count));
        EXPECT_EQ(bytes(), std::string(8, '\xEE'));
        EXPECT_TRUE(text_.ends_with("\n0 bytes read from the fifo\n")) << text_;
    }
}

TEST_P(I2cGet, HugeCountsReadWhatIsThere) {
    tool_.answers("abcd");
    EXPECT_EQ(get(&reg8_data8, 2147483647), 0U);
    EXPECT_EQ(tool_.calls().back(), command("--width=8 " + control_ + "--reg=0x12", 2147483647));
    EXPECT_EQ(bytes(), "abcd" + std::string(4, '\xEE'));
}

TEST_P(I2cGet, AnswerThatMemoryCannotHoldIsReported) {
    tool_.runs_script("head -c 5000 /dev/zero >\"$pipe\"\n");
    const int failures = diag::test::for_each_failing_allocation([this](auto &watch) {
        uint32_t status = 0;
        std::vector<uint8_t> result(5000, 0xEE);
        const std::string text = printed([&] {
            watch.start();
            status = GetParam().call("3", 0x50, 0, &reg8_data8, 5000, pipe_.c_str(), result.data());
            watch.stop();
        });
        if (watch.has_failed()) {
            EXPECT_EQ(status, DIAG_E_NOMEM);
            EXPECT_EQ(text, error_text(name_, "No memory for 5000 bytes from the fifo\n"));
            EXPECT_EQ(result, std::vector<uint8_t>(5000, 0xEE));
        } else {
            EXPECT_EQ(status, 0U);
            EXPECT_EQ(result, std::vector<uint8_t>(5000, 0));
        }
        EXPECT_TRUE(folder_.is_empty());
    });
    EXPECT_EQ(failures, 1);
}

TEST_P(I2cGet, CommandIsCutAtTheEndOfItsBuffer) {
    const std::string bus(3000, 'b');
    uint8_t result[2];
    EXPECT_EQ(GetParam().call(bus.c_str(), 0x50, 0, &reg16_data8_le, 2, pipe_.c_str(), result), 0U);
    EXPECT_EQ("i2ctool " + tool_.calls().back(), ("i2ctool --read --bus=" + bus).substr(0, 2047));
}

TEST_P(I2cGet, BusIsNoCommand) {
    const std::string bus = "3;touch " + folder_.file("made");
    uint8_t result[2];
    EXPECT_EQ(GetParam().call(bus.c_str(), 0x50, 0, &reg8_data8, 2, pipe_.c_str(), result), 0U);
    EXPECT_TRUE(tool_.calls().back().starts_with("--read --bus=3;touch /"));
    EXPECT_TRUE(folder_.is_empty());
}

TEST_P(I2cGet, RunsInSeveralThreadsAtOnce) {
    tool_.runs_script("printf %s \"${pipe##*/}\" >\"$pipe\"\n");
    const auto before = open_descriptors();
    std::vector<std::thread> threads;
    for (char c = 'a'; c < 'e'; c++) {
        threads.emplace_back([this, c] {
            const std::string path = folder_.file(std::string(1, c));
            for (int i = 0; i < 5; i++) {
                uint8_t result = 0;
                EXPECT_EQ(GetParam().call("3", 0x50, 0, &reg8_data8, 1, path.c_str(), &result), 0U);
                EXPECT_EQ(result, c);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(tool_.calls().size(), 20U);
    EXPECT_TRUE(folder_.is_empty());
    EXPECT_EQ(open_descriptors(), before);
}

}  // namespace
