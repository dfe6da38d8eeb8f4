// SPDX-License-Identifier: MIT
// Accesses on every bus kind: the exact command lines, byte orders, failures and previews.
#include <cstdlib>
#include <memory>

#include "diag_util.h"

#include "diags/diagctl/preview.h"
#include "diags/diagctl/register_access.h"
#include "diags/diagctl/register_route.h"
#include "tests/diagctl/diagctl_test.h"
#include "tests/support/fake_tool.h"

namespace diag::diagctl {
namespace {

using Lines = std::vector<std::string>;

// ipmitool answers on its standard output.
std::string prints(const std::string &text) {
    return "printf '" + text + "'\n";
}

class BusKinds : public ::testing::Test {
  protected:
    const Chip &chip(const std::string &name) const { return find_chip(chips_, name); }
    const reg_def &reg(const std::string &chip_name, const std::string &name) const {
        return test::register_named(chip(chip_name), name);
    }
    std::uint32_t read(const std::string &chip_name, const std::string &name) const {
        RegisterAccess access(0);
        return value_of_bytes(access.read(chip(chip_name), reg(chip_name, name)));
    }
    void write(const std::string &chip_name, const std::string &name, std::uint32_t value) const {
        RegisterAccess(0).write(chip(chip_name), reg(chip_name, name), value);
    }
    test::Failure read_failure(const std::string &chip_name, const std::string &name) const {
        return test::failure_of([&] { read(chip_name, name); });
    }
    test::Failure select_failure(const std::string &chip_name) const {
        return test::failure_of([&] { RegisterAccess(0).select(chip(chip_name)); });
    }

    // The command lines without the paths of the FIFOs.
    static Lines calls(const test::FakeTool &tool) {
        Lines lines = tool.calls();
        for (std::string &line : lines) {
            if (const std::size_t start = line.find(" --pipe="); start != std::string::npos) {
                line.erase(start, line.find(' ', start + 1) - start);
            }
        }
        return lines;
    }

