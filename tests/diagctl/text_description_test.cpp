// SPDX-License-Identifier: MIT
// Descriptions in the text form: what is refused, and what becomes of the others.
#include "diags/diagctl/decode.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/text_description_check.h"
#include "diags/diagctl/vocabulary.h"
#include "tests/diagctl/diagctl_test.h"

namespace diag::diagctl {
namespace {

struct Verdict {
    const char *file;
    const char *place_and_message;  // behind the file's name
};

constexpr Verdict kVerdicts[] = {
    {"bad_text_form.txt",
     ":3: chip \"i2c-1\": chip type \"CPLD\" is not known without exactly one blank in front"},
    {"bad_text_chip_in_header.txt",
     ":2: a chip in the header: no line of \"=====\" stands in front of it"},
    {"bad_text_short_delimiter.txt",
     ":1: this line does not begin with \"=====\", so the header goes on"},
    {"bad_text_bit_0_without_access_in_mask.txt",
     ":4: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": bit 0 is read-only, but the mask "
     "of the testable register has it"},
    {"bad_text_header_alone.txt",
     ":2: no line begins with \"=====\": all of it is header, and no device description"},
    {"bad_text_nul_byte.txt", ":3: a NUL byte: this is no text"},
    {"bad_text_no_chip.txt", ":2: a chip, \"C | ...\", is expected here, not \"R\""},
    {"bad_text_chip_behind_blank_line.txt", ":2: a chip, \"C | ...\", is expected here, not \"\""},
    {"bad_text_chip_type_without_blank.txt",
     ":2: chip \"PUMP\": chip type \"CPLD\" is not known without exactly one blank in front"},
    {"bad_text_chip_type_two_blanks.txt",
     ":2: chip \"PUMP\": chip type \"CPLD\" is not known without exactly one blank in front"},
    {"bad_text_no_chip_type.txt", ":2: chip 1: no chip type"},
    {"bad_text_blank_chip_type.txt", ":2: chip \"PUMP\": chip type without text"},
    {"bad_text_no_address.txt", ":2: chip 1: no address"},
    {"bad_text_address_not_hexadecimal.txt",
     ":2: chip \"PUMP\": address \"3g\" is not hexadecimal"},
    {"bad_text_address_capital_prefix.txt",
     ":2: chip \"PUMP\": address \"0X31\" is not hexadecimal"},
    {"bad_text_address_too_large.txt",
     ":2: chip \"PUMP\": address \"100000031\" does not fit 32 bits"},
    {"bad_text_no_name.txt", ":2: chip 1: no name"},
    {"bad_text_blank_name.txt", ":2: chip 1: name without text"},
    {"bad_text_no_bus.txt", ":2: chip \"PUMP\": no bus"},
    {"bad_text_blank_bus.txt", ":2: chip \"PUMP\": bus without text"},
    {"bad_text_bus_unknown.txt",
     ":2: chip \"PUMP\": bus \"spi\" is none of i2c, bmc, pci, mem, lpc, io and mtd"},
    {"bad_text_bus_with_number.txt",
     ":2: chip \"PUMP\": bus \"i2c-1\" is none of i2c, bmc, pci, mem, lpc, io and mtd"},
    {"bad_text_no_bus_location.txt", ":2: chip \"PUMP\": no bus location"},
    {"bad_text_bus_location_not_hexadecimal.txt",
     ":2: chip \"PUMP\": bus location \"one\" is not hexadecimal"},
    {"bad_text_pci_location_without_function.txt",
     ":2: chip \"PUMP\": bus location \"1:2\" is neither bus:device.function nor a bus number, in "
     "hexadecimal"},
    {"bad_text_pci_location_device_too_large.txt",
     ":2: chip \"PUMP\": bus location \"1:20.0\" is neither bus:device.function nor a bus number, "
     "in hexadecimal"},
    {"bad_text_pci_location_function_too_large.txt",
     ":2: chip \"PUMP\": bus location \"1:2.8\" is neither bus:device.function nor a bus number, "
     "in hexadecimal"},
    {"bad_text_mux_dash_without_blank.txt",
     ":2: chip \"PUMP\": the dash for no muxes is not known without exactly one blank in front"},
    {"bad_text_mux_without_numbers.txt", ":2: chip \"PUMP\", mux 1: no addr"},
    {"bad_text_mux_without_value.txt", ":2: chip \"PUMP\", mux 1: no val"},
    {"bad_text_mux_address_not_hexadecimal.txt",
     ":2: chip \"PUMP\", mux 1: addr \"7o\" is not hexadecimal"},
    {"bad_text_second_mux_register_too_large.txt",
     ":2: chip \"PUMP\", mux 2: reg \"123456789\" does not fit 32 bits"},
    {"bad_text_version_register_not_hexadecimal.txt",
     ":2: chip \"PUMP\": version register \"one\" is not hexadecimal"},
    {"bad_text_version_mask_not_hexadecimal.txt",
     ":2: chip \"PUMP\": version mask \"-1\" is not hexadecimal"},
    {"bad_text_offset_length_10.txt", ":2: chip \"PUMP\": offset length \"10\" is not 8 or 16"},
    {"bad_text_register_letter.txt",
     ":4: chip \"PUMP\": a line begins with \"R\", \"B\" or \"I\" here, not with \"X\""},
    {"bad_text_register_behind_blank.txt",
     ":3: chip \"PUMP\": a line begins with \"R\", \"B\" or \"I\" here, not with \"R\""},
    {"bad_text_second_chip_without_delimiter.txt",
     ":3: chip \"PUMP\": a line begins with \"R\", \"B\" or \"I\" here, not with \"C\""},
    {"bad_text_no_offset.txt", ":3: chip \"PUMP\", register without offset: no offset"},
    {"bad_text_offset_not_hexadecimal.txt",
     ":3: chip \"PUMP\", register \"FLOW\": offset \"$10\" is not hexadecimal"},
    {"bad_text_no_size.txt", ":3: chip \"PUMP\", register at 0x10: no size"},
    {"bad_text_size_12.txt",
     ":3: chip \"PUMP\", register \"FLOW\": size \"12\" is not 8, 16 or 32"},
    {"bad_text_size_hexadecimal.txt",
     ":3: chip \"PUMP\", register \"FLOW\": size \"0x10\" is not 8, 16 or 32"},
    {"bad_text_mask_too_large.txt",
     ":3: chip \"PUMP\", register \"FLOW\": mask \"1ffffffff\" does not fit 32 bits"},
    {"bad_text_access_without_blanks.txt",
     ":3: chip \"PUMP\", register \"FLOW\": access \"RW\" is not known without exactly one blank "
     "on each side"},
    {"bad_text_access_without_blank_behind.txt",
     ":3: chip \"PUMP\", register \"FLOW\": access \"RW\" is not known without exactly one blank "
     "on each side"},
    {"bad_text_access_unknown.txt",
     ":3: chip \"PUMP\", register \"FLOW\": access \"WR\" is none of RO, RW, RC, WO and RMW"},
    {"bad_text_default_not_hexadecimal.txt",
     ":3: chip \"PUMP\", register \"FLOW\": default \"on\" is not hexadecimal"},
    {"bad_text_testable_not_a_number.txt",
     ":3: chip \"PUMP\", register \"FLOW\": testable \"yes\" is not a decimal number"},
    {"bad_text_validate_not_a_number.txt",
     ":3: chip \"PUMP\", register \"FLOW\": validate \"1.0\" is not a decimal number"},
    {"bad_text_test_id_6.txt",
     ":3: chip \"PUMP\", register \"FLOW\": test id \"6\" is neither a number from 0 to 5 nor a "
     "dash"},
    {"bad_text_test_id_not_a_number.txt",
     ":3: chip \"PUMP\", register \"FLOW\": test id \"B\" is neither a number from 0 to 5 nor a "
     "dash"},
    {"bad_text_test_data_not_hexadecimal.txt",
     ":3: chip \"PUMP\", register \"FLOW\": test data \"5a5a?\" is not hexadecimal"},
    {"bad_text_bit_before_register.txt",
     ":6: chip \"FAN\": a bit field (\"B\") before the first register (\"R\")"},
    {"bad_text_bit_without_range.txt",
     ":4: chip \"PUMP\", register \"FLOW\", bit field without a name: no range"},
    {"bad_text_bit_range_beyond_register.txt",
     ":4: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": range \"8:4\" lies beyond the "
     "register's 8 bits"},
    {"bad_text_bit_range_lower_first.txt",
     ":4: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": range \"4:7\" has its lower bit "
     "first"},
    {"bad_text_bit_range_not_a_number.txt",
     ":4: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": range \"low\" is neither HIGH:LOW "
     "nor a bit"},
    {"bad_text_bit_access_unknown.txt",
     ":4: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": access \"R/W\" is none of RO, RW, "
     "RC, WO and RMW"},
    {"bad_text_bit_default_not_hexadecimal.txt",
     ":4: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": default \"x\" is not hexadecimal"},
    {"bad_text_bit_0_read_only_in_mask.txt",
     ":4: chip \"PUMP\", register \"FLOW\", bit field \"RATE\": bit 0 is read-only, but the mask "
     "of the testable register has it"},
    {"bad_text_info_before_bit.txt",
     ":6: chip \"PUMP\", register \"FLOW\": a value (\"I\") before the first bit field (\"B\")"},
    {"bad_text_info_value_not_hexadecimal.txt",
     ":5: chip \"PUMP\", register \"FLOW\", bit field \"RATE\", info: value \"slow\" is not "
     "hexadecimal"},
    {"bad_text_info_without_value.txt",
     ":5: chip \"PUMP\", register \"FLOW\", bit field \"RATE\", info: no value"},
    {"bad_text_modules_blank_before_digit.txt",
     ":1: OPTIONAL_MODULE_SUPPORT without one digit directly behind a colon"},
    {"bad_text_modules_10.txt",
     ":1: OPTIONAL_MODULE_SUPPORT without one digit directly behind a colon"},
    {"bad_text_modules_twice.txt", ":5: a second OPTIONAL_MODULE_SUPPORT"},
    {"bad_text_modules_no_card_types.txt",
     ":2: \"CARD_TYPE_SUPPORT:\" with one digit from 1 to 9 directly behind it is expected"},
    {"bad_text_modules_card_types_0.txt",
     ":2: \"CARD_TYPE_SUPPORT:\" with one digit from 1 to 9 directly behind it is expected"},
    {"bad_text_modules_no_card_id.txt", ":3: \"CARD_ID_REG:\" with a register number is expected"},
    {"bad_text_modules_card_id_not_hexadecimal.txt",
     ":3: CARD_ID_REG: number \"zero\" is not hexadecimal"},
    {"bad_text_modules_slot_missing.txt",
     ":4: the optional-module block ends here, but slot 1 of 1 is missing"},
    {"bad_text_modules_at_the_end.txt", ":3: the file ends here, but slot 1 of 1 is missing"},
    {"bad_text_modules_slot_word.txt", ":4: slot 1: word \"Port 1\" is not \"Slot\""},
    {"bad_text_modules_slot_interface.txt", ":4: slot 1: interface \"I2C\" is not \"LPC\""},
    {"bad_text_modules_presence_register.txt",
     ":4: slot 1: presence register \"lpc\" is not hexadecimal"},
    {"bad_text_modules_presence_bit_8.txt",
     ":4: slot 1: presence bit \"8\" is not a bit number from 0 to 7"},
    {"bad_text_modules_slot_without_chip.txt",
     ":4: slot 1: no colon with a chip, \"C | ...\", behind it"},
    {"bad_text_modules_card_address.txt",
     ":4: slot 1, chip \"CARD\": address \"61h\" is not hexadecimal"},
    {"bad_text_modules_card_on_lpc.txt",
     ":4: slot 1, chip \"CARD\": bus \"lpc\" is not searched for cards, only i2c and bmc are"},
    {"bad_text_modules_too_few_sections.txt",
     ":2: CARD_TYPE_SUPPORT says 2, but the file has 1 IOMTYPE section"},
    {"bad_text_modules_section_in_header.txt",
     ":5: IOMTYPE in front of the devices: card types stand behind them"},
    {"bad_text_modules_section_not_ended.txt", ":10: card type 1 does not end with \"=====\""},
    {"bad_text_modules_behind_section.txt",
     ":11: nothing is read here, behind the \"=====\" of card type 1"},
    {"bad_text_modules_section_register.txt",
     ":9: card type 1, register \"A\": size \"9\" is not 8, 16 or 32"},
};

class BadTextDescription : public ::testing::TestWithParam<Verdict> {};

TEST_P(BadTextDescription, IsRefusedWithItsFirstFinding) {
    const std::string path = test::diagctl_data(GetParam().file);
    const test::Failure failure = test::failure_of([&] { const Description description(path, 0); });
    EXPECT_EQ(failure.status, kExitBadDescription);
    EXPECT_EQ(failure.message, path + GetParam().place_and_message);
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, BadTextDescription, ::testing::ValuesIn(kVerdicts),
                         [](const auto &instance) {
                             const std::string file = instance.param.file;
                             return file.substr(0, file.find('.'));
                         });

TEST(TextDescriptions, OfBadVerdictAreAllInTheTable) {
    EXPECT_EQ(test::files_with_verdict("bad_", ".txt").size(), std::size(kVerdicts));
}

TEST(TextDescriptions, OfGoodVerdictAreLoaded) {
    const test::EnvironmentSetting no_tools("PATH", "/nonexistent");
    const auto files = test::files_with_verdict("good_", ".txt");
    EXPECT_FALSE(files.empty());
    for (const std::string &file : files) {
        EXPECT_NO_THROW(Description(test::diagctl_data(file), 0)) << file;
    }
}

// A line that is cut anywhere is either a shorter line or an error, and never ends the process.
TEST(TextDescriptions, MayBeCutAnywhere) {
    for (const char *file : {"good_modules.txt", "good_text_short_lines.txt"}) {
        const std::string text = test::read_file(test::diagctl_data(file));
        for (std::size_t length = 0; length < text.size(); ++length) {
            const auto error = check_text_description(text.substr(0, length)).error;
            if (error) {
                EXPECT_GE(error->line, 0) << length;
                EXPECT_NE(error->message, "") << length;
            }
        }
    }
}

// Whatever the check lets pass, the library loads: it is the stricter of the two.
TEST(TextDescriptions, ThatPassTheCheckAreLoadedByTheLibrary) {
    const std::string text = test::read_file(test::diagctl_data("good_text_short_lines.txt"));
    const test::TemporaryFolder folder;
    for (std::size_t length = 0; length < text.size(); ++length) {
        const std::string start = text.substr(0, length);
        if (start.find_first_not_of('\n') == start.npos || check_text_description(start).error) {
            continue;
        }
        EXPECT_NO_THROW(Description(folder.write("d.txt", start), 0)) << start;
    }
}

TEST(TextDescriptions, BecomeChipsWithRegistersAndFields) {
    const Description description(test::diagctl_data("good_bus_kinds.txt"), 0);
    EXPECT_EQ(description.chips().size(), 12U);
    EXPECT_TRUE(description.remarks().empty());
    EXPECT_FALSE(description.has_modules());
    const Chip &chip = find_chip(description, "PCI_CHIP");
    EXPECT_EQ(bus_name(*chip.node), "pci 01:02.3");
    EXPECT_STREQ(chip.node->chip_id, "ID PCI_CHIP");
    const reg_def &reg = test::register_named(chip, "CTRL");
    EXPECT_STREQ(reg.version, "1.2");
    EXPECT_EQ(reg.test_data, 0x5AU);
    EXPECT_STREQ(reg.test_desc, "pattern test");
    ASSERT_EQ(test_roles(*chip.node, reg).size(), 1U);
    EXPECT_STREQ(test_roles(*chip.node, reg)[0].label, "B");
    const Target target = find_target(description, "PCI_CHIP.CTRL.SPEED");
    EXPECT_EQ(decode_field(*target.field, 0xA0).meaning, "fast");
}

TEST(TextDescriptions, MayEndTheirLinesInTwoCharacters) {
    const Description description(test::diagctl_data("good_crlf.txt"), 0);
    ASSERT_EQ(description.chips().size(), 1U);
    EXPECT_EQ(description.chips()[0].label, "PUMP");
    EXPECT_EQ(register_name(test::register_named(description.chips()[0], "ID")), "ID");
}

TEST(TextDescriptions, MayEndTheirLinesEarly) {
    const Description description(test::diagctl_data("good_text_short_lines.txt"), 0);
    ASSERT_EQ(description.chips().size(), 2U);
    EXPECT_EQ(description.chips()[0].label, "A name of more than thirty cha");
    EXPECT_EQ(registers_of(*description.chips()[0].node).size(), 2U);
}

TEST(TextDescriptions, WithoutCardsThatCanBeReadHaveTheirOwnChips) {
    const test::EnvironmentSetting no_tools("PATH", "/nonexistent");
    const std::string path = test::diagctl_data("good_modules.txt");
    const Description description(path, 0);
    EXPECT_TRUE(description.has_modules());
    ASSERT_EQ(description.chips().size(), 1U);
    EXPECT_EQ(description.chips()[0].label, "SYS_CPLD");
    EXPECT_EQ(description.remarks(),
              std::vector<std::string>{path + ": optional modules could not be read: Could not "
                                              "read lpc at 0x105"});
}

TEST(TextDescriptions, PrepareTheToolsOnlyWhenThereAreModulesToLookFor) {
    const test::EnvironmentSetting no_tools("PATH", "/nonexistent");
    int prepared = 0;
    const ModuleSearch search{true, [&prepared] { ++prepared; }};
    const Description without(test::diagctl_data("good_bus_kinds.txt"), 0, search);
    const Description xml(test::diagctl_data("good_accesses.xml"), 0, search);
    EXPECT_EQ(prepared, 0);
    const Description with(test::diagctl_data("good_modules.txt"), 0, search);
    EXPECT_EQ(prepared, 1);
    const std::string path = test::diagctl_data("good_modules.txt");
    const Description not_allowed(path, 0, {false, search.prepare});
    EXPECT_EQ(prepared, 1);
    EXPECT_EQ(not_allowed.chips().size(), 1U);
    EXPECT_EQ(
        not_allowed.remarks(),
        std::vector<std::string>{path + ": optional modules are not looked for in a dry run"});
}

}  // namespace
}  // namespace diag::diagctl
