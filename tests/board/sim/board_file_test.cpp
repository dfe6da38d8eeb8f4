// SPDX-License-Identifier: MIT
#include "diags/board/sim/board_file.h"

#include <gtest/gtest.h>

#include "diags/board/sim/board_error.h"

namespace diag::board::sim {
namespace {

using Kind = RegisterSetting::Kind;

BoardFile parse(const std::string &text) {
    return parse_board_file("dir/x.board", text);
}

BoardFile parse_chips(const std::string &chips) {
    return parse(R"({"description": "x.xml", "chips": )" + chips + "}");
}

RegisterSetting parse_register(const std::string &setting) {
    const BoardFile file = parse_chips(R"({"A": {"registers": {"R": )" + setting + "}}}");
    return file.chips.at(0).registers.at(0);
}

// The message, after the file's name.
template <typename Parse>
std::string complaint(Parse parse_it, const std::string &text) {
    try {
        parse_it(text);
    } catch (const BoardError &error) {
        EXPECT_EQ(error.exit_status(), kExitBadDescription);
        const std::string line = error.what();
        EXPECT_EQ(line.find('\n'), std::string::npos) << line;
        EXPECT_EQ(line.rfind("dir/x.board:", 0), 0U) << line;
        return line.substr(std::string("dir/x.board:").size());
    }
    return "accepted";
}

std::string register_complaint(const std::string &setting) {
    return complaint(parse_register, setting);
}

TEST(BoardFile, FindsTheDescriptionBesideItself) {
    EXPECT_EQ(parse(R"({"description": "x.xml"})").description, "dir/x.xml");
    EXPECT_EQ(parse(R"({"description": "/abs/x.xml"})").description, "/abs/x.xml");
}

TEST(BoardFile, MayHaveComments) {
    EXPECT_EQ(parse("// one\n{ /* two */ \"description\": \"x.xml\" // three\n}").description,
              "dir/x.xml");
}

TEST(BoardFile, ReadsChipsInOrder) {
    const BoardFile file =
        parse_chips(R"({"Z": {"no_answer": true}, "A": {"delay_ms": 20}, "M#2": {}})");
    ASSERT_EQ(file.chips.size(), 3U);
    EXPECT_EQ(file.chips[0].name, "Z");
    EXPECT_TRUE(file.chips[0].no_answer);
    EXPECT_EQ(file.chips[0].delay_ms, 0U);
    EXPECT_EQ(file.chips[1].delay_ms, 20U);
    EXPECT_FALSE(file.chips[1].no_answer);
    EXPECT_EQ(file.chips[2].name, "M#2");
}

TEST(BoardFile, ReadsEveryFormOfARegisterValue) {
    EXPECT_EQ(parse_register("18").units, std::vector<uint32_t>{18});
    EXPECT_EQ(parse_register(R"("0x12")").units, std::vector<uint32_t>{0x12});
    EXPECT_EQ(parse_register(R"([1, "0xff", "3"])").units, (std::vector<uint32_t>{1, 0xFF, 3}));
    EXPECT_EQ(parse_register(R"({"text": "AB"})").units, (std::vector<uint32_t>{'A', 'B'}));
    EXPECT_EQ(parse_register(R"({"value": [4, 5]})").units, (std::vector<uint32_t>{4, 5}));
    EXPECT_EQ(parse_register("18").kind, Kind::kNumber);
    EXPECT_EQ(parse_register("[18]").kind, Kind::kList);
    EXPECT_EQ(parse_register(R"({"text": ""})").kind, Kind::kText);
    EXPECT_EQ(parse_register("{}").kind, Kind::kNone);
}

TEST(BoardFile, ReadsStuckBits) {
    const RegisterSetting setting =
        parse_register(R"({"value": 7, "stuck_high": "0x01", "stuck_low": 128})");
    EXPECT_EQ(setting.units, std::vector<uint32_t>{7});
    EXPECT_EQ(setting.stuck_high, 0x01U);
    EXPECT_EQ(setting.stuck_low, 0x80U);
}

TEST(BoardFile, ReadsNvramSettings) {
    const BoardFile file =
        parse(R"({"description": "x", "nvram": {"verbosity_override": true, "verbosity": -1}})");
    EXPECT_TRUE(file.verbosity_override);
    EXPECT_EQ(file.verbosity, -1);
}

BoardFile parse_key(const std::string &key, const std::string &value) {
    return parse(R"({"description": "x", ")" + key + "\": " + value + "}");
}

TEST(BoardFile, ReadsPlainBytes) {
    const auto regions = parse(R"({"description": "x",
                  "memory": [{"address": "0x123456789a", "size": 64, "bytes": ["0x01", 2]}],
                  "lpc": [{"size": 1, "address": "0xffffffff"}, {"address": 5, "size": 1048576}]})")
                             .regions;
    ASSERT_EQ(regions.size(), 3U);
    EXPECT_EQ(regions[0].kind, BusKind::kMemory);
    EXPECT_EQ(regions[0].address, 0x123456789AU);
    EXPECT_EQ(regions[0].size, 64U);
    EXPECT_EQ(regions[0].bytes, (std::vector<uint8_t>{1, 2}));
    EXPECT_EQ(regions[1].kind, BusKind::kLpc);
    EXPECT_EQ(regions[1].address, 0xFFFFFFFFU);
    EXPECT_TRUE(regions[1].bytes.empty());
}

TEST(BoardFile, ReadsGpioLines) {
    const auto lines = parse_key("gpio", R"({"0": {"3": 1, "0x04": 0}, "12": {}})").gpio;
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].chip, 0U);
    EXPECT_EQ(lines[0].line, 3U);
    EXPECT_TRUE(lines[0].is_high);
    EXPECT_EQ(lines[1].line, 4U);
    EXPECT_FALSE(lines[1].is_high);
}

