// SPDX-License-Identifier: MIT
// Every bus kind and every kind of mux on a simulated board, from both forms of a description.
#include <filesystem>

#include "tests/diagctl/diagctl_test.h"
#include "tests/support/fake_tool.h"

namespace diag::test {
namespace {

class BusKindsOnBoard : public DiagctlTest {
  protected:
    // Runs a command on a simulated board of the description.
    ProgramResult on(const std::string &description, const std::string &command,
                     const Words &arguments, const Words &options = {}) const {
        const std::string board = folder_.write(
            description + ".board", R"({"description": ")" + diagctl_data(description) + "\"}");
        Words words{"--board", board};
        words.insert(words.end(), options.begin(), options.end());
        words.insert(words.end(), {command, diagctl_data(description)});
        words.insert(words.end(), arguments.begin(), arguments.end());
        return diagctl(words);
    }

    void expect_round_trip(const std::string &description, const std::string &chip) const {
        struct Case {
            const char *reg;
            const char *before;
            const char *after;
        };
        constexpr Case kCases[] = {{"CTRL", "0x01", "0x5a"},
                                   {"WORD", "0x1234", "0xa55a"},
                                   {"LONG", "0x12345678", "0xdeadbeef"}};
        for (const auto &[reg, before, after] : kCases) {
            const std::string target = chip + "." + reg;
            const ProgramResult first = on(description, "read", {target});
            EXPECT_EQ(first.status, 0) << target << ": " << first.errors;
            EXPECT_NE(first.output.find(std::string(" = ") + before + "\n"), std::string::npos)
                << first.output;
            const ProgramResult written = on(description, "write", {target, after});
            EXPECT_EQ(written.status, 0) << target << ": " << written.errors;
            const ProgramResult second = on(description, "read", {target});
            EXPECT_NE(second.output.find(std::string(" = ") + after + "\n"), std::string::npos)
                << second.output;
        }
        EXPECT_TRUE(left_nothing_behind());
    }

