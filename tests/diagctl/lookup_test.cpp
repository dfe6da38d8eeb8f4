// SPDX-License-Identifier: MIT
#include "diags/diagctl/lookup.h"

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

class Lookup : public ::testing::Test {
  protected:
    std::string chip(const std::string &name) const { return find_chip(names_, name).label; }
    Target target(const std::string &text) const { return find_target(names_, text); }
    std::string target_name(const std::string &text) const { return target(text).name(); }
    test::Failure failure(const std::string &text) const {
        return test::failure_of([&] { find_target(names_, text); });
    }

    Description names_{test::diagctl_data("good_names.xml"), 0};
};

TEST_F(Lookup, FindsAChipByNameIdentifierAndDeviceId) {
    EXPECT_EQ(chip("CPLD"), "CPLD");
    EXPECT_EQ(chip("MAIN"), "CPLD");
    EXPECT_EQ(chip("9-1.10-2.12"), "CPLD");
}

TEST_F(Lookup, PassesOverCaseWhenNoNameFitsExactly) {
    EXPECT_EQ(chip("cpld"), "CPLD");
    EXPECT_EQ(chip("main"), "CPLD");
    EXPECT_EQ(chip("FLASH"), "FLASH");
}

TEST_F(Lookup, PassesOverBlanksAroundNamesOfTheDescription) {
    EXPECT_EQ(chip("Sensor Hub"), "Sensor Hub");
    EXPECT_EQ(target_name("CPLD.padded name"), "CPLD.padded name");
}

TEST_F(Lookup, TellsChipsOfOneNameApartByTheirNumber) {
    EXPECT_EQ(find_chip(names_, "Flash#1").node->bus_no, 1U);
    EXPECT_EQ(find_chip(names_, "Flash#2").node->bus_no, 2U);
    EXPECT_EQ(find_chip(names_, "FLASH#1").node->bus_no, 3U);
    EXPECT_EQ(chip("Flash#2"), "Flash#2");
}

TEST_F(Lookup, ListsTheChipsOfANameThatSeveralHave) {
    const test::Failure failure = test::failure_of([&] { find_chip(names_, "Flash"); });
    EXPECT_EQ(failure.status, kExitNoDevice);
    EXPECT_EQ(failure.message,
              "2 chips are called \"Flash\": say which, Flash#1 (/dev/i2c-1 0x50) or Flash#2 "
              "(/dev/i2c-2 0x50)");
}

TEST_F(Lookup, NamesTheNearestChipsOfOneThatIsNotThere) {
    const test::Failure failure = test::failure_of([&] { find_chip(names_, "CPDL"); });
    EXPECT_EQ(failure.status, kExitNoDevice);
    EXPECT_EQ(failure.message,
              "no chip \"CPDL\" in " + names_.path() + "; nearest: CPLD, CPLD.A, FLASH");
}

TEST_F(Lookup, TakesTheLongestChipNameThatFits) {
    EXPECT_EQ(target_name("CPLD.A"), "CPLD.A");
    EXPECT_EQ(target("CPLD.A").reg, nullptr);
    EXPECT_EQ(target_name("CPLD.A.B.C"), "CPLD.A.B.C");
    EXPECT_EQ(target("CPLD.A.B.C").reg->offset, 1U);
    EXPECT_FALSE(target("CPLD.A.B.C").field);
}

TEST_F(Lookup, FallsBackToAShorterNameWhenTheRestOfALongerOneDoesNotFit) {
    EXPECT_EQ(target("CPLD.A.X").chip->label, "CPLD");
    EXPECT_EQ(register_name(*target("CPLD.A.X").reg), "A.X");
}

TEST_F(Lookup, FindsRegistersAndFieldsWithDotsInTheirNames) {
    EXPECT_EQ(target("CPLD.A.B.C.D").field->name, "D");
    EXPECT_EQ(target("CPLD.A.B.C.D.E").field->name, "D.E");
    EXPECT_EQ(target("9-1.10-2.12.ctrl.mode").field->low, 4);
}