TEST(BoardFile, ReadsTheControllersRegisters) {
    const auto registers =
        parse_key("oem_registers", R"({"0x1234": "0x01020304", "65535": 7})").oem_registers;
    ASSERT_EQ(registers.size(), 2U);
    EXPECT_EQ(registers[0].number, 0x1234U);
    EXPECT_EQ(registers[0].value, 0x01020304U);
    EXPECT_EQ(registers[1].number, 0xFFFFU);
}

TEST(BoardFile, ReadsSlots) {
    const auto slots =
        parse_key("slots",
                  R"({"1": {"present": true, "card_type": 2}, "3": {"present": false}, "2": {}})")
            .slots;
    ASSERT_EQ(slots.size(), 3U);
    EXPECT_EQ(slots[0].number, 1U);
    EXPECT_TRUE(slots[0].is_present);
    EXPECT_EQ(slots[0].card_type, 2);
    EXPECT_EQ(slots[0].place, "/slots/1");
    EXPECT_FALSE(slots[1].is_present);
    EXPECT_TRUE(slots[2].is_present) << "who mentions a card has one";
    EXPECT_EQ(slots[2].card_type, 0);
}

TEST(BoardFile, PointsAtWhatIsWrongWithBusesAndSlots) {
    const struct {
        const char *key;
        const char *value;
        const char *complaint;
    } cases[] = {
        {"memory", "{}", "/memory: expected a list in [ ]"},
        {"memory", "[1]", "/memory/0: expected an object in { }"},
        {"memory", R"([{"size": 1}])", "/memory/0: the key \"address\" is missing"},
        {"memory", R"([{"address": 1}])", "/memory/0: expected a \"size\" of at least 1"},
        {"memory", R"([{"address": 1, "size": 0}])",
         "/memory/0: expected a \"size\" of at least 1"},
        {"memory", R"([{"address": 1, "size": 1048577}])",
         "/memory/0/size: out of range: 0 to 0x100000"},
        {"memory", R"([{"address": "0xffffffffffffffff", "size": 1}])",
         "/memory/0/address: out of range: 0 to 0xffffffffffefffff"},
        {"memory", R"([{"address": "0x1ffffffffffffffff", "size": 1}])",
         "/memory/0/address: \"0x1ffffffffffffffff\" is no number (0x... or decimal)"},
        {"memory", R"([{"address": 1, "size": 1, "bytes": [1, 2]}])",
         "/memory/0: 2 bytes given, the size is 1"},
        {"memory", R"([{"address": 1, "size": 1, "bytes": [256]}])",
         "/memory/0/bytes/0: out of range: 0 to 0xff"},
        {"memory", R"([{"adress": 1}])", "/memory/0/adress: no such key (nearest: address)"},
        {"lpc", R"([{"address": "0x100000000", "size": 1}])",
         "/lpc/0/address: out of range: 0 to 0xffffffff"},
        {"lpc", R"([{"address": "0xffffffff", "size": 2}])",
         "/lpc/0: ends above the last address, 0xffffffff"},
        {"gpio", "[]", "/gpio: expected an object in { }"},
        {"gpio", R"({"x": {}})", "/gpio/x: \"x\" is no number (0x... or decimal)"},
        {"gpio", R"({"0": 1})", "/gpio/0: expected an object in { }"},
        {"gpio", R"({"0": {"a": 1}})", "/gpio/0/a: \"a\" is no number (0x... or decimal)"},
        {"gpio", R"({"0": {"1": 2}})", "/gpio/0/1: out of range: 0 to 0x1"},
        {"gpio", R"({"0": {"1": true}})", "/gpio/0/1: expected a number, or a text like \"0x1f\""},
        {"oem_registers", R"({"0x10000": 1})", "/oem_registers/0x10000: out of range: 0 to 0xffff"},
        {"oem_registers", R"({"1": 4294967296})",
         "/oem_registers/1: out of range: 0 to 0xffffffff"},
        {"slots", "[]", "/slots: expected an object in { }"},
        {"slots", R"({"one": {}})", "/slots/one: \"one\" is no number (0x... or decimal)"},
        {"slots", R"({"1": 2})", "/slots/1: expected an object in { }"},
        {"slots", R"({"1": {"present": 1}})", "/slots/1/present: expected true or false"},
        {"slots", R"({"1": {"card_type": 256}})", "/slots/1/card_type: out of range: 0 to 0xff"},
        {"slots", R"({"1": {"type": 1}})", "/slots/1/type: no such key (nearest: card_type)"},
        {"slots", R"({"1": {}, "0x1": {}})", "/slots/0x1: slot 1 stands twice in the file"},
    };
    for (const auto &row : cases) {
        const std::string text =
            R"({"description": "x", ")" + std::string(row.key) + "\": " + row.value + "}";
        EXPECT_EQ(complaint(parse, text), std::string(" ") + row.complaint) << row.value;
    }
}

