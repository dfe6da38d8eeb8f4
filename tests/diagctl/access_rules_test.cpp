// SPDX-License-Identifier: MIT
#include "diags/diagctl/access_rules.h"

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

class AccessRules : public ::testing::Test {
  protected:
    std::string refusal(const std::string &target) const {
        return write_refusal(find_target(chips_, target));
    }
    const reg_def &reg(const std::string &name) const {
        return test::register_named(find_chip(chips_, "PUMP"), name);
    }
    std::uint32_t modified(const std::string &target, std::uint32_t read, std::uint32_t value) {
        const Target found = find_target(chips_, target);
        return modified_value(*found.reg, *found.field, read, value);
    }

    Description chips_{test::diagctl_data("good_accesses.xml"), 0};
};

TEST_F(AccessRules, LetWritableRegistersAndFieldsBeWritten) {
    for (const char *target : {"PUMP.CTRL", "PUMP.KICK", "PUMP.MODE", "PUMP.CTRL.SPEED",
                               "PUMP.CTRL.GO", "PUMP.CTRL.LEVEL", "PUMP.CTRL.1:0", "PUMP.MODE.3"}) {
        EXPECT_EQ(refusal(target), "") << target;
    }
}

TEST_F(AccessRules, RefuseRegistersThatCannotBeWritten) {
    EXPECT_EQ(refusal("PUMP.ID"), "PUMP.ID is read-only (RO)");
    EXPECT_EQ(refusal("PUMP.ID.3"), "PUMP.ID is read-only (RO)");
    EXPECT_EQ(refusal("PUMP.CLEAR"), "PUMP.CLEAR cannot be written, reading clears it (RC)");
    EXPECT_EQ(refusal("PUMP.ODD"), "PUMP.ODD cannot be written: its description names no access");
}

TEST_F(AccessRules, RefuseFieldsThatCannotBeWritten) {
    EXPECT_EQ(refusal("PUMP.CTRL.BUSY"), "PUMP.CTRL.BUSY is read-only (RO)");
    EXPECT_EQ(refusal("PUMP.CTRL.EVENT"),
              "PUMP.CTRL.EVENT cannot be written, reading clears it (RC)");
}

TEST_F(AccessRules, RefuseBitsThatReachIntoSuchAField) {
    EXPECT_EQ(refusal("PUMP.CTRL.7:4"), "PUMP.CTRL.7:4: field BUSY is read-only (RO)");
}

TEST_F(AccessRules, RefuseAFieldOfAWriteOnlyRegisterWithAdvice) {
    EXPECT_EQ(refusal("PUMP.KICK.NOW"),
              "PUMP.KICK is write-only (WO), so NOW cannot be changed alone: write the whole "
              "register");
}

TEST_F(AccessRules, PassOverWhatIsNotToBeReadUnasked) {
    EXPECT_EQ(skip_reason(reg("ID")), "");
    EXPECT_EQ(skip_reason(reg("ODD")), "");
    EXPECT_EQ(skip_reason(reg("CLEAR")), "reading clears it");
    EXPECT_EQ(skip_reason(reg("KICK")), "write-only");
    EXPECT_EQ(skip_reason(reg("CTRL")), "reading clears its field EVENT");
}

TEST_F(AccessRules, CompareWhatCanBeWrittenAndRead) {
    EXPECT_EQ(comparable_bits(reg("CTRL")), 0x37U);
    EXPECT_EQ(comparable_bits(reg("MODE")), 0x0FU);
    EXPECT_EQ(comparable_bits(reg("NO_MASK")), 0U);
    EXPECT_EQ(comparable_bits(reg("LONG")), 0xFFFFFFFFU);
}

TEST_F(AccessRules, KeepTheOtherFieldsOfARegister) {
    EXPECT_EQ(modified("PUMP.WORD.TOP", 0x1234, 0xF), 0xF234U);
    EXPECT_EQ(modified("PUMP.LONG.SIGN", 0x7FFFFFFF, 1), 0xFFFFFFFFU);
}

TEST_F(AccessRules, GiveBitsThatCannotBeReadTheirDefault) {
    // GO reads as 0 whatever it holds, and its default is 1.
    EXPECT_EQ(modified("PUMP.CTRL.SPEED", 0x05, 2), 0x2DU);
    EXPECT_EQ(modified("PUMP.CTRL.GO", 0x05, 0), 0x05U);
}

}  // namespace
}  // namespace diag::diagctl
