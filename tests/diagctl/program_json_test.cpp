// SPDX-License-Identifier: MIT
// --json: one document, whatever happens.
#include "tests/diagctl/diagctl_test.h"
#include "tests/support/fake_tool.h"

namespace diag::test {
namespace {

using nlohmann::json;

class JsonOutput : public DiagctlTest {
  protected:
    // The error of a command that fails: told twice, in JSON and in one line.
    json error_of(const ProgramResult &result) const {
        json document = json::parse(result.output);
        EXPECT_EQ(document["format"], 1);
        EXPECT_EQ(document["error"]["status"], result.status);
        EXPECT_EQ("diagctl: " + document["error"]["message"].get<std::string>() + "\n",
                  result.errors);
        return document;
    }
};

TEST_F(JsonOutput, TreeListsChipsWithTheirWay) {
    const json document = json_of({"tree", "--json", example()});
    EXPECT_EQ(document["format"], 1);
    EXPECT_EQ(document["command"], "tree");
    EXPECT_EQ(document["file"], example());
    ASSERT_EQ(document["chips"].size(), 11U);
    const json &cpld = document["chips"][0];
    EXPECT_EQ(cpld["name"], "SYS_CPLD");
    EXPECT_EQ(cpld["type"], "CPLD");
    EXPECT_EQ(cpld["bus"], "/dev/i2c-1");
    EXPECT_EQ(cpld["address"], 0x31);
    EXPECT_EQ(cpld["address_hex"], "0x31");
    EXPECT_EQ(cpld["registers"], 10);
    const json &optic = document["chips"][10];
    ASSERT_EQ(optic["muxes"].size(), 2U);
    EXPECT_EQ(optic["muxes"][1]["address"], 0x71);
    EXPECT_EQ(optic["muxes"][1]["value"], 2);
}

TEST_F(JsonOutput, RegsListsRegistersWithTheirFields) {
    const json document = json_of({"regs", "--json", example(), "SYS_CPLD"});
    EXPECT_EQ(document["chip"]["identifier"], "SYS-CPLD");
    const json &id = document["registers"][0];
    EXPECT_EQ(id["name"], "BOARD_ID");
    EXPECT_EQ(id["default"], 0xA5);
    EXPECT_EQ(id["default_hex"], "0xa5");
    EXPECT_EQ(id["mask"], 0xFF);
    EXPECT_EQ(id["access"], "RO");
    EXPECT_EQ(id["fields"][0]["name"], "BOARD_TYPE");
    EXPECT_EQ(id["fields"][0]["high"], 7);
    EXPECT_EQ(id["fields"][0]["values"][1]["name"], "core router");
    EXPECT_EQ(document["registers"][2]["test_roles"], json::array({"a_mode1"}));
}

TEST_F(JsonOutput, RegsShowsWhatOnlyTheTextFormHas) {
    const json document =
        json_of({"regs", "--json", diagctl_data("good_bus_kinds.txt"), "PCI_CHIP"});
    EXPECT_EQ(document["chip"]["bus"], "pci 01:02.3");
    EXPECT_EQ(document["chip"]["bus_kind"], "pci");
    const json &ctrl = document["registers"][1];
    EXPECT_EQ(ctrl["version"], "1.2");
    EXPECT_EQ(ctrl["test_data"], 0x5A);
    EXPECT_EQ(ctrl["test_description"], "pattern test");
    EXPECT_EQ(ctrl["test_roles"], json::array({"b"}));
    const json xml = json_of({"regs", "--json", example(), "SYS_CPLD"});
    EXPECT_TRUE(xml["registers"][0]["version"].is_null());
}

TEST_F(JsonOutput, ADryRunTellsCommandLinesAndWordsApart) {
    const json document = json_of(
        {"write", "-n", "--json", diagctl_data("good_bus_kinds.txt"), "BEHIND_MEMORY.CTRL", "1"});
    EXPECT_EQ(document["steps"][0]["action"], "select");
    EXPECT_EQ(document["steps"][0]["text"],
              "the byte at memory address 0x00020000: bits 0x0c changed to 0x04");
    EXPECT_EQ(document["steps"][1]["command_line"],
              "i2ctool --write --bus=/dev/i2c-5 --addr=0x37 --width=8 --reg=0x01 --val=0x01");
}

TEST_F(JsonOutput, ReadGivesValuesFieldsAndWhatWasPassedOver) {
    const json document = board_json_of({"read", "--json", example(), "SYS_CPLD"});
    EXPECT_EQ(document["command"], "read");
    EXPECT_EQ(document["target"], "SYS_CPLD");
    const json &id = document["registers"][0];
    EXPECT_EQ(id["value"], 0xA5);
    EXPECT_EQ(id["hex"], "0xa5");
    EXPECT_EQ(id["fields"][0]["meaning"], "edge router");
    EXPECT_TRUE(id["fields"][1]["meaning"].is_null());
    EXPECT_EQ(document["skipped"][0]["name"], "INTR_STATUS");
    EXPECT_EQ(document["skipped"][0]["reason"], "reading clears it");
}

TEST_F(JsonOutput, ReadOfAFieldGivesThatFieldAlone) {
    const json document =
        board_json_of({"read", "--json", example(), "SYS_CPLD.BOARD_ID.BOARD_REV"});
    ASSERT_EQ(document["registers"].size(), 1U);
    ASSERT_EQ(document["registers"][0]["fields"].size(), 1U);
    EXPECT_EQ(document["registers"][0]["fields"][0]["value"], 5);
    EXPECT_EQ(document["skipped"], json::array());
}

TEST_F(JsonOutput, ReadOfSeveralUnitsGivesBytes) {
    const json document = board_json_of({"read", "--json", example(), "QSFP 4.VENDOR_PART"});
    EXPECT_EQ(document["registers"][0]["bytes"].size(), 16U);
    EXPECT_EQ(document["registers"][0]["hex"], "4e4f2d34302d44414331202020202020");
}

TEST_F(JsonOutput, WriteGivesWhatWasWrittenAndReadBack) {
    const json document =
        board_json_of({"write", "--json", example(), "SYS_CPLD.LED_CTRL.PSU_LED", "green"});
    EXPECT_EQ(document["target"], "SYS_CPLD.LED_CTRL.PSU_LED");
    EXPECT_EQ(document["field"], "PSU_LED");
    EXPECT_EQ(document["value"], 1);
    EXPECT_EQ(document["written"]["value"], 0x05);
    EXPECT_EQ(document["read_back"]["value"], 0x05);
    EXPECT_EQ(document["read_back"]["compared_bits"], 0xFF);
    EXPECT_EQ(document["read_back"]["equal"], true);
    EXPECT_EQ(document["dry_run"], false);
}

TEST_F(JsonOutput, WriteOfAWriteOnlyRegisterHasNothingReadBack) {
    const json document =
        board_json_of({"write", "--json", example(), "SYS_CPLD.WATCHDOG_KICK", "1"});
    EXPECT_TRUE(document["read_back"].is_null());
    EXPECT_TRUE(document["field"].is_null());
}

TEST_F(JsonOutput, WriteThatReadsBackOtherwiseIsADocumentAndAStatus) {
    FakeTool tool("i2ctool");
    tool.answers("\x0a");
    const ProgramResult result =
        diagctl({"write", "--json", diagctl_data("good_accesses.xml"), "PUMP.MODE", "0x0e"});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(is_one_line(result.errors));
    const json document = json::parse(result.output);
    EXPECT_EQ(document["read_back"]["equal"], false);
    EXPECT_EQ(document["read_back"]["value"], 0x0A);
    EXPECT_FALSE(document.contains("error"));
}

TEST_F(JsonOutput, DryRunListsItsSteps) {
    const json document = json_of(
        {"write", "--json", "--dry-run", diagctl_data("good_accesses.xml"), "DEEP.SET", "0x07"});
    EXPECT_EQ(document["dry_run"], true);
    ASSERT_EQ(document["steps"].size(), 4U);
    EXPECT_EQ(document["steps"][0]["action"], "select");
    EXPECT_EQ(document["steps"][2]["action"], "write");
    EXPECT_EQ(document["steps"][2]["command_line"],
              "i2ctool --write --bus=/dev/i2c-5 --addr=0x50 --width=8 --reg=0x01 --val=0x07");
    EXPECT_EQ(document["steps"][3]["action"], "compare");
}

TEST_F(JsonOutput, EveryFailureIsADocumentToo) {
    const std::string good = diagctl_data("good_accesses.xml");
    EXPECT_EQ(error_of(diagctl({"tree", "--json"}))["command"], "tree");
    EXPECT_EQ(error_of(diagctl({"--json", "nonsense"}))["error"]["status"], 2);
    EXPECT_EQ(error_of(diagctl({"tree", "--json", "/nonexistent"}))["error"]["status"], 3);
    EXPECT_EQ(error_of(diagctl({"regs", "--json", good, "PUPM"}))["error"]["status"], 5);
    EXPECT_EQ(error_of(diagctl({"write", "--json", good, "PUMP.ID", "1"}))["error"]["status"], 4);
    EXPECT_EQ(error_of(diagctl({"write", "--json", good, "PUMP.CTRL", "x"}))["error"]["status"], 2);
    EXPECT_EQ(error_of(diagctl({"read", "--json", good, "LPC_CHIP.ID"}))["command"], "read");
}

TEST_F(JsonOutput, AFailedAccessIsADocumentWhateverBytesTheToolSays) {
    FakeTool tool("i2ctool");
    tool.runs_script("printf 'i2ctool: \\377 \"quoted\" \\\\\\n' >&2; exit 8\n");
    const ProgramResult result =
        diagctl({"read", "--json", diagctl_data("good_accesses.xml"), "PUMP.ID"});
    EXPECT_EQ(result.status, 8);
    const json document = json::parse(result.output);
    EXPECT_EQ(document["error"]["message"],
              "PUMP.ID could not be read: i2ctool: \xEF\xBF\xBD \"quoted\" \\");
}

}  // namespace
}  // namespace diag::test
