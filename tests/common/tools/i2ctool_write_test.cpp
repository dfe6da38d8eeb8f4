// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "diag_util.h"
#include "tool_calls.h"

#include "tests/common/library_test.h"
#include "tests/common/process_state.h"
#include "tests/common/tools/i2ctool_test.h"

using diag::test::error_text;
using diag::test::I2cTest;
using diag::test::name_of;
using diag::test::open_descriptors;
using diag::test::printed;

namespace {

using Setter = diag::test::I2cCall<decltype(&i2ctool_set)>;

constexpr Setter kSetters[] = {{"i2ctool_set", i2ctool_set, ""},
                               {"i2ctool_set_no_cntrl", i2ctool_set_no_cntrl, "--no_control "}};

class I2cSet : public I2cTest<Setter> {
  protected:
    // Writes to register 7 of the device 0x150, cut to 0x50, on bus 3.
    int set(const reg_info *info, const std::vector<uint8_t> &data, unsigned int flags = 0,
            bool busbroker = false, int reg = 7) {
        int status = 99;
        text_ = printed([&] {
            status = GetParam().call("3", 0x150, reg, info, data.data(),
                                     static_cast<unsigned int>(data.size()), flags, busbroker);
        });
        return status;
    }
    std::string writing_failed() const {
        return error_text(name_, "FAILED <<<---\nError writing to I2C device\n");
    }
    std::string head(const char *width = "8") const {
        return std::string("--write --bus=3 --addr=0x50 --width=") + width + " ";
    }

    std::string text_;
};

INSTANTIATE_TEST_SUITE_P(Calls, I2cSet, testing::ValuesIn(kSetters), name_of<Setter>);

TEST_P(I2cSet, WritesTheBytesInOrder) {
    EXPECT_EQ(set(&reg8_data16, {0x01, 0xAB}), 0);
    EXPECT_EQ(tool_.calls().back(), head("16") + control_ + "--reg=0x07 --val=0x01,0xab");
    EXPECT_EQ(text_, "");
    EXPECT_EQ(set(&reg8_data8, {0x34}), 0);
    EXPECT_EQ(tool_.calls().back(), head() + control_ + "--reg=0x07 --val=0x34");
}

TEST_P(I2cSet, OptionsFollowFlagsAndBroker) {
    const bool has_control = !control_.empty();
    struct Case {
        unsigned int flags;
        bool busbroker;
        std::string options;
    };
    const std::string glued = has_control ? "--busbroker_req --no_control " : "--busbroker_req";
    const Case cases[] = {{0, false, control_},
                          {0, true, "--busbroker_req " + control_},
                          {1, false, "--flag=pdc " + control_},
                          {3, false, "--flag=pdc " + control_},
                          {0xFFFFFFFF, false, "--flag=pdc " + control_},
                          {2, false, "--flag= " + control_},
                          {0x80000000, false, "--flag= " + control_},
                          {1, true, "--flag=pdc " + glued},
                          {2, true, "--flag= " + glued}};
    for (const Case &test : cases) {
        EXPECT_EQ(set(&reg8_data8, {0x34}, test.flags, test.busbroker), 0);
        EXPECT_EQ(tool_.calls().back(), head() + test.options + "--reg=0x07 --val=0x34")
            << test.flags << ", " << test.busbroker;
    }
}

TEST_P(I2cSet, RegisterIsCutToItsWidth) {
    struct Case {
        reg_info info;
        const char *options;
    };
    const Case cases[] = {{reg8_data8, "--reg=0x34 --val=0x01"},
                          {reg16_data8, "--reg16=0x1234 --val=0x01"},
                          {reg16_data8_le, "--reg16=0x1234 --val=0x01 --reg_le"},
                          {regblk_datablk, "--regblock=0x1234 --val=0x01"},
                          {{0, 2, 5}, "--reg=0x34 --val=0x01 --reg_le"}};
    for (const Case &test : cases) {
        EXPECT_EQ(set(&test.info, {1}, 0, false, 0x56781234), 0);
        EXPECT_EQ(tool_.calls().back(), head() + control_ + test.options);
    }
    EXPECT_EQ(set(&reg8_data8, {1}, 0, false, -1), 0);
    EXPECT_EQ(tool_.calls().back(), head() + control_ + "--reg=0xff --val=0x01");
    EXPECT_EQ(set(&regblk_datablk, {1}, 0, false, 5), 0);
    EXPECT_EQ(tool_.calls().back(), head() + control_ + "--regblock=0x0005 --val=0x01");
}

TEST_P(I2cSet, CountsBelow1WriteNoValues) {
    for (const unsigned int count : {0U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(GetParam().call("3", 0x50, 7, &reg16_data8_le, nullptr, count, 0, false), 0);
        EXPECT_EQ(tool_.calls().back(), head() + control_ + "--reg16=0x0007 --val= --reg_le");
    }
}

TEST_P(I2cSet, CommandIsCutAtTheEndOfItsBuffer) {
    std::string whole = "i2ctool " + head() + control_ + "--reg16=0x0007 --val=0x01";
    for (int i = 1; i < 600; i++) {
        whole += ",0x01";
    }
    EXPECT_EQ(set(&reg16_data8_le, std::vector<uint8_t>(600, 1)), 0);
    EXPECT_EQ("i2ctool " + tool_.calls().back(), whole.substr(0, 2047));
}

TEST_P(I2cSet, CommandIsShownAtLevel1) {
    set_verb_level(1);
    EXPECT_EQ(set(&reg8_data8, {0x34}), 0);
    EXPECT_EQ(text_, "i2ctool_set: i2ctool " + head() + control_ + "--reg=0x07 --val=0x34\n");
}

TEST_P(I2cSet, UnusableDescriptorsAreRefused) {
    for (const unsigned int dry_run : {0U, 1U}) {
        set_debug_enable(dry_run);
        EXPECT_EQ(set(nullptr, {1}), -1);
        EXPECT_EQ(text_, error_text(name_, "Invalid reg_info pointer\n"));
        const reg_info width{7, 3, 0};
        EXPECT_EQ(set(&width, {1}), -1);
        EXPECT_EQ(text_, error_text(name_, "Invalid width size 3\n"));
        const reg_info mode{3, 1, 0};
        EXPECT_EQ(set(&mode, {1}), -1);
        EXPECT_EQ(text_, error_text(name_, "Invalid Addressing mode 3\n"));
    }
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_P(I2cSet, DryRunShowsTheCommandAsAnError) {
    for (const int enable : {1, -1}) {
        set_debug_enable(static_cast<unsigned int>(enable));
        EXPECT_EQ(set(&reg16_data8_le, {1, 2}, 1, true), 0);
        const std::string blank = control_.empty() ? "" : " ";
        EXPECT_EQ(text_,
                  error_text(name_, "i2ctool " + head() + "--flag=pdc --busbroker_req" + blank +
                                        control_ + "--reg16=0x0007 --val=0x01,0x02 --reg_le\n"));
    }
    EXPECT_TRUE(tool_.calls().empty());
}

TEST_P(I2cSet, ToolThatFailsIsReported) {
    const auto before = open_descriptors();
    for (const char *script : {"exit 3\n", "kill -KILL $$\n"}) {
        tool_.runs_script(script);
        EXPECT_EQ(set(&reg8_data8, {1}), -1);
        EXPECT_EQ(text_, writing_failed());
    }
    tool_.is_missing();
    EXPECT_EQ(set(&reg8_data8, {1}), -1);
    EXPECT_EQ(text_, writing_failed());
    EXPECT_EQ(open_descriptors(), before);
}

}  // namespace
