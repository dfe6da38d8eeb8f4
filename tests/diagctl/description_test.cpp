// SPDX-License-Identifier: MIT
#include "diags/diagctl/description.h"

#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

struct Verdict {
    const char *file;
    const char *place_and_message;  // behind the file's name
};

constexpr Verdict kVerdicts[] = {
    {"bad_no_chip_type.xml", ":4: chip \"PUMP\": no chip-type"},
    {"bad_no_chip_name.xml", ":10: chip 2: no chip-name"},
    {"bad_no_chip_bus.xml", ":4: chip \"PUMP\": no chip-bus"},
    {"bad_no_chip_address.xml", ":4: chip \"PUMP\": no chip-address"},
    {"bad_empty_chip_type.xml", ":5: chip \"PUMP\": chip-type without text"},
    {"bad_blank_chip_name.xml", ":6: chip 1: chip-name without text"},
    {"bad_comment_before_chip_address.xml", ":8: chip \"PUMP\": chip-address without text"},
    {"bad_chip_address_not_hexadecimal.xml",
     ":8: chip \"PUMP\": chip-address \"3g\" is not hexadecimal"},
    {"bad_chip_address_capital_prefix.xml",
     ":8: chip \"PUMP\": chip-address \"0X31\" is not hexadecimal"},
    {"bad_chip_address_too_large.xml",
     ":8: chip \"PUMP\": chip-address \"100000031\" does not fit 32 bits"},
    {"bad_chip_version_reg_not_hexadecimal.xml",
     ":9: chip \"PUMP\": chip-version-reg \"one\" is not hexadecimal"},
    {"bad_chip_version_mask_not_hexadecimal.xml",
     ":9: chip \"PUMP\": chip-version-mask \"-1\" is not hexadecimal"},
    {"bad_chip_offset_length_not_hexadecimal.xml",
     ":9: chip \"PUMP\": chip-offset-length \"8 bits\" is not hexadecimal"},
    {"bad_chip_bus_without_number.xml",
     ":7: chip \"PUMP\": chip-bus \"/dev/i2c\" is not /dev/i2c- and a hexadecimal number"},
    {"bad_chip_bus_behind_a_blank.xml",
     ":7: chip \"PUMP\": chip-bus \"/dev/i2c-1\" begins with a blank"},
    {"bad_mux_address_not_hexadecimal.xml",
     ":11: chip \"PUMP\", mux 1: addr \"7o\" is not hexadecimal"},
    {"bad_mux_value_too_large.xml",
     ":13: chip \"PUMP\", mux 1: val \"123456789\" does not fit 32 bits"},
    {"bad_mux_short_tag_not_hexadecimal.xml",
     ":12: chip \"PUMP\", mux 1: mask \"zz\" is not hexadecimal"},
    {"bad_mux_without_bus.xml", ":9: chip \"PUMP\", mux 1: the first mux has no bus"},
    {"bad_mux_bus_with_blank.xml",
     ":10: chip \"PUMP\", mux 1: bus \"/dev/i2c-1 --force\" contains a blank"},
    {"bad_second_mux_register_not_hexadecimal.xml",
     ":17: chip \"PUMP\", mux 2: reg \"r0\" is not hexadecimal"},
    {"bad_no_reg_offset.xml", ":9: chip \"PUMP\", register \"FLOW\": no reg-offset"},
    {"bad_no_reg_size.xml", ":9: chip \"PUMP\", register \"FLOW\": no reg-size"},
    {"bad_reg_size_12.xml",
     ":12: chip \"PUMP\", register \"FLOW\": reg-size \"12\" is not 8, 16 or 32"},
    {"bad_reg_size_octal.xml",
     ":18: chip \"PUMP\", register \"LEVEL\": reg-size \"08\" is not 8, 16 or 32"},
    {"bad_reg_offset_not_hexadecimal.xml",
     ":10: chip \"PUMP\", register \"FLOW\": reg-offset \"$10\" is not hexadecimal"},
    {"bad_reg_mask_too_large.xml",
     ":14: chip \"PUMP\", register \"FLOW\": reg-mask \"1ffffffff\" does not fit 32 bits"},
    {"bad_reg_default_not_hexadecimal.xml",
     ":14: chip \"PUMP\", register \"FLOW\": reg-default \"on\" is not hexadecimal"},
    {"bad_reg_test_data_not_hexadecimal.xml",
     ":14: chip \"PUMP\", register \"FLOW\": reg-test-data \"5a5a?\" is not hexadecimal"},
    {"bad_reg_length_zero.xml",
     ":14: chip \"PUMP\", register \"FLOW\": reg-length \"0\" is not a number from 1 to 65536"},
    {"bad_bit_range_beyond_register.xml",
     ":15: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": bit-range \"8:4\" lies beyond the "
     "register's 8 bits"},
    {"bad_bit_range_not_a_number.xml",
     ":15: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": bit-range \"low\" is neither "
     "HIGH:LOW nor a bit"},
    {"bad_no_bit_range.xml",
     ":14: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": no bit-range"},
    {"bad_bit_default_not_hexadecimal.xml",
     ":18: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": bit-default \"x\" is not "
     "hexadecimal"},
    {"bad_bit_without_white_space.xml",
     ":14: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": <bit-range> directly behind <bit> "
     "is passed over: put it on a line of its own"},
    {"bad_info_value_not_a_number.xml",
     ":18: chip \"PUMP\", register \"FLOW\", bit field \"RATE\", info: info-val \"slow\" is not a "
     "number"},
    {"bad_system_element.xml", ":4: ip without text"},
    {"bad_empty_busbroker_support.xml", ":4: busbroker-support without text"},
    {"bad_root_element.xml",
     ":3: the root element is <board>, not <config>: no device description"},
    {"bad_not_well_formed.xml",
     ":5: Opening and ending tag mismatch: chip-type line 5 and chip-name"},
    {"bad_truncated.xml", ":6: Premature end of data in tag chip line 4"},
    {"bad_empty.xml", ":1: Document is empty"},
};

class BadDescription : public ::testing::TestWithParam<Verdict> {};

TEST_P(BadDescription, IsRefusedWithItsFirstFinding) {
    const std::string path = test::diagctl_data(GetParam().file);
    const test::Failure failure = test::failure_of([&] { const Description description(path, 0); });
    EXPECT_EQ(failure.status, kExitBadDescription);
    EXPECT_EQ(failure.message, path + GetParam().place_and_message);
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, BadDescription, ::testing::ValuesIn(kVerdicts),
                         [](const auto &instance) {
                             const std::string file = instance.param.file;
                             return file.substr(0, file.find('.'));
                         });

TEST(Descriptions, OfBadVerdictAreAllInTheTable) {
    EXPECT_EQ(test::files_with_verdict("bad_", ".xml").size(), std::size(kVerdicts));
}

TEST(Descriptions, OfGoodVerdictAreLoaded) {
    const auto files = test::files_with_verdict("good_", ".xml");
    EXPECT_FALSE(files.empty());
    for (const std::string &file : files) {
        EXPECT_NO_THROW(Description(test::diagctl_data(file), 0)) << file;
    }
}

TEST(Descriptions, MayBeginWithBlanksOrAByteOrderMark) {
    const test::TemporaryFolder folder;
    for (const std::string start : {"\n  ", "\xEF\xBB\xBF"}) {
        const std::string path = folder.write("d.xml", start + "<config/>");
        EXPECT_EQ(Description(path, 0).chips().size(), 0U);
    }
}

TEST(Descriptions, ThatAreNotThereAreNamedWithTheReason) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("nowhere.xml");
    const test::Failure failure = test::failure_of([&] { const Description description(path, 0); });
    EXPECT_EQ(failure.status, kExitBadDescription);
    EXPECT_EQ(failure.message, path + ": No such file or directory");
}

TEST(Descriptions, ThatAreFoldersAreRefused) {
    const test::TemporaryFolder folder;
    const test::Failure failure =
        test::failure_of([&] { const Description description(folder.path(), 0); });
    EXPECT_EQ(failure.message, folder.path().string() + ": Is a directory");
}

TEST(Descriptions, SayNothingOnTheirOwn) {
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    test::failure_of([] { Description(test::diagctl_data("bad_not_well_formed.xml"), 0); });
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(Descriptions, LabelChipsInFileOrder) {
    const Description description(test::diagctl_data("good_names.xml"), 0);
    std::vector<std::string> labels;
    for (const Chip &chip : description.chips()) {
        labels.push_back(chip.label);
    }
    EXPECT_EQ(labels, (std::vector<std::string>{"CPLD.A", "CPLD", "Flash#1", "Flash#2", "FLASH",
                                                "Sensor Hub"}));
}

}  // namespace
}  // namespace diag::diagctl
