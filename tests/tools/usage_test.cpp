// SPDX-License-Identifier: MIT
// Unusable command lines of the tools whose options are checked the same way: one line that says
// what, exit status 2, and that before a board is looked for.
#include <span>
#include <sstream>

#include "diags/exit_status.h"
#include "tests/tools/tool_fixture.h"

namespace diag::test {
namespace {

struct Refusal {
    const char *arguments;
    const char *message;
};

// `always` stands in front of the arguments of each row.
void expect_refusals(const std::string &tool, std::span<const Refusal> refusals,
                     const std::string &always = "") {
    for (const Refusal &refusal : refusals) {
        const ProgramResult result =
            ToolFixture::run_with(tool, split_words(always + refusal.arguments), {"DIAG_BOARD="});
        EXPECT_EQ(result.status, kExitUsage) << refusal.arguments;
        EXPECT_EQ(result.errors, tool + ": " + refusal.message + " (see --help)\n")
            << refusal.arguments;
        EXPECT_EQ(result.output, "") << refusal.arguments;
    }
}

constexpr const char *kOperation = "one of --read and --write is needed";

constexpr Refusal kGpio[] = {
    {"", kOperation},
    {"--chip=0 --pin=1", kOperation},
    {"--get --set --chip=0 --pin=1 --val=1", kOperation},
    {"--read --write --chip=0 --pin=1 --val=1", kOperation},
    {"--get --pin=1", "--chip is missing"},
    {"--get --chip=0", "--pin is missing"},
    {"--set --chip=0 --pin=1", "--val is missing"},
    {"--get --chip=0 --pin=1 --val=1", "--val goes with --write"},
    {"--set --chip=0 --pin=1 --val=1 --pipe=/tmp/x", "--pipe goes with --read"},
    {"--get --chip=-1 --pin=1", "--chip=-1: expected the number of a GPIO chip"},
    {"--get --chip=0x100000000 --pin=1", "--chip=0x100000000: expected the number of a GPIO chip"},
    {"--get --chip= --pin=1", "--chip=: expected the number of a GPIO chip"},
    {"--get --chip=0 --pin=x", "--pin=x: expected the number of a line"},
    {"--get --chip=0 --pin=4294967296", "--pin=4294967296: expected the number of a line"},
    {"--set --chip=0 --pin=1 --val=2", "--val=2: expected 0 or 1"},
    {"--set --chip=0 --pin=1 --val=255", "--val=255: expected 0 or 1"},
    {"--set --chip=0 --pin=1 --val=", "--val=: expected 0 or 1"},
    {"--set --chip=0 --pin=1 --val=1,1", "--val=1,1: expected 0 or 1"},
    {"--get --chip=0 --pin=1 --pipe=", "--pipe=: expected a path"},
    {"--get --chip=0 --pin=1 --pipe", "option '--pipe' needs a value"},
    {"--get --chip=0 --pin=1 --line=1", "unusable option '--line=1'"},
    {"--get --chip=0 --pin=1 --count=1", "unusable option '--count=1'"},
    {"--get=1 --chip=0 --pin=1", "unusable option '--get=1'"},
    {"--get --chip=0 --pin=1 3", "unexpected argument '3'"},
};

TEST(UsageTest, GpiotoolSaysWhatItCannotUse) {
    expect_refusals("gpiotool", kGpio);
}

constexpr Refusal kLpc[] = {
    {"", kOperation},
    {"--get --write --addr=0 --count=1", kOperation},
    {"--get --count=1", "--addr is missing"},
    {"--get --addr=0", "--count is missing"},
    {"--write --addr=0", "--val is missing"},
    {"--get --addr=0 --count=1 --val=1", "--val goes with --write"},
    {"--set --addr=0 --val=1 --count=1", "--count goes with --read"},
    {"--set --addr=0 --val=1 --pipe=/tmp/x", "--pipe goes with --read"},
    {"--get --addr=0x100000000 --count=1",
     "--addr=0x100000000: expected an address up to 0xffffffff"},
    {"--get --addr=12h --count=1", "--addr=12h: expected an address up to 0xffffffff"},
    {"--get --addr=0x --count=1", "--addr=0x: expected an address up to 0xffffffff"},
    {"--get --addr=0 --count=0", "--count=0: expected 1 to 65536 bytes"},
    {"--get --addr=0 --count=-1", "--count=-1: expected 1 to 65536 bytes"},
    {"--get --addr=0 --count=+1", "--count=+1: expected 1 to 65536 bytes"},
    {"--get --addr=0 --count=65537", "--count=65537: expected 1 to 65536 bytes"},
    {"--get --addr=0 --count=", "--count=: expected 1 to 65536 bytes"},
    {"--get --addr=0 --count=18446744073709551617",
     "--count=18446744073709551617: expected 1 to 65536 bytes"},
    {"--get --addr=0 --count=1 --size=q", "--size=q: expected b, w or l"},
    {"--get --addr=0 --count=1 --size=", "--size=: expected b, w or l"},
    {"--get --addr=0 --count=1 --size=bw", "--size=bw: expected b, w or l"},
    {"--get --addr=0 --count=1 --size=8", "--size=8: expected b, w or l"},
    {"--get --addr=0 --count=1 --width=8", "unusable option '--width=8'"},
    {"--get --addr=0x1001 --count=2 --size=w",
     "address 0x1001 is not a multiple of 2 (accesses of 16 bits)"},
    {"--get --addr=0x1002 --count=4 --size=l",
     "address 0x1002 is not a multiple of 4 (accesses of 32 bits)"},
    {"--get --addr=0 --count=3 --size=w", "3 bytes are no whole number of 16-bit items"},
    {"--write --addr=0 --val=1,2 --size=l", "2 bytes are no whole number of 32-bit items"},
    {"--get --addr=0xffffffff --count=2",
     "2 bytes from address 0xffffffff go beyond the last one, 0xffffffff"},
    {"--write --addr=0xfffffffe --val=1,2,3",
     "3 bytes from address 0xfffffffe go beyond the last one, 0xffffffff"},
};

TEST(UsageTest, LpctoolSaysWhatItCannotUse) {
    expect_refusals("lpctool", kLpc);
}

constexpr Refusal kPciPlace[] = {
    {"--get --dev=0 --func=0 --offset=0 --count=1", "--bus is missing"},
    {"--get --bus=0 --func=0 --offset=0 --count=1", "--dev is missing"},
    {"--get --bus=0 --dev=0 --offset=0 --count=1", "--func is missing"},
};
constexpr const char *kPciFunction = "--bus=0 --dev=31 --func=7 ";
constexpr Refusal kPci[] = {
    {"--offset=0 --count=1", kOperation},
    {"--get --set --offset=0 --count=1", kOperation},
    {"--get --count=1", "--offset is missing"},
    {"--get --offset=0", "--count is missing"},
    {"--set --offset=0", "--val is missing"},
    {"--get --offset=0 --count=1 --val=1", "--val goes with --write"},
    {"--set --offset=0 --val=1 --count=1", "--count goes with --read"},
    {"--set --offset=0 --val=1 --pipe=x", "--pipe goes with --read"},
    {"--get --offset=0 --count=1 --bus=256", "--bus=256: expected a bus up to 255"},
    {"--get --offset=0 --count=1 --bus=-1", "--bus=-1: expected a bus up to 255"},
    {"--get --offset=0 --count=1 --dev=0x20", "--dev=0x20: expected a device up to 31"},
    {"--get --offset=0 --count=1 --dev=-1", "--dev=-1: expected a device up to 31"},
    {"--get --offset=0 --count=1 --func=8", "--func=8: expected a function up to 7"},
    {"--get --offset=0x1000 --count=1", "--offset=0x1000: expected an offset up to 4095"},
    {"--get --offset= --count=1", "--offset=: expected an offset up to 4095"},
    {"--get --offset=0 --count=0", "--count=0: expected 1 to 4096 bytes"},
    {"--get --offset=0 --count=4097", "--count=4097: expected 1 to 4096 bytes"},
    {"--get --offset=1 --count=4096", "4096 bytes from offset 0x1 go beyond the last one, 0xfff"},
    {"--set --offset=0xfff --val=1,2", "2 bytes from offset 0xfff go beyond the last one, 0xfff"},
    {"--get --offset=0 --count=8 --width=64", "--width=64: expected 8, 16 or 32"},
    {"--get --offset=0 --count=1 --width=0", "--width=0: expected 8, 16 or 32"},
    {"--get --offset=0 --count=1 --width=24", "--width=24: expected 8, 16 or 32"},
    {"--get --offset=0 --count=1 --width=0x8", "--width=0x8: expected 8, 16 or 32"},
    {"--get --offset=0 --count=1 --width=4", "--width=4: expected 8, 16 or 32"},
    {"--get --offset=6 --count=4 --width=32",
     "offset 0x6 is not a multiple of 4 (accesses of 32 bits)"},
    {"--get --offset=4 --count=6 --width=32", "6 bytes are no whole number of 32-bit items"},
    {"--set --offset=4 --val=1 --width=16", "1 bytes are no whole number of 16-bit items"},
};

TEST(UsageTest, PcitoolSaysWhatItCannotUse) {
    expect_refusals("pcitool", kPciPlace);
    expect_refusals("pcitool", kPci, kPciFunction);
}

constexpr Refusal kMemory[] = {
    {"--addr=0 --count=1", kOperation},
    {"--get --write --addr=0 --count=1", kOperation},
    {"--get --count=1", "--addr is missing"},
    {"--get --addr=0", "--count is missing"},
    {"--write --addr=0", "--val is missing"},
    {"--get --addr=0 --count=1 --val=1", "--val goes with --write"},
    {"--write --addr=0 --val=1 --count=1", "--count goes with --read"},
    {"--write --addr=0 --val=1 --pipe=x", "--pipe goes with --read"},
    {"--get --addr=0x10000000000000000 --count=1",
     "--addr=0x10000000000000000: expected an address of at most 64 bits"},
    {"--get --addr=18446744073709551616 --count=1",
     "--addr=18446744073709551616: expected an address of at most 64 bits"},
    {"--get --addr=-1 --count=1", "--addr=-1: expected an address of at most 64 bits"},
    {"--get --addr=0 --count=0", "--count=0: expected 1 to 65536 items"},
    {"--get --addr=0 --count=65537", "--count=65537: expected 1 to 65536 items"},
    {"--get --addr=0 --count=8193 --width=64", "8193 items of 64 bits are too many: at most 8192"},
    {"--get --addr=0 --width=16 --count=32769",
     "32769 items of 16 bits are too many: at most 32768"},
    {"--get --addr=0 --count=1 --width=128", "--width=128: expected 8, 16, 32 or 64"},
    {"--get --addr=0 --count=1 --width=24", "--width=24: expected 8, 16, 32 or 64"},
    {"--get --addr=0 --count=1 --width=", "--width=: expected 8, 16, 32 or 64"},
    {"--get --addr=0x1004 --count=1 --width=64",
     "address 0x1004 is not a multiple of 8 (accesses of 64 bits)"},
    {"--write --addr=0x1001 --val=1 --width=16",
     "address 0x1001 is not a multiple of 2 (accesses of 16 bits)"},
    {"--get --addr=0xfffffffffffffff8 --count=2 --width=64",
     "16 bytes from address 0xfffffffffffffff8 go beyond the last one, 0xffffffffffffffff"},
    {"--get --addr=0 --count=1 --be=1", "unusable option '--be=1'"},
};

TEST(UsageTest, MemtoolSaysWhatItCannotUse) {
    expect_refusals("memtool", kMemory);
}

// A text behind --val=, and what its tool says that it expects there.
struct BadValues {
    const char *tool;
    const char *place;
    const char *values;
    const char *expected;
};

TEST(ValueListTest, MustFitTheItemsAndHoldAtLeastOne) {
    const char *const kBytes = "1 to 65536 bytes, separated by commas";
    const char *const kPciBytes = "1 to 4096 bytes, separated by commas";
    const char *const kItems =
        "items that fit --width, separated by commas, at most 65536 bytes in all";
    std::vector<BadValues> cases = {
        {"memtool", "--addr=0 --width=16", "0x10000", kItems},
        {"memtool", "--addr=0 --width=32", "0x100000000", kItems},
        {"memtool", "--addr=0 --width=64", "0x10000000000000000", kItems},
        {"memtool", "--addr=0 --width=64", "1,18446744073709551616", kItems},
    };
    for (const char *values :
         {"", ",", "1,", ",1", "1,,2", "0x100", "256", "-1", "0x", "x", "1;2"}) {
        cases.push_back({"lpctool", "--addr=0", values, kBytes});
        cases.push_back({"pcitool", "--bus=0 --dev=31 --func=7 --offset=0", values, kPciBytes});
        cases.push_back({"memtool", "--addr=0", values, kItems});
    }
    for (const BadValues &bad : cases) {
        const std::string option = "--val=" + std::string(bad.values);
        const ProgramResult result = ToolFixture::run_with(
            bad.tool, split_words("--write " + (bad.place + (" " + option))), {"DIAG_BOARD="});
        EXPECT_EQ(result.status, kExitUsage) << option;
        EXPECT_EQ(result.errors, std::string(bad.tool) + ": " + option + ": expected " +
                                     bad.expected + " (see --help)\n");
    }
}

// A list of the same item so many times.
std::string list_of(const char *item, size_t count) {
    std::string list;
    for (size_t i = 0; i < count; ++i) {
        list.append(i == 0 ? "" : ",").append(item);
    }
    return list;
}

TEST(ValueListTest, EndsWhereTheRoomEnds) {
    const struct {
        const char *tool;
        const char *place;
        size_t most;
    } kCases[] = {
        {"pcitool", "--bus=0 --dev=31 --func=7 --offset=0", 4096},
        {"memtool", "--addr=0 --width=64", 8192},
    };
    for (const auto &row : kCases) {
        for (const size_t more : {0, 1}) {
            const ProgramResult result = ToolFixture::run_with(
                row.tool,
                split_words("--write " + (row.place + (" --val=" + list_of("1", row.most + more)))),
                {"DIAG_BOARD="});
            const bool fits = more == 0;
            EXPECT_EQ(result.status, fits ? kExitNoDevice : kExitUsage) << row.tool << more;
        }
    }
}

TEST(ValueListTest, IsShownInPartWhenItIsLong) {
    const auto message = [](const std::string &list) {
        return ToolFixture::run_with("lpctool", {"--write", "--addr=0", "--val=" + list},
                                     {"DIAG_BOARD="})
            .errors;
    };
    const std::string expected = ": expected 1 to 65536 bytes, separated by commas (see --help)\n";
    EXPECT_EQ(message(std::string(64, '9')), "lpctool: --val=" + std::string(64, '9') + expected);
    EXPECT_EQ(message(std::string(65, '9')),
              "lpctool: --val=" + std::string(64, '9') + "..." + expected);
}

constexpr const char *kTools[] = {"i2ctool", "nvramtool", "gpiotool",
                                  "lpctool", "pcitool",   "memtool"};

TEST(HelpTest, StandsOnStandardOutput) {
    for (const char *const name : kTools) {
        const std::string tool = name;
        const ProgramResult help = ToolFixture::run_with(tool, {"--help"}, {"DIAG_BOARD="});
        EXPECT_EQ(help.status, kExitDone);
        EXPECT_EQ(help.errors, "");
        EXPECT_EQ(help.output.rfind("Usage: " + tool + " ", 0), 0U) << help.output;
        for (const char *text : {"--busbroker", "--pipe", "--version", "Exit status:", "Example"}) {
            EXPECT_NE(help.output.find(text), std::string::npos) << tool << text;
        }
        std::istringstream lines(help.output);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 100U) << line;
        }
    }
}

TEST(HelpTest, CountsAsFailedWhenNobodyGetsIt) {
    const ProgramResult result =
        run_program({"/bin/sh", "-c", "exec " DIAG_TOOLS_DIR "/memtool --help >/dev/full"}, {});
    EXPECT_EQ(result.status, kExitAccessFailed);
    EXPECT_EQ(result.errors, "memtool: standard output: No space left on device\n");
}

TEST(HelpTest, TellsTheVersion) {
    for (const char *const name : kTools) {
        const std::string tool = name;
        const ProgramResult result = ToolFixture::run_with(tool, {"--version"}, {"DIAG_BOARD="});
        EXPECT_EQ(result.status, kExitDone);
        EXPECT_EQ(result.output.rfind(tool + " ", 0), 0U);
        EXPECT_EQ(result.output.back(), '\n');
    }
}

}  // namespace
}  // namespace diag::test