TEST(BoardFile, NeedsADescription) {
    EXPECT_EQ(complaint(parse, "{}"), " /: the key \"description\" is missing");
    EXPECT_EQ(complaint(parse, R"({"description": ""})"),
              " /description: expected the path of a board description");
    EXPECT_EQ(complaint(parse, R"({"description": 5})"),
              " /description: expected a text in double quotes");
}

TEST(BoardFile, NamesUnknownKeysAndTheirNearestNeighbours) {
    EXPECT_EQ(complaint(parse, R"({"descripton": "x"})"),
              " /descripton: no such key (nearest: description)");
    EXPECT_EQ(complaint(parse_chips, R"({"A": {"delay": 1}})"),
              " /chips/A/delay: no such key (nearest: delay_ms)");
    EXPECT_EQ(register_complaint(R"({"val": 1})"),
              " /chips/A/registers/R/val: no such key (nearest: value)");
    EXPECT_EQ(complaint(parse, R"({"description": "x", "nvram": {"level": 1}})"),
              " /nvram/level: no such key (nearest: verbosity)");
}

TEST(BoardFile, RefusesWrongTypes) {
    EXPECT_EQ(complaint(parse, "[]"), " /: expected an object in { }");
    EXPECT_EQ(complaint(parse_chips, "[]"), " /chips: expected an object in { }");
    EXPECT_EQ(complaint(parse_chips, R"({"A": 1})"), " /chips/A: expected an object in { }");
    EXPECT_EQ(complaint(parse_chips, R"({"A": {"no_answer": 1}})"),
              " /chips/A/no_answer: expected true or false");
    EXPECT_EQ(complaint(parse_chips, R"({"A": {"registers": 1}})"),
              " /chips/A/registers: expected an object in { }");
    EXPECT_EQ(register_complaint("true"),
              " /chips/A/registers/R: expected a number, or a text like \"0x1f\"");
    EXPECT_EQ(register_complaint("1.5"),
              " /chips/A/registers/R: expected a number, or a text like \"0x1f\"");
    EXPECT_EQ(register_complaint("[[1]]"),
              " /chips/A/registers/R/0: expected a number, or a text like \"0x1f\"");
    EXPECT_EQ(register_complaint(R"({"text": 1})"),
              " /chips/A/registers/R/text: expected a text in double quotes");
    EXPECT_EQ(complaint(parse, R"({"description": "x", "nvram": {"verbosity": "1"}})"),
              " /nvram/verbosity: expected a whole number");
}

TEST(BoardFile, RefusesNumbersOutOfRange) {
    EXPECT_EQ(complaint(parse_chips, R"({"A": {"delay_ms": 60001}})"),
              " /chips/A/delay_ms: out of range: 0 to 0xea60");
    EXPECT_EQ(register_complaint("-1"), " /chips/A/registers/R: out of range: 0 to 0xffffffff");
    EXPECT_EQ(register_complaint("4294967296"),
              " /chips/A/registers/R: out of range: 0 to 0xffffffff");
    EXPECT_EQ(complaint(parse, R"({"description": "x", "nvram": {"verbosity": 2147483648}})"),
              " /nvram/verbosity: out of range: a signed number of 32 bits");
    EXPECT_EQ(complaint(parse, R"({"description": "x", "nvram": {"verbosity": -2147483649}})"),
              " /nvram/verbosity: out of range: a signed number of 32 bits");
}