TEST_F(Lookup, FindsARegisterByItsOffset) {
    EXPECT_EQ(target_name("CPLD.0x20"), "CPLD.Twin");
    EXPECT_EQ(target_name("CPLD.33"), "CPLD.Twin");
    EXPECT_EQ(target("CPLD.33").reg->offset, 0x21U);
    EXPECT_EQ(target_name("CPLD.0x40"), "CPLD.0x40");
    EXPECT_EQ(target_name("CPLD.0x30.mode"), "CPLD.ctrl.mode");
}

TEST_F(Lookup, PrefersTheExactRegisterName) {
    EXPECT_EQ(target("CPLD.ctrl").reg->offset, 0x30U);
    EXPECT_EQ(target("CPLD.CTRL").reg->offset, 0x41U);
}

TEST_F(Lookup, RefusesRegistersThatOneNameOrOneOffsetDoesNotTellApart) {
    EXPECT_EQ(failure("CPLD.Twin").message,
              "2 registers of chip \"CPLD\" are called \"Twin\": say which, Twin (0x20) or Twin "
              "(0x21)");
    EXPECT_EQ(failure("CPLD.0x22").status, kExitNoDevice);
    EXPECT_EQ(target_name("CPLD.second view"), "CPLD.Second view");
}

TEST_F(Lookup, NamesTheNearestRegisters) {
    EXPECT_EQ(failure("CPLD.Ctlr").message,
              "chip \"CPLD\" has no register \"Ctlr\"; nearest: ctrl, CTRL, A.X");
    EXPECT_EQ(failure("CPLD.Ctlr").status, kExitNoDevice);
    EXPECT_EQ(failure("CPLD.0x31").message,
              "chip \"CPLD\" has no register at 0x31; nearest: ctrl (0x30), First view "
              "(0x22), Second view (0x22)");
    EXPECT_EQ(failure("Flash#1.A").message, "chip \"Flash#1\" has no registers in its description");
}

TEST_F(Lookup, FindsBitsByTheirNumbers) {
    const Target whole = target("CPLD.ctrl.5:4");
    EXPECT_EQ(whole.field->name, "mode");
    const Target part = target("CPLD.ctrl.4");
    EXPECT_EQ(part.field->name, "4");
    EXPECT_EQ(part.field->definition, nullptr);
    const Target across = target("CPLD.ctrl.2:6");
    EXPECT_EQ(across.field->name, "6:2");
    EXPECT_EQ(across.field->low, 2);
    EXPECT_EQ(across.field->high, 6);
}

TEST_F(Lookup, GivesANamelessFieldItsBitsAsName) {
    EXPECT_EQ(target_name("CPLD.ctrl.3:0"), "CPLD.ctrl.3:0");
    EXPECT_NE(target("CPLD.ctrl.3:0").field->definition, nullptr);
}

TEST_F(Lookup, RefusesBitsThatTheRegisterDoesNotHave) {
    EXPECT_EQ(failure("CPLD.ctrl.8").message,
              "register \"ctrl\" of chip \"CPLD\" has no bit 8: its bits are 7:0");
    EXPECT_EQ(failure("CPLD.ctrl.8").status, kExitNoDevice);
}

TEST_F(Lookup, NamesTheNearestFields) {
    EXPECT_EQ(failure("CPLD.ctrl.mod").message,
              "register \"ctrl\" of chip \"CPLD\" has no field \"mod\"; nearest: mode, 3:0, Same");
    EXPECT_EQ(failure("CPLD.ctrl.mod").status, kExitNoDevice);
    EXPECT_EQ(failure("CPLD.CTRL.mode").message,
              "register \"CTRL\" of chip \"CPLD\" has no fields: bits go by number");
}

TEST_F(Lookup, RefusesAFieldNameThatTwoFieldsHave) {
    EXPECT_EQ(failure("CPLD.ctrl.Same").status, kExitNoDevice);
    EXPECT_EQ(failure("CPLD.ctrl.Same").message,
              "2 fields of register \"ctrl\" are called \"Same\": say which by its bits");
}

TEST_F(Lookup, TellsOfTheUnknownPartAndNotOfTheKnownOnes) {
    EXPECT_EQ(failure("Flahs.x").message,
              "no chip \"Flahs\" in " + names_.path() + "; nearest: FLASH, Flash#1, Flash#2");
    EXPECT_EQ(failure("").status, kExitNoDevice);
    EXPECT_EQ(failure(".").status, kExitNoDevice);
}

}  // namespace
}  // namespace diag::diagctl
