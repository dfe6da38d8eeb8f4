// SPDX-License-Identifier: MIT
#include "diags/diagctl/register_text.h"

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

class RegisterText : public ::testing::Test {
  protected:
    RegisterReading reading(const std::string &name, std::vector<std::uint8_t> bytes) const {
        return {test::register_named(pump(), name), {std::move(bytes), ByteOrder::kLowFirst}};
    }
    const Chip &pump() const { return find_chip(chips_, "PUMP"); }

    Description chips_{test::diagctl_data("good_accesses.xml"), 0};
};

TEST_F(RegisterText, ShowsTheNumberAndEachFieldWithItsMeaning) {
    EXPECT_EQ(register_text(pump(), reading("CTRL", {0x95})),
              "PUMP.CTRL (0x01) = 0x95\n"
              "      7  BUSY = 0x1\n"
              "      6  EVENT = 0x0\n"
              "    5:4  SPEED = 0x1 (Slow)\n"
              "      3  GO = 0x0\n"
              "    2:0  LEVEL = 0x5\n");
}

TEST_F(RegisterText, ShowsTheDigitsOfTheWidth) {
    EXPECT_EQ(register_text(pump(), reading("WORD", {0x34, 0x02})),
              "PUMP.WORD (0x10) = 0x0234\n"
              "  15:12  TOP = 0x0\n"
              "   11:0  REST = 0x234\n");
}

TEST_F(RegisterText, DumpsARegisterOfSeveralUnits) {
    std::vector<std::uint8_t> bytes(20, 0x20);
    bytes[0] = 'A';
    bytes[17] = 0x00;
    bytes[18] = 0xFF;
    EXPECT_EQ(register_text(pump(), reading("LABEL", bytes)),
              "PUMP.LABEL (0x40): 20 bytes\n"
              "00000000  41 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20  |A               |\n"
              "00000010  20 00 ff 20                                      | .. |\n");
}

TEST_F(RegisterText, ShowsOneFieldAlone) {
    const Target target = find_target(chips_, "PUMP.CTRL.SPEED");
    EXPECT_EQ(field_text(target, reading("CTRL", {0x10})), "PUMP.CTRL.SPEED = 0x1 (Slow)\n");
}

TEST_F(RegisterText, HasAJsonForm) {
    const Json json = register_json(reading("CTRL", {0x95}), nullptr);
    EXPECT_EQ(json["value"], 0x95);
    EXPECT_EQ(json["hex"], "0x95");
    EXPECT_EQ(json["fields"].size(), 5U);
    EXPECT_EQ(json["fields"][2]["meaning"], "Slow");
    EXPECT_TRUE(json["fields"][0]["meaning"].is_null());
    const Json dump = register_json(reading("LABEL", {0x41, 0x00, 0xFF}), nullptr);
    EXPECT_EQ(dump["bytes"], (std::vector<int>{0x41, 0, 0xFF}));
    EXPECT_EQ(dump["hex"], "4100ff");
}

}  // namespace
}  // namespace diag::diagctl