TEST(BoardFile, RefusesTextsThatAreNoNumbers) {
    EXPECT_EQ(register_complaint(R"("0xzz")"),
              " /chips/A/registers/R: \"0xzz\" is no number (0x... or decimal)");
}

TEST(BoardFile, RefusesContradictions) {
    EXPECT_EQ(register_complaint(R"({"value": 1, "text": "A"})"),
              " /chips/A/registers/R/text: \"value\" and \"text\" exclude each other");
    EXPECT_EQ(register_complaint(R"({"stuck_high": 3, "stuck_low": 2})"),
              " /chips/A/registers/R: a bit cannot be stuck high and low at once");
}

TEST(BoardFile, RefusesAKeyThatStandsTwice) {
    EXPECT_EQ(complaint(parse_chips, R"({"A": {}, "B": {"registers": {}}, "A": {}})"),
              " the key \"A\" stands twice in one object");
}

TEST(BoardFile, PointsAtSyntaxErrors) {
    EXPECT_EQ(complaint(parse, "{\n  \"description\": \"x\"\n  \"chips\": {}\n}").substr(0, 5),
              "3:9: ");
    EXPECT_EQ(complaint(parse, "{\n  \"description\" 5}").rfind("2:17:", 0), 0U);
    EXPECT_NE(complaint(parse, "").find("1:1:"), std::string::npos);
    EXPECT_NE(complaint(parse, "{\"description\": \"\xFF\"}").find("1:18:"), std::string::npos);
    EXPECT_NE(complaint(parse, R"({"description": 1e999})").find("number overflow"),
              std::string::npos);
}

BrokerFaults parse_faults(const std::string &faults) {
    return parse(R"({"description": "x.xml", "broker": {"faults": )" + faults + "}}").broker_faults;
}

TEST(BoardFile, ReadsTheFaultsOfTheBroker) {
    const BrokerFaults faults = parse_faults(
        R"({"lose": 10, "double": 5, "corrupt": 4, "reorder": 3, "late": 2, "late_ms": 70,
            "refuse": 100, "silent": true, "seed": "0xffffffff"})");
    EXPECT_EQ(faults.lose, 10U);
    EXPECT_EQ(faults.double_percent, 5U);
    EXPECT_EQ(faults.corrupt, 4U);
    EXPECT_EQ(faults.reorder, 3U);
    EXPECT_EQ(faults.late, 2U);
    EXPECT_EQ(faults.late_ms, 70U);
    EXPECT_EQ(faults.refuse, 100U);
    EXPECT_TRUE(faults.silent);
    EXPECT_EQ(faults.seed, UINT32_MAX);
}

TEST(BoardFile, HasABrokerWithoutFaultsUnlessItSaysOtherwise) {
    for (const BrokerFaults &faults :
         {parse(R"({"description": "x.xml"})").broker_faults,
          parse(R"({"description": "x.xml", "broker": {}})").broker_faults, parse_faults("{}")}) {
        EXPECT_EQ(faults.lose + faults.double_percent + faults.corrupt + faults.reorder +
                      faults.late + faults.refuse,
                  0U);
        EXPECT_FALSE(faults.silent);
        EXPECT_EQ(faults.late_ms, 50U);
        EXPECT_EQ(faults.seed, 1U);
    }
}

TEST(BoardFile, RefusesFaultsThatCannotBe) {
    EXPECT_EQ(complaint(parse_faults, R"({"lose": 101})"),
              " /broker/faults/lose: out of range: 0 to 0x64");
    EXPECT_EQ(complaint(parse_faults, R"({"late_ms": 60001})"),
              " /broker/faults/late_ms: out of range: 0 to 0xea60");
    EXPECT_EQ(complaint(parse_faults, R"({"silent": 1})"),
              " /broker/faults/silent: expected true or false");
    EXPECT_EQ(complaint(parse_faults, R"({"loose": 1})"),
              " /broker/faults/loose: no such key (nearest: lose)");
    EXPECT_EQ(complaint(parse_faults, "7"), " /broker/faults: expected an object in { }");
    EXPECT_EQ(complaint(parse, R"({"description": "x.xml", "broker": {"fault": {}}})"),
              " /broker/fault: no such key (nearest: faults)");
}

}  // namespace
}  // namespace diag::board::sim