  private:
    TemporaryFolder folder_;
};

TEST_F(BusKindsOnBoard, AreReadAndWrittenFromTheTextForm) {
    for (const char *chip :
         {"I2C_CHIP", "I2C_WIDE", "LPC_CHIP", "PCI_CHIP", "MEM_CHIP", "BMC_CHIP", "BMC_WIDE"}) {
        expect_round_trip("good_bus_kinds.txt", chip);
    }
}

TEST_F(BusKindsOnBoard, AreReadAndWrittenFromTheXmlForm) {
    for (const char *chip : {"I2C_CHIP", "LPC_CHIP", "MEM_CHIP", "BMC_CHIP", "BMC_LOW_FIRST"}) {
        expect_round_trip("good_bus_kinds.xml", chip);
    }
}

TEST_F(BusKindsOnBoard, AreReachedBehindMuxesOfEveryKind) {
    for (const char *chip :
         {"BEHIND_I2C", "BEHIND_BMC", "BEHIND_IPMI", "BEHIND_GPIO", "BEHIND_MEMORY"}) {
        expect_round_trip("good_bus_kinds.txt", chip);
    }
    expect_round_trip("good_bus_kinds.xml", "BEHIND_ALL");
}

TEST_F(BusKindsOnBoard, HaveRegistersOfSeveralUnits) {
    for (const char *chip : {"I2C_CHIP", "LPC_CHIP", "MEM_CHIP", "BMC_CHIP", "BMC_LOW_FIRST"}) {
        const ProgramResult result =
            on("good_bus_kinds.xml", "read", {std::string(chip) + ".TABLE"});
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_NE(result.output.find("): 4 bytes\n00000000  41 41 41 41 "), std::string::npos)
            << result.output;
    }
}

TEST_F(BusKindsOnBoard, HaveTheLongestAnswersThatTheControllerBrings) {
    EXPECT_NE(on("good_bus_kinds.xml", "read", {"BMC_LONG.MOST"}).output.find("): 160 bytes\n"),
              std::string::npos);
    const ProgramResult result = on("good_bus_kinds.xml", "read", {"BMC_LONG.TOO_MANY"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.errors,
              "diagctl: BMC_LONG.TOO_MANY: 161 bytes, but one answer of the controller brings 160 "
              "at most\n");
}

TEST_F(BusKindsOnBoard, NeedAFunctionOnPci) {
    const ProgramResult result = on("good_bus_kinds.xml", "read", {"PCI_CHIP.ID"});
    EXPECT_EQ(result.status, 3);
    EXPECT_TRUE(is_one_line(result.errors)) << result.errors;
}

TEST_F(BusKindsOnBoard, ShowTheirCommandLinesWithVerbose) {
    struct Case {
        const char *target;
        const char *command;
    };
    constexpr Case kCases[] = {
        {"I2C_CHIP.CTRL", "i2ctool --write --bus=/dev/i2c-1 --addr=0x31 --width=8 --reg=0x01"},
        {"LPC_CHIP.CTRL", "lpctool --write --addr=0x00000201 --size=b --val=0x1"},
        {"PCI_CHIP.CTRL", "pcitool --write --bus=0x01 --dev=0x02 --func=0x03 --offset=0x41"},
        {"MEM_CHIP.CTRL", "memtool --write --addr=0x00010001 --width=8 --val=0x1"},
        {"BMC_CHIP.CTRL", "ipmitool raw 0x38 0x2 0x2 0x50 0x1 0x1"},
        {"BMC_WIDE.CTRL", "ipmitool raw 0x3a 0x01 0x02 0x52 0x01 0x00 0x01"},
        {"BEHIND_BMC.CTRL", "ipmitool raw 0x38 0x3 0x3 0x70 0x0 0x2"},
        {"BEHIND_GPIO.CTRL", "gpiotool --set --chip=1 --pin=3 --val=1"},
    };
    for (const auto &[target, command] : kCases) {
        const ProgramResult result = on("good_bus_kinds.txt", "write", {target, "1"}, {"-v"});
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_NE(result.errors.find(command), std::string::npos) << result.errors;
    }
}

TEST_F(BusKindsOnBoard, AreUntouchedByADryRun) {
    const Words words{"--dry-run", "BEHIND_GPIO.CTRL", "0x77"};
    const ProgramResult result = on("good_bus_kinds.txt", "write", words);
    EXPECT_EQ(result.output,
              "would run gpiotool --set --chip=1 --pin=3 --val=1\n"
              "would run i2ctool --write --bus=/dev/i2c-4 --addr=0x36 --width=8 --reg=0x01 "
              "--val=0x77\n"
              "would compare 1 byte of register 0x01 at /dev/i2c-4 address 0x36, bits 0xff\n");
    EXPECT_NE(on("good_bus_kinds.txt", "read", {"BEHIND_GPIO.CTRL"}).output.find("= 0x01"),
              std::string::npos);
}

// ---- optional modules ----

class Modules : public DiagctlTest {
  protected:
    std::string carrier_ = example_board("io_carrier.txt");
    Words board_{"--board", example_board("io_carrier.board")};

    ProgramResult on_carrier(const Words &words) const {
        Words all = board_;
        all.insert(all.end(), words.begin(), words.end());
        return diagctl(all);
    }
};

TEST_F(Modules, ArePresentChipsLikeOthers) {
    const ProgramResult tree = on_carrier({"tree", carrier_});
    EXPECT_EQ(tree.status, 0);
    EXPECT_EQ(tree.errors, "");
    EXPECT_NE(tree.output.find("IOM_1 (CPLD)"), std::string::npos) << tree.output;
    EXPECT_EQ(tree.output.find("IOM_2"), std::string::npos);
    EXPECT_EQ(on_carrier({"read", carrier_, "IOM_1.LINK.PORT_1"}).output,
              "IOM_1.LINK.PORT_1 = 0x1 (up)\n");
    EXPECT_EQ(on_carrier({"write", carrier_, "IOM_3.PORT_ENABLE", "0x0f"}).status, 0);
    EXPECT_EQ(on_carrier({"read", carrier_, "IOM_3.PORT_ENABLE"}).output,
              "IOM_3.PORT_ENABLE (0x10) = 0x0f\n");
}

TEST_F(Modules, ThatCannotBeReadAreOneWarningAndTheOtherChipsAreThere) {
    const FakeTool no_tools("some-tool");
    const std::string warning = "diagctl: " + carrier_ +
                                ": optional modules could not be read: Could not read lpc at "
                                "0x305\n";
    const ProgramResult tree = diagctl({"tree", carrier_});
    EXPECT_EQ(tree.status, 0);
    EXPECT_EQ(tree.errors, warning);
    EXPECT_NE(tree.output.find("BOARD_CPLD"), std::string::npos);
    const ProgramResult json = diagctl({"--json", "regs", carrier_, "BOARD_CPLD"});
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.errors, warning);
    EXPECT_EQ(nlohmann::json::parse(json.output)["chip"]["name"], "BOARD_CPLD");
    const ProgramResult verbose = diagctl({"-v", "tree", carrier_});
    EXPECT_NE(verbose.errors.find("Could not read lpc at 0x305\n"), std::string::npos);
    EXPECT_NE(verbose.errors.find("could not be read: see the messages\n"), std::string::npos);
}

// The slot tells that there is a card, and the card does not tell its type.
TEST_F(Modules, ThatDoNotAnswerAreOneWarningEach) {
    FakeTool lpctool("lpctool");
    lpctool.answers(std::string(1, '\0'));
    const ProgramResult tree = diagctl({"tree", carrier_});
    EXPECT_EQ(tree.status, 0);
    EXPECT_EQ(tree.errors, "diagctl: " + carrier_ +
                               ": IOM Slot 1 present but not powered on\ndiagctl: " + carrier_ +
                               ": IOM Slot 2 present but not powered on\ndiagctl: " + carrier_ +
                               ": IOM Slot 3 present but not powered on\n");
    EXPECT_NE(tree.output.find("IOM_2 (CPLD)"), std::string::npos);
    const ProgramResult read = diagctl({"read", carrier_, "IOM_2"});
    EXPECT_EQ(read.status, 5);
    EXPECT_EQ(read.output, "");
    EXPECT_EQ(read.errors, "diagctl: chip \"IOM_2\" has no registers in its description\n");
}

TEST_F(Modules, AreNotLookedForInADryRun) {
    FakeTool lpctool("lpctool");
    lpctool.answers(std::string(1, '\0'));
    const ProgramResult result =
        diagctl({"write", "--dry-run", carrier_, "BOARD_CPLD.SCRATCH", "1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors,
              "diagctl: " + carrier_ + ": optional modules are not looked for in a dry run\n");
    EXPECT_EQ(result.output,
              "would run lpctool --write --addr=0x00000302 --size=b --val=0x1\n"
              "would compare 1 byte at lpc address 0x00000302, bits 0xff\n");
    const ProgramResult card = diagctl({"write", "--dry-run", carrier_, "IOM_1.LINK", "1"});
    EXPECT_EQ(card.status, 5);
    EXPECT_NE(
        card.errors.find("(" + carrier_ + ": optional modules are not looked for in a dry run)\n"),
        std::string::npos)
        << card.errors;
    EXPECT_TRUE(lpctool.calls().empty());
}

// The library's pipes have one name for all: an answer must not go to the wrong process.
TEST_F(Modules, AreFoundByManyProcessesAtATime) {
    EXPECT_EQ(on_carrier({"tree", carrier_}).status, 0);
    const ProgramResult result =
        run_program({"sh", "-c", "for i in 1 2 3 4 5 6 7 8; do \"$0\" \"$@\" & done; wait",
                     program(), board_[0], board_[1], "read", carrier_, "SFP_0.IDENTIFIER.TYPE"},
                    {"DIAG_BOARD_DIR=" + boards().path().string()});
    EXPECT_EQ(result.errors, "");
    std::string expected;
    for (int i = 0; i < 8; ++i) {
        expected += "SFP_0.IDENTIFIER.TYPE = 0x03 (SFP)\n";
    }
    EXPECT_EQ(result.output, expected);
}

// ---- where the tools are found ----

TEST_F(Modules, TheControllersToolForSimulatedBoardsIsThereWithABoardAlone) {
    const std::string own = std::filesystem::path(program()).parent_path();
    EXPECT_EQ(on_carrier({"run", "--", "sh", "-c", "command -v ipmitool"}).output,
              own + "/sim/ipmitool\n");
    const FakeTool real("ipmitool");
    EXPECT_NE(diagctl({"read", carrier_, "FAN_CTRL.CONFIG"}).status, 0);
    EXPECT_EQ(real.calls().size(), 1U);
    EXPECT_EQ(on_carrier({"read", carrier_, "FAN_CTRL.CONFIG.MODE"}).output,
              "FAN_CTRL.CONFIG.MODE = 0x1 (automatic)\n");
    EXPECT_EQ(real.calls().size(), 1U);
}

// As an installation has it, where no folder of the build tree lies beside the program.
TEST_F(Modules, TheControllersToolIsFoundInAnInstallation) {
    namespace fs = std::filesystem;
    const TemporaryFolder folder;
    const fs::path own = fs::path(program()).parent_path();
    const fs::path bin = folder.path() / "usr" / "bin";
    const fs::path board_tools = bin / DIAGCTL_BOARD_TOOLS_FOLDER;
    fs::create_directories(bin);
    fs::create_directories(board_tools.lexically_normal());
    fs::copy(program(), bin / "diagctl");
    fs::copy(own / "sim" / "ipmitool", board_tools / "ipmitool");
    for (const char *tool : {"i2ctool", "lpctool"}) {
        fs::copy(own / tool, bin / tool);
    }
    const TemporaryFolder boards;
    const ProgramResult result = run_program(
        {bin / "diagctl", board_[0], board_[1], "read", carrier_, "FAN_CTRL.CONFIG.MODE"},
        {"DIAG_BOARD_DIR=" + boards.path().string()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, "FAN_CTRL.CONFIG.MODE = 0x1 (automatic)\n");
}

}  // namespace
}  // namespace diag::test