    Description chips_{test::diagctl_data("good_bus_kinds.txt"), 0};
};

// ---- LPC ----

TEST_F(BusKinds, LpcRegistersAreBytesTheLowestFirst) {
    test::FakeTool tool("lpctool");
    tool.answers("\x34\x12");
    EXPECT_EQ(read("LPC_CHIP", "WORD"), 0x1234U);
    tool.answers("\x78\x56\x34\x12");
    EXPECT_EQ(read("LPC_CHIP", "LONG"), 0x12345678U);
    write("LPC_CHIP", "CTRL", 0x5A);
    write("LPC_CHIP", "LONG", 0x12345678);
    EXPECT_EQ(calls(tool), (Lines{"--get --addr=0x00000202 --size=b --count=2",
                                  "--get --addr=0x00000204 --size=b --count=4",
                                  "--write --addr=0x00000201 --size=b --val=0x5a",
                                  "--write --addr=0x00000204 --size=b --val=0x78,0x56,0x34,0x12"}));
}

TEST_F(BusKinds, LpcFailuresAreTheToolsOwnLine) {
    test::FakeTool tool("lpctool");
    tool.runs_script("echo 'lpctool: nothing there' >&2; exit 5\n");
    const test::Failure failure = read_failure("LPC_CHIP", "ID");
    EXPECT_EQ(failure.status, kExitAccessFailed);  // the library does not hand the status on
    EXPECT_EQ(failure.message, "LPC_CHIP.ID could not be read: lpctool: nothing there");
    tool.answers("\x01");
    EXPECT_EQ(read_failure("LPC_CHIP", "WORD").message,
              "LPC_CHIP.WORD could not be read: lpctool delivered 1 of 2 bytes");
    tool.answers("", 9);
    EXPECT_EQ(read_failure("LPC_CHIP", "ID").message,
              "LPC_CHIP.ID could not be read: lpctool failed and said nothing");
    tool.is_missing();
    EXPECT_EQ(read_failure("LPC_CHIP", "ID").message,
              "LPC_CHIP.ID could not be read: lpctool is not on PATH");
    EXPECT_EQ(test::failure_of([&] { write("LPC_CHIP", "CTRL", 1); }).message,
              "LPC_CHIP.CTRL could not be written: lpctool is not on PATH");
}

// ---- PCI ----

TEST_F(BusKinds, PciRegistersAreAccessedInTheirWidth) {
    test::FakeTool tool("pcitool");
    tool.answers("\xA5");
    EXPECT_EQ(read("PCI_CHIP", "ID"), 0xA5U);
    tool.answers("\x78\x56\x34\x12");
    EXPECT_EQ(read("PCI_CHIP", "LONG"), 0x12345678U);
    write("PCI_CHIP", "WORD", 0x1234);
    EXPECT_EQ(calls(tool),
              (Lines{"--get --bus=1 --dev=2 --func=3 --offset=0x40 --count=1 --width=8",
                     "--get --bus=1 --dev=2 --func=3 --offset=0x44 --count=4 --width=32",
                     "--write --bus=0x01 --dev=0x02 --func=0x03 --offset=0x42 --val=0x34,0x12"}));
}

TEST_F(BusKinds, PciFailuresHandTheToolsStatusOn) {
    test::FakeTool tool("pcitool");
    tool.runs_script("echo 'pcitool: no function' >&2; exit 5\n");
    const test::Failure failure = read_failure("PCI_CHIP", "ID");
    EXPECT_EQ(failure.status, kExitNoDevice);
    EXPECT_EQ(failure.message, "PCI_CHIP.ID could not be read: pcitool: no function");
    tool.answers("\x01\x02\x03");
    EXPECT_EQ(read_failure("PCI_CHIP", "LONG").message,
              "PCI_CHIP.LONG could not be read: pcitool delivered 3 of 4 bytes");
    tool.is_missing();
    EXPECT_EQ(read_failure("PCI_CHIP", "ID").message,
              "PCI_CHIP.ID could not be read: pcitool is not on PATH");
    EXPECT_EQ(test::failure_of([&] { write("PCI_CHIP", "CTRL", 1); }).message,
              "PCI_CHIP.CTRL could not be written: pcitool is not on PATH");
}

// ---- memory ----

TEST_F(BusKinds, MemoryRegistersAreItemsOfTheirWidth) {
    test::FakeTool tool("memtool");
    tool.answers("\x34\x12");
    EXPECT_EQ(read("MEM_CHIP", "WORD"), 0x1234U);
    write("MEM_CHIP", "CTRL", 0x5A);
    write("MEM_CHIP", "WORD", 0x1234);
    write("MEM_CHIP", "LONG", 0xDEADBEEF);
    EXPECT_EQ(calls(tool), (Lines{"--get --addr=0x00010002 --count=1 --width=16",
                                  "--write --addr=0x00010001 --width=8 --val=0x5a",
                                  "--write --addr=0x00010002 --width=16 --val=0x1234",
                                  "--write --addr=0x00010004 --width=32 --val=0xdeadbeef"}));
}

TEST_F(BusKinds, MemoryFailuresHandTheToolsStatusOn) {
    test::FakeTool tool("memtool");
    tool.runs_script("echo 'memtool: nothing there' >&2; exit 8\n");
    const test::Failure failure = read_failure("MEM_CHIP", "ID");
    EXPECT_EQ(failure.status, kExitTimedOut);
    EXPECT_EQ(failure.message, "MEM_CHIP.ID could not be read: memtool: nothing there");
    EXPECT_EQ(test::failure_of([&] { write("MEM_CHIP", "CTRL", 1); }).message,
              "MEM_CHIP.CTRL could not be written: memtool: nothing there");
    tool.answers("\x01");
    EXPECT_EQ(read_failure("MEM_CHIP", "LONG").message,
              "MEM_CHIP.LONG could not be read: memtool delivered 1 of 4 bytes");
    tool.is_missing();
    EXPECT_EQ(read_failure("MEM_CHIP", "ID").message,
              "MEM_CHIP.ID could not be read: memtool is not on PATH");
}

// ---- behind the controller ----

TEST_F(BusKinds, ControllerReadsBringTheBytesOnTheWire) {
    test::FakeTool tool("ipmitool");
    tool.runs_script(prints(" a5\\n"));
    EXPECT_EQ(read("BMC_CHIP", "ID"), 0xA5U);
    tool.runs_script(prints(" 12 34\\n"));
    EXPECT_EQ(read("BMC_CHIP", "WORD"), 0x1234U);
    EXPECT_EQ(read("BMC_WIDE", "WORD"), 0x1234U);
    tool.runs_script(prints(" 12 34 56 78\\n"));
    EXPECT_EQ(read("BMC_CHIP", "LONG"), 0x12345678U);
    EXPECT_EQ(
        calls(tool),
        (Lines{"raw 0x38 0x2 0x2 0x50 0x0 0x1", "raw 0x3a 0x01 0x02 0x50 0x02 0x02",
               "raw 0x3a 0x01 0x02 0x52 0x02 0x00 0x02", "raw 0x3a 0x01 0x02 0x50 0x04 0x04"}));
}

TEST_F(BusKinds, ControllerWritesPutTheHighestByteFirst) {
    test::FakeTool tool("ipmitool");
    write("BMC_CHIP", "CTRL", 0x5A);
    write("BMC_CHIP", "WORD", 0x1234);
    write("BMC_CHIP", "LONG", 0x12345678);
    write("BMC_WIDE", "CTRL", 0x5A);
    write("BMC_WIDE", "WORD", 0x1234);
    EXPECT_EQ(calls(tool),
              (Lines{"raw 0x38 0x3 0x2 0x50 0x1 0x5a", "raw 0x38 0x4 0x2 0x50 0x2 0x12 0x34",
                     "raw 0x3a 0x01 0x02 0x50 0x00 0x04 0x12 0x34 0x56 0x78",
                     "raw 0x3a 0x01 0x02 0x52 0x00 0x00 0x01 0x5a",
                     "raw 0x3a 0x01 0x02 0x52 0x00 0x00 0x02 0x12 0x34"}));
}

TEST_F(BusKinds, ControllerAccessesTurnNumbersAndValuesOfAChipThatWantsTheLowByteFirst) {
    test::FakeTool tool("ipmitool");
    const Description xml(test::diagctl_data("good_bus_kinds.xml"), 0);
    const Chip &low_first = find_chip(xml, "BMC_LOW_FIRST");
    const reg_def &word = test::register_named(low_first, "WORD");
    tool.runs_script(prints(" 34 12\\n"));
    RegisterAccess access(0);
    EXPECT_EQ(value_of_bytes(access.read(low_first, word)), 0x1234U);
    access.write(low_first, word, 0x1234);
    EXPECT_EQ(calls(tool), (Lines{"raw 0x3a 0x01 0x02 0x54 0x02 0x02 0x00",
                                  "raw 0x3a 0x01 0x02 0x54 0x00 0x02 0x00 0x34 0x12"}));
    EXPECT_EQ(make_route(low_first, word)->text(),
              "2 bytes of register 0x0002 at bmc-2 address 0x54");
}

TEST_F(BusKinds, ControllerReadsTakeWhatWasAskedForFromAnAnswerOfAnyLength) {
    test::FakeTool tool("ipmitool");
    tool.runs_script(
        "i=0; while [ $i -lt 100 ]; do printf "
        "' a5 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e\\n'; i=$((i+1)); done\n");
    EXPECT_EQ(read("BMC_CHIP", "ID"), 0xA5U);
    EXPECT_EQ(read("BMC_CHIP", "WORD"), 0xA500U);
}

TEST_F(BusKinds, ControllerReadsRefuseAnAnswerThatIsTooShort) {
    test::FakeTool tool("ipmitool");
    tool.runs_script(prints(" 12\\n"));
    const test::Failure failure = read_failure("BMC_CHIP", "WORD");
    EXPECT_EQ(failure.status, kExitAccessFailed);
    EXPECT_EQ(failure.message, "BMC_CHIP.WORD could not be read: ipmitool delivered 1 of 2 bytes");
    tool.runs_script(prints(" 12 34 00\\n"));
    EXPECT_EQ(read_failure("BMC_WIDE", "LONG").message,
              "BMC_WIDE.LONG could not be read: ipmitool delivered 3 of 4 bytes");
}

TEST_F(BusKinds, ControllerFailuresAreTheToolsOwnLineWhereTheLibraryLetsItThrough) {
    test::FakeTool tool("ipmitool");
    tool.runs_script("echo 'Unable to send RAW command' >&2; exit 1\n");
    const test::Failure failure = read_failure("BMC_CHIP", "ID");
    EXPECT_EQ(failure.status, kExitAccessFailed);
    EXPECT_EQ(failure.message, "BMC_CHIP.ID could not be read: Unable to send RAW command");
    EXPECT_EQ(read_failure("BMC_CHIP", "WORD").message,
              "BMC_CHIP.WORD could not be read: ipmitool failed, and its message is hidden; it was "
              "run as ipmitool raw 0x3a 0x01 0x02 0x50 0x02 0x02");
    EXPECT_EQ(test::failure_of([&] { write("BMC_CHIP", "WORD", 1); }).message,
              "BMC_CHIP.WORD could not be written: Unable to send RAW command");
    EXPECT_EQ(test::failure_of([&] { write("BMC_WIDE", "WORD", 1); }).message,
              "BMC_WIDE.WORD could not be written: Unable to send RAW command");
    tool.is_missing();
    for (const char *name : {"ID", "WORD"}) {
        EXPECT_EQ(read_failure("BMC_CHIP", name).message,
                  std::string("BMC_CHIP.") + name + " could not be read: ipmitool is not on PATH");
    }
}

// ---- muxes ----

struct MuxCase {
    const char *chip;
    const char *tool;
    Lines calls;
};

TEST_F(BusKinds, SelectMuxesOfEveryKind) {
    const MuxCase cases[] = {
        {"BEHIND_I2C",
         "i2ctool",
         {"--write --bus=i2c-2 --addr=0x70 --width=8 --reg=0x00 --val=0x04",
          "--write --bus=i2c-2 --addr=0x71 --width=8 --reg=0x01 --val=0x08"}},
        {"BEHIND_BMC", "ipmitool", {"raw 0x38 0x3 0x3 0x70 0x0 0x2"}},
        {"BEHIND_IPMI", "ipmitool", {"raw 0x3a 0x01 0x04 0x71 0x00 0x01 0x03"}},
        {"BEHIND_GPIO", "gpiotool", {"--set --chip=1 --pin=3 --val=1"}},
    };
    for (const MuxCase &mux : cases) {
        const test::FakeTool tool(mux.tool);
        RegisterAccess(0).select(chip(mux.chip));
        EXPECT_EQ(calls(tool), mux.calls) << mux.chip;
        EXPECT_NO_THROW(RegisterAccess(0).select(chip("PCI_CHIP")));
    }
}

TEST_F(BusKinds, SelectAMemoryMuxKeepingTheOtherBitsOfItsByte) {
    test::FakeTool tool("memtool");
    tool.answers("\xF9");
    RegisterAccess(0).select(chip("BEHIND_MEMORY"));
    EXPECT_EQ(calls(tool), (Lines{"--get --addr=0x00020000 --count=1 --width=8",
                                  "--write --addr=0x00020000 --width=8 --val=0xf5"}));
}

TEST_F(BusKinds, TellWhichMuxCouldNotBeSet) {
    for (const auto &[name, program, place] :
         {std::tuple{"BEHIND_BMC", "ipmitool", "mux 1 of 1 (bmc-3 address 0x70)"},
          std::tuple{"BEHIND_IPMI", "ipmitool", "mux 1 of 1 (ipmi-4 address 0x71)"},
          std::tuple{"BEHIND_GPIO", "gpiotool", "mux 1 of 1 (gpio address 0x01)"},
          std::tuple{"BEHIND_MEMORY", "memtool", "mux 1 of 1 (mem address 0x20000)"}}) {
        test::FakeTool tool(program);
        tool.runs_script("echo 'tool: the reason' >&2; exit 6\n");
        const test::Failure failure = select_failure(name);
        EXPECT_EQ(failure.status, kExitAccessFailed);
        EXPECT_EQ(failure.message, std::string(place) + " could not be set: tool: the reason");
        tool.is_missing();
        EXPECT_EQ(select_failure(name).message,
                  std::string(place) + " could not be set: " + program + " is not on PATH");
    }
}

// The library writes all the same, so this must not pass for success.
TEST_F(BusKinds, TellOfAMemoryMuxWhoseByteCannotBeRead) {
    test::FakeTool tool("memtool");
    tool.runs_script("case $* in --get*) echo 'memtool: no answer' >&2; exit 5;; esac\n");
    EXPECT_EQ(select_failure("BEHIND_MEMORY").message,
              "mux 1 of 1 (mem address 0x20000) could not be set: memtool: no answer");
}

// ---- previews ----

Lines texts(const std::vector<PreviewStep> &steps, bool is_command) {
    Lines lines;
    for (const PreviewStep &step : steps) {
        EXPECT_EQ(step.is_command, is_command) << step.text;
        lines.push_back(step.text);
    }
    return lines;
}

struct PreviewCase {
    const char *chip;
    const char *reg;
    const char *command;
};

TEST_F(BusKinds, PreviewWhatAWriteWouldRunAndRunNothing) {
    const PreviewCase cases[] = {
        {"I2C_CHIP", "WORD",
         "i2ctool --write --bus=/dev/i2c-1 --addr=0x31 --width=16 --reg=0x02 --val=0x01,0x00"},
        {"LPC_CHIP", "WORD", "lpctool --write --addr=0x00000202 --size=b --val=0x1,0x0"},
        {"PCI_CHIP", "WORD",
         "pcitool --write --bus=0x01 --dev=0x02 --func=0x03 --offset=0x42 --val=0x01,0x00"},
        {"MEM_CHIP", "WORD", "memtool --write --addr=0x00010002 --width=16 --val=0x1"},
        {"BMC_CHIP", "CTRL", "ipmitool raw 0x38 0x3 0x2 0x50 0x1 0x1 > /dev/null"},
        {"BMC_CHIP", "WORD", "ipmitool raw 0x38 0x4 0x2 0x50 0x2 0x0 0x1 > /dev/null"},
        {"BMC_WIDE", "CTRL", "ipmitool raw 0x3a 0x01 0x02 0x52 0x00 0x00 0x01 0x01 1>/dev/null"},
    };
    for (const PreviewCase &test : cases) {
        const std::string program(test.command, std::string_view(test.command).find(' '));
        const test::FakeTool tool(program);
        const char *const set_path = std::getenv("PATH");
        const std::string path = set_path != nullptr ? set_path : "";
        EXPECT_EQ(texts(preview_write(chip(test.chip), reg(test.chip, test.reg), 1), true),
                  Lines{test.command});
        EXPECT_TRUE(tool.calls().empty()) << test.command;
        EXPECT_STREQ(std::getenv("PATH"), path.c_str());
        EXPECT_EQ(get_debug_enable(), 0);
    }
}

TEST_F(BusKinds, PreviewWhatSelectingWouldRunAndRunNothing) {
    const MuxCase cases[] = {
        {"BEHIND_I2C",
         "i2ctool",
         {"i2ctool --write --bus=i2c-2 --addr=0x70 --width=8 --reg=0x00 --val=0x04",
          "i2ctool --write --bus=i2c-2 --addr=0x71 --width=8 --reg=0x01 --val=0x08"}},
        {"BEHIND_BMC", "ipmitool", {"ipmitool raw 0x38 0x3 0x3 0x70 0x0 0x2 > /dev/null"}},
        {"BEHIND_IPMI",
         "ipmitool",
         {"ipmitool raw 0x3a 0x01 0x04 0x71 0x00 0x01 0x03 1>/dev/null"}},
        {"BEHIND_GPIO", "gpiotool", {"gpiotool --set --chip=1 --pin=3 --val=1"}},
    };
    for (const MuxCase &mux : cases) {
        const test::FakeTool tool(mux.tool);
        EXPECT_EQ(texts(preview_select(chip(mux.chip)), true), mux.calls);
        EXPECT_TRUE(tool.calls().empty()) << mux.chip;
    }
}

TEST_F(BusKinds, PreviewsLeavePathUnsetWhereItWasNot) {
    const test::EnvironmentSetting no_path("PATH", nullptr);
    preview_select(chip("BEHIND_GPIO"));
    EXPECT_EQ(std::getenv("PATH"), nullptr);
}

TEST_F(BusKinds, PreviewAMemoryMuxInWordsAsItsByteIsNotKnown) {
    const test::FakeTool tool("memtool");
    EXPECT_EQ(texts(preview_select(chip("BEHIND_MEMORY")), false),
              Lines{"the byte at memory address 0x00020000: bits 0x0c changed to 0x04"});
    EXPECT_TRUE(tool.calls().empty());
}

TEST_F(BusKinds, SayWhatTheyWouldRead) {
    const auto text = [this](const char *chip_name) {
        return make_route(chip(chip_name), reg(chip_name, "WORD"))->text();
    };
    EXPECT_EQ(text("I2C_CHIP"), "2 bytes of register 0x02 at /dev/i2c-1 address 0x31");
    EXPECT_EQ(text("LPC_CHIP"), "2 bytes at lpc address 0x00000202");
    EXPECT_EQ(text("PCI_CHIP"), "2 bytes at pci 01:02.3 offset 0x042");
    EXPECT_EQ(text("MEM_CHIP"), "2 bytes at memory address 0x00010002");
    EXPECT_EQ(text("BMC_CHIP"), "2 bytes of register 0x02 at bmc-2 address 0x50");
    EXPECT_EQ(text("BMC_WIDE"), "2 bytes of register 0x0002 at bmc-2 address 0x52");
}

}  // namespace
}  // namespace diag::diagctl
