// SPDX-License-Identifier: MIT
#include "diags/diagctl/value_name.h"

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

class ValueName : public ::testing::Test {
  protected:
    std::uint32_t value(const std::string &target, const std::string &text) const {
        return parse_value(find_target(chips_, target), text);
    }
    test::Failure failure(const std::string &target, const std::string &text) const {
        return test::failure_of([&] { value(target, text); });
    }

    Description chips_{test::diagctl_data("good_accesses.xml"), 0};
};

TEST_F(ValueName, ReadsNumbersForRegistersAndFields) {
    EXPECT_EQ(value("PUMP.CTRL", "0xff"), 0xFFU);
    EXPECT_EQ(value("PUMP.CTRL.SPEED", "0b10"), 2U);
    EXPECT_EQ(value("PUMP.LONG", "4294967295"), 0xFFFFFFFFU);
}

TEST_F(ValueName, RefusesANumberThatIsTooWide) {
    EXPECT_EQ(failure("PUMP.CTRL", "256").status, kExitUsage);
    EXPECT_EQ(failure("PUMP.CTRL.SPEED", "4").message,
              "4 does not fit PUMP.CTRL.SPEED: it has 2 bits, so 0x3 at most");
    EXPECT_EQ(failure("PUMP.CTRL.GO", "2").message,
              "2 does not fit PUMP.CTRL.GO: it has 1 bit, so 0x1 at most");
    EXPECT_EQ(failure("PUMP.LONG", "0x100000000").status, kExitUsage);
    EXPECT_EQ(failure("PUMP.LONG", "99999999999999999999999").status, kExitUsage);
}

TEST_F(ValueName, ReadsTheNamesOfAFieldsValues) {
    EXPECT_EQ(value("PUMP.CTRL.SPEED", "off"), 0U);
    EXPECT_EQ(value("PUMP.CTRL.SPEED", "OFF"), 0U);
    EXPECT_EQ(value("PUMP.CTRL.SPEED", " slow "), 1U);
}

TEST_F(ValueName, PrefersTheExactNameAndRefusesOneThatIsNotUnique) {
    EXPECT_EQ(value("PUMP.CTRL.SPEED", "fast"), 2U);
    EXPECT_EQ(value("PUMP.CTRL.SPEED", "FAST"), 3U);
    EXPECT_EQ(failure("PUMP.CTRL.SPEED", "Fast").message,
              "2 values of PUMP.CTRL.SPEED are called \"Fast\": give the number");
    EXPECT_EQ(failure("PUMP.CTRL.SPEED", "Fast").status, kExitUsage);
}

TEST_F(ValueName, NamesTheNearestOnesOfAnUnknownName) {
    EXPECT_EQ(failure("PUMP.CTRL.SPEED", "fats").message,
              "PUMP.CTRL.SPEED has no value \"fats\"; nearest: fast, FAST, off");
    EXPECT_EQ(failure("PUMP.CTRL.SPEED", "fats").status, kExitUsage);
}

TEST_F(ValueName, RefusesNamesWhereThereAreNone) {
    EXPECT_EQ(failure("PUMP.CTRL", "fast").status, kExitUsage);
    EXPECT_EQ(failure("PUMP.CTRL.LEVEL", "fast").message,
              "\"fast\" is no number, and PUMP.CTRL.LEVEL has no named values");
    EXPECT_EQ(failure("PUMP.CTRL.4", "fast").status, kExitUsage);
    EXPECT_EQ(failure("PUMP.CTRL.SPEED", "-1").status, kExitUsage);
}

}  // namespace
}  // namespace diag::diagctl
