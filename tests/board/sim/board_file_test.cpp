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

}  // namespace
}  // namespace diag::board::sim
